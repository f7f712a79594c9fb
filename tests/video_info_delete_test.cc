// Identity look-ups, deleting, folder deleting, renaming and user locks of
// the indexing interface, on the real server; paths too long to be named
// without being cut; and the schema's cascade, defaults and unique paths.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/test_database.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

class VideoInfoDeleteTest : public DatabaseTest {
 protected:
  Rows Paths() { return Query("SELECT path FROM video_file ORDER BY path"); }
};

TEST_F(VideoInfoDeleteTest, IdentityLookUpsMatchTitlesIgnoringCaseAndNothingElse) {
  ASSERT_TRUE(StoreVideo("/v/Heat.mkv", Movie("Heat", 1995)));
  ASSERT_TRUE(StoreVideo("/v/w/e1.mkv", Episode("Lost", 2004, 1, 1)));
  const int movie = std::stoi(MapperOf("/v/Heat.mkv"));
  const int episode = std::stoi(MapperOf("/v/w/e1.mkv"));

  _VIDEO_INFO_ query = Movie("HEAT", 1995);
  FillVideoInfo(&query);
  EXPECT_EQ(VideoInfoMapperIDGet(VIDEO_TABLE_MOVIE, &query), movie);
  query.year = 1996;
  EXPECT_EQ(VideoInfoMapperIDGet(&query), -1);
  _VIDEO_INFO_TVSHOW_ other = Episode("lost", 2004, 1, 1);
  FillVideoInfo(&other);
  EXPECT_EQ(VideoInfoMapperIDGet(&other), episode);
  const int show = std::stoi(Value("SELECT mapper_id FROM tvshow"));
  EXPECT_EQ(GetTVShowMapperIDFromEpisode(episode), show);
  EXPECT_EQ(VideoInfoMapperIDGet(VIDEO_TABLE_TVSHOW, &other), show);
  EXPECT_EQ(GetTVShowMapperIDFromEpisode(movie), -1);
  other.tvshow_year = 2005;
  EXPECT_EQ(VideoInfoMapperIDGet(&other), -1) << "an episode matches only within its show";

  EXPECT_TRUE(IsVideoInfoExisted("/v/Heat.mkv"));
  EXPECT_FALSE(IsVideoInfoExisted("/v/heat.mkv") || IsVideoInfoExisted(nullptr));
  EXPECT_EQ(VideoInfoMapperIDGet(nullptr), -1);
  EXPECT_EQ(VideoInfoMapperIDGet(VIDEO_TABLE_SUMMARY, &query), -1);
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Bad video table type"));
}

TEST_F(VideoInfoDeleteTest, DeleteDropsTheDescriptionAndTheShowWithTheirLastFile) {
  ASSERT_TRUE(StoreVideo("/v/heat-1.mkv", Movie("Heat", 1995)));
  ASSERT_TRUE(StoreVideo("/v/heat-2.mkv", Movie("Heat", 1995)));
  ASSERT_TRUE(StoreVideo("/v/w/e1.mkv", Episode("Lost", 2004, 1, 1)));
  ASSERT_TRUE(StoreVideo("/v/w/e2.mkv", Episode("Lost", 2004, 1, 2)));
  EXPECT_EQ(VideoInfoDelete("/v/heat-1.mkv", false), 0);
  EXPECT_TRUE(Received("DELETE FROM video_file WHERE path = '/v/heat-1.mkv'"));
  EXPECT_EQ(VideoInfoDelete("/v/w/e1.mkv", false), 0);
  EXPECT_EQ(Count("movie") + Count("tvshow"), 2);
  EXPECT_EQ(VideoInfoDelete("/v/heat-2.mkv", false), 0);
  EXPECT_EQ(VideoInfoDelete("/v/w/e2.mkv", false), 0);
  EXPECT_EQ(Count("mapper"), 0) << "the rows that refer to a mapper go with it";

  EXPECT_EQ(VideoInfoDelete("/v/heat-2.mkv", false), -1) << "no longer indexed";
  EXPECT_EQ(VideoInfoDelete("", true), -1);
  EXPECT_EQ(VideoInfoDelete(nullptr, true), -1);
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Bad parameter"));
}

