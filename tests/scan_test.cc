// The media scanner, from names to stored rows: real files generated with
// ffmpeg, scanned into the real database, and the `kinolot scan` program's
// exit status and JSON summary.
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>

#include <json/reader.h>

#include "kinolot/poster_store.h"
#include "scan/media_name.h"
#include "scan/media_probe.h"
#include "scan/nfo_reader.h"
#include "scan/progress.h"
#include "scan/scanner.h"
#include "scan/video_description.h"
#include "support/run_program.h"
#include "support/sample_videos.h"
#include "support/temp_files.h"
#include "support/test_database.h"

namespace {

using namespace kinolot_scan;
using namespace kinolot_test;
using namespace LibKinolot;

TEST(MediaNameTest, RealWorldNames) {
  struct Case {
    const char* path;
    ScanKind kind;
    _VIDEO_TYPE_ type;
    const char* title;
    int year, season, episode;
    const char* extra;  // the episode's title, or a home video's or recording's date
  };
  const auto A = ScanKind::kAuto;
  const auto M = VIDEO_TYPE_MOVIE, E = VIDEO_TYPE_TVSHOW_EPISODE;
  const Case cases[] = {
      {"/m/Title (2009).mkv", A, M, "Title", 2009, 0, 0, ""},
      {"/m/Title.2009.1080p.BluRay.x264-GRP.mkv", A, M, "Title", 2009, 0, 0, ""},
      {"/m/Blade Runner 2049 (2017).mkv", A, M, "Blade Runner 2049", 2017, 0, 0, ""},
      {"/m/2001.A.Space.Odyssey.1968.mkv", A, M, "2001 A Space Odyssey", 1968, 0, 0, ""},
      {"/m/1917.mkv", A, M, "1917", 0, 0, 0, ""},
      {"/m/Charlotte's Web.avi", A, M, "Charlotte's Web", 0, 0, 0, ""},
      {"/m/[GRP] Some_Movie_(1999)_[ABCD1234].mkv", A, M, "Some Movie", 1999, 0, 0, ""},
      {"/m/Heat (1995)/heat-1080p.mkv", A, M, "Heat", 1995, 0, 0, ""},
      {"/m/Video 1920x1080.mkv", A, M, "Video 1920x1080", 0, 0, 0, ""},
      {"/tv/Show - S01E02 - Episode title.mkv", A, E, "Show", 0, 1, 2, "Episode title"},
      {"/tv/show.name.s1e2.720p.hdtv.x264.mkv", A, E, "show name", 0, 1, 2, ""},
      {"/tv/Doctor.Who.2005.S01E01.Rose.mkv", A, E, "Doctor Who", 2005, 1, 1, "Rose"},
      {"/tv/Show 1x02.avi", A, E, "Show", 0, 1, 2, ""},
      {"/tv/Show (2005)/Season 2/03 - Third.mkv", A, E, "Show", 2005, 2, 3, "Third"},
      {"/tv/Mr. Robot/Season 01/Mr. Robot - S01E05.mkv", A, E, "Mr. Robot", 0, 1, 5, ""},
      {"/tv/Show/Specials/Show S00E01E02.mkv", A, E, "Show", 0, 0, 1, ""},
      {"/x/Show S01E02.mkv", ScanKind::kMovies, M, "Show S01E02", 0, 0, 0, ""},
      {"/x/Some Show/Pilot.mkv", ScanKind::kShows, E, "Some Show", 0, 0, 0, "Pilot"},
      {"/h/2019-07-14 Beach_Day.mp4", ScanKind::kHome, VIDEO_TYPE_HOME_VIDEO, "Beach Day", 0, 0, 0,
       "2019-07-14"},
      {"/r/News_20190714_2015.ts", ScanKind::kRecordings, VIDEO_TYPE_TV_RECORD, "News", 0, 0, 0,
       "2019-07-14 20:15:00"},
  };
  for (const Case& c : cases) {
    MediaName name = NameMedia(c.path, c.kind);
    EXPECT_EQ(name.type, c.type) << c.path;
    EXPECT_EQ(name.title, c.title) << c.path;
    EXPECT_EQ(name.year, c.year) << c.path;
    EXPECT_EQ(name.season, c.season) << c.path;
    EXPECT_EQ(name.episode, c.episode) << c.path;
    EXPECT_EQ(c.type == E ? name.episode_title : name.date, c.extra) << c.path;
  }
}

TEST(ProgressLineTest, FitsTheTerminalShowingTheEndOfThePath) {
  std::string current = "/v/Amélie (2001) – Ünïcödé.mkv";
  for (int width : {20, 40, 61, 120}) {
    std::string line = ProgressLine(3, 10, 1.5, current, width);
    size_t letters = 0;
    for (unsigned char c : line) letters += (c & 0xC0) != 0x80;
    EXPECT_LE(letters, static_cast<size_t>(width)) << line;
    EXPECT_TRUE(IsUtf8(line)) << line;
    EXPECT_NE(line.find("3/10"), std::string::npos) << line;
    const std::string tail = "Ünïcödé.mkv";
    if (width >= 61) {
      EXPECT_EQ(line.substr(line.size() - tail.size()), tail) << line;
    }
  }
  EXPECT_NE(ProgressLine(3, 10, 1.5, current, 120).find("0:04 left"), std::string::npos);
}

// .nfo files as other media managers write them, read without a database.
TEST(NfoReaderTest, ReadsWhatOtherManagersWrite) {
  TempDir dir;
  auto read = [&dir](const std::string& text, NfoInfo* info, std::string* error) {
    std::ofstream(dir / "x.nfo", std::ios::binary) << text;
    return ReadNfo(dir / "x.nfo", info, error);
  };
  NfoInfo info;
  std::string error;
  // Names run together, the way several writers store their lists.
  ASSERT_TRUE(
      read("<movie><director>Jane Roe,</director><writer>A One, B Two,C Three</writer>"
           "<writer>|D Four|A One|</writer><genre>Action / Drama</genre></movie>",
           &info, &error));
  EXPECT_EQ(info.directors, (std::list<std::string>{"Jane Roe"}));
  EXPECT_EQ(info.writers, (std::list<std::string>{"A One", "B Two", "C Three", "D Four", "A One"}));
  EXPECT_EQ(info.genres, (std::list<std::string>{"Action", "Drama"}));
  EXPECT_TRUE(info.warnings.empty());

  // Windows-1252 bytes: read as such; a warning only where the file claims UTF-8.
  info = NfoInfo();
  ASSERT_TRUE(
      read("<?xml version=\"1.0\" encoding=\"UTF-8\"?><movie><title>Su\xE9\x64ois "
           "\x80 \x93x\x94</title></movie>",
           &info, &error));
  EXPECT_EQ(info.title, "Suédois € “x”");
  EXPECT_EQ(info.warnings.size(), 1u);
  info = NfoInfo();
  ASSERT_TRUE(
      read("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><movie><title>\xC9t\xE9</title>"
           "</movie>",
           &info, &error));
  EXPECT_EQ(info.title, "Été");
  EXPECT_TRUE(info.warnings.empty());

  // A link alone is the identity; a link after the XML adds to it.
  for (const auto& link : std::vector<std::pair<std::string, std::string>>{
           {"https://www.imdb.com/title/tt0133093/\n", "imdb:tt0133093"},
           {"\xEF\xBB\xBFhttps://www.themoviedb.org/movie/603-the-matrix", "tmdb:603"},
           {"http://thetvdb.com/?tab=series&id=81189", "tvdb:81189"},
           {"<movie><title>T</title></movie>\nhttps://www.imdb.com/title/tt0133093",
            "imdb:tt0133093"}}) {
    info = NfoInfo();
    ASSERT_TRUE(read(link.first, &info, &error)) << link.first << ": " << error;
    std::string source = link.second.substr(0, 4);
    EXPECT_EQ(info.extra["ids"][source].asString(), link.second.substr(5)) << link.first;
  }
  // Text that is neither XML nor a link is refused.
  for (const char* garbage : {"", "just some words", "https://example.com/x and more",
                              "<movie><title>cut off", "<other/>", "<episodes/>"}) {
    info = NfoInfo();
    error.clear();
    EXPECT_FALSE(read(garbage, &info, &error)) << garbage;
    EXPECT_FALSE(error.empty()) << garbage;
  }
}

class ScanTest : public DatabaseTest {
 protected:
  void TearDown() override {
    Exec("SET client_min_messages = warning");
    Exec("DROP TRIGGER IF EXISTS refuse ON movie");
    DatabaseTest::TearDown();
  }

