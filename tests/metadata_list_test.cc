// List, Search and GetInfo on the real server: paging and totals, the answer
// of every kind, the whole answer with every additional piece, the episode
// with its show's information, and bad requests that must change nothing.
#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <string>

#include "support/metadata_library.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

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
  EXPECT_EQ(answer_["total"], Json::Value(Json::UInt64(5)));
  EXPECT_EQ(answer_["offset"], Json::Value(Json::UInt64(4)));
  EXPECT_EQ(Column(answer_["movies"], "id"), "5,3") << "alpha, Beta, OBrien, Sale 50%, Sale 500";
  EXPECT_EQ(total_, 5u);
  EXPECT_EQ(count_, 0u) << "the number of items is told only by the offset";

  ASSERT_TRUE(ListMovies(0, 0, "year", ORDER_DIRECTION_DESC));
  EXPECT_EQ(Column(answer_["movies"], "original_available"), "2005,2003,2003,2001-05-04,1999");
  ASSERT_TRUE(ListMovies(20, 10, ""));
  EXPECT_EQ(answer_, Page(5, 20, "movies", Json::Value(Json::arrayValue)));
}

TEST_F(MetadataListTest, EveryKindAnswersUnderItsOwnKey) {
  const char* keys[] = {"", "movies", "tvshows", "episodes", "videos", "recordings"};
  const char* titles[] = {"",
                          "Alpha,beta,Sale 50% Off,Sale 500 Off,O'Brien Story",
                          "Show One,Show Two",
                          "Show One,Show One",
                          "Birthday,Holiday",
                          "News,Film Night"};
  for (int type = 1; type <= 5; ++type) {
    ASSERT_TRUE(List(static_cast<_VIDEO_TABLE_TYPE_>(type), ""));
    EXPECT_TRUE(answer_.isMember(keys[type]) && answer_.size() == 3u) << answer_.toStyledString();
    EXPECT_EQ(Column(answer_[keys[type]], "title"), titles[type]) << type;
  }
}

TEST_F(MetadataListTest, EveryAdditionalPieceWithOneQueryEach) {
  MarkStatements();
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
  EXPECT_EQ(answer_, Page(5, 2, "movies", Parse(R"([
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
       "actor": ["Ann Lee"], "writer": ["Wes"], "genre": ["Comedy"]}}])")))
      << answer_.toStyledString();
}

TEST_F(MetadataListTest, GetInfoOpensOneItemAndAnEpisodeWithItsShow) {
  Json::Value answer;
  ASSERT_TRUE(api_.GetInfo(VIDEO_TABLE_MOVIE, VIDEO_ADDITIONAL_SUMMARY, "1", answer));
  EXPECT_TRUE(Received("SELECT * FROM movie WHERE movie.id=1 "));
  EXPECT_EQ(answer, Parse(R"({"movies": [{"id": "1", "title": "Alpha", "tagline": "First",
    "original_available": "2001-05-04", "metadata_locked": true, "mapper_id": "1",
    "additional": {"summary": "Sum A"}}]})"));

  ASSERT_TRUE(
      api_.GetInfo(VIDEO_TABLE_TVSHOW_EPISODE, VIDEO_ADDITIONAL_TVSHOW_SUMMARY, "1", answer));
  EXPECT_EQ(answer, Parse(R"({"episodes": [{"id": "1", "tvshow_id": "1", "title": "Show One",
    "tagline": "Pilot", "original_available": "2010-01-01", "season": 1, "episode": 1,
    "metadata_locked": false, "tvshow_mapper_id": "6", "tvshow_original_available": "2010-01-01",
    "mapper_id": "7", "additional": {"tvshow_summary": "Sum Show",
    "tvshow_extra": "{\"rating\":\"9\"}"}}]})"));

  // A show without summary or extra gives both keys as null.
  Exec("INSERT INTO mapper(id, type) VALUES (14, 'tvshow_episode')");
  Exec(
      "INSERT INTO tvshow_episode(id, mapper_id, tvshow_id, season, episode) VALUES (3, 14, 2, 1, "
      "1)");
  ASSERT_TRUE(
      api_.GetInfo(VIDEO_TABLE_TVSHOW_EPISODE, VIDEO_ADDITIONAL_TVSHOW_PLUS_INFO, "3", answer));
  EXPECT_EQ(answer["episodes"][0]["additional"], Parse(R"({"tvshow_extra": null,
    "tvshow_summary": null})"));

  // No such item, a collection (no item shape), and the quiet failures.
  ASSERT_TRUE(api_.GetInfo(VIDEO_TABLE_HOME_VIDEO, VIDEO_ADDITIONAL_NONE, "999", answer));
  EXPECT_EQ(answer, Parse(R"({"videos": []})"));
  ASSERT_TRUE(api_.GetInfo(VIDEO_TABLE_COLLECTION, VIDEO_ADDITIONAL_NONE, "1", answer));
  EXPECT_EQ(answer, Parse(R"({"": []})"));
  MarkStatements();
  for (const char* id : {"", "1 or 1=1", "1;DELETE FROM movie", " 1", "x"}) {
    answer = Json::Value("stale");
    EXPECT_TRUE(api_.GetInfo(VIDEO_TABLE_MOVIE, VIDEO_ADDITIONAL_NONE, id, answer));
    EXPECT_EQ(answer, Json::Value(Json::objectValue)) << id;
  }
  EXPECT_TRUE(api_.GetInfo(VIDEO_TABLE_SUMMARY, VIDEO_ADDITIONAL_NONE, "1", answer));
  EXPECT_EQ(answer, Json::Value(Json::objectValue));
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
}

TEST_F(MetadataListTest, BadRequestsFailCleanlyAndChangeNothing) {
  std::string before = Fingerprint();
  // Kinds that are not listed: the answer and the counts stay as they were.
  answer_ = Json::Value("untouched");
  EXPECT_FALSE(List(VIDEO_TABLE_COLLECTION, ""));
  EXPECT_FALSE(api_.Search(static_cast<_VIDEO_TABLE_TYPE_>(-3), 0, 10, VIDEO_ADDITIONAL_NONE, "",
                           ORDER_DIRECTION_ASC, Json::Value(), "", "", nullptr, nullptr, nullptr,
                           nullptr, "", answer_, total_, count_));
  EXPECT_EQ(answer_, Json::Value("untouched"));
  EXPECT_EQ(total_, 77u);
  EXPECT_EQ(count_, 77u);

  // The server refuses these, a sort key that is not a column name is
  // refused before it could run as SQL, and Search refuses keywords that are
  // not an object; the answer is the initial one.
  const std::function<bool()> refused[] = {
      [&] { return ListMovies(ULONG_MAX, 10, ""); },
      [&] { return ListMovies(0, 10, "no_such_column"); },
      [&] { return ListMovies(0, 1, "id; DELETE FROM movie --"); },
      [&] { return SearchMovies(Parse(R"(["Alpha"])"), ""); }};
  for (const auto& call : refused) {
    answer_ = Json::Value("stale");
    EXPECT_FALSE(call());
    EXPECT_EQ(answer_, EmptyPage("movies"));
  }
  EXPECT_TRUE(ListMovies(LONG_MAX, LONG_MAX, ""));
  EXPECT_EQ(answer_["movies"], Json::Value(Json::arrayValue));
  EXPECT_EQ(Fingerprint(), before);
}

}  // namespace
}  // namespace kinolot_test
