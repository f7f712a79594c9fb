// Additional information for a page of items: each piece that the caller's
// _VIDEO_ADDITIONAL_ mask asks for (summary, extra information, episodes,
// people, genres, files, collections) is fetched with one query for the
// whole page, grouped by the owning video and attached under each item's
// "additional" object.
#include "foundation/sql_words.h"
#include "kinolot/mapping_tables.h"
#include "kinolot/string_helpers.h"
#include "kinolot/video_metadata_api.h"
#include "metadata/metadata_text.h"

namespace LibKinolot {
namespace {

// The pieces in the order in which they are served, with their tables.
struct Piece {
  uint32_t bit;
  _VIDEO_TABLE_TYPE_ table;
};
constexpr Piece kPieces[] = {
    {VIDEO_ADDITIONAL_TVSHOW_EPISODE, VIDEO_TABLE_TVSHOW_EPISODE},
    {VIDEO_ADDITIONAL_ACTOR, VIDEO_TABLE_ACTOR},
    {VIDEO_ADDITIONAL_VIDEO_FILE, VIDEO_TABLE_VIDEO_FILE},
    {VIDEO_ADDITIONAL_DIRECTOR, VIDEO_TABLE_DIRECTOR},
    {VIDEO_ADDITIONAL_WRITER, VIDEO_TABLE_WRITER},
    {VIDEO_ADDITIONAL_GNERE, VIDEO_TABLE_GNERE},
    {VIDEO_ADDITIONAL_SUMMARY, VIDEO_TABLE_SUMMARY},
    {VIDEO_ADDITIONAL_PLUS_INFO, VIDEO_TABLE_PLUS_INFO},
    {VIDEO_ADDITIONAL_COLLECTION, VIDEO_TABLE_COLLECTION_MAP},
};

// Whether any requested piece applies to the kind at all. Past this check
// every requested piece is served, whatever the kind.
bool AnyPieceApplies(_VIDEO_TABLE_TYPE_ type, uint32_t additional) {
  switch (type) {
    case VIDEO_TABLE_MOVIE:
    case VIDEO_TABLE_TVSHOW_EPISODE:
      return (additional & 0x1FB) != 0;  // all but the episode list
    case VIDEO_TABLE_TVSHOW:
      return (additional & 0x7) != 0;  // summary, extra, episodes
    case VIDEO_TABLE_HOME_VIDEO:
      return (additional & 0x1F9) != 0;  // all but extra and episodes
    case VIDEO_TABLE_TV_RECORD:
      return additional != 0;
    default:
      return true;
  }
}

// The key under "additional" and the item key its groups are matched with.
void PieceKeys(const std::string& table, std::string& outputKey, std::string& matchKey) {
  matchKey = "mapper_id";
  if (table == "video_file") {
    outputKey = "files";
  } else if (table == "tvshow_episode") {
    outputKey = "episode";
    matchKey = "id";
  } else if (table == "plus_info") {
    outputKey = "extra";
  } else if (table == "gnere") {
    outputKey = "genre";
  } else if (table == "collection_map") {
    outputKey = "collection";
  } else {
    outputKey = table;  // summary, actor, director, writer
  }
}

// Whether a query may be built from these: both tables are plain names and
// every condition is "id=<number>", since all of them stand unquoted in it.
bool IsSafeSelection(const std::string& mainTable, const std::string& additionalTable,
                     const std::vector<std::string>& idConditions) {
  if (!IsPlainSqlName(mainTable) || !IsPlainSqlName(additionalTable)) return false;
  for (const std::string& condition : idConditions) {
    if (condition.compare(0, 3, "id=") != 0 || !IsDecimalText(condition.substr(3))) return false;
  }
  return true;
}

}  // namespace

void VideoMetadataAPI::AdditionalHandler(_VIDEO_TABLE_TYPE_ type, _VIDEO_ADDITIONAL_ additional,
                                         const std::string& mainTable, Json::Value& items) {
  if (!AnyPieceApplies(type, additional) || !items.isArray()) return;

  // The page's ids become one OR-list inside each piece's sub-select. Only
  // decimal ids are taken: they reach SQL unquoted.
  std::vector<std::string> conditions;
  for (Json::ArrayIndex i = 0; i < items.size(); ++i) {
    if (!JsonHasMember(items[i], "id")) continue;
    std::string id = JsonText(items[i]["id"]);
    if (IsDecimalText(id)) conditions.push_back("id=" + id);
  }

  for (const Piece& piece : kPieces) {
    if (additional & piece.bit) {
      Additional(mainTable, MetadataTableName(piece.table), conditions, items);
    }
  }
}

void VideoMetadataAPI::Additional(const std::string& mainTable, const std::string& additionalTable,
                                  const std::vector<std::string>& idConditions,
                                  Json::Value& items) {
  if (mainTable.empty() || additionalTable.empty() || idConditions.empty() || !items.isArray()) {
    return;
  }
  Json::Value grouped(Json::objectValue);
  SelectAdditional(mainTable, additionalTable, idConditions, grouped);
  AddAdditionalToArray(additionalTable, grouped, items);
}

void VideoMetadataAPI::SelectAdditional(const std::string& mainTable,
                                        const std::string& additionalTable,
                                        const std::vector<std::string>& idConditions,
                                        Json::Value& grouped) {
  if (idConditions.empty() || !grouped.isObject() ||
      !IsSafeSelection(mainTable, additionalTable, idConditions)) {
    return;
  }
  VideoDB db(nullptr, additionalTable);

  SqlText condition;
  std::string ids = StringImplode(idConditions, " or ");
  if (additionalTable == "tvshow_episode") {
    // Episodes belong to a show by the show's id, so the owners are shows
    // whatever the listed kind is.
    printfPQExpBuffer(condition.get(), "tvshow_id in (SELECT id FROM tvshow WHERE %s)",
                      ids.c_str());
  } else {
    // Collection memberships carry their collection's id and title.
    if (additionalTable == "collection_map") db.AddJoinTable("collection");
    printfPQExpBuffer(condition.get(), "mapper_id in (SELECT mapper_id FROM %s WHERE %s)",
                      mainTable.c_str(), ids.c_str());
  }
  if (condition.broken()) return;
  db.AddCondtion(condition.text());

  if (db.SelectDB("*", "", ORDER_DIRECTION_ASC, 0, 0, "") <= 0) return;
  _VIDEO_INFO_ALL_ row;
  while (db.NextRow() && db.FetchVideoItem(row)) {
    DBdataToAdditionalObject(additionalTable, row, grouped);
  }
}

void VideoMetadataAPI::DBdataToAdditionalObject(const std::string& additionalTable,
                                                _VIDEO_INFO_ALL_ row, Json::Value& grouped) {
  if (additionalTable.empty() || !(grouped.isNull() || grouped.isObject())) return;
  std::string owner = IdText(row.mapper_id);
  Json::Value value;
  bool append = true;
  if (additionalTable == "actor") {
    value = FieldText(row.actor);
  } else if (additionalTable == "director") {
    value = FieldText(row.director);
  } else if (additionalTable == "writer") {
    value = FieldText(row.writer);
  } else if (additionalTable == "gnere") {
    value = FieldText(row.gnere);
  } else if (additionalTable == "video_file") {
    CreateFilesObject(row, value);
  } else if (additionalTable == "collection_map") {
    CreateCollectionObject(row, value);
  } else if (additionalTable == "tvshow_episode") {
    owner = IdText(row.tvshow_id);
    CreateTVshowEpisode(row, value);
  } else if (additionalTable == "summary") {
    value = FieldText(row.summary);
    append = false;  // one text per video: a later row replaces an earlier one
  } else if (additionalTable == "plus_info") {
    value = FieldText(row.plus_info);
    append = false;
  } else {
    return;
  }
  Json::Value& slot = grouped[owner];
  if (!append) {
    slot = value;
  } else if (JsonCanAppend(slot)) {
    slot.append(value);
  }
}

void VideoMetadataAPI::AddAdditionalToArray(const std::string& additionalTable,
                                            const Json::Value& grouped, Json::Value& items) {
  if (!grouped.isObject() || !items.isArray()) return;
  std::string outputKey;
  std::string matchKey;
  PieceKeys(additionalTable, outputKey, matchKey);

  for (Json::ValueConstIterator member = grouped.begin(); member != grouped.end(); ++member) {
    std::string owner = member.name();
    for (Json::ArrayIndex i = 0; i < items.size(); ++i) {
      Json::Value& item = items[i];
      if (!JsonHasMember(item, matchKey.c_str()) || JsonText(item[matchKey]) != owner) continue;
      Json::Value& attached = item["additional"];
      if (attached.isNull() || attached.isObject()) attached[outputKey] = *member;
    }
  }
}

}  // namespace LibKinolot
