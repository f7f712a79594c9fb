// A small video library for the tests of the metadata API, inserted with raw
// SQL through the fixture's own connection before every test, and the
// fixture that holds it.
//
// SetUp restarted every id sequence, so rows get ids 1, 2, ... in the order
// they are listed here. The mapper ids:
//   1-5   movies: Alpha (locked, dated), beta, "Sale 50% Off", "Sale 500 Off",
//         "O'Brien Story"
//   6     TV show "Show One" (show id 1) with episodes 7 (S1E1) and 8 (S1E2)
//   9     TV show "Show Two" (show id 2) without episodes
//   10-11 home videos Birthday (2012) and Holiday (2014)
//   12-13 TV recordings News (Channel 5) and Film Night (Arte)
// People and genres: actor "Ann Lee" on movies 1, 2 and episode 7, "Bob Roe"
// on movie 1, "Cara Diaz" on movie 5, "Dan Fox" on episode 8; director "Zed"
// on movie 1; writer "Wes" on movie 2; genres Drama (movies 1 and 5) and
// Comedy (movie 2). Summaries and extra information for movie 1 and show 1,
// two files for movie 1 and one for episode 7, and collection 1 "Favs" of
// user 1024 holding movie 1.
#ifndef KINOLOT_TESTS_SUPPORT_METADATA_LIBRARY_H_
#define KINOLOT_TESTS_SUPPORT_METADATA_LIBRARY_H_

#include <json/json.h>

#include <string>

#include "kinolot/video_metadata_api.h"
#include "support/test_database.h"

namespace kinolot_test {

class MetadataTest : public DatabaseTest {
 protected:
  void SetUp() override {
    DatabaseTest::SetUp();
    Exec(
        "INSERT INTO mapper(type) VALUES ('movie'),('movie'),('movie'),('movie'),('movie'),"
        "('tvshow'),('tvshow_episode'),('tvshow_episode'),('tvshow'),('home_video'),"
        "('home_video'),('tv_record'),('tv_record')");
    Exec(
        "INSERT INTO movie(mapper_id, title, sort_title, tag_line, year, originally_available,"
        " sort_time, isLock) VALUES (1, 'Alpha', 'alpha', 'First', 2001, '2001-05-04',"
        " '2001-05-04', true), (2, 'beta', 'Beta', '', 2003, NULL, NULL, false),"
        " (3, 'Sale 50% Off', 'Sale 50% Off', '', 2003, NULL, NULL, false),"
        " (4, 'Sale 500 Off', 'Sale 500 Off', '', 2005, NULL, NULL, false),"
        " (5, 'O''Brien Story', 'OBrien Story', '', 1999, NULL, NULL, false)");
    Exec(
        "INSERT INTO tvshow(mapper_id, title, sort_title, year, originally_available) VALUES"
        " (6, 'Show One', 'Show One', 2010, '2010-01-01'), (9, 'Show Two', 'Show Two', 2015, "
        "NULL)");
    Exec(
        "INSERT INTO tvshow_episode(mapper_id, tvshow_id, season, episode, tag_line, year,"
        " originally_available) VALUES (7, 1, 1, 1, 'Pilot', 2010, '2010-01-01'),"
        " (8, 1, 1, 2, '', 2011, NULL)");
    Exec(
        "INSERT INTO home_video(mapper_id, title, sort_title, record_time) VALUES"
        " (10, 'Birthday', 'Birthday', '2012-06-01 10:00:00'),"
        " (11, 'Holiday', 'Holiday', '2014-08-01 09:00:00')");
    Exec(
        "INSERT INTO tv_record(mapper_id, title, sort_title, record_time, channel_name) VALUES"
        " (12, 'News', 'News', '2020-01-01 20:00:00', 'Channel 5'),"
        " (13, 'Film Night', 'Film Night', '2021-02-02 21:00:00', 'Arte')");
    Exec(
        "INSERT INTO actor(mapper_id, actor) VALUES (1, 'Ann Lee'), (1, 'Bob Roe'), (2, 'Ann Lee'),"
        " (5, 'Cara Diaz'), (7, 'Ann Lee'), (8, 'Dan Fox')");
    Exec("INSERT INTO director(mapper_id, director) VALUES (1, 'Zed')");
    Exec("INSERT INTO writer(mapper_id, writer) VALUES (2, 'Wes')");
    Exec("INSERT INTO gnere(mapper_id, gnere) VALUES (1, 'Drama'), (2, 'Comedy'), (5, 'Drama')");
    Exec("INSERT INTO summary(mapper_id, summary) VALUES (1, 'Sum A'), (6, 'Sum Show')");
    Exec(
        "INSERT INTO plus_info(mapper_id, plus_info) VALUES (1, '{\"k\":\"v\"}'), (6, "
        "'{\"rating\":\"9\"}')");
    Exec(
        "INSERT INTO video_file(mapper_id, path, filesize, duration, container_type, video_codec,"
        " audio_codec, resolutionX, resolutionY, frame_bitrate, video_bitrate, audio_bitrate,"
        " channel) VALUES"
        " (1, '/v/alpha.mkv', 5000000000, 3725, 'mkv', 'h264', 'aac', 1920, 1080, 25, 8000, 192, "
        "6),"
        " (1, '/v/alpha-extra.mkv', 10, 59, 'mkv', 'h264', 'aac', 640, 480, 25, 100, 64, 2),"
        " (7, '/v/show/s01e01.mp4', 20, 216000, 'mp4', 'hevc', 'ac3', 1280, 720, 24, 900, 96, 2)");
    Exec("INSERT INTO collection(uid, title) VALUES (1024, 'Favs')");
    Exec("INSERT INTO collection_map(mapper_id, collection_id) VALUES (1, 1)");
    MarkStatements();
  }