  ScanSummary Scan(std::vector<ScanFolder> folders, size_t batch_size = 200) {
    ScanOptions options;
    options.folders = std::move(folders);
    options.batch_size = batch_size;
    ScanSummary summary;
    std::string error;
    EXPECT_TRUE(RunScan(options, &summary, &error)) << error;
    return summary;
  }
  ScanSummary Scan() { return Scan({{dir_.path(), ScanKind::kAuto}}); }

  std::string Place(Sample sample, const std::string& name, bool copy = false) {
    std::string path = dir_.path() + "/" + name;
    EXPECT_TRUE(PlaceSample(sample, path, copy)) << path;
    return path;
  }
  std::string Write(const std::string& name, const std::string& text) {
    std::string path = dir_.path() + "/" + name;
    std::ofstream(path) << text;
    return path;
  }
  // Movie titles are refused by the server from now on to the test's end.
  void RefuseTitle(const std::string& title) {
    Exec(
        "CREATE OR REPLACE FUNCTION refuse_title() RETURNS trigger AS $$ BEGIN "
        "IF NEW.title = '" +
        title +
        "' THEN RAISE EXCEPTION 'refused'; END IF; "
        "RETURN NEW; END $$ LANGUAGE plpgsql");
    Exec(
        "CREATE TRIGGER refuse BEFORE INSERT ON movie FOR EACH ROW EXECUTE FUNCTION "
        "refuse_title()");
  }
  TempDir dir_;
};

TEST_F(ScanTest, StoresProbedDataAndUnprobeableFilesByName) {
  Place(Sample::kMatroskaH264, "A (2001).mkv");
  Place(Sample::kMp4Mpeg4, "B (2002).mp4");
  Place(Sample::kMpegTs, "C (2003).ts");
  std::string broken = Place(Sample::kTruncated, "Broken (2010).mp4");
  std::string text = Write("Notes (2011).avi", "not a video\n");
  ScanSummary summary = Scan();
  EXPECT_EQ(summary.found, 5);
  EXPECT_EQ(summary.added, 5);
  EXPECT_TRUE(summary.failed.empty());
  ASSERT_EQ(summary.warnings.size(), 2u);
  EXPECT_EQ(summary.warnings[0].path, broken);
  EXPECT_EQ(summary.warnings[1].path, text);

  const char* columns =
      "m.title, container_type, duration, video_codec, resolutionx, resolutiony, frame_rate_num, "
      "frame_rate_den, video_profile, video_level, audio_codec, frequency, channel";
  Rows rows = Query(std::string("SELECT ") + columns +
                    " FROM video_file f JOIN movie m USING (mapper_id) ORDER BY m.title");
  Rows expected = {
      {"A", "matroska", "1", "h264", "160", "120", "25", "1", "100", "30", "aac", "44100", "2"},
      {"B", "mp4", "1", "mpeg4", "176", "144", "30000", "1001", "0", "1", "ac3", "48000", "6"},
      {"Broken", "", "0", "", "0", "0", "0", "0", "0", "0", "", "0", "0"},
      {"C", "mpegts", "1", "mpeg2video", "320", "240", "25", "1", "4", "8", "mp2", "48000", "1"},
      {"Notes", "", "0", "", "0", "0", "0", "0", "0", "0", "", "0", "0"}};
  EXPECT_EQ(rows, expected);
  // Every probed file has all three rates, video and audio within the whole.
  for (const Row& rates : Query("SELECT frame_bitrate, video_bitrate, audio_bitrate FROM "
                                "video_file WHERE duration > 0")) {
    long overall = std::stol(rates[0]), video = std::stol(rates[1]), audio = std::stol(rates[2]);
    EXPECT_GT(video, 0);
    EXPECT_GT(audio, 0);
    EXPECT_LE(video + audio, overall * 11 / 10);
  }
  EXPECT_EQ(Value("SELECT filesize FROM video_file WHERE path LIKE '%Notes%'"), "12");
}

TEST_F(ScanTest, ReadsNfoPostersAndKinds) {
  Place(Sample::kMatroskaH264, "movies/x.mkv");
  Write("movies/x.nfo",
        "<?xml version=\"1.0\"?><movie><title>Real Title</title><year>1999</year>"
        "<premiered>1999-03-31</premiered><plot>A plot.</plot><tagline>Tag.</tagline>"
        "<genre>Action</genre><genre>Sci-Fi</genre><actor><name>Keanu</name><role>Neo</role>"
        "</actor><director>Lana</director><credits>Lilly</credits></movie>");
  Place(Sample::kPoster, "movies/x-poster.jpg");
  Place(Sample::kMatroskaH264, "tv/The Show/Season 1/The Show - S01E02 - Second.mkv");
  Write("tv/The Show/tvshow.nfo",
        "<tvshow><title>The Show</title><plot>Show plot.</plot>"
        "<premiered>2005-01-02</premiered></tvshow>");
  Place(Sample::kPoster, "tv/The Show/folder.jpg");
  Place(Sample::kMp4Mpeg4, "home/Beach Day.mp4");
  Place(Sample::kMpegTs, "rec/News 2019-07-14 20.15.ts");
  ScanSummary summary = Scan({{dir_.path() + "/movies", ScanKind::kAuto},
                              {dir_.path() + "/tv", ScanKind::kAuto},
                              {dir_.path() + "/home", ScanKind::kHome},
                              {dir_.path() + "/rec", ScanKind::kRecordings}});
  EXPECT_EQ(summary.added, 4);
  EXPECT_EQ(SummaryText(summary).find("warning"), std::string::npos) << SummaryText(summary);

  EXPECT_EQ(Query("SELECT title, year, originally_available, tag_line, summary FROM movie "
                  "JOIN summary USING (mapper_id)"),
            (Rows{{"Real Title", "1999", "1999-03-31", "Tag.", "A plot."}}));
  EXPECT_EQ(
      Query("SELECT 'g', gnere FROM gnere UNION ALL SELECT 'a', actor FROM actor UNION ALL "
            "SELECT 'd', director FROM director UNION ALL SELECT 'w', writer FROM writer "
            "ORDER BY 1, 2"),
      (Rows{{"a", "Keanu"}, {"d", "Lana"}, {"g", "Action"}, {"g", "Sci-Fi"}, {"w", "Lilly"}}));
  EXPECT_EQ(Query("SELECT s.title, s.year, summary, e.season, e.episode, e.tag_line FROM tvshow s "
                  "JOIN summary USING (mapper_id) JOIN tvshow_episode e ON e.tvshow_id = s.id"),
            (Rows{{"The Show", "2005", "Show plot.", "1", "2", "Second"}}));
  // One poster for the movie, one for the show, each the picture's own bytes.
  std::string md5;
  ASSERT_TRUE(GetMD5(SamplePath(Sample::kPoster).c_str(), md5));
  EXPECT_EQ(Query("SELECT m.type, p.md5, p.lo_oid IS NOT NULL FROM poster p JOIN mapper m ON "
                  "m.id = p.mapper_id ORDER BY 1"),
            (Rows{{"movie", md5, "t"}, {"tvshow", md5, "t"}}));

  // A home video without a date in its name was recorded when its container says.
  struct tm utc {
  }, local{};
  strptime(kSampleCreationTime, "%Y-%m-%dT%H:%M:%SZ", &utc);
  time_t when = timegm(&utc);
  char recorded[32];
  strftime(recorded, sizeof(recorded), "%Y-%m-%d %H:%M:%S", localtime_r(&when, &local));
  EXPECT_EQ(Query("SELECT title, record_time FROM home_video"), (Rows{{"Beach Day", recorded}}));
  EXPECT_EQ(Query("SELECT title, record_time, channel_name FROM tv_record"),
            (Rows{{"News", "2019-07-14 20:15:00", "Channel Five"}}));
}

TEST_F(ScanTest, KeepsIdentitiesRatingsAndShowDetailsFromNfoFiles) {
  Place(Sample::kMatroskaH264, "movies/Film/film.mkv");
  Write("movies/Film/film.nfo",
        "<movie><title>Film</title><uniqueid type=\"imdb\" default=\"true\">tt0111161</uniqueid>"
        "<uniqueid type=\"tmdb\">278</uniqueid><ratings><rating name=\"imdb\" max=\"10\">"
        "<value>9.3</value><votes>2,500,000</votes></rating></ratings><mpaa>Rated R</mpaa>"
        "<runtime>142</runtime><studio>Castle Rock / Columbia</studio><country>USA</country>"
        "</movie>");
  // A 0-byte picture gives way to the folder's poster.
  std::string empty = Write("movies/Film/film-poster.jpg", "");
  Place(Sample::kPoster, "movies/Film/poster.jpg");
  Place(Sample::kMatroskaH264, "movies/Linked/linked.mkv");
  Write("movies/Linked/linked.nfo", "https://www.imdb.com/title/tt0133093/\n");
  Place(Sample::kMatroskaH264, "tv/Show/Season 1/Show S01E02.mkv");
  Place(Sample::kMatroskaH264, "tv/Show/Season 1/Show S01E03.mkv");
  Write("tv/Show/tvshow.nfo",
        "<tvshow><title>Show</title><genre>Drama</genre><actor><name>Lead</name></actor>"
        "<uniqueid type=\"tvdb\">81189</uniqueid></tvshow>");
  Write("tv/Show/Season 1/Show S01E02.nfo",
        "<episodes><episodedetails><title>Second</title><plot>Its plot.</plot>"
        "<genre>Crime</genre><actor><name>Guest</name></actor></episodedetails></episodes>");
  ScanSummary summary =
      Scan({{dir_.path() + "/movies", ScanKind::kAuto}, {dir_.path() + "/tv", ScanKind::kAuto}});
  EXPECT_EQ(summary.added, 4);
  ASSERT_EQ(summary.warnings.size(), 1u) << SummaryText(summary);
  EXPECT_EQ(summary.warnings[0].path, empty);

  auto extra = [this](const std::string& sql) {
    Json::Value value;
    std::istringstream in(Value(sql));
    std::string errors;
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), in, &value, &errors)) << sql;
    return value;
  };
  Json::Value film =
      extra("SELECT plus_info FROM plus_info JOIN movie USING (mapper_id) WHERE title = 'Film'");
  EXPECT_EQ(film["ids"]["imdb"], "tt0111161");
  EXPECT_EQ(film["ids"]["tmdb"], "278");
  EXPECT_EQ(film["ratings"]["imdb"]["value"].asDouble(), 9.3);
  EXPECT_EQ(film["ratings"]["imdb"]["votes"].asInt64(), 2500000);
  EXPECT_EQ(film["mpaa"], "Rated R");
  EXPECT_EQ(film["runtime"], 142);
  EXPECT_EQ(film["studio"].size(), 2u);
  EXPECT_EQ(film["country"][0], "USA");
  EXPECT_EQ(extra("SELECT plus_info FROM plus_info JOIN movie USING (mapper_id) WHERE title = "
                  "'linked'")["ids"]["imdb"],
            "tt0133093");
  EXPECT_EQ(extra("SELECT plus_info FROM plus_info JOIN tvshow USING (mapper_id)")["ids"]["tvdb"],
            "81189");
  std::string md5;
  ASSERT_TRUE(GetMD5(SamplePath(Sample::kPoster).c_str(), md5));
  EXPECT_EQ(Value("SELECT md5 FROM poster"), md5);

  // The show's genres reach every episode, its cast those that name none.
  EXPECT_EQ(Query("SELECT e.episode, e.tag_line, s.summary FROM tvshow_episode e JOIN summary s "
                  "USING (mapper_id) ORDER BY 1"),
            (Rows{{"2", "Second", "Its plot."}, {"3", "", ""}}));
  EXPECT_EQ(Query("SELECT e.episode, 'g', gnere FROM tvshow_episode e JOIN gnere USING (mapper_id) "
                  "UNION ALL SELECT e.episode, 'a', actor FROM tvshow_episode e JOIN actor "
                  "USING (mapper_id) ORDER BY 1, 2, 3"),
            (Rows{{"2", "a", "Guest"},
                  {"2", "g", "Crime"},
                  {"2", "g", "Drama"},
                  {"3", "a", "Lead"},
                  {"3", "g", "Drama"}}));
}

