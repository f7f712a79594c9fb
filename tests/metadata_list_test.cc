// List, Search, GetInfo and category browse on the real server: paging and
// totals, the item of every kind, the additional information, what each
// filter and keyword search finds (also for values holding quotes, LIKE
// wildcards or SQL), browse entries, and requests that must be refused
// without running anything.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "kinolot/mapping_tables.h"
#include "kinolot/video_metadata_db.h"
#include "support/metadata_library.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

using Texts = std::vector<std::string>;

class MetadataListTest : public MetadataTest {
 protected:
  bool ListMovies(unsigned long offset, unsigned long limit, const std::string& sortBy,
                  _ORDER_DIRECTION_ direction = ORDER_DIRECTION_ASC, unsigned int additional = 0) {
    return api_.List(VIDEO_TABLE_MOVIE, offset, limit, static_cast<_VIDEO_ADDITIONAL_>(additional),
                     sortBy, direction, "", nullptr, nullptr, nullptr, nullptr, "", answer_, total_,
                     count_);
  }
};

TEST_F(MetadataListTest, PagesCountEverythingAndPointAtTheNextPage) {
  ASSERT_TRUE(ListMovies(2, 2, "sort_title"));
  EXPECT_TRUE(
      Received("SELECT * FROM movie ORDER BY UPPER(movie.sort_title) ASC OFFSET 2  LIMIT 2 "))
      << testing::PrintToString(Statements());
  // alpha, Beta, OBrien, Sale 50%, Sale 500; the offset points past the page.
  EXPECT_EQ(Column(answer_["movies"], "id"), "5,3");
  EXPECT_EQ(std::make_pair(answer_["offset"].asUInt(), answer_["total"].asUInt()),
            std::make_pair(4u, 5u));
  EXPECT_EQ(std::make_pair(total_, count_), std::make_pair(5ul, 0ul)) << "count stays 0";

  ASSERT_TRUE(ListMovies(20, 10, ""));
  EXPECT_EQ(answer_, Page(5, 20, "movies"));
}

TEST_F(MetadataListTest, EveryKindAnswersUnderItsOwnKeyWithItsOwnItem) {
  const std::tuple<_VIDEO_TABLE_TYPE_, const char*, const char*> cases[] = {
      {VIDEO_TABLE_MOVIE, "movies",
       R"({"id": "1", "title": "Alpha", "tagline": "First", "original_available": "2001-05-04",
           "metadata_locked": true, "mapper_id": "1"})"},
      {VIDEO_TABLE_TVSHOW, "tvshows",
       R"({"id": "1", "title": "Show One", "original_available": "2010-01-01",
           "metadata_locked": false, "mapper_id": "6"})"},
      // A listed episode carries its show's title; the show's mapper id and
      // date come with GetInfo only.
      {VIDEO_TABLE_TVSHOW_EPISODE, "episodes",
       R"({"id": "1", "tvshow_id": "1", "title": "Show One", "tagline": "Pilot",
           "original_available": "2010-01-01", "season": 1, "episode": 1,
           "metadata_locked": false, "tvshow_mapper_id": "0", "tvshow_original_available": "",
           "mapper_id": "7"})"},
      {VIDEO_TABLE_HOME_VIDEO, "videos",
       R"({"id": "1", "title": "Birthday", "record_date": "2012-06-01 10:00:00",
           "mapper_id": "10"})"},
      {VIDEO_TABLE_TV_RECORD, "recordings",
       R"({"id": "1", "title": "News", "record_date": "2020-01-01 20:00:00",
           "channel_name": "Channel 5", "mapper_id": "12"})"}};
  for (const auto& [type, key, first] : cases) {
    ASSERT_TRUE(List(type));
    EXPECT_EQ(answer_.size(), 3u) << key;
    EXPECT_EQ(answer_["total"].asUInt(), answer_[key].size()) << key;
    EXPECT_EQ(answer_[key][0], Parse(first)) << answer_.toStyledString();
  }
}