  static Json::Value Parse(const std::string& text) {
    Json::Value value;
    Json::Reader().parse(text, value);
    return value;
  }
  // A paged answer as the front end receives it; `items` is JSON text.
  static Json::Value Page(unsigned long total, unsigned long offset, const std::string& key,
                          const std::string& items = "[]") {
    Json::Value page(Json::objectValue);
    page["total"] = static_cast<Json::UInt64>(total);
    page["offset"] = static_cast<Json::UInt64>(offset);
    page[key] = Parse(items);
    return page;
  }
  // The values of `key` of each element of `items`, in order, joined by ",".
  static std::string Column(const Json::Value& items, const char* key) {
    std::string out;
    for (const Json::Value& item : items) out += (out.empty() ? "" : ",") + item[key].asString();
    return out;
  }

  // List and Search of `type` sorted by id, into answer_, total_ and count_.
  // The filter arguments keep the interface's order.
  bool List(LibKinolot::_VIDEO_TABLE_TYPE_ type, const std::string& showId = "",
            const char* actor = nullptr, const char* director = nullptr,
            const std::string& year = "", unsigned int additional = 0) {
    return api_.List(type, 0, 0, static_cast<LibKinolot::_VIDEO_ADDITIONAL_>(additional), "id",
                     LibKinolot::ORDER_DIRECTION_ASC, showId, actor, director, nullptr, nullptr,
                     year, answer_, total_, count_);
  }
  bool SearchMovies(const Json::Value& keywords, const std::string& title,
                    const char* actor = nullptr, const char* genre = nullptr,
                    const std::string& year = "") {
    return api_.Search(LibKinolot::VIDEO_TABLE_MOVIE, 0, 0, LibKinolot::VIDEO_ADDITIONAL_NONE, "id",
                       LibKinolot::ORDER_DIRECTION_ASC, keywords, title, "", actor, nullptr,
                       nullptr, genre, year, answer_, total_, count_);
  }

  LibKinolot::VideoMetadataAPI api_;
  Json::Value answer_;
  unsigned long total_ = 77;
  unsigned long count_ = 77;
};

}  // namespace kinolot_test

#endif  // KINOLOT_TESTS_SUPPORT_METADATA_LIBRARY_H_
