// Reading stored videos back by path through the indexing interface, on the
// real server.
#include <gtest/gtest.h>

#include <string>

#include "kinolot/video_info_store.h"
#include "support/test_database.h"
#include "video_info_test_util.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

class VideoInfoReadTest : public DatabaseTest {};

TEST_F(VideoInfoReadTest, MovieComesBackWithItsTextsListsAndRowDate) {
  const std::string path = "/v/It's Me \\ 100% \xC3\x84rger.mkv";
  _VIDEO_INFO_ movie = Movie("It's Me \\ 100%", 2009);
  Set(movie.originally_available, "2009-05-01");
  Set(movie.tag_line, "\"Quoted\"");
  Set(movie.summary, "Line one\nLine 'two'");
  movie.plus_info["rating"] = 7;
  movie.writer = {"W"};
  movie.director = {"D1", "D2"};
  movie.gnere = {"Drama"};
  movie.actor = {"Zed", "Amy", "M\xC3\xBCller"};
  ASSERT_TRUE(StoreVideo(path, movie));
  Exec("UPDATE video_file SET modify_date = '2021-02-03 04:05:06'");

  _VIDEO_INFO_ read{};
  read.type = VIDEO_TYPE_MOVIE;
  Set(read.create_date, "kept");
  read.actor = {"stale"};
  ASSERT_EQ(VideoInfoGetOne(path.c_str(), &read), 0);
  EXPECT_STREQ(read.title, movie.title);
  EXPECT_STREQ(read.sort_title, "It's Me \\ 100% ");
  EXPECT_STREQ(read.tag_line, "\"Quoted\"");
  EXPECT_EQ(read.year, 2009);
  EXPECT_STREQ(read.originally_available, "2009-05-01");
  EXPECT_STREQ(read.sort_time, "2009-05-01 00:00:00");
  EXPECT_STREQ(read.summary, "Line one\nLine 'two'");
  // The stored text comes back as a JSON string, not parsed.
  ASSERT_TRUE(read.plus_info.isString());
  EXPECT_EQ(read.plus_info.asString(), movie.plus_info.toStyledString());
  EXPECT_EQ(read.writer, (std::list<std::string>{"W"}));
  EXPECT_EQ(read.director, (std::list<std::string>{"D1", "D2"}));
  EXPECT_EQ(read.gnere, (std::list<std::string>{"Drama"}));
  EXPECT_EQ(read.actor, (std::list<std::string>{"Zed", "Amy", "M\xC3\xBCller"}));
  EXPECT_STREQ(read.modify_date, "2021-02-03 04:05:06")
      << "both dates of the row land in modify_date, the file's coming first in the join";
  EXPECT_STREQ(read.create_date, "kept");

  // The joins go by kind: the same path read as a home video has no row.
  _VIDEO_INFO_ other{};
  other.type = VIDEO_TYPE_HOME_VIDEO;
  EXPECT_EQ(VideoInfoGetOne(path.c_str(), &other), -1);
  EXPECT_STREQ(other.title, "");
}

TEST_F(VideoInfoReadTest, EpisodeComesBackWithItsShow) {
  _VIDEO_INFO_TVSHOW_ episode = Episode("The Wire", 2002, 3, 4);
  Set(episode.tag_line, "Hamsterdam");
  Set(episode.originally_available, "2004-10-10");
  Set(episode.summary, "Episode text");
  Set(episode.tvshow_summary, "Show text");
  episode.tvshow_plus_info["network"] = "HBO";
  episode.actor = {"Idris"};
  ASSERT_TRUE(StoreVideo("/v/w/s3e4.mkv", episode));

  _VIDEO_INFO_TVSHOW_ read{};
  read.type = VIDEO_TYPE_TVSHOW_EPISODE;
  ASSERT_EQ(VideoInfoGetOne("/v/w/s3e4.mkv", &read), 0);
  EXPECT_STREQ(read.title, "The Wire");
  EXPECT_STREQ(read.sort_title, "Wire ");
  EXPECT_EQ(read.season, 3);
  EXPECT_EQ(read.episode, 4);
  EXPECT_STREQ(read.tag_line, "Hamsterdam");
  EXPECT_EQ(read.year, 2004);
  EXPECT_STREQ(read.originally_available, "2004-10-10");
  EXPECT_STREQ(read.summary, "Episode text");
  EXPECT_EQ(read.plus_info.asString(), "");
  EXPECT_EQ(read.tvshow_year, 2002);
  EXPECT_STREQ(read.tvshow_originally_available, "");
  EXPECT_STREQ(read.tvshow_sort_time, "2002-01-01 00:00:00");
  EXPECT_STREQ(read.tvshow_summary, "Show text");
  EXPECT_EQ(read.tvshow_plus_info.asString(), episode.tvshow_plus_info.toStyledString());
  EXPECT_EQ(read.actor, (std::list<std::string>{"Idris"}));
  EXPECT_STRNE(read.modify_date, "");
}