TEST_F(MetadataListTest, EveryAdditionalPieceWithOneQueryEach) {
  ASSERT_TRUE(ListMovies(0, 2, "id", ORDER_DIRECTION_ASC, 0x1FF));
  // Page, total and one query per piece, each for the whole page.
  EXPECT_EQ(Statements().size(), 11u) << testing::PrintToString(Statements());
  EXPECT_TRUE(Received(
      "SELECT * FROM actor WHERE mapper_id in (SELECT mapper_id FROM movie WHERE id=1 or id=2) "));
  // The episodes' dates are the server's; take them over before comparing.
  for (Json::Value& episode : answer_["movies"][0]["additional"]["episode"]) {
    EXPECT_FALSE(episode["create_date"].asString().empty());
    episode.removeMember("create_date");
    episode.removeMember("modify_date");
  }
  // The episode piece is served for movies too once another piece is asked
  // for; it matches item ids as show ids, so movie 1 shows show 1's episodes.
  EXPECT_EQ(answer_, Page(5, 2, "movies", R"([
    {"id": "1", "title": "Alpha", "tagline": "First", "original_available": "2001-05-04",
     "metadata_locked": true, "mapper_id": "1", "additional": {
       "summary": "Sum A", "extra": "{\"k\":\"v\"}", "actor": ["Ann Lee", "Bob Roe"],
       "director": ["Zed"], "genre": ["Drama"], "collection": [{"id": "1", "title": "Favs"}],
       "episode": [
         {"season": "1", "episode": "1", "tag_line": "Pilot"},
         {"season": "1", "episode": "2", "tag_line": ""}],
       "files": [
         {"id": "1", "path": "/v/alpha.mkv", "filesize": "5000000000", "duration": "1:02:05",
          "container_type": "mkv", "video_codec": "h264", "audio_codec": "aac",
          "resolutionx": "1920", "resolutiony": "1080", "frame_bitrate": "25",
          "video_bitrate": "8000", "audio_bitrate": "192", "channel": "6"},
         {"id": "2", "path": "/v/alpha-extra.mkv", "filesize": "10", "duration": "0:00:59",
          "container_type": "mkv", "video_codec": "h264", "audio_codec": "aac",
          "resolutionx": "640", "resolutiony": "480", "frame_bitrate": "25",
          "video_bitrate": "100", "audio_bitrate": "64", "channel": "2"}]}},
    {"id": "2", "title": "beta", "tagline": "", "original_available": "2003",
     "metadata_locked": false, "mapper_id": "2", "additional": {
       "actor": ["Ann Lee"], "writer": ["Wes"], "genre": ["Comedy"]}}])"))
      << answer_.toStyledString();

  // Shows find their episodes by show id, the rest by mapper id; a show
  // that nothing matched gets no "additional" at all.
  ASSERT_TRUE(List(VIDEO_TABLE_TVSHOW, "", nullptr, nullptr, "", 0x1 | 0x4));
  EXPECT_TRUE(
      Received("SELECT * FROM tvshow_episode WHERE tvshow_id in (SELECT id FROM tvshow WHERE id=1 "
               "or id=2) "));
  EXPECT_EQ(Column(answer_["tvshows"][0]["additional"]["episode"], "episode"), "1,2");
  EXPECT_EQ(answer_["tvshows"][0]["additional"]["summary"], Json::Value("Sum Show"));
  EXPECT_FALSE(answer_["tvshows"][1].isMember("additional"));
}

