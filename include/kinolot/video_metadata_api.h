// VideoMetadataAPI: the web front end's view of the video library. It lists,
// searches, opens and browses the videos of one kind at a time and answers
// with JSON values (jsoncpp) in the wire format of the front end.
//
// Every operation that reads the database builds its own VideoDB objects on
// connections of their own and closes them before it returns; the class keeps
// no state between calls. Use one object from one thread at a time.
//
// The wire format, in short: identifiers are decimal texts ("42"), never JSON
// numbers; a paged answer is {"total": n, "offset": next, "<kind key>": [...]};
// extra information requested by a _VIDEO_ADDITIONAL_ mask sits under each
// item's "additional" object.
//
// Values from callers (keywords, name fragments, years, ids) are made safe
// before they reach SQL: texts are escaped for LIKE or quoted literals, and a
// year or an id that is not a decimal number never reaches SQL at all.
#ifndef KINOLOT_VIDEO_METADATA_API_H_
#define KINOLOT_VIDEO_METADATA_API_H_

#include <json/json.h>

#include <list>
#include <map>
#include <string>
#include <vector>

#include "kinolot/export.h"
#include "kinolot/video_metadata_db.h"
#include "kinolot/video_types.h"

namespace LibKinolot {

class KINOLOT_EXPORT VideoMetadataAPI {
 public:
  // ---------------------------------------------------------------------------
  // JSON items from decoded rows. None of these touches the database or fails.
  // An `array` argument must be null (it becomes an array) or an array; any
  // other value is left alone. `object` arguments receive keys; they must be
  // null or objects.

  // Appends the list item of a row of table `type` (1 movie, 2 tvshow,
  // 3 tvshow_episode, 4 home_video, 5 tv_record, 14 collection_map) to
  // `array`; any other type appends nothing.
  void DBdataToArrayHandler(_VIDEO_TABLE_TYPE_ type, _VIDEO_INFO_ALL_ row, Json::Value& array);
  // The list items of each kind: {"id", "title", "tagline",
  // "original_available", "metadata_locked" (only when the lock text is not
  // empty), "mapper_id"} for movies, and the kind's own subset or superset.
  void DBdataToMovieArray(_VIDEO_INFO_ALL_ row, Json::Value& array);
  // Appends the show unless an equal item is already in `array`.
  void DBdataToTVshowArray(_VIDEO_INFO_ALL_ row, Json::Value& array);
  void DBdataToTVEpisodesArray(_VIDEO_INFO_ALL_ row, Json::Value& array);
  void DBdataToHomeArray(_VIDEO_INFO_ALL_ row, Json::Value& array);
  void DBdataToTVrecord(_VIDEO_INFO_ALL_ row, Json::Value& array);
  void DBdataToCollectionMap(_VIDEO_INFO_ALL_ row, Json::Value& array);
  // Appends `item` to `array` unless an element equal to it (deep equality)
  // is already there. Nothing happens unless `array` is an array, or `item`
  // is an object or a string; nor when `array` is neither null nor an array.
  void AppendObjectToArray(const Json::Value& item, Json::Value& array);
  // Appends the browse entry {"id", "name"} of a grouped category row; for the
  // year category both are the year text, for unknown categories both are "".
  void DBdataToMetadataArray(_VIDEO_CATEGORY_ category, _VIDEO_INFO_ALL_ row, Json::Value& array);
  // Sets "id" (the row's collection id) and "title" on `object`.
  void CreateCollectionObject(_VIDEO_INFO_ALL_ row, Json::Value& object);
  // Sets the episode detail keys "season", "episode" (texts), "create_date",
  // "modify_date" and "tag_line" on `object`.
  void CreateTVshowEpisode(_VIDEO_INFO_ALL_ row, Json::Value& object);
  // Sets the keys of a video file (id, path, size, duration, codecs,
  // resolution, bit rates, channels; all texts) on `object`.
  void CreateFilesObject(_VIDEO_INFO_ALL_ row, Json::Value& object);
  // Returns "H:MM:SS". The hours wrap at 60, so 216000 seconds give "0:00:00".
  std::string CreateDurationFormat(unsigned int seconds);