TEST_F(VideoInfoReadTest, RecordingsAndFilesComeBackByTheirKind) {
  _VIDEO_INFO_ record = Recording(VIDEO_TYPE_TV_RECORD, "News", "2020-01-02 20:15:00");
  Set(record.channel_name, "Channel 'One'");
  Set(record.summary, "Evening news");
  ASSERT_TRUE(StoreVideo("/v/r.ts", record));
  _VIDEO_INFO_ read{};
  read.type = VIDEO_TYPE_TV_RECORD;
  ASSERT_EQ(VideoInfoGetOne("/v/r.ts", &read), 0);
  EXPECT_STREQ(read.title, "News");
  EXPECT_STREQ(read.channel_name, "Channel 'One'");
  EXPECT_STREQ(read.record_time, "2020-01-02 20:15:00");
  EXPECT_STREQ(read.summary, "Evening news");

  ASSERT_TRUE(StoreVideo("/v/h.mp4", Recording(VIDEO_TYPE_HOME_VIDEO, "Beach", "")));
  _VIDEO_INFO_ home{};
  home.type = VIDEO_TYPE_HOME_VIDEO;
  ASSERT_EQ(VideoInfoGetOne("/v/h.mp4", &home), 0);
  EXPECT_STREQ(home.title, "Beach");
  EXPECT_STREQ(home.record_time, "");

  _VIDEO_INFO_VIDEO_FILE_ file = FileRecord("/v/f.mkv");
  file.filesize = 6000000000LL;
  file.duration = 61.9f;
  file.resolutionX = 3840;
  file.resolutionY = 2160;
  file.frame_rate_num = 30000;
  file.frame_rate_den = 1001;
  file.frequency = 48000;
  Set(file.video_codec, "hevc");
  Set(file.container_type, "mp4");
  ASSERT_EQ(VideoInfoVideoFileSave(&file), 0);
  _VIDEO_INFO_VIDEO_FILE_ back{};
  back.type = VIDEO_TYPE_VIDEO_FILE;
  ASSERT_EQ(VideoInfoGetOne("/v/f.mkv", &back), 0);
  EXPECT_STREQ(back.path, "/v/f.mkv");
  EXPECT_EQ(back.filesize, 6000000000LL);
  EXPECT_EQ(back.duration, 61.0f);
  EXPECT_EQ(back.resolutionX, 3840);
  EXPECT_EQ(back.resolutionY, 2160);
  EXPECT_EQ(back.frame_rate_num, 30000);
  EXPECT_EQ(back.frame_rate_den, 1001);
  EXPECT_EQ(back.frequency, 48000);
  EXPECT_STREQ(back.video_codec, "hevc");
  EXPECT_STREQ(back.container_type, "mp4");
}

TEST_F(VideoInfoReadTest, PrefixComparesWithALiteralPercentSign) {
  ASSERT_EQ(StoreFile("/v/a.mkv"), 0);
  ASSERT_EQ(StoreFile("%/v/a.mkv"), 0);
  ASSERT_EQ(StoreFile("x/v/a.mkv"), 0);
  _VIDEO_INFO_VIDEO_FILE_ file{};
  file.type = VIDEO_TYPE_VIDEO_FILE;
  ASSERT_EQ(VideoInfoGetOneEx("/v/a.mkv", &file, 1), 0);
  EXPECT_TRUE(Received("SELECT * FROM video_file WHERE path = '%/v/a.mkv'  "));
  EXPECT_STREQ(file.path, "%/v/a.mkv");
  EXPECT_EQ(VideoInfoGetOneEx("/v/none.mkv", &file, 1), -1);
}

TEST_F(VideoInfoReadTest, BadCallsFailAndHandlesAreWalkedRowByRow) {
  ASSERT_TRUE(StoreVideo("/v/m.mkv", Movie("Heat", 1995)));
  _VIDEO_INFO_ info{};
  info.type = VIDEO_TYPE_TVSHOW;
  EXPECT_EQ(VideoInfoGetOne("/v/m.mkv", &info), -1);
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Bad video type: 2"));
  EXPECT_EQ(VideoInfoGetOne("/v/m.mkv", nullptr), -1);
  info.type = VIDEO_TYPE_MOVIE;
  EXPECT_EQ(VideoInfoGetOne(nullptr, &info), -1);
  EXPECT_EQ(VideoInfoGetOne("/v/missing.mkv", &info), -1);
  EXPECT_FALSE(LoggedMatching("video_db:\\d+ Bad parameter.*")) << "refused silently";
  EXPECT_EQ(VideoInfoGet(nullptr, &info), -1);
  EXPECT_TRUE(LoggedMatching("video_db \\(\\d+\\) Bad parameter\\."));

  ASSERT_EQ(StoreFile("/v/b.mkv"), 0);
  _VIDEO_DB_HANDLER_* handle = VideoDBOpenEX("video_file", nullptr, nullptr, nullptr, "path", 0, 0);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(VideoInfoGet(handle, nullptr), -1);
  _VIDEO_INFO_VIDEO_FILE_ file{};
  file.type = VIDEO_TYPE_VIDEO_FILE;
  ASSERT_EQ(VideoInfoGet(handle, &file), 0);
  EXPECT_STREQ(file.path, "/v/b.mkv");
  ASSERT_EQ(VideoInfoGet(handle, &file), 0);
  EXPECT_STREQ(file.path, "/v/m.mkv");
  EXPECT_EQ(VideoInfoGet(handle, &file), -1);
  VideoDBHandlerFree(handle);
}

}  // namespace
}  // namespace kinolot_test