TEST_F(MetadataListTest, EachKindSkipsTheAdditionalPiecesThatDoNotApplyToIt) {
  // Kind, requested pieces and the number of queries they take.
  const std::tuple<_VIDEO_TABLE_TYPE_, unsigned int, size_t> cases[] = {
      {VIDEO_TABLE_MOVIE, 0x4, 0},          {VIDEO_TABLE_MOVIE, 0x4 | 0x8, 2},
      {VIDEO_TABLE_TVSHOW_EPISODE, 0x4, 0}, {VIDEO_TABLE_TVSHOW, 0x8 | 0x100, 0},
      {VIDEO_TABLE_TVSHOW, 0x2 | 0x8, 2},   {VIDEO_TABLE_HOME_VIDEO, 0x2 | 0x4, 0},
      {VIDEO_TABLE_HOME_VIDEO, 0x1, 1},     {VIDEO_TABLE_TV_RECORD, 0x200, 0},
      {VIDEO_TABLE_TV_RECORD, 0x2, 1},      {VIDEO_TABLE_TV_RECORD, 0, 0}};
  for (const auto& [type, bits, queries] : cases) {
    Json::Value items = Parse(R"([{"id": "1", "mapper_id": "1"}])");
    MarkStatements();
    api_.AdditionalHandler(type, static_cast<_VIDEO_ADDITIONAL_>(bits), gMappingTable[type], items);
    EXPECT_EQ(Statements().size(), queries) << type << " " << bits;
  }

  // Items without a decimal id take no part, and a value that is not an
  // object is not overwritten.
  Json::Value items = Parse(R"(["not an item", {}, {"id": "1 or 1=1", "mapper_id": "1"},
    {"id": "5", "mapper_id": "x"}, {"id": 2, "mapper_id": 2, "additional": "kept"}])");
  MarkStatements();
  api_.AdditionalHandler(VIDEO_TABLE_MOVIE, VIDEO_ADDITIONAL_ACTOR, "movie", items);
  EXPECT_EQ(Statements(), std::vector<std::string>{"SELECT * FROM actor WHERE mapper_id in (SELECT "
                                                   "mapper_id FROM movie WHERE id=5 or id=2) "});
  EXPECT_EQ(items[4]["additional"], Json::Value("kept"));
  EXPECT_FALSE(items[2].isMember("additional") || items[3].isMember("additional"));

  // Table names and id conditions stand unquoted in the query: anything but
  // plain names and "id=<number>" is refused before a query is sent.
  MarkStatements();
  Json::Value found(Json::objectValue);
  api_.SelectAdditional("movie WHERE 1=1) OR (1=1", "actor", {"id=1"}, found);
  api_.SelectAdditional("movie", "actor a, summary", {"id=1"}, found);
  api_.SelectAdditional("movie", "actor", {"id=1", "id=1) OR (1=1"}, found);
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
  EXPECT_EQ(found, Json::Value(Json::objectValue));
}

TEST_F(MetadataListTest, GetInfoOpensOneItemAndAnEpisodeWithItsShow) {
  // Of two summaries of one video the later row wins.
  Exec("INSERT INTO summary(mapper_id, summary) VALUES (1, 'Sum A, revised')");
  Json::Value answer;
  ASSERT_TRUE(api_.GetInfo(VIDEO_TABLE_MOVIE, VIDEO_ADDITIONAL_SUMMARY, "1", answer));
  EXPECT_TRUE(Received("SELECT * FROM movie WHERE movie.id=1 "));
  EXPECT_EQ(answer, Parse(R"({"movies": [{"id": "1", "title": "Alpha", "tagline": "First",
    "original_available": "2001-05-04", "metadata_locked": true, "mapper_id": "1",
    "additional": {"summary": "Sum A, revised"}}]})"));

  ASSERT_TRUE(
      api_.GetInfo(VIDEO_TABLE_TVSHOW_EPISODE, VIDEO_ADDITIONAL_TVSHOW_SUMMARY, "1", answer));
  EXPECT_EQ(answer["episodes"][0]["additional"],
            Parse(R"({"tvshow_summary": "Sum Show", "tvshow_extra": "{\"rating\":\"9\"}"})"));

  // A show without summary or extra gives both keys as null; without a date
  // the year stands in.
  Exec("INSERT INTO mapper(type) VALUES ('tvshow_episode')");
  Exec("INSERT INTO tvshow_episode(mapper_id, tvshow_id, season, episode) VALUES (14, 2, 1, 1)");
  ASSERT_TRUE(
      api_.GetInfo(VIDEO_TABLE_TVSHOW_EPISODE, VIDEO_ADDITIONAL_TVSHOW_PLUS_INFO, "3", answer));
  EXPECT_EQ(answer, Parse(R"({"episodes": [{"id": "3", "tvshow_id": "2", "title": "Show Two",
    "tagline": "", "original_available": "0", "season": 1, "episode": 1,
    "metadata_locked": false, "tvshow_mapper_id": "9", "tvshow_original_available": "2015",
    "mapper_id": "14", "additional": {"tvshow_extra": null, "tvshow_summary": null}}]})"));

  ASSERT_TRUE(api_.GetInfo(VIDEO_TABLE_HOME_VIDEO, VIDEO_ADDITIONAL_NONE, "999", answer));
  EXPECT_EQ(answer, Parse(R"({"videos": []})"));
  MarkStatements();
  for (const char* id : {"", "1 or 1=1", " 1"}) {
    answer = Json::Value("stale");
    EXPECT_TRUE(api_.GetInfo(VIDEO_TABLE_MOVIE, VIDEO_ADDITIONAL_NONE, id, answer));
    EXPECT_EQ(answer, Json::Value(Json::objectValue)) << id;
  }
  EXPECT_TRUE(api_.GetInfo(VIDEO_TABLE_SUMMARY, VIDEO_ADDITIONAL_NONE, "1", answer));
  EXPECT_EQ(answer, Json::Value(Json::objectValue));
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
}