  // ---------------------------------------------------------------------------
  // Additional information: the pieces named by a _VIDEO_ADDITIONAL_ mask,
  // fetched with one query per piece for all items at once and attached under
  // each item's "additional" object. Nothing here reports failure: a failed
  // query leaves what was already attached.

  // Attaches every requested piece to `items`, the array of list items of the
  // kind `type` whose table is `mainTable`. Only items whose "id" is a
  // decimal text take part.
  void AdditionalHandler(_VIDEO_TABLE_TYPE_ type, _VIDEO_ADDITIONAL_ additional,
                         const std::string& mainTable, Json::Value& items);
  // Fetches one piece (`additionalTable`, e.g. "actor") for the items that
  // `idConditions` ("id=12", ...) select from `mainTable`, and attaches it.
  void Additional(const std::string& mainTable, const std::string& additionalTable,
                  const std::vector<std::string>& idConditions, Json::Value& items);
  // Runs the query of one piece and groups its rows into `grouped`, an object
  // keyed by the owner's id text. Does nothing unless `grouped` is an object,
  // both tables are plain names and every condition is "id=<number>".
  void SelectAdditional(const std::string& mainTable, const std::string& additionalTable,
                        const std::vector<std::string>& idConditions, Json::Value& grouped);
  // Adds one row of `additionalTable` to `grouped`.
  void DBdataToAdditionalObject(const std::string& additionalTable, _VIDEO_INFO_ALL_ row,
                                Json::Value& grouped);
  // Sets item["additional"][<piece key>] for every item whose owner key
  // matches a member of `grouped`.
  void AddAdditionalToArray(const std::string& additionalTable, const Json::Value& grouped,
                            Json::Value& items);

  // ---------------------------------------------------------------------------
  // List, Search and GetInfo of one kind (`type` 1 to 5; GetInfo also 13).

  // Pages through the videos of `type` under the filters (see FilterHandler:
  // `filterKeyword` is the TV show id of an episode list; `filterA` to
  // `filterD` are actor, director, writer and genre row ids, "" for videos
  // without any, null for no filter; `filterE` is the year). `sortBy` is a
  // column of the kind's table, empty for none. Fills `answer` with "total",
  // "offset" (offset + items returned) and the kind's item array. `count` is
  // only ever set to 0. Returns false for an unsupported type (nothing
  // touched), and for a `sortBy` that is not a plain column name (no
  // statement is sent) and on a database failure (`answer` then holds total
  // 0, offset 0 and an empty array).
  bool List(_VIDEO_TABLE_TYPE_ type, unsigned long offset, unsigned long limit,
            _VIDEO_ADDITIONAL_ additional, const std::string& sortBy, _ORDER_DIRECTION_ direction,
            const std::string& filterKeyword, const char* filterA, const char* filterB,
            const char* filterC, const char* filterD, std::string filterE, Json::Value& answer,
            unsigned long& total, unsigned long& count);
  // As List, but either by `keywords`, an object of column -> text to find,
  // any of which may match, or (when `keywords` is empty) by the filters, the
  // person and genre values then being name fragments, `filterX` a title
  // fragment and `filterY` a channel name fragment. A `keywords` value that
  // is not an object, or that names something other than a column or holds
  // a list or object as a text to find, fails.
  bool Search(_VIDEO_TABLE_TYPE_ type, unsigned long offset, unsigned long limit,
              _VIDEO_ADDITIONAL_ additional, const std::string& sortBy, _ORDER_DIRECTION_ direction,
              Json::Value keywords, const std::string& filterX, const std::string& filterY,
              const char* filterA, const char* filterB, const char* filterC, const char* filterD,
              std::string filterE, Json::Value& answer, unsigned long& total, unsigned long& count);
  // Sets `answer` to {"<kind key>": [item]} for the video whose id is `id`
  // (a decimal text), with the requested additional information; an episode
  // may also get its show's summary and extra information (0x200, 0x400).
  // Always returns true: an unsupported type, an empty or non-decimal id or a
  // failed query leave `answer` as built so far (at first an empty object).
  bool GetInfo(_VIDEO_TABLE_TYPE_ type, _VIDEO_ADDITIONAL_ additional, const std::string& id,
               Json::Value& answer);

