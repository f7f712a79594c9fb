// Reading stored videos back by path through the indexing interface, on the
// real server.
#include <gtest/gtest.h>

#include <list>
#include <string>
#include <vector>

#include "support/test_database.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

using VideoInfoReadTest = DatabaseTest;
using Texts = std::vector<std::string>;
using Names = std::list<std::string>;

TEST_F(VideoInfoReadTest, MovieComesBackWithItsTextsListsAndRowDate) {
  const std::string path = std::string("/v/") + kAwkward + ".mkv";
  _VIDEO_INFO_ movie = Movie(kAwkward, 2009);
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
  // Both dates of the row land in modify_date, the file's coming first in
  // the join; create_date is left as it was.
  EXPECT_EQ((Texts{read.title, read.tag_line, read.originally_available, read.sort_time,
                   read.summary, read.modify_date, read.create_date}),
            (Texts{kAwkward, "\"Quoted\"", "2009-05-01", "2009-05-01 00:00:00",
                   "Line one\nLine 'two'", "2021-02-03 04:05:06", "kept"}));
  EXPECT_EQ(read.year, 2009);
  // The stored text comes back as a JSON string, not parsed.
  EXPECT_EQ(read.plus_info, Json::Value(movie.plus_info.toStyledString()));
  EXPECT_EQ((std::vector<Names>{read.writer, read.director, read.gnere, read.actor}),
            (std::vector<Names>{{"W"}, {"D1", "D2"}, {"Drama"}, {"Zed", "Amy", "M\xC3\xBCller"}}));

  // The joins go by kind: the same path read as a home video has no row.
  _VIDEO_INFO_ other{};
  other.type = VIDEO_TYPE_HOME_VIDEO;
  EXPECT_EQ(VideoInfoGetOne(path.c_str(), &other), -1);
}

TEST_F(VideoInfoReadTest, EpisodesRecordingsAndFilesComeBackByTheirKind) {
  _VIDEO_INFO_TVSHOW_ episode = Episode("The Wire", 2002, 3, 4);
  Set(episode.tag_line, "Hamsterdam");
  Set(episode.originally_available, "2004-10-10");
  Set(episode.summary, "Episode text");
  Set(episode.tvshow_summary, "Show text");
  episode.tvshow_plus_info["network"] = "HBO";
  episode.actor = {"Idris"};
  ASSERT_TRUE(StoreVideo("/v/w/s3e4.mkv", episode));
  _VIDEO_INFO_TVSHOW_ show{};
  show.type = VIDEO_TYPE_TVSHOW_EPISODE;
  ASSERT_EQ(VideoInfoGetOne("/v/w/s3e4.mkv", &show), 0);
  EXPECT_EQ((Texts{show.title, show.sort_title, show.tag_line, show.originally_available,
                   show.summary, show.plus_info.asString(), show.tvshow_originally_available,
                   show.tvshow_sort_time, show.tvshow_summary, show.tvshow_plus_info.asString()}),
            (Texts{"The Wire", "Wire ", "Hamsterdam", "2004-10-10", "Episode text", "", "",
                   "2002-01-01 00:00:00", "Show text", episode.tvshow_plus_info.toStyledString()}));
  EXPECT_EQ((std::vector<int>{show.season, show.episode, show.year, show.tvshow_year}),
            (std::vector<int>{3, 4, 2004, 2002}));
  EXPECT_EQ(show.actor, Names{"Idris"});

  _VIDEO_INFO_ record = Recording(VIDEO_TYPE_TV_RECORD, "News", "2020-01-02 20:15:00");
  Set(record.channel_name, "Channel 'One'");
  Set(record.summary, "Evening news");
  ASSERT_TRUE(StoreVideo("/v/r.ts", record));
  _VIDEO_INFO_ read{};
  read.type = VIDEO_TYPE_TV_RECORD;
  ASSERT_EQ(VideoInfoGetOne("/v/r.ts", &read), 0);
  EXPECT_EQ((Texts{read.title, read.channel_name, read.record_time, read.summary}),
            (Texts{"News", "Channel 'One'", "2020-01-02 20:15:00", "Evening news"}));

  _VIDEO_INFO_VIDEO_FILE_ file = FileRecord("/v/f.mkv");
  file.filesize = 6000000000LL;
  file.duration = 61.9f;
  file.resolutionX = 3840;
  file.resolutionY = 2160;
  file.frame_rate_num = 30000;
  file.frequency = 48000;
  Set(file.video_codec, "hevc");
  Set(file.container_type, "mp4");
  ASSERT_EQ(VideoInfoVideoFileSave(&file), 0);
  _VIDEO_INFO_VIDEO_FILE_ back{};
  back.type = VIDEO_TYPE_VIDEO_FILE;
  ASSERT_EQ(VideoInfoGetOne("/v/f.mkv", &back), 0);
  EXPECT_EQ((Texts{back.path, back.video_codec, back.container_type}),
            (Texts{"/v/f.mkv", "hevc", "mp4"}));
  EXPECT_EQ((std::vector<long long>{back.filesize, back.resolutionX, back.resolutionY,
                                    back.frame_rate_num, back.frequency}),
            (std::vector<long long>{6000000000LL, 3840, 2160, 30000, 48000}));
  EXPECT_EQ(back.duration, 61.0f) << "whole seconds";
}

TEST_F(VideoInfoReadTest, PrefixedLookUpBadCallsAndHandlesWalkedRowByRow) {
  ASSERT_TRUE(StoreVideo("/v/m.mkv", Movie("Heat", 1995)));
  for (const char* path : {"%/v/m.mkv", "x/v/m.mkv"}) ASSERT_EQ(StoreFile(path), 0);
  // The prefix is a literal percent sign, not a LIKE pattern.
  _VIDEO_INFO_VIDEO_FILE_ file{};
  file.type = VIDEO_TYPE_VIDEO_FILE;
  ASSERT_EQ(VideoInfoGetOneEx("/v/m.mkv", &file, 1), 0);
  EXPECT_TRUE(Received("SELECT * FROM video_file WHERE path = '%/v/m.mkv'  "));
  EXPECT_STREQ(file.path, "%/v/m.mkv");
  EXPECT_EQ(VideoInfoGetOneEx("/v/none.mkv", &file, 1), -1);

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

  _VIDEO_DB_HANDLER_* handle = VideoDBOpenEX("video_file", nullptr, nullptr, nullptr, "id", 0, 0);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(VideoInfoGet(handle, nullptr), -1);
  Texts paths;
  while (VideoInfoGet(handle, &file) == 0) paths.push_back(file.path);
  EXPECT_EQ(paths, (Texts{"/v/m.mkv", "%/v/m.mkv", "x/v/m.mkv"}));
  VideoDBHandlerFree(handle);
}

}  // namespace
}  // namespace kinolot_test