TEST_F(MetadataListTest, BadRequestsFailCleanlyAndChangeNothing) {
  Rows before = Snapshot();
  // Kinds that are not listed: the answer and the counts stay as they were.
  answer_ = Json::Value("untouched");
  EXPECT_FALSE(List(VIDEO_TABLE_COLLECTION));
  EXPECT_FALSE(api_.Search(static_cast<_VIDEO_TABLE_TYPE_>(-3), 0, 10, VIDEO_ADDITIONAL_NONE, "",
                           ORDER_DIRECTION_ASC, Json::Value(), "", "", nullptr, nullptr, nullptr,
                           nullptr, "", answer_, total_, count_));
  EXPECT_EQ(answer_, Json::Value("untouched"));
  EXPECT_EQ(std::make_pair(total_, count_), std::make_pair(77ul, 77ul));

  // The server refuses the offset, a sort key that is not a column name is
  // refused before it could run as SQL, and Search refuses keywords that are
  // not an object; the answer is the empty one.
  const std::function<bool()> refused[] = {
      [&] { return ListMovies(ULONG_MAX, 10, ""); },
      [&] { return ListMovies(0, 10, "no_such_column"); },
      [&] { return ListMovies(0, 1, "id; DELETE FROM movie --"); },
      [&] { return SearchMovies(Parse(R"(["Alpha"])"), ""); }};
  for (const auto& call : refused) {
    answer_ = Json::Value("stale");
    EXPECT_FALSE(call());
    EXPECT_EQ(answer_, Page(0, 0, "movies"));
  }
  EXPECT_TRUE(ListMovies(LONG_MAX, LONG_MAX, ""));
  EXPECT_EQ(answer_["movies"], Json::Value(Json::arrayValue));
  EXPECT_EQ(Snapshot(), before);
}