  // ---------------------------------------------------------------------------
  // Filters: joins and conditions added to a query before it runs.

  // Adds the conditions of a request to `db`, whose main table is `table`.
  // `cap` 1 lists (person and genre values are row ids), 2 searches (they are
  // name fragments, and the title and channel fragments apply). A null person
  // or genre pointer is no filter, an empty text selects videos without any
  // such row. A `year` or `showId` that is not a decimal number matches no
  // video. Table names here and below must be plain SQL names; with any
  // other name nothing is added (and GetValueById sends no query).
  void FilterHandler(VideoDB& db, _VIDEO_TABLE_TYPE_ type, _VIDEO_ACTION_CAP_ cap,
                     const std::string& table, const std::string& titleKeyword,
                     const std::string& showId, const std::string& channelKeyword,
                     const char* actor, const char* director, const char* writer, const char* genre,
                     std::string year);
  // Joins `filterTable` (actor, director, writer or gnere) and requires its
  // value to contain `name`, case-insensitively and literally (no wildcards).
  void FilterName(VideoDB& db, const std::string& filterTable, const std::string& name);
  // Joins `filterTable` and requires its value to equal the value of its row
  // `id`: every video carrying that name matches.
  void FilterId(VideoDB& db, const std::string& filterTable, const std::string& id);
  // Sets `value` to the value column of row `id` of `filterTable`; leaves it
  // empty when there is no such row or `id` is not a decimal number.
  void GetValueById(const std::string& filterTable, const std::string& id, std::string& value);
  // Adds one condition matching videos of `type` (1, 2 or 4) for which any
  // member of `keywords` (column -> text) occurs in that column. Returns
  // false, adding nothing, for other types, for a `keywords` value that is
  // not an object, for a member name that is not a plain column name, for a
  // member value that is a list or an object and when a text cannot be
  // escaped.
  bool GlobalSearch(VideoDB& db, _VIDEO_TABLE_TYPE_ type, const Json::Value& keywords);

  // ---------------------------------------------------------------------------
  // Category browse.

  // Lists one page of the distinct actors, directors, writers, genres or
  // years among the videos of `type` (1, 3, 4 or 5) as {"total", "offset",
  // "metadatas": [{"id", "name"}, ...]}. `keyword` (may be null) narrows the
  // names to those containing it; only when it is null, an unknown entry {}
  // ends every page if some video has no value in the category. `count` is
  // only ever set to 0. Returns false for an unsupported type or category
  // and on a database failure, `answer` then holding total 0, offset 0 and no
  // entries.
  bool CategoryBrowse(_VIDEO_TABLE_TYPE_ type, _VIDEO_CATEGORY_ category, unsigned long offset,
                      unsigned long limit, _ORDER_DIRECTION_ direction, const char* keyword,
                      Json::Value& answer, unsigned long& total, unsigned long& count);

  // ---------------------------------------------------------------------------
  // Field look-ups: single values read before an edit decides what to write.
  // Each runs at most one query on a connection of its own and logs nothing;
  // a missing row and a failed query look the same to the caller.

  // Returns column `field` of the first row of `table` whose `key` equals
  // `value`, or "" when there is none. `table`, `key` and `field` must be
  // plain SQL names; `value` stands in the condition as it is given, so it
  // must be a decimal number or a quoted literal ('It''s'). Anything else,
  // and any empty argument, returns "" without a query.
  std::string GetFieldValueByKey(const std::string& table, const std::string& key,
                                 const std::string& value, const std::string& field);
  // GetFieldValueByKey(table, "id", id, field).
  std::string GetFieldValueById(const std::string& table, const std::string& id,
                                const std::string& field);
  // Sets `id` to the id of the item of `type` (1 to 5) that owns the video
  // file whose id is `videoId`. Returns true when the query ran, even if no
  // item owns the file (`id` is then left as it was: test it, not the
  // result); false for another type or a `videoId` that is not a decimal
  // number, without a query, and when the query fails.
  bool GetIDByVideoID(_VIDEO_TABLE_TYPE_ type, const std::string& videoId, std::string& id);
  // Returns whether a connection to the library's database opens and runs a
  // query: what tells an item that is absent from a database that is down.
  bool DatabaseAnswers();
  // Sets `out` to the release date an edit of item `id` keeps: `odate` when
  // given (may be null), else the item's "originally_available" for movies,
  // TV shows and episodes, else "". Returns false only for an empty `id`.
  bool GetODate(_VIDEO_TABLE_TYPE_ type, const std::string& id, const char* odate,
                std::string& out);
  // Appends the non-empty "|"-separated pieces of `text` to `out`, in order
  // and untrimmed; what `out` held stays in front.
  void StringToList(const std::string& text, std::list<std::string>& out);

