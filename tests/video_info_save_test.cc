// Saving files and descriptions through the indexing interface and reading
// them back by path, end to end on the real server: the upsert by identity,
// the relinking of files, the removal of what no file uses any more, what
// reached the server and what comes back, and records (impossible dates,
// bytes the server refuses) that must not leave half a video behind.
#include <gtest/gtest.h>

#include <cstring>
#include <list>
#include <string>
#include <vector>

#include "support/edit_form.h"
#include "support/test_database.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

class VideoInfoSaveTest : public DatabaseTest {
 protected:
  // Mapper rows that no video, show or file hangs on, and shows without an
  // episode: what nothing would ever remove again.
  long Orphans() {
    return std::stol(Value(
        "SELECT (SELECT count(*) FROM mapper m WHERE NOT EXISTS (SELECT 1 FROM movie WHERE"
        " mapper_id = m.id) AND NOT EXISTS (SELECT 1 FROM tvshow WHERE mapper_id = m.id) AND NOT"
        " EXISTS (SELECT 1 FROM tvshow_episode WHERE mapper_id = m.id) AND NOT EXISTS (SELECT 1"
        " FROM home_video WHERE mapper_id = m.id) AND NOT EXISTS (SELECT 1 FROM tv_record WHERE"
        " mapper_id = m.id) AND NOT EXISTS (SELECT 1 FROM video_file WHERE mapper_id = m.id)) +"
        " (SELECT count(*) FROM tvshow s WHERE NOT EXISTS (SELECT 1 FROM tvshow_episode WHERE"
        " tvshow_id = s.id))"));
  }
};
using Texts = std::vector<std::string>;
using Names = std::list<std::string>;

TEST_F(VideoInfoSaveTest, FileInsertsOnceThenUpdatesTheSameRowAndKeepsItsMapper) {
  const std::string path = std::string("/v/") + kAwkward + ".mkv";
  _VIDEO_INFO_VIDEO_FILE_ file = FileRecord(path, VIDEO_TYPE_HOME_VIDEO);
  file.filesize = 5000000000LL;
  file.duration = 5399.9f;
  file.resolutionX = 1920;
  file.resolutionY = 1080;
  file.frame_rate_num = 24000;
  file.frame_rate_den = 1001;
  file.audio_bitrate = 192000;
  file.channel = 6;
  Set(file.video_codec, "h264");
  Set(file.audio_codec, "aac");
  Set(file.container_type, "matroska");
  ASSERT_EQ(VideoInfoVideoFileSave(&file), 0);
  EXPECT_TRUE(Received(
      "INSERT INTO video_file(mapper_id, path, filesize, frame_bitrate, duration, resolutionX, "
      "resolutionY, audio_bitrate, frequency, channel, video_codec, audio_codec, video_profile, "
      "video_level, container_type, frame_rate_num, frame_rate_den, video_bitrate, "
      "updated)VALUES(1, " +
      Quoted(path) +
      ", 5000000000, 0, 5399, 1920, 1080, 192000, 0, 6, 'h264', 'aac', 0, 0, 'matroska', 24000, "
      "1001, 0, '1')"));
  EXPECT_EQ(Query("SELECT type, path FROM mapper JOIN video_file ON mapper.id = mapper_id"),
            (Rows{{"home_video", path}}));
  _VIDEO_INFO_VIDEO_FILE_ back{};
  back.type = VIDEO_TYPE_VIDEO_FILE;
  ASSERT_EQ(VideoInfoGetOne(path.c_str(), &back), 0);
  EXPECT_EQ((Texts{back.path, back.container_type}), (Texts{path, "matroska"}));
  EXPECT_EQ((std::vector<long long>{back.filesize, back.frame_rate_den, back.channel}),
            (std::vector<long long>{5000000000LL, 1001, 6}));

  Exec("UPDATE video_file SET updated = 0");
  file.filesize = 7;
  file.duration = -2.7f;  // truncated toward zero
  Set(file.video_codec, "hevc");
  ASSERT_EQ(VideoInfoVideoFileSave(&file), 0);
  EXPECT_TRUE(Received(
      "UPDATE video_file SET filesize = 7, frame_bitrate = 0, duration = -2, resolutionX = 1920, "
      "resolutionY = 1080, audio_bitrate = 192000, frequency = 0, channel = 6, modify_date = "
      "current_timestamp, video_codec = 'hevc', audio_codec = 'aac', video_profile = 0, "
      "video_level = 0, container_type = 'matroska', frame_rate_num = 24000, frame_rate_den = "
      "1001, video_bitrate = 0, updated = '1' WHERE path = " +
      Quoted(path)));
  EXPECT_EQ(Query("SELECT mapper_id, updated FROM video_file"), (Rows{{"1", "1"}}));
  EXPECT_EQ(Count("mapper"), 1);
}