TEST_F(ScanTest, OneShowHowEverItsFilesSpellIt) {
  Place(Sample::kMatroskaH264,
        "tv/Marvel's Agents of S.H.I.E.L.D/Season 1/Marvels.Agents.of.S.H.I.E.L.D.S01E01.mkv");
  Place(Sample::kMatroskaH264, "dl/marvels agents of shield S01E02.mkv");
  Place(Sample::kMatroskaH264, "dl/Marvel's Agents of S.H.I.E.L.D. - 1x03.mkv");
  Place(Sample::kMatroskaH264, "dl/Watchmen (2019)/Watchmen 1x03.mkv");
  Place(Sample::kMatroskaH264, "dl/Watchmen.2019.S01E04.mkv");
  Place(Sample::kMatroskaH264, "dl/S.W.A.T.2017.S01E01.mkv");
  EXPECT_EQ(Scan().added, 6);
  EXPECT_EQ(Query("SELECT s.title, s.year, count(*) FROM tvshow s JOIN tvshow_episode e ON "
                  "e.tvshow_id = s.id GROUP BY 1, 2 ORDER BY 1"),
            (Rows{{"Marvel's Agents of S.H.I.E.L.D.", "0", "3"},
                  {"S.W.A.T.", "2017", "1"},
                  {"Watchmen", "2019", "2"}}));
}