TEST_F(VideoInfoDeleteTest, LocksKeepADescriptionWhileItsFileExists) {
  char onDisk[] = "/tmp/kinolot-lock-XXXXXX";
  int fd = mkstemp(onDisk);
  ASSERT_GE(fd, 0);
  close(fd);
  ASSERT_TRUE(StoreVideo(onDisk, Movie("Heat", 1995)));
  ASSERT_TRUE(StoreVideo("/v/gone.mkv", Movie("Ronin", 1998)));
  EXPECT_FALSE(VideoInfoIsLock(onDisk));
  Exec("UPDATE movie SET isLock = true");
  EXPECT_TRUE(VideoInfoIsLock(onDisk));
  EXPECT_EQ(VideoInfoDelete(onDisk, false), -1);
  EXPECT_EQ(Count("video_file") + Count("movie"), 4);
  // A locked description whose file is really gone is deleted like any.
  EXPECT_EQ(VideoInfoDelete("/v/gone.mkv", false), 0);
  EXPECT_EQ(VideoInfoDelete(onDisk, true), 0);
  unlink(onDisk);
  EXPECT_EQ(Count("video_file") + Count("movie"), 0);

  // A locked show locks each of its episodes; recordings never lock.
  ASSERT_TRUE(StoreVideo("/v/w/e1.mkv", Episode("Lost", 2004, 1, 1)));
  ASSERT_TRUE(StoreVideo("/v/h.mp4", Recording(VIDEO_TYPE_HOME_VIDEO, "Beach", "")));
  EXPECT_FALSE(VideoInfoIsLock("/v/w/e1.mkv"));
  Exec("UPDATE tvshow SET isLock = true");
  EXPECT_TRUE(VideoInfoIsLock("/v/w/e1.mkv"));
  Exec("UPDATE tvshow SET isLock = false; UPDATE tvshow_episode SET isLock = true");
  EXPECT_TRUE(VideoInfoIsLock("/v/w/e1.mkv"));
  Exec("UPDATE home_video SET isLock = true");
  EXPECT_FALSE(VideoInfoIsLock("/v/h.mp4"));
  EXPECT_FALSE(VideoInfoIsLock("/v/unknown.mkv"));
  EXPECT_FALSE(VideoInfoIsLock(nullptr));
}

TEST_F(VideoInfoDeleteTest, FolderDeleteTakesOnlyTheFolderItNames) {
  for (const char* path : {"/v/a/1.mkv", "/v/a/sub/2.mkv", "/v/ab/3.mkv", "/v/a_/4.mkv",
                           "/v/a%/5.mkv", "/v/a.mkv", "/v/b\\c/6.mkv", "/v/bc/7.mkv"}) {
    ASSERT_EQ(StoreFile(path), 0);
  }
  EXPECT_EQ(VideoInfoDirDelete("/v/a", false), 0);
  EXPECT_TRUE(Received("SELECT path FROM video_file WHERE path like '/v/a/%'  "));
  EXPECT_EQ(Count("video_file WHERE path LIKE '/v/a/%'"), 0);
  // LIKE's wildcards and escape character in a folder name are letters; a
  // trailing slash is allowed.
  for (const char* folder : {"/v/a_/", "/v/a%", "/v/b\\c"}) {
    EXPECT_EQ(VideoInfoDirDelete(folder, false), 0);
  }
  EXPECT_EQ(Paths(), (Rows{{"/v/a.mkv"}, {"/v/ab/3.mkv"}, {"/v/bc/7.mkv"}}));
  EXPECT_EQ(Count("mapper"), 3);
  EXPECT_EQ(VideoInfoDirDelete("/v/empty", false), 0);
  for (const std::string& bad : {std::string(), std::string(5000, 'd')}) {
    EXPECT_EQ(VideoInfoDirDelete(bad.c_str(), false), -1) << bad.size();
  }
  EXPECT_EQ(VideoInfoDirDelete(nullptr, false), -1);
}

TEST_F(VideoInfoDeleteTest, RenameMovesEveryFileOfTheDescription) {
  ASSERT_TRUE(StoreVideo("/v/old.mkv", Movie("Heat", 1995)));
  EXPECT_EQ(VideoInfoRename("/v/It's new.mkv", "/v/old.mkv"), 0);
  EXPECT_TRUE(
      Received("UPDATE video_file SET path = '/v/It''s new.mkv', modify_date = "
               "current_timestamp WHERE mapper_id = " +
               MapperOf("/v/It's new.mkv")));
  EXPECT_EQ(Paths(), (Rows{{"/v/It's new.mkv"}}));
  EXPECT_EQ(VideoInfoRename("/v/x.mkv", "/v/old.mkv"), -1);
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ There is no any record in DB"));
  EXPECT_EQ(VideoInfoRename("", nullptr), -1);
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Bad parameter"));
  // An empty new path is accepted as it stands.
  EXPECT_EQ(VideoInfoRename("", "/v/It's new.mkv"), 0);
  EXPECT_EQ(Paths(), (Rows{{""}}));
}