TEST_F(VideoInfoSaveTest, MovieIsAnUpsertByTitleAndYearThatComesBackWhole) {
  ASSERT_EQ(StoreFile("/v/m.mkv"), 0);
  _VIDEO_INFO_ movie = Movie("The Matrix", 1999);
  Set(movie.tag_line, "\"Free\" your mind");
  Set(movie.originally_available, "1999-03-31");
  Set(movie.summary, kAwkward);
  movie.plus_info["rating"] = "8.7";
  movie.writer = {"Lilly", "Lana"};
  movie.director = {"D'Arcy", kAwkward};
  movie.gnere = {"Sci-Fi"};
  movie.actor = {"Keanu", "Carrie-Anne", "M\xC3\xBCller"};
  ASSERT_EQ(VideoInfoSave("/v/m.mkv", &movie), 0);
  EXPECT_TRUE(Received(
      "SELECT mapper_id FROM movie WHERE UPPER(title) = UPPER('The Matrix') AND year = 1999  "));
  EXPECT_TRUE(Received(
      "INSERT INTO movie(title, sort_title, tag_line, year, originally_available, sort_time, "
      "mapper_id) VALUES('The Matrix', 'Matrix ', '\"Free\" your mind', 1999, '1999-03-31', "
      "'1999-03-31', 2)"));
  EXPECT_TRUE(Received(
      "UPDATE video_file SET mapper_id = 2, updated = 1, modify_date = current_timestamp WHERE "
      "path = '/v/m.mkv'"));
  EXPECT_EQ(Query("SELECT id, type FROM mapper"), (Rows{{"2", "movie"}}))
      << "the file's first mapper goes once the file points at the movie";

  Exec("UPDATE video_file SET modify_date = '2021-02-03 04:05:06'");
  _VIDEO_INFO_ read{};
  read.type = VIDEO_TYPE_MOVIE;
  Set(read.create_date, "kept");
  read.actor = {"stale"};
  ASSERT_EQ(VideoInfoGetOne("/v/m.mkv", &read), 0);
  // Both dates of the row land in modify_date, the file's coming first in
  // the join; create_date is left as it was.
  EXPECT_EQ((Texts{read.title, read.sort_title, read.tag_line, read.originally_available,
                   read.sort_time, read.summary, read.modify_date, read.create_date}),
            (Texts{"The Matrix", "Matrix ", movie.tag_line, "1999-03-31", "1999-03-31 00:00:00",
                   kAwkward, "2021-02-03 04:05:06", "kept"}));
  EXPECT_EQ(read.year, 1999);
  // The stored text comes back as a JSON string, not parsed.
  EXPECT_EQ(read.plus_info, Json::Value(movie.plus_info.toStyledString()));
  EXPECT_EQ((std::vector<Names>{read.writer, read.director, read.gnere, read.actor}),
            (std::vector<Names>{movie.writer, movie.director, movie.gnere, movie.actor}));
  // The joins go by kind: the same path read as a home video has no row.
  _VIDEO_INFO_ other{};
  other.type = VIDEO_TYPE_HOME_VIDEO;
  EXPECT_EQ(VideoInfoGetOne("/v/m.mkv", &other), -1);

  _VIDEO_INFO_ again = Movie("THE MATRIX", 1999);
  Set(again.tag_line, "Whoa");
  again.actor = {"Hugo"};
  ASSERT_EQ(VideoInfoSave("/v/m.mkv", &again), 0);
  EXPECT_TRUE(Received(
      "UPDATE movie SET sort_title = 'MATRIX ', tag_line = 'Whoa', originally_available = NULL, "
      "sort_time = '1999-01-01', modify_date = current_timestamp WHERE mapper_id = 2"));
  EXPECT_EQ(Query("SELECT actor FROM actor"), (Rows{{"Hugo"}}));
  EXPECT_EQ(Query("SELECT summary || plus_info FROM summary JOIN plus_info USING (mapper_id)"),
            (Rows{{""}}))
      << "empty texts are saved too, as empty texts";

  // Another year is another movie; the old one has no file left and goes.
  ASSERT_EQ(VideoInfoSave("/v/m.mkv", &(again = Movie("The Matrix", 2003))), 0);
  EXPECT_EQ(Query("SELECT mapper_id, year FROM movie"), (Rows{{"3", "2003"}}));
  EXPECT_EQ(MapperOf("/v/m.mkv"), "3");
}

