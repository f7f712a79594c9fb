// Collections: a user's named groups of videos of mixed kinds (movies,
// episodes, home videos, recordings). A collection is one row of
// "collection"; each member is a row of "collection_map" that ties the
// video's mapper id to the collection. Creating, adding and removing run on
// VideoDB objects of their own; listing and searching page through the
// union queries of VideoDB and answer in the paged form under "videos".
#include <exception>
#include <string>

#include "db/video_metadata_db_internal.h"
#include "foundation/heap_text.h"
#include "kinolot/video_metadata_api.h"
#include "metadata/metadata_text.h"

namespace LibKinolot {
namespace {

// The kinds a collection can hold, in the order in which their additional
// information is fetched for a page of members.
constexpr _VIDEO_TABLE_TYPE_ kMemberKinds[] = {VIDEO_TABLE_TVSHOW_EPISODE, VIDEO_TABLE_MOVIE,
                                               VIDEO_TABLE_HOME_VIDEO, VIDEO_TABLE_TV_RECORD};

// The id texts that stand in "@VEXO:INT" places: decimal digits only and
// within int. Anything else is refused rather than sent as some number.
bool ParseId(const std::string& text, int& out) {
  if (!IsDecimalText(text)) return false;  // also refuses what would not fit
  out = DecimalValue(text);
  return true;
}

// True when `table` names a kind that can be a member (shows are not: their
// episodes are).
bool IsMemberTable(const std::string& table) {
  for (_VIDEO_TABLE_TYPE_ kind : kMemberKinds) {
    if (table == MetadataTableName(kind)) return true;
  }
  return false;
}

// Checks the arguments shared by adding and removing a member and finds the
// video's mapper id. False, before any statement, for an empty argument, a
// table of another kind or ids that are not decimal numbers; false as well
// when the video has no row.
bool FindMember(VideoMetadataAPI& api, const std::string& collectionId,
                const std::string& videoTable, const std::string& videoId, std::string& mapperId) {
  int unused;
  if (collectionId.empty() || videoTable.empty() || videoId.empty()) return false;
  if (!IsMemberTable(videoTable)) return false;
  if (!ParseId(collectionId, unused) || !ParseId(videoId, unused)) return false;
  mapperId = api.GetFieldValueById(videoTable, videoId, "mapper_id");
  return !mapperId.empty();
}

// The steps that listing and searching share: the answer of a failure, the
// page that `select(db, offset, limit)` runs, its member items, the total
// (the same query with offset 0 and limit 0), the additional information of
// every kind and the final answer.
template <typename Select>
bool MemberPage(VideoMetadataAPI& api, const std::string& collectionId, unsigned long offset,
                unsigned long limit, _VIDEO_ADDITIONAL_ additional, Json::Value& answer,
                unsigned long& total, unsigned long& count, Select select) {
  total = 0;
  count = 0;
  WritePagedAnswer(answer, "videos", 0, 0, Json::Value(Json::arrayValue));
  // The collection id stands unquoted in the member queries, and the listing
  // reads it as an int: a larger number would list another collection.
  int unused;
  if (!ParseId(collectionId, unused)) return false;
  try {
    VideoDB db(nullptr, MetadataTableName(VIDEO_TABLE_COLLECTION_MAP));
    if (select(db, offset, limit) == -1) return false;
    Json::Value items(Json::arrayValue);
    _VIDEO_INFO_ALL_ row;
    while (db.NextRow()) {
      if (!db.FetchVideoItem(row)) return false;
      api.DBdataToArrayHandler(VIDEO_TABLE_COLLECTION_MAP, row, items);
    }
    int counted = select(db, 0, 0);
    if (counted == -1) return false;
    total = static_cast<unsigned long>(counted);
    // Each pass looks every item's id up in its own kind's table; pieces are
    // attached by mapper id, so only the item of that kind receives them.
    for (_VIDEO_TABLE_TYPE_ kind : kMemberKinds) {
      api.AdditionalHandler(kind, additional, MetadataTableName(kind), items);
    }
    WritePagedAnswer(answer, "videos", total, offset + items.size(), items);
    return true;
  } catch (const std::exception&) {
    return false;  // out of memory, or a JSON value of an unexpected type
  }
}

}  // namespace

long VideoMetadataAPI::Collection_Create(const std::string& uid, const std::string& title) {
  int uidNumber;
  if (uid.empty() || title.empty() || !ParseId(uid, uidNumber)) return -1;
  VideoDB db(nullptr, MetadataTableName(VIDEO_TABLE_COLLECTION));

  // An existing collection of the same owner and title is returned as it is.
  // The title is compared as a quoted literal, its quotes doubled so that
  // "It's Mine" neither breaks the condition nor misses its row.
  std::string quotedTitle;
  if (!EscapeQuotedText(db.connection, title, quotedTitle)) return -1;
  db.AddCondtion(StringFormat("uid=%s", uid.c_str()));
  db.AddCondtion(StringFormat("title='%s'", quotedTitle.c_str()));
  int rows = db.SelectDB("id", "", ORDER_DIRECTION_ASC, 0, 0, "");
  if (rows == -1) return -1;
  if (rows > 0 && db.NextRow()) {
    int id;
    return ParseId(db.FetchField("id"), id) ? id : -1;
  }

  HeapText values(VEXODBEscapeStringEX3(VEXODBDatabaseTypeGet(db.connection),
                                        "(uid, title) VALUES(@VEXO:INT, '@VEXO:VAR')", uidNumber,
                                        title.c_str()));
  if (!values) return -1;
  return db.InsertDB(values.get());
}

bool VideoMetadataAPI::Collection_AddVideo(const std::string& collectionId,
                                           const std::string& videoTable,
                                           const std::string& videoId) {
  std::string mapperId;
  if (!FindMember(*this, collectionId, videoTable, videoId, mapperId)) return false;
  // Adding a member twice is a success that changes nothing.
  if (IsExistInCollectionMap(mapperId, collectionId)) return true;

  int mapper;
  int collection;
  if (!ParseId(mapperId, mapper) || !ParseId(collectionId, collection)) return false;
  VideoDB db(nullptr, MetadataTableName(VIDEO_TABLE_COLLECTION_MAP));
  HeapText values(VEXODBEscapeStringEX3(VEXODBDatabaseTypeGet(db.connection),
                                        "(mapper_id, collection_id) VALUES(@VEXO:INT, @VEXO:INT)",
                                        mapper, collection));
  return values && db.InsertDB(values.get()) != -1;
}

bool VideoMetadataAPI::Collection_DelVideo(const std::string& collectionId,
                                           const std::string& videoTable,
                                           const std::string& videoId) {
  std::string mapperId;
  if (!FindMember(*this, collectionId, videoTable, videoId, mapperId)) return false;
  // Removing a video that is not a member is a success that changes nothing.
  if (!IsExistInCollectionMap(mapperId, collectionId)) return true;

  int mapper;
  int collection;
  if (!ParseId(mapperId, mapper) || !ParseId(collectionId, collection)) return false;
  VideoDB db(nullptr, MetadataTableName(VIDEO_TABLE_COLLECTION_MAP));
  HeapText where(VEXODBEscapeStringEX3(VEXODBDatabaseTypeGet(db.connection),
                                       "mapper_id=@VEXO:INT AND collection_id=@VEXO:INT", mapper,
                                       collection));
  return where && db.DeleteDB(where.get());
}

bool VideoMetadataAPI::IsExistInCollectionMap(const std::string& mapperId,
                                              const std::string& collectionId) {
  int mapper;
  int collection;
  if (!ParseId(mapperId, mapper) || !ParseId(collectionId, collection)) return false;
  VideoDB db(nullptr, MetadataTableName(VIDEO_TABLE_COLLECTION_MAP));
  HeapText where(VEXODBEscapeStringEX3(VEXODBDatabaseTypeGet(db.connection),
                                       "mapper_id=@VEXO:INT and collection_id=@VEXO:INT", mapper,
                                       collection));
  if (!where) return false;
  db.AddCondtion(where.get());
  return db.SelectDB("id", "", ORDER_DIRECTION_ASC, 0, 0, "") > 0;
}

bool VideoMetadataAPI::Collection_VideoList(const std::string& collectionId, unsigned long offset,
                                            unsigned long limit, _VIDEO_ADDITIONAL_ additional,
                                            const std::string& sortBy, _ORDER_DIRECTION_ direction,
                                            Json::Value& answer, unsigned long& total,
                                            unsigned long& count) {
  if (collectionId.empty()) return false;
  return MemberPage(*this, collectionId, offset, limit, additional, answer, total, count,
                    [&](VideoDB& db, unsigned long pageOffset, unsigned long pageLimit) {
                      return db.SelectAllByCollectionID(collectionId, sortBy, direction, pageOffset,
                                                        pageLimit);
                    });
}

bool VideoMetadataAPI::Collection_Search(const std::string& collectionId, unsigned long offset,
                                         unsigned long limit, _VIDEO_ADDITIONAL_ additional,
                                         const std::string& sortBy, _ORDER_DIRECTION_ direction,
                                         Json::Value keywords, Json::Value& answer,
                                         unsigned long& total, unsigned long& count) {
  // Only a non-empty object of criteria can make a search.
  if (collectionId.empty() || !keywords.isObject() || keywords.empty()) return false;
  return MemberPage(*this, collectionId, offset, limit, additional, answer, total, count,
                    [&](VideoDB& db, unsigned long pageOffset, unsigned long pageLimit) {
                      return db.CollectionGlobalSearch(keywords, collectionId, sortBy, direction,
                                                       pageOffset, pageLimit);
                    });
}

bool VideoMetadataAPI::Collection_List(const std::string& uid, Json::Value& collections) {
  int owner;
  if (!ParseId(uid, owner)) return false;
  VideoDB db(nullptr, "");
  const char* format =
      "SELECT id, title FROM collection WHERE uid = @VEXO:INT ORDER BY lower(title), id";
  HeapText sql(VEXODBEscapeStringEX3(VEXODBDatabaseTypeGet(db.connection), format, owner));
  if (!RunStatement(&db, sql, format, "SELECT", true)) return false;
  Json::Value list(Json::arrayValue);
  while (db.NextRow()) {
    Json::Value collection(Json::objectValue);
    collection["id"] = db.FetchField("id");
    collection["title"] = db.FetchField("title");
    list.append(collection);
  }
  collections = list;
  return true;
}

int VideoMetadataAPI::Collection_Delete(const std::string& uid, const std::string& collectionId) {
  int owner;
  int collection;
  if (!ParseId(uid, owner) || !ParseId(collectionId, collection)) return -1;
  VideoDB db(nullptr, MetadataTableName(VIDEO_TABLE_COLLECTION));
  // The owner is part of the condition, so another user's collection is
  // never deleted; the membership rows go with it (ON DELETE CASCADE).
  if (!db.DeleteDB(StringFormat("id=%d and uid=%d", collection, owner))) return -1;
  const int deleted = VEXODBAffectedRows(db.connection, db.result);
  if (deleted < 0) return -1;
  return deleted > 0 ? 1 : 0;
}

}  // namespace LibKinolot