TEST_F(ScanTest, RescansStoreOnlyWhatChanged) {
  std::string changed = Place(Sample::kMatroskaH264, "Changed (2001).mkv", true);
  auto stored_size = [this](const std::string& path) {
    return std::stoll(Value("SELECT filesize FROM video_file WHERE path = '" + path + "'"));
  };
  Place(Sample::kMatroskaH264, "Described (2002).mkv");
  std::string gone = Place(Sample::kMatroskaH264, "Gone (2003).mkv");
  Place(Sample::kMatroskaH264, "Show/Season 1/Show S01E01.mkv");
  ASSERT_EQ(Scan().added, 4);

  Rows before = Snapshot();
  MarkStatements();
  ScanSummary again = Scan();
  EXPECT_EQ(again.unchanged, 4);
  EXPECT_EQ(again.added + again.updated + again.removed, 0);
  EXPECT_EQ(Snapshot(), before);
  for (const std::string& statement : Statements()) {
    EXPECT_EQ(statement.rfind("SELECT", 0), 0u) << statement;
  }

  std::ofstream(changed, std::ios::app) << "more bytes";
  Write("Described (2002).nfo", "<movie><title>Described</title><plot>New plot.</plot></movie>");
  std::remove(gone.c_str());
  Place(Sample::kMp4Mpeg4, "New (2004).mp4");
  ScanSummary third = Scan();
  EXPECT_EQ(third.added, 1);
  EXPECT_EQ(third.updated, 2);
  EXPECT_EQ(third.unchanged, 1);
  EXPECT_EQ(third.removed, 1);
  EXPECT_EQ(stored_size(changed), static_cast<long long>(std::filesystem::file_size(changed)));
  EXPECT_EQ(Query("SELECT title, summary FROM movie JOIN summary USING (mapper_id) ORDER BY 1"),
            (Rows{{"Changed", ""}, {"Described", "New plot."}, {"New", ""}}));
  EXPECT_EQ(Count("video_file"), 4);
}