TEST_F(VideoInfoSaveTest, EpisodesShareOneShowRowPerTitleAndYear) {
  _VIDEO_INFO_TVSHOW_ first = Episode("The Wire", 2002, 3, 4);
  Set(first.tag_line, "Hamsterdam");
  Set(first.originally_available, "2004-10-10");
  Set(first.summary, "Episode text");
  Set(first.tvshow_summary, "Show text");
  first.tvshow_plus_info["network"] = "HBO";
  first.actor = {"Idris"};
  ASSERT_TRUE(StoreVideo("/v/w/s3e4.mkv", first));
  _VIDEO_INFO_TVSHOW_ read{};
  read.type = VIDEO_TYPE_TVSHOW_EPISODE;
  ASSERT_EQ(VideoInfoGetOne("/v/w/s3e4.mkv", &read), 0);
  EXPECT_EQ((Texts{read.title, read.sort_title, read.tag_line, read.originally_available,
                   read.summary, read.plus_info.asString(), read.tvshow_originally_available,
                   read.tvshow_sort_time, read.tvshow_summary, read.tvshow_plus_info.asString()}),
            (Texts{"The Wire", "Wire ", "Hamsterdam", "2004-10-10", "Episode text", "", "",
                   "2002-01-01 00:00:00", "Show text", first.tvshow_plus_info.toStyledString()}));
  EXPECT_EQ((std::vector<int>{read.season, read.episode, read.year, read.tvshow_year}),
            (std::vector<int>{3, 4, 2004, 2002}));
  EXPECT_EQ(read.actor, Names{"Idris"});

  ASSERT_TRUE(StoreVideo("/v/w/s3e5.mkv", Episode("the wire", 2002, 3, 5)));
  EXPECT_TRUE(
      Received("UPDATE tvshow SET sort_title = 'wire ', originally_available = NULL, sort_time = "
               "'2002-01-01', modify_date = current_timestamp WHERE mapper_id = 2 RETURNING id"));
  EXPECT_EQ(Query("SELECT id, mapper_id, title FROM tvshow"), (Rows{{"1", "2", "The Wire"}}));
  EXPECT_EQ(Query("SELECT season, episode, tvshow_id FROM tvshow_episode ORDER BY episode"),
            (Rows{{"3", "4", "1"}, {"3", "5", "1"}}));
  EXPECT_EQ(Value("SELECT summary FROM summary WHERE mapper_id = 2"), "")
      << "the second episode rewrote the show's texts with its empty ones";
  ASSERT_TRUE(StoreVideo("/v/w2/s1e1.mkv", Episode("The Wire", 2020, 1, 1)));
  EXPECT_EQ(Count("tvshow"), 2) << "a show of another year is another show";
}