TEST_F(MetadataListTest, BrowseListsDistinctNamesAndYearsWithTheUnknownEntry) {
  auto browse = [&](_VIDEO_TABLE_TYPE_ type, _VIDEO_CATEGORY_ category, const char* keyword,
                    unsigned long offset = 0, unsigned long limit = 0,
                    _ORDER_DIRECTION_ direction = ORDER_DIRECTION_ASC) {
    count_ = 77;
    EXPECT_TRUE(api_.CategoryBrowse(type, category, offset, limit, direction, keyword, answer_,
                                    total_, count_));
    EXPECT_EQ(std::make_pair(total_, count_), std::make_pair(answer_["total"].asUInt64(), 0ul));
    return answer_;
  };
  // "Ann Lee" is rows 1 and 3; movies 3 and 4 have no actor: the unknown
  // entry ends every page and is counted.
  EXPECT_EQ(browse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_ACTOR, nullptr),
            Page(4, 4, "metadatas", R"([{"id": "1", "name": "Ann Lee"},
              {"id": "2", "name": "Bob Roe"}, {"id": "4", "name": "Cara Diaz"}, {}])"));
  EXPECT_TRUE(
      Received("SELECT actor, MIN(id) as id FROM actor WHERE mapper_id in ( SELECT id FROM mapper "
               "WHERE type='movie' )  GROUP BY actor  ORDER BY UPPER(actor) ASC"));
  EXPECT_EQ(browse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_ACTOR, nullptr, 1, 1, ORDER_DIRECTION_DESC),
            Page(4, 3, "metadatas", R"([{"id": "2", "name": "Bob Roe"}, {}])"));
  // Any keyword, even an empty one, drops the unknown entry; fragments are
  // literal and ignore letter case.
  EXPECT_EQ(browse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_ACTOR, "")["total"].asUInt(), 3u);
  EXPECT_EQ(browse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_ACTOR, "AN"),
            Page(1, 1, "metadatas", R"([{"id": "1", "name": "Ann Lee"}])"));
  for (const char* literal : {"%", "' OR '1'='1"}) {
    EXPECT_EQ(browse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_ACTOR, literal), Page(0, 0, "metadatas"));
  }
  EXPECT_EQ(browse(VIDEO_TABLE_TVSHOW_EPISODE, VIDEO_CATEGORY_ACTOR, nullptr),
            Page(2, 2, "metadatas",
                 R"([{"id": "5", "name": "Ann Lee"}, {"id": "6", "name": "Dan Fox"}])"));
  EXPECT_EQ(browse(VIDEO_TABLE_HOME_VIDEO, VIDEO_CATEGORY_DIRECTOR, nullptr),
            Page(1, 1, "metadatas", "[{}]"));
  EXPECT_EQ(browse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_YEAR, nullptr, 0, 0, ORDER_DIRECTION_DESC),
            Page(4, 4, "metadatas", R"([{"id": "2005", "name": "2005"},
              {"id": "2003", "name": "2003"}, {"id": "2001", "name": "2001"},
              {"id": "1999", "name": "1999"}])"));
  // Home videos and recordings by the year of their recording.
  Exec("INSERT INTO mapper(type) VALUES ('home_video')");
  Exec("INSERT INTO home_video(mapper_id, title, record_time) VALUES (14, 'Again', '2012-12-31')");
  EXPECT_EQ(browse(VIDEO_TABLE_HOME_VIDEO, VIDEO_CATEGORY_YEAR, nullptr),
            Page(2, 2, "metadatas",
                 R"([{"id": "2012", "name": "2012"}, {"id": "2014", "name": "2014"}])"));

  // Refused kinds, categories and offsets.
  answer_ = Json::Value("stale");
  EXPECT_FALSE(api_.CategoryBrowse(VIDEO_TABLE_COLLECTION, VIDEO_CATEGORY_ACTOR, 0, 0,
                                   ORDER_DIRECTION_ASC, nullptr, answer_, total_, count_));
  EXPECT_EQ(answer_, Page(0, 0, "metadatas"));
  EXPECT_FALSE(api_.CategoryBrowse(VIDEO_TABLE_MOVIE, static_cast<_VIDEO_CATEGORY_>(9), 0, 0,
                                   ORDER_DIRECTION_ASC, nullptr, answer_, total_, count_));
  EXPECT_FALSE(api_.CategoryBrowse(VIDEO_TABLE_MOVIE, VIDEO_CATEGORY_ACTOR, ULONG_MAX, 1,
                                   ORDER_DIRECTION_ASC, nullptr, answer_, total_, count_));
  EXPECT_EQ(answer_, Page(0, 0, "metadatas"));
  EXPECT_EQ(std::make_pair(total_, count_), std::make_pair(0ul, 0ul));
}

TEST_F(MetadataListTest, JsonHelpersLeaveWhatIsNoArrayAloneAndWriteTheOutputFileWhole) {
  _VIDEO_INFO_ALL_ row{};
  Json::Value notAnArray = Parse(R"({"x": 1})");
  api_.DBdataToMovieArray(row, notAnArray);
  api_.AppendObjectToArray(Json::Value("a"), notAnArray);
  EXPECT_EQ(notAnArray, Parse(R"({"x": 1})"));

  const char kPath[] = "/volume1/@tmp/output";
  bool madeVolume = mkdir("/volume1", 0755) == 0, madeDir = mkdir("/volume1/@tmp", 0755) == 0;
  bool hadFile = access(kPath, F_OK) == 0;
  if (!(std::ofstream(kPath) << "an earlier, longer dump"))
    GTEST_SKIP() << "cannot write " << kPath;
  EXPECT_EQ(api_.WriteJsonToFile(Parse(R"({"movies": [{"id": "1"}]})")), 0);
  std::stringstream text;
  text << std::ifstream(kPath).rdbuf();
  EXPECT_EQ(text.str(), "{\n\t\"movies\" : \n\t[\n\t\t{\n\t\t\t\"id\" : \"1\"\n\t\t}\n\t]\n}\n");
  if (!hadFile) unlink(kPath);
  if (madeDir) rmdir("/volume1/@tmp");
  if (madeVolume) rmdir("/volume1");
}