TEST_F(ScanTest, MovedAndRenamedFilesKeepTheirItems) {
  for (int i = 0; i < 50; ++i) {
    Place(Sample::kMatroskaH264, "old/Batch/Film " + std::to_string(i) + " (2000).mkv");
  }
  std::string owl = Place(Sample::kMatroskaH264, "old/Night Owl (2015)/Night Owl (2015).mkv");
  std::string notes = Write("Old Notes (2010).avi", "not a video\n");
  // Two files of one item: the library renames an item's files together, so
  // moving one of them must not be a rename.
  Place(Sample::kMp4Mpeg4, "Pair (2003).mp4");
  Place(Sample::kMp4Mpeg4, "pair/Pair.2003.mp4");
  ASSERT_EQ(Scan().added, 54);
  std::string owl_id = MapperOf(owl);
  std::string first_id = MapperOf(dir_ / "old/Batch/Film 0 (2000).mkv");
  Exec("UPDATE movie SET title = 'My Owl', islock = true WHERE mapper_id = " + owl_id);
  Exec("UPDATE summary SET summary = 'Edited' WHERE mapper_id = " + owl_id);
  Exec("INSERT INTO collection(uid, title) VALUES (1024, 'Favs')");
  Exec("INSERT INTO collection_map(mapper_id, collection_id) VALUES (" + owl_id + ", 1)");

  std::filesystem::create_directories(dir_ / "new/deeper");
  std::filesystem::rename(dir_ / "old/Batch", dir_ / "new/deeper/Batch");
  std::string owl_now = dir_ / "new/Night.Owl.2015.1080p.mkv";
  std::filesystem::rename(owl, owl_now);
  std::filesystem::remove(notes);
  std::string other_notes = Write("Other Notes (2011).avi", "not a video\n");
  std::filesystem::rename(dir_ / "pair", dir_ / "pair2");
  long probes = ProbeCount();
  ScanSummary summary = Scan();
  EXPECT_EQ(summary.moved, 51);
  // The moved folder cost no probe: the renamed file was opened once, the
  // unreadable one of equal size once to be refused as the vanished one, and
  // the two added files once each to be stored.
  EXPECT_EQ(ProbeCount() - probes, 1 + 1 + 2);
  EXPECT_EQ(summary.added, 2);
  EXPECT_EQ(summary.removed, 2);
  EXPECT_EQ(SummaryJson(summary)["moved"].asInt(), 51);
  EXPECT_EQ(MapperOf(dir_ / "new/deeper/Batch/Film 0 (2000).mkv"), first_id);
  EXPECT_EQ(MapperOf(owl_now), owl_id);
  EXPECT_EQ(Query("SELECT title, islock, summary, collection_id FROM movie JOIN summary USING "
                  "(mapper_id) JOIN collection_map USING (mapper_id)"),
            (Rows{{"My Owl", "t", "Edited", "1"}}));
  EXPECT_EQ(Value("SELECT count(*) FROM video_file WHERE path LIKE '%/old/%'"), "0");
  EXPECT_EQ(Value("SELECT count(DISTINCT mapper_id) FROM video_file WHERE path LIKE '%Pair%'"),
            "1");
  EXPECT_EQ(Count("video_file"), 54);
  EXPECT_EQ(Scan().unchanged, 54) << "a moved file is stored as it is now";
}