TEST_F(VideoInfoSaveTest, DescriptionForAPathWithoutFileRowIsRemovedAtOnce) {
  _VIDEO_INFO_TVSHOW_ episode = Episode("Lost", 2004, 1, 1);
  EXPECT_EQ(VideoInfoSave("/v/nowhere.mkv", &episode), 0);
  EXPECT_EQ(Count("mapper") + Count("tvshow") + Count("tvshow_episode") + Count("summary"), 0);
  // The show and the episode were written, then removed with the relinking.
  EXPECT_TRUE(
      Received("INSERT INTO tvshow_episode(season, episode, tag_line, year, originally_available, "
               "sort_time, tvshow_id, mapper_id) VALUES(1, 1, '', 0, NULL, NULL, 1, 2)"));
  EXPECT_EQ(Statements().back(), "DELETE FROM mapper WHERE id = 1");

  // A description that a real file shows stays.
  ASSERT_TRUE(StoreVideo("/v/heat.mkv", Movie("Heat", 1995)));
  _VIDEO_INFO_ movie = Movie("Heat", 1995);
  EXPECT_EQ(VideoInfoSave("/v/nowhere.mkv", &movie), 0);
  EXPECT_EQ(Query("SELECT mapper_id::text FROM movie"), (Rows{{MapperOf("/v/heat.mkv")}}));
}

TEST_F(VideoInfoSaveTest, RecordingsMatchByTitleAndRecordTimeOnly) {
  // Without a record time a home video never matches: each save inserts a
  // new one, the file moves to it and the previous one goes.
  ASSERT_TRUE(StoreVideo("/v/h.mp4", Recording(VIDEO_TYPE_HOME_VIDEO, "Beach", "")));
  std::string firstId = MapperOf("/v/h.mp4");
  _VIDEO_INFO_ home = Recording(VIDEO_TYPE_HOME_VIDEO, "Beach", "");
  ASSERT_EQ(VideoInfoSave("/v/h.mp4", &home), 0);
  EXPECT_NE(MapperOf("/v/h.mp4"), firstId);
  EXPECT_EQ(Query("SELECT mapper_id::text FROM home_video"), (Rows{{MapperOf("/v/h.mp4")}}));
  _VIDEO_INFO_ read{};
  read.type = VIDEO_TYPE_HOME_VIDEO;
  ASSERT_EQ(VideoInfoGetOne("/v/h.mp4", &read), 0);
  EXPECT_EQ((Texts{read.title, read.record_time}), (Texts{"Beach", ""}));

  _VIDEO_INFO_ show = Recording(VIDEO_TYPE_TV_RECORD, "News", "2020-01-02 20:15:00");
  Set(show.channel_name, "One");
  ASSERT_TRUE(StoreVideo("/v/r.ts", show));
  std::string recordId = MapperOf("/v/r.ts");
  EXPECT_TRUE(
      Received("INSERT INTO tv_record(title, sort_title, channel_name, record_time, mapper_id) "
               "VALUES('News', 'News ', 'One', '2020-01-02 20:15:00', " +
               recordId + ")"));
  show = Recording(VIDEO_TYPE_TV_RECORD, "NEWS", "2020-01-02 20:15:00");
  Set(show.channel_name, "Channel 'Two'");
  Set(show.summary, "Evening news");
  ASSERT_EQ(VideoInfoSave("/v/r.ts", &show), 0);
  read.type = VIDEO_TYPE_TV_RECORD;
  ASSERT_EQ(VideoInfoGetOne("/v/r.ts", &read), 0);
  EXPECT_EQ((Texts{std::to_string(Count("tv_record")), MapperOf("/v/r.ts"), read.title,
                   read.channel_name, read.record_time, read.summary}),
            (Texts{"1", recordId, "News", "Channel 'Two'", "2020-01-02 20:15:00", "Evening news"}));
}