TEST_F(MetadataListTest, TableNamesOfFiltersCannotCarrySql) {
  // Table names stand unquoted: only plain names are taken.
  VideoDB db(nullptr, "movie");
  std::string value;
  api_.GetValueById("actor; DELETE FROM movie; --", "1", value);
  api_.FilterId(db, "actor; DELETE FROM movie; --", "1");
  api_.FilterName(db, "actor a, movie", "Ann");
  api_.FilterHandler(db, VIDEO_TABLE_MOVIE, VIDEO_ACTION_LIST, "movie m, actor", "", "", "", "",
                     nullptr, nullptr, nullptr, "2003");
  EXPECT_EQ(db.join_tables.size() + db.conditions.size() + value.size(), 0u);
  EXPECT_EQ(Count("movie"), 5);
}

TEST_F(MetadataListTest, ListsAndSearchesFindWhatTheFiltersName) {
  ASSERT_TRUE(List(VIDEO_TABLE_MOVIE, "", "3"));
  EXPECT_EQ(Column(answer_["movies"], "id"), "1,2") << "every movie with that name";
  EXPECT_EQ(total_, 2u);
  // Both episodes of show 1 lack a director; the show is listed once.
  ASSERT_TRUE(List(VIDEO_TABLE_TVSHOW, "", nullptr, ""));
  EXPECT_EQ(Column(answer_["tvshows"], "title"), "Show One");
  ASSERT_TRUE(SearchMovies(Json::Value(), "", "lee", "dram"));
  EXPECT_EQ(Column(answer_["movies"], "id"), "1");
  ASSERT_TRUE(List(VIDEO_TABLE_MOVIE, "", ""));
  EXPECT_EQ(Column(answer_["movies"], "id"), "3,4");
  ASSERT_TRUE(List(VIDEO_TABLE_TVSHOW_EPISODE, "1", nullptr, nullptr, "2011"));
  EXPECT_EQ(Column(answer_["episodes"], "id"), "2");
  ASSERT_TRUE(List(VIDEO_TABLE_HOME_VIDEO, "", nullptr, nullptr, "2012"));
  EXPECT_EQ(Column(answer_["videos"], "title"), "Birthday") << "the year of the recording";
  // Recordings are searched by title and channel fragments only: no person,
  // genre or year narrows them.
  ASSERT_TRUE(api_.Search(VIDEO_TABLE_TV_RECORD, 0, 0, VIDEO_ADDITIONAL_NONE, "id",
                          ORDER_DIRECTION_ASC, Json::Value(), "ew", "hannel 5", "Ann", nullptr,
                          nullptr, "Drama", "1999", answer_, total_, count_));
  EXPECT_EQ(Column(answer_["recordings"], "title"), "News");
  ASSERT_TRUE(api_.Search(VIDEO_TABLE_TV_RECORD, 0, 0, VIDEO_ADDITIONAL_NONE, "id",
                          ORDER_DIRECTION_ASC, Json::Value(), "", "%", nullptr, nullptr, nullptr,
                          nullptr, "", answer_, total_, count_));
  EXPECT_EQ(total_, 0u) << "a channel fragment is literal";

  // Ids that name no row, and years and show ids that are not numbers,
  // match nothing: had they reached the server as SQL, they would match all.
  for (const char* missing : {"999", "1 or 1=1", "-1"}) {
    ASSERT_TRUE(List(VIDEO_TABLE_MOVIE, "", nullptr, missing));
    EXPECT_EQ(answer_, Page(0, 0, "movies")) << missing;
  }
  for (_VIDEO_TABLE_TYPE_ type : {VIDEO_TABLE_MOVIE, VIDEO_TABLE_TVSHOW, VIDEO_TABLE_TVSHOW_EPISODE,
                                  VIDEO_TABLE_HOME_VIDEO}) {
    ASSERT_TRUE(List(type, "", nullptr, nullptr, "2003' OR '1'='1"));
    EXPECT_EQ(answer_, Page(0, 0, gMappingKeyName[type])) << type;
  }
  for (const char* showId : {"1; DELETE FROM mapper", "1 or true"}) {
    ASSERT_TRUE(List(VIDEO_TABLE_TVSHOW_EPISODE, showId));
    EXPECT_EQ(answer_, Page(0, 0, "episodes")) << showId;
  }
  EXPECT_EQ(Count("mapper"), 13);

  // Title fragments are found literally.
  Exec("INSERT INTO mapper(type) VALUES ('movie')");
  Exec("INSERT INTO movie(mapper_id, title) VALUES (14, 'Amélie a\\b')");
  const std::pair<const char*, const char*> fragments[] = {
      {"50%", "3"},        {"sale 50", "3,4"}, {"_", ""},           {"O'Brien", "5"},
      {"mélie a\\b", "6"}, {"\\", "6"},        {"%' OR '1'='1", ""}};
  for (const auto& [fragment, ids] : fragments) {
    ASSERT_TRUE(SearchMovies(Json::Value(), fragment)) << fragment;
    EXPECT_EQ(Column(answer_["movies"], "id"), ids) << fragment;
  }
  EXPECT_EQ(Count("movie"), 6);
}