TEST_F(ScanTest, LockedItemsKeepTheirMetadata) {
  std::string file = Place(Sample::kMatroskaH264, "Locked (2001).mkv", true);
  ASSERT_EQ(Scan().added, 1);
  std::string size_before = Value("SELECT filesize FROM video_file");
  Exec("UPDATE movie SET islock = true, tag_line = 'Mine'");
  Exec("UPDATE summary SET summary = 'My summary'");
  std::ofstream(file, std::ios::app) << "more bytes";
  Write("Locked (2001).nfo", "<movie><title>Locked</title><plot>Theirs.</plot></movie>");
  // A second file of the locked movie joins it under the movie's own description.
  std::string second = Place(Sample::kMp4Mpeg4, "Other/Locked.2001.mp4");

  ScanSummary summary = Scan();
  EXPECT_EQ(summary.updated, 1);
  EXPECT_EQ(summary.added, 1);
  EXPECT_EQ(summary.warnings.size(), 2u);
  EXPECT_EQ(Query("SELECT title, tag_line, summary FROM movie JOIN summary USING (mapper_id)"),
            (Rows{{"Locked", "Mine", "My summary"}}));
  EXPECT_EQ(Value("SELECT count(DISTINCT mapper_id) FROM video_file"), "1");
  EXPECT_EQ(
      Value("SELECT filesize - " + size_before + " FROM video_file WHERE path = '" + file + "'"),
      "10");

  // A locked movie's file that is gone from the disk still goes.
  std::remove(second.c_str());
  EXPECT_EQ(Scan().removed, 1);
  EXPECT_EQ(Count("video_file"), 1);
}