  // ---------------------------------------------------------------------------
  // Merging the episodes of two TV shows. Nothing here logs.

  // Fills `out` with episode id -> "<season>-<episode>" for every episode of
  // show `tvshowId`. Returns false for a show id that is not a decimal number
  // and when the query fails.
  bool GetSeasonEpisodeByTVShowID(const std::string& tvshowId,
                                  std::map<std::string, std::string>& out);
  // For every episode of show `sourceShowId` (or, when `episodes` is not
  // null, every episode in that id -> season-episode map) whose season and
  // episode text equals that of an episode of show `targetShowId`: moves the
  // source episode's video files to the target episode and deletes the
  // source episode. Episodes without a counterpart are left where they are.
  // Returns the number of pairs merged, or -1 for an empty show id, a failed
  // look-up, move or deletion; pairs merged before a failure stay merged.
  int MergeTVShowExSEpisodeHandler(const std::string& sourceShowId, const std::string& targetShowId,
                                   const std::map<std::string, std::string>* episodes);

  // ---------------------------------------------------------------------------
  // Updating an item in place: its row, summary, extra information, people,
  // genres and lock. Nothing here logs (failed statements are logged by
  // VideoDB) and nothing is rolled back: each write is a statement of its
  // own, and writes done before a failure stay. Ids and mapper ids must be
  // decimal numbers; anything else fails before any write.

  // Writes the edited values of item `id` of `type` (1 to 5): first the
  // summary (every type), then `plusInfo` (JSON text, may be null; movies,
  // shows and episodes only), then the kind's columns and, for movies,
  // episodes and home videos, the four "|"-separated lists; then the row.
  // `date` (may be null: keep the stored dates) sets the release date, year
  // and sort date as parseYearDate reads them. Required per kind: movies and
  // shows `title` and `isLock`, episodes `isLock` (their title is not
  // changed), home videos `title` and `recordTime`, recordings `title` and
  // `channelName`. A date the server would refuse ("2009-02-30") fails the
  // edit before anything is written. Returns 1, or -1 on any failure,
  // including a missing item.
  int UpdateHandler(_VIDEO_TABLE_TYPE_ type, const std::string& id, const std::string& title,
                    const std::string& tagLine, const char* date, const std::string& recordTime,
                    const std::string& season, const std::string& episode,
                    const std::string& isLock, const std::string& channelName,
                    const std::string& summary, const std::string& actor,
                    const std::string& director, const std::string& writer,
                    const std::string& genre, const char* plusInfo);
  // Sets the summary of `mapperId`. False for a bad mapper id or a failed
  // statement; a mapper without a summary row is not given one.
  bool UpdateSummary(const std::string& mapperId, const std::string& summary);
  // Sets the extra information of `mapperId` to `plusInfo` as it stands, or
  // "{}" when it is null. False for a bad mapper id or a failed statement.
  bool UpdatePlusInfo(const std::string& mapperId, const char* plusInfo);
  // Replaces the actor, writer, director and genre lists (in that order) of
  // item `id` of the table named `table` ("movie" to "tv_record"; any other
  // name gives false before any statement). Stops with false at the first
  // list that fails; the lists before it stay replaced.
  bool UpdateWDAG(const std::string& table, const std::string& id, const std::string& writer,
                  const std::string& director, const std::string& actor, const std::string& genre);
  // Replaces the entries of `mapperId` in the list table `table` (actor,
  // director, writer, gnere) by the "|"-separated names of `list`, in order;
  // an empty `list` leaves none. False, before any statement, for another
  // table name and a bad mapper id; false for a failed statement.
  bool UpdateList(const std::string& table, const std::string& mapperId, const std::string& list);
  // Sets the lock of item `id` of `type` to `isLock` ("true", "false").
  // False for an empty `isLock`, a bad id or a failed statement.
  bool UpdateLock(_VIDEO_TABLE_TYPE_ type, const std::string& id, const std::string& isLock);