TEST_F(VideoInfoDeleteTest, PathsLongerThanTheFieldAreRefusedNotCut) {
  // A stored path of 4,095 bytes, the most a field holds, and the same path
  // one byte longer: cut to the field it would name the stored file.
  const std::string stored = "/v/" + std::string(4092, 'p');
  const std::string longer = stored + "x";
  ASSERT_TRUE(StoreVideo(stored, Movie("Alpha", 2001)));
  ASSERT_TRUE(StoreVideo("/v/b.mkv", Movie("Beta", 2002)));
  _VIDEO_INFO_ movie = Movie("Gamma", 2003);
  EXPECT_EQ(VideoInfoRename(longer.c_str(), "/v/b.mkv"), -1);
  EXPECT_EQ(VideoInfoRename("/v/c.mkv", longer.c_str()), -1);
  EXPECT_EQ(VideoInfoDelete(longer.c_str(), true), -1);
  EXPECT_EQ(VideoInfoSave(longer.c_str(), &movie), -1);
  EXPECT_FALSE(VideoInfoIsLock(longer.c_str()));
  EXPECT_TRUE(LoggedMatching("video_db:\\d+ Bad parameter"));
  EXPECT_EQ(Value("SELECT string_agg(m.title || ':' || length(f.path), ',' ORDER BY m.title)"
                  " FROM movie m JOIN video_file f ON f.mapper_id = m.mapper_id"),
            "Alpha:4095,Beta:8");
}

// The schema the library relies on: the cascade from a mapper row to
// everything that refers to it, the defaults and unique paths. Its indexes
// are judged by the benchmarks.
const char* const kPerVideo[] = {"video_file", "poster", "summary", "plus_info",     "actor",
                                 "director",   "writer", "gnere",   "collection_map"};

TEST_F(VideoInfoDeleteTest, DeletingAMapperRowRemovesEveryRowThatRefersToIt) {
  Exec("INSERT INTO collection(uid, title) VALUES(1, 'Favourites')");
  const std::string movie = AddMovie("M", 2001), other = AddMovie("N", 2002);
  for (const std::string& id : {movie, other}) {
    for (std::string table : kPerVideo) {
      std::string column = table == "collection_map" ? "collection_id"
                           : table == "video_file"   ? "path"
                           : table == "poster"       ? "md5"
                                                     : table;
      std::string value = table == "collection_map" ? "1" : "v" + id;
      Exec("INSERT INTO " + table + "(mapper_id, " + column + ") VALUES(" + id + ", '" + value +
           "')");
    }
  }
  const std::string episode = AddMapper("tvshow_episode");
  Exec("INSERT INTO tvshow(mapper_id, title) VALUES(" + AddMapper("tvshow") + ", 'S')");
  Exec("INSERT INTO tvshow_episode(mapper_id, tvshow_id) VALUES(" + episode + ", 1)");

  Exec("DELETE FROM mapper WHERE id IN (" + movie + ", " + episode + ")");
  for (std::string table : kPerVideo) {
    EXPECT_EQ(Query("SELECT mapper_id::text FROM " + table), (Rows{{other}})) << table;
  }
  EXPECT_EQ(Count("movie") + Count("collection") + Count("tvshow"), 3);
  EXPECT_EQ(Count("tvshow_episode"), 0);
}

TEST_F(VideoInfoDeleteTest, DefaultsAndUniquePaths) {
  Exec("INSERT INTO movie(mapper_id, title) VALUES(" + AddMapper("movie") + ", 'X')");
  EXPECT_EQ(Query("SELECT isLock, create_date IS NOT NULL, modify_date IS NOT NULL FROM movie"),
            (Rows{{"f", "t", "t"}}));
  EXPECT_EQ(Value("SELECT count(*) FROM pg_indexes WHERE tablename = 'video_file' AND "
                  "indexdef LIKE '%UNIQUE%(path)%'"),
            "1");
}

}  // namespace
}  // namespace kinolot_test