TEST_F(MetadataListTest, KeywordSearchIsOneConditionOfAlternatives) {
  VideoDB movies(nullptr, "movie");
  ASSERT_TRUE(api_.GlobalSearch(movies, VIDEO_TABLE_MOVIE,
                                Parse(R"({"title": "star", "actor": "O'Ford 5%"})")));
  EXPECT_EQ(movies.conditions,
            Texts{" id IN ( select movie.id FROM movie  LEFT JOIN mapper ON "
                  "mapper.id=movie.mapper_id LEFT JOIN actor ON mapper.id=actor.mapper_id WHERE "
                  "actor ilike '%O''Ford 5\\%%' or title ilike '%star%' GROUP BY movie.id )"});
  Json::Value byTitle = Parse(R"({"title": "one"})");

  // Refused: other kinds, and keywords that are not an object of plain
  // column names with texts.
  VideoDB refused(nullptr, "tvshow_episode");
  EXPECT_FALSE(api_.GlobalSearch(refused, VIDEO_TABLE_TVSHOW_EPISODE, byTitle));
  EXPECT_FALSE(api_.GlobalSearch(refused, VIDEO_TABLE_TV_RECORD, byTitle));
  for (const char* bad :
       {R"("star")", "[]", R"({"title) OR (1=1": "x"})", R"({"title": "x", "actor": ["ann"]})"}) {
    EXPECT_FALSE(api_.GlobalSearch(movies, VIDEO_TABLE_MOVIE, Parse(bad))) << bad;
  }
  EXPECT_TRUE(refused.conditions.empty());
  EXPECT_EQ(movies.conditions.size(), 1u);

  // Through Search: the keywords win over every filter argument.
  ASSERT_TRUE(
      SearchMovies(Parse(R"({"actor": "ann", "title": "o'brien"})"), "Alpha", "", "", "1850"));
  EXPECT_EQ(Column(answer_["movies"], "id"), "1,2,5");
  EXPECT_EQ(total_, 3u);
  ASSERT_TRUE(api_.Search(VIDEO_TABLE_TVSHOW, 0, 0, VIDEO_ADDITIONAL_NONE, "id",
                          ORDER_DIRECTION_ASC, byTitle, "", "", nullptr, nullptr, nullptr, nullptr,
                          "", answer_, total_, count_));
  EXPECT_EQ(Column(answer_["tvshows"], "title"), "Show One");
}

}  // namespace
}  // namespace kinolot_test