  // ---------------------------------------------------------------------------
  // Collections: a user's named groups of movies, episodes, home videos and
  // TV recordings (not TV shows: their episodes are members). Each call runs
  // on connections of its own. Nothing here logs beyond what VideoDB logs of
  // failed statements. Ids (collection, video, mapper ids and the user id)
  // must be decimal numbers within int; anything else fails before any
  // statement is sent.

  // Returns the id of user `uid`'s collection titled `title`, creating it
  // when there is none: creating a collection that exists returns the
  // existing one. The title is compared as a quoted literal whose quotes are
  // doubled, so a title with a quote finds its own row and nothing else.
  // Returns -1 for an empty argument, a `uid` that is not a decimal number
  // (nothing is stored) and on a database failure.
  long Collection_Create(const std::string& uid, const std::string& title);
  // Adds video `videoId` of table `videoTable` ("movie", "tvshow_episode",
  // "home_video" or "tv_record") to collection `collectionId`. Returns true
  // when it is a member afterwards, also when it already was (nothing is
  // inserted twice); false for an empty argument, another table, bad ids, a
  // video without a row, an unknown collection and a failed insert.
  bool Collection_AddVideo(const std::string& collectionId, const std::string& videoTable,
                           const std::string& videoId);
  // Removes video `videoId` of `videoTable` from collection `collectionId`.
  // Returns true when it is no member afterwards, also when it was none;
  // false for the bad input that Collection_AddVideo refuses and a failed
  // delete.
  bool Collection_DelVideo(const std::string& collectionId, const std::string& videoTable,
                           const std::string& videoId);
  // Returns whether the video of mapper `mapperId` is in collection
  // `collectionId`; false for an empty or non-decimal id and when the query
  // fails.
  bool IsExistInCollectionMap(const std::string& mapperId, const std::string& collectionId);
  // Pages through the members of collection `collectionId`, sorted by
  // `sortBy` ("sort_title", "sort_time" or a column; see
  // VideoDB::SelectAllByCollectionID, whose limit 0 listing is also the one
  // counted for "total"). Fills `answer` with "total", "offset" (offset +
  // items returned) and "videos", each member {"id", "title", "time", "type",
  // "mapper_id"} with the requested additional information of its kind.
  // `count` is only ever set to 0. An empty `collectionId` returns false with
  // `answer`, `total` and `count` untouched; a non-decimal id and a database
  // failure return false with `answer` holding total 0, offset 0 and no
  // videos.
  bool Collection_VideoList(const std::string& collectionId, unsigned long offset,
                            unsigned long limit, _VIDEO_ADDITIONAL_ additional,
                            const std::string& sortBy, _ORDER_DIRECTION_ direction,
                            Json::Value& answer, unsigned long& total, unsigned long& count);
  // As Collection_VideoList, for the members that match `keywords`, an
  // object of criteria (list table or column -> text to find, ignoring
  // case; any may match; see VideoDB::CollectionGlobalSearch). An empty
  // `collectionId` and a `keywords` value that is not a non-empty object
  // return false with `answer`, `total` and `count` untouched.
  bool Collection_Search(const std::string& collectionId, unsigned long offset, unsigned long limit,
                         _VIDEO_ADDITIONAL_ additional, const std::string& sortBy,
                         _ORDER_DIRECTION_ direction, Json::Value keywords, Json::Value& answer,
                         unsigned long& total, unsigned long& count);
  // Sets `collections` to the collections of user `uid` as an array of
  // {"id", "title"} (texts), ordered by title ignoring case, then by id.
  // Returns false, leaving `collections` as it was, for a `uid` that is not a
  // decimal id (no statement) and when the query fails.
  bool Collection_List(const std::string& uid, Json::Value& collections);
  // Deletes collection `collectionId` of user `uid`; its membership rows go
  // with it. Returns 1 when it was deleted, 0 when the user has no such
  // collection (another user's collection included: nothing is deleted), and
  // -1 for ids that are not decimal numbers (no statement) and when a
  // statement fails.
  int Collection_Delete(const std::string& uid, const std::string& collectionId);