TEST_F(ScanTest, AFailingFileSpoilsItsBatchButOnlyItselfFails) {
  RefuseTitle("Refused");
  Place(Sample::kMatroskaH264, "A (2001).mkv");
  std::string refused = Place(Sample::kMatroskaH264, "Refused (2002).mkv");
  Place(Sample::kMatroskaH264, "C (2003).mkv");
  ScanSummary summary = Scan({{dir_.path(), ScanKind::kAuto}}, 10);
  EXPECT_EQ(summary.added, 2);
  ASSERT_EQ(summary.failed.size(), 1u);
  EXPECT_EQ(summary.failed[0].path, refused);
  EXPECT_EQ(Query("SELECT title FROM movie ORDER BY 1"), (Rows{{"A"}, {"C"}}));
  // The refused file is not taken for stored: the next scan tries it again.
  EXPECT_EQ(Count("video_file"), 2);
  Exec("DROP TRIGGER refuse ON movie");
  EXPECT_EQ(Scan().added, 1);
}

TEST_F(ScanTest, CommandExitStatusAndJsonSummary) {
  RefuseTitle("Refused");
  std::string refused = Place(Sample::kMatroskaH264, "movies/Refused (2002).mkv");
  Place(Sample::kMatroskaH264, "movies/Show S01E01.mkv");
  Place(Sample::kMatroskaH264, "shows/Show S01E01.mkv");
  const std::vector<std::string> folders = {"--as", "movies", dir_.path() + "/movies",
                                            "--as", "shows",  dir_.path() + "/shows"};
  std::vector<std::string> args = {"scan", "--json"};
  args.insert(args.end(), folders.begin(), folders.end());
  Ran ran = RunProgram(KINOLOT_COMMAND, args);
  ASSERT_EQ(ran.status, 1) << ran.err;
  EXPECT_EQ(ran.err, "");  // no progress bar into a pipe
  EXPECT_EQ(ran.json["found"].asInt(), 3);
  EXPECT_EQ(ran.json["added"].asInt(), 2);
  ASSERT_EQ(ran.json["failed"].size(), 1u) << ran.out;
  EXPECT_EQ(ran.json["failed"][0]["path"].asString(), refused);
  EXPECT_FALSE(ran.json["failed"][0]["reason"].asString().empty());
  // Each folder was taken as its --as says.
  EXPECT_EQ(Value("SELECT title FROM movie"), "Show S01E01");
  EXPECT_EQ(Value("SELECT title FROM tvshow"), "Show");

  Exec("DROP TRIGGER refuse ON movie");
  args.erase(args.begin() + 1);
  ran = RunProgram(KINOLOT_COMMAND, args);
  ASSERT_EQ(ran.status, 0) << ran.err;
  EXPECT_EQ(ran.out.rfind("3 found: 1 added, 0 updated, 2 unchanged, 0 removed, 0 failed", 0), 0u)
      << ran.out;
  ran = RunProgram(KINOLOT_COMMAND, {"scan", dir_.path() + "/none"});
  EXPECT_EQ(ran.status, 2);
  EXPECT_NE(ran.err.find(dir_.path() + "/none"), std::string::npos) << ran.err;
  ran = RunProgram(KINOLOT_COMMAND, {"scan", dir_.path()}, "PGHOST=/nowhere/kinolot");
  EXPECT_EQ(ran.status, 2);
  EXPECT_NE(ran.err.find("/nowhere/kinolot"), std::string::npos) << ran.err;
}

}  // namespace