TEST_F(VideoInfoSaveTest, BadRecordsAreRefusedWithoutTouchingWhatIsStored) {
  _VIDEO_INFO_ stored = Movie("Heat", 1995);
  Set(stored.sort_time, "1995-12-15");
  Set(stored.originally_available, "1995-12-15");
  stored.actor = {"Al"};
  ASSERT_TRUE(StoreVideo("/v/heat.mkv", stored));
  const char snapshot[] =
      "SELECT (SELECT string_agg(id || type, ',' ORDER BY id) FROM mapper), "
      "(SELECT string_agg(mapper_id || title || tag_line || year || coalesce(sort_time::text, "
      "'-'), ',' ORDER BY id) FROM movie), (SELECT string_agg(mapper_id || path, ',') FROM "
      "video_file), (SELECT count(*) FROM actor), (SELECT count(*) FROM summary)";
  Rows before = Query(snapshot);

  _VIDEO_INFO_VIDEO_FILE_ file = FileRecord("");
  EXPECT_EQ(VideoInfoVideoFileSave(&file), -1);
  EXPECT_EQ(VideoInfoVideoFileSave(nullptr), -1);
  _VIDEO_INFO_ movie = Movie("Heat", 1995);
  EXPECT_EQ(VideoInfoSave("/v/heat.mkv", nullptr), -1);
  EXPECT_EQ(VideoInfoSave(nullptr, &movie), -1);
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Bad parameter"));
  for (int type : {2, 6, 0, 99}) {  // a show, a file, invalid, unknown
    movie.type = static_cast<_VIDEO_TYPE_>(type);
    EXPECT_EQ(VideoInfoSave("/v/heat.mkv", &movie), -1);
    EXPECT_TRUE(LoggedMatching("video_db:\\d+ Bad video type: " + std::to_string(type)));
  }
  // Dates reach SQL between quotes the library adds: one that could close
  // them is refused before anything is written.
  movie = Movie("Heat", 1995);
  Set(movie.sort_time, "1995-01-01', tag_line = 'owned");
  EXPECT_EQ(VideoInfoSave("/v/heat.mkv", &movie), -1);
  _VIDEO_INFO_TVSHOW_ episode = Episode("Lost", 2004, 1, 1);
  Set(episode.tvshow_sort_time, "2004'); DELETE FROM movie; --");
  EXPECT_EQ(VideoInfoSave("/v/heat.mkv", &episode), -1);
  _VIDEO_INFO_ home = Recording(VIDEO_TYPE_HOME_VIDEO, "Heat", "x' OR '1'='1");
  EXPECT_EQ(VideoInfoSave("/v/heat.mkv", &home), -1);
  EXPECT_EQ(VideoInfoMapperIDGet(&home), -1);
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Bad date: x' OR '1'='1"));
  EXPECT_EQ(Query(snapshot), before);

  // A release date is normalised before use, so trailing junk never
  // reaches the server.
  movie = Movie("Heat", 1995);
  Set(movie.originally_available, "1995-12-15'); DROP TABLE movie; --");
  ASSERT_EQ(VideoInfoSave("/v/heat.mkv", &movie), 0);
  EXPECT_TRUE(Received(
      "UPDATE movie SET sort_title = 'Heat ', tag_line = '', originally_available = '1995-12-15', "
      "sort_time = '1995-12-15', modify_date = current_timestamp WHERE mapper_id = 2"));
}

TEST_F(VideoInfoSaveTest, OverlongFieldsAreCutAtALetter) {
  // Fields filled to the last byte (as strncpy leaves them) are read to
  // their capacity minus one, never into the next field, and a two-byte
  // letter is never split (the server would refuse half of one).
  _VIDEO_INFO_ full = Movie("", 2002);
  memset(full.title, 'T', sizeof(full.title));
  for (size_t i = 0; i + 1 < sizeof(full.summary); i += 2) memcpy(full.summary + i, "\xC3\xA9", 2);
  ASSERT_TRUE(StoreVideo("/v/full.mkv", full));
  EXPECT_EQ(Query("SELECT title, octet_length(summary) FROM movie JOIN summary USING (mapper_id)"),
            (Rows{{std::string(254, 'T'), "4094"}}));
}