  // ---------------------------------------------------------------------------
  // Edits written through the indexing interface: a file's description is
  // read by path, overlaid with the edited values and saved again, which
  // links the file to the item that has the edited identity (creating it when
  // none has). The edit arguments are those of Edit. Nothing here logs, and
  // writes done before a failure stay.

  // Re-saves the description of the file at `path` (whose video_file id is
  // `videoId`) as a movie (1), episode (3) or home video (4) with the edited
  // values, then, for movies and episodes, sets the lock of the item that
  // owns the file (and of an episode's show). Required: movies `title` and
  // `isLock`; episodes `title` (the show's) and `isLock`; home videos
  // `title` and `recordTime`. The stored extra information is dropped when
  // the title (ignoring case) or the year changes, and for an episode also
  // when its season or episode changes, unless new text is given
  // (`plusInfo`, `tvshowPlusInfo`; texts of at most one character count as
  // none). Returns true, also without writing for the other kinds; false for
  // an empty path, a missing required value, a file without a description of
  // the kind, unparsable JSON and a failed save or lock.
  bool UpdateOrInsertFile(_VIDEO_TABLE_TYPE_ type, const std::string& path, const std::string& id,
                          const std::string& videoId, const std::string& title,
                          const std::string& tagLine, const char* date,
                          const std::string& recordTime, const std::string& season,
                          const std::string& episode, const std::string& isLock,
                          const std::string& channelName, const std::string& summary,
                          const std::string& actor, const std::string& director,
                          const std::string& writer, const std::string& genre, const char* plusInfo,
                          const char* tvshowPlusInfo, const char* tvshowSummary,
                          const char* tvshowDate);
  // UpdateOrInsertFile for every file of item `id` of `type`, each tried
  // even when another fails. Returns 1 when all succeeded, 0 when one failed,
  // and 0 for an id that is not a decimal number and an item without files.
  int InsertHandler(_VIDEO_TABLE_TYPE_ type, const std::string& id, const std::string& title,
                    const std::string& tagLine, std::string date, const std::string& recordTime,
                    const std::string& season, const std::string& episode,
                    const std::string& isLock, const std::string& channelName,
                    const std::string& summary, const std::string& actor,
                    const std::string& director, const std::string& writer,
                    const std::string& genre, const char* plusInfo, const char* tvshowPlusInfo,
                    const char* tvshowSummary, const char* tvshowDate);

  // ---------------------------------------------------------------------------
  // Edit: saving an edited item.

  // Saves the edit of an existing item (`id`, its id in the table of `type`,
  // 1 to 5) through MergeHandler, or of a video file without an item
  // (`videoId`, its id in video_file) through UpdateOrInsertFile. Exactly one
  // of the two must be given. For an episode `title` is its show's title and
  // the tvshow arguments are the show's date, summary and extra information.
  // `date` and the last four may be null. Returns false for another type,
  // for both or neither id, and when the edit failed (writes done before
  // the failure stay).
  bool Edit(_VIDEO_TABLE_TYPE_ type, const std::string& id, const std::string& videoId,
            const std::string& title, const std::string& tagLine, const char* date,
            const std::string& recordTime, const std::string& season, const std::string& episode,
            const std::string& isLock, const std::string& channelName, const std::string& summary,
            const std::string& actor, const std::string& director, const std::string& writer,
            const std::string& genre, const char* plusInfo, const char* tvshowPlusInfo,
            const char* tvshowSummary, const char* tvshowDate);
  // Edits item `id` of `type`. When no other item of the kind has the
  // edited identity, the item is updated in place (UpdateHandler; recordings
  // always are). Otherwise it is merged into that item, which keeps its own
  // metadata: its files and collection memberships move there and it is
  // deleted; a show's episodes join the other show, those both have becoming
  // one. An episode whose show title and year name no show is re-saved
  // through its files, creating the show; one that names another show moves
  // into its counterpart there (the old show going with its last episode) or
  // is re-saved under that show, which keeps its own summary, extra
  // information and dates unless the edit gives new ones.
  // Returns 1, also without writing for types outside 1 to 5, or -1.
  int MergeHandler(_VIDEO_TABLE_TYPE_ type, const std::string& id, const std::string& title,
                   const std::string& tagLine, const char* date, const std::string& recordTime,
                   const std::string& season, const std::string& episode, const std::string& isLock,
                   const std::string& channelName, const std::string& summary,
                   const std::string& actor, const std::string& director, const std::string& writer,
                   const std::string& genre, const char* plusInfo, const char* tvshowPlusInfo,
                   const char* tvshowSummary, const char* tvshowDate);

  // ---------------------------------------------------------------------------
  // Poster files: the stored digest of an item's poster, where an item's
  // files lie on disk, and the poster images beside a TV show's videos
  // ("<folder of its first file>/<show title>.jpg", else ".png"), kept in
  // step when a show is renamed or merged. Nothing here logs. Ids stand
  // unquoted in SQL, so an id that is not a decimal number fails without a
  // statement. A show title that holds "/" or NUL, or is "." or "..", could
  // name a file outside the show's folder: such a title is taken as having
  // no poster file, so nothing is read, removed or written under it.

  // Sets `md5` to the digest stored with the poster of mapper `mapperId`.
  // Returns true when the query ran; `md5` is left as it was when the mapper
  // has no poster. False for an empty or non-decimal id (no query) and when
  // the query fails.
  bool Poster_MD5(const std::string& mapperId, std::string& md5);
  // Sets `image` to the bytes of the poster stored for mapper `mapperId`,
  // read inside the server (lo_get), so no file changes hands; should a video
  // have two poster rows, the newest wins. Returns 1 when found, 0 when the
  // mapper has no poster (`image` untouched), -1 for an empty or non-decimal
  // id (no query) and when the query fails or its answer cannot be decoded.
  int Poster_Image(const std::string& mapperId, std::string& image);
  // Sets `path` to the path of one video file of item `id` of `type` (1 to
  // 5; for a TV show, its tvshow id and a file of one of its episodes), ""
  // when the item has no file, and for a TV show `title` to the show's title
  // ("" when there is no such show). Returns true when the queries ran; false
  // for another type and an empty or non-decimal id (no query), and when a
  // query or a row decode fails, leaving `path` and `title` as they were.
  bool Poster_GetFilePath(_VIDEO_TABLE_TYPE_ type, const std::string& id, std::string& path,
                          std::string& title);
  // After show `tvshowId` was renamed from `oldTitle` to `newTitle`, copies
  // its poster file "<old>.jpg" (else "<old>.png") in the show's folder to
  // "<new>" with the same extension, replacing a file there; the old file is
  // kept. Returns 1 when copied and when there is no poster to carry over
  // (also when either title cannot name a poster file); 0 for an empty
  // argument, a non-decimal id, a show without files and a failed copy.
  int UpdateTVShowExPosterHandler(const std::string& tvshowId, const std::string& oldTitle,
                                  const std::string& newTitle);
  // After show `fromTvshowId` was merged into `toTvshowId` (the videos in the
  // first show's folder now belong to the second show): removes the first
  // show's poster file from its folder, then copies the second show's poster
  // ("<to title>.jpg" from its folder, else ".png") into the first show's
  // folder under the second show's title, unless a file of that name is
  // already there. Returns 1 when done, also when there was nothing to copy;
  // 0 for an empty or non-decimal id, a show without files or title, and a
  // failed removal or copy. A poster removed before a failure stays removed.
  int MergeTVShowExPosterHandler(const std::string& fromTvshowId, const std::string& toTvshowId);

  // ---------------------------------------------------------------------------
  // JSON file output helpers.

  // Writes `value`, indented with tabs, to "/volume1/@tmp/output", replacing
  // its content. Returns 0, also when the file cannot be opened.
  int WriteJsonToFile(Json::Value value);
  // Finds the first element of `array` whose "id" text equals `id` and sets
  // `index` to its position. Returns false, leaving `index` alone, when `id`
  // is empty or no element matches.
  bool VerifyExistInJsonArray(std::string id, Json::Value array, unsigned int& index);
};

}  // namespace LibKinolot

#endif  // KINOLOT_VIDEO_METADATA_API_H_