TEST_F(VideoInfoSaveTest, ReadsByPrefixOrHandleAndRefusesBadCalls) {
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

TEST_F(VideoInfoSaveTest, ImpossibleDatesAreRefusedBeforeAnyStatementAndZerosMeanNone) {
  ASSERT_EQ(StoreFile("/v/a.mkv"), 0);
  struct Case {
    const char* field;
    const char* date;
  };
  for (const Case& c : {Case{"originally_available", "2009-02-30"}, Case{"sort_time", "2009-13-01"},
                        Case{"tvshow", "2010-04-31"}, Case{"record_time", "2012-06-01 25:00:00"},
                        Case{"originally_available", "99999999999"}}) {
    SCOPED_TRACE(c.date);
    _VIDEO_INFO_TVSHOW_ info = Episode("Alias", 2001, 1, 1);
    std::string field = c.field;
    if (field == "originally_available") Set(info.originally_available, c.date);
    if (field == "sort_time") Set(info.sort_time, c.date);
    if (field == "tvshow") Set(info.tvshow_originally_available, c.date);
    if (field == "record_time") info = Recording(VIDEO_TYPE_HOME_VIDEO, "Party", c.date);
    MarkStatements();
    EXPECT_EQ(VideoInfoSave("/v/a.mkv", &info), -1);
    EXPECT_EQ(Statements(), std::vector<std::string>());
  }

  // Zeros are how metadata sources write "unknown": the video is stored
  // without a date.
  for (const char* zeros : {"0000-00-00", "0000"}) {
    _VIDEO_INFO_ movie = Movie("Zero", 0);
    Set(movie.originally_available, zeros);
    ASSERT_EQ(VideoInfoSave("/v/a.mkv", &movie), 0) << zeros;
    EXPECT_EQ(Value("SELECT year || coalesce(originally_available::text, '-') ||"
                    " coalesce(sort_time::text, '-') FROM movie"),
              "0--");
  }

  // An edit with such a date fails before it writes anything.
  EditForm e;
  e.title = "Zero";
  e.isLock = "false";
  e.summary = "changed";
  e.date = "2009-02-30";
  VideoMetadataAPI api;
  EXPECT_EQ(e.Update(api, VIDEO_TABLE_MOVIE, Value("SELECT id FROM movie")), -1);
  EXPECT_EQ(Value("SELECT summary FROM summary"), "");
  EXPECT_EQ(Orphans(), 0);
}

TEST_F(VideoInfoSaveTest, ASaveThatFailsHalfwayLeavesNoMapperWithoutItsVideo) {
  ASSERT_EQ(StoreFile("/v/a.mkv"), 0);
  ASSERT_TRUE(StoreVideo("/v/s.mkv", Episode("Spies", 2001, 1, 1)));
  const long mappers = Count("mapper");
  // Bytes that are no UTF-8: the server refuses the first statement that
  // carries them, after the save has made a new mapper for its new row.
  const std::string bad = "Bad \xff\xfe";
  _VIDEO_INFO_ movie = Movie(bad, 2001);
  _VIDEO_INFO_TVSHOW_ newShow = Episode(bad, 2001, 1, 1);
  _VIDEO_INFO_TVSHOW_ newEpisode = Episode("Alias", 2001, 1, 1);
  Set(newEpisode.tag_line, bad);
  _VIDEO_INFO_TVSHOW_ episodeOfStoredShow = Episode("Spies", 2001, 1, 2);
  Set(episodeOfStoredShow.tag_line, bad);
  _VIDEO_INFO_ home = Recording(VIDEO_TYPE_HOME_VIDEO, bad, "2012-06-01 10:00:00");
  _VIDEO_INFO_ record = Recording(VIDEO_TYPE_TV_RECORD, "News", "2020-01-01 20:00:00");
  Set(record.channel_name, bad);
  for (_VIDEO_INFO_* info : {&movie, &newShow, &newEpisode, &episodeOfStoredShow, &home, &record}) {
    SCOPED_TRACE(info->type);
    EXPECT_EQ(VideoInfoSave("/v/a.mkv", info), -1);
    EXPECT_EQ(Orphans(), 0);
    EXPECT_EQ(Count("mapper"), mappers);
  }
  _VIDEO_INFO_VIDEO_FILE_ file = FileRecord("/v/new.mkv");
  Set(file.video_codec, bad);
  EXPECT_EQ(VideoInfoVideoFileSave(&file), -1);
  EXPECT_EQ(Count("mapper"), mappers);
}

}  // namespace
}  // namespace kinolot_test
