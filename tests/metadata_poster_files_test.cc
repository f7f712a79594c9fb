// Poster files of the metadata API on a library stored through the indexing
// interface, with real show folders and poster images in a temporary
// directory: digests, file locations, and posters carried along when a show
// is renamed or merged.
#include <dirent.h>
#include <ftw.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "kinolot/video_metadata_api.h"
#include "support/test_database.h"
#include "video_info_test_util.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

// A show title with a quote, a percent sign and multi-byte letters: poster
// names are ordinary data.
const char* const kShowOne = "Ørsted's 50% Show";

class PosterFilesTest : public DatabaseTest {
 protected:
  void SetUp() override {
    DatabaseTest::SetUp();
    char dir[] = "/tmp/kinolot-posters-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    dir_ = dir;
    one_ = dir_ + "/Folder 'one' 100% é";
    two_ = dir_ + "/two";
    ASSERT_EQ(mkdir(one_.c_str(), 0755), 0);
    ASSERT_EQ(mkdir(two_.c_str(), 0755), 0);
    ASSERT_TRUE(StoreVideo(one_ + "/s1e1.mkv", Episode(kShowOne, 2010, 1, 1)));
    ASSERT_TRUE(StoreVideo(two_ + "/s1e1.mkv", Episode("Show Two", 2015, 1, 1)));
    ASSERT_TRUE(StoreVideo(dir_ + "/Alpha.mkv", Movie("Alpha", 2001)));
    Exec(
        "WITH m AS (INSERT INTO mapper(type) VALUES ('tvshow') RETURNING id)"
        " INSERT INTO tvshow(mapper_id, title) SELECT id, 'Empty' FROM m");
    showOne_ = Value("SELECT id FROM tvshow WHERE title = 'Ørsted''s 50% Show'");
    showTwo_ = Value("SELECT id FROM tvshow WHERE title = 'Show Two'");
    empty_ = Value("SELECT id FROM tvshow WHERE title = 'Empty'");
    ASSERT_FALSE(showOne_.empty() || showTwo_.empty() || empty_.empty());
    MarkStatements();
  }

  void TearDown() override {
    nftw(
        dir_.c_str(),
        [](const char* path, const struct stat*, int, struct FTW*) { return remove(path); }, 16,
        FTW_DEPTH | FTW_PHYS);
    DatabaseTest::TearDown();
  }

  static void Write(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
  }
  // "name=bytes" of every entry of `folder` but the video, sorted and joined
  // with "|"; folders show as "name/". Catches stray files as well.
  static std::string Listing(const std::string& folder) {
    std::set<std::string> entries;
    if (DIR* dir = opendir(folder.c_str())) {
      while (dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name == "." || name == ".." || name == "s1e1.mkv") continue;
        if (entry->d_type == DT_DIR) {
          entries.insert(name + "/");
          continue;
        }
        std::ifstream in(folder + "/" + name, std::ios::binary);
        std::ostringstream bytes;
        bytes << in.rdbuf();
        entries.insert(name + "=" + bytes.str());
      }
      closedir(dir);
    }
    std::string out;
    for (const std::string& entry : entries) out += (out.empty() ? "" : "|") + entry;
    return out;
  }

  VideoMetadataAPI api_;
  std::string dir_, one_, two_, showOne_, showTwo_, empty_;
};

TEST_F(PosterFilesTest, Md5IsTheStoredDigestAndBadIdsSendNothing) {
  std::string mapper = Value("SELECT mapper_id FROM movie WHERE title = 'Alpha'");
  std::string md5 = "kept";
  EXPECT_TRUE(api_.Poster_MD5(mapper, md5));
  EXPECT_EQ(md5, "kept");
  Exec("INSERT INTO poster(mapper_id, md5) VALUES (" + mapper + ", 'd41d8cd98f00b204')");
  EXPECT_TRUE(api_.Poster_MD5(mapper, md5));
  EXPECT_EQ(md5, "d41d8cd98f00b204");

  MarkStatements();
  for (const std::string& bad : {std::string(), std::string("1 OR 1=1"), std::string(1100, '1')}) {
    EXPECT_FALSE(api_.Poster_MD5(bad, md5)) << bad;
  }
  EXPECT_EQ(md5, "d41d8cd98f00b204");
  EXPECT_TRUE(Statements().empty());
}

TEST_F(PosterFilesTest, FilePathOfItemsAndShows) {
  std::string path, title = "untouched";
  std::string movie = Value("SELECT id FROM movie WHERE title = 'Alpha'");
  EXPECT_TRUE(api_.Poster_GetFilePath(VIDEO_TABLE_MOVIE, movie, path, title));
  EXPECT_EQ(path + "|" + title, dir_ + "/Alpha.mkv|untouched");

  EXPECT_TRUE(api_.Poster_GetFilePath(VIDEO_TABLE_TVSHOW, showOne_, path, title));
  EXPECT_EQ(path + "|" + title, one_ + "/s1e1.mkv|" + kShowOne);
  bool fileQuery = false, showQuery = false;
  for (const std::string& sql : Statements()) {
    fileQuery |=
        sql.find("mapper_id IN ( SELECT mapper_id FROM tvshow_episode WHERE tvshow_id=" + showOne_ +
                 " )") != std::string::npos;
    showQuery |= sql.find("tvshow.id=" + showOne_) != std::string::npos;
  }
  EXPECT_TRUE(fileQuery && showQuery);

  // A show without episodes.
  EXPECT_TRUE(api_.Poster_GetFilePath(VIDEO_TABLE_TVSHOW, empty_, path, title));
  EXPECT_EQ(path + "|" + title, "|Empty");

  MarkStatements();
  path = title = "kept";
  EXPECT_FALSE(api_.Poster_GetFilePath(VIDEO_TABLE_INVALID, "1", path, title));
  EXPECT_FALSE(api_.Poster_GetFilePath(VIDEO_TABLE_SUMMARY, "1", path, title));
  for (const std::string& bad : {std::string(), std::string("1 OR true"), std::string(1100, '7')}) {
    EXPECT_FALSE(api_.Poster_GetFilePath(VIDEO_TABLE_TVSHOW, bad, path, title)) << bad;
  }
  EXPECT_EQ(path + "|" + title, "kept|kept");
  EXPECT_TRUE(Statements().empty());
}

TEST_F(PosterFilesTest, RenameCopiesThePosterUnderTheNewTitle) {
  const std::string old = one_ + "/" + kShowOne;
  Write(old + ".jpg", "jpg\n\x01");
  Write(old + ".png", "png");
  Write(one_ + "/Stale.jpg", "stale");
  // .jpg is taken when both exist, a file under the new title is replaced,
  // and the old poster stays.
  EXPECT_EQ(api_.UpdateTVShowExPosterHandler(showOne_, kShowOne, "New 100% Ñame"), 1);
  EXPECT_EQ(api_.UpdateTVShowExPosterHandler(showOne_, kShowOne, "Stale"), 1);
  EXPECT_EQ(Listing(one_), "New 100% Ñame.jpg=jpg\n\x01|Stale.jpg=jpg\n\x01|" +
                               std::string(kShowOne) + ".jpg=jpg\n\x01|" + kShowOne + ".png=png");

  Write(two_ + "/Show Two.png", "two");
  EXPECT_EQ(api_.UpdateTVShowExPosterHandler(showTwo_, "Show Two", "Renamed"), 1);
  // No poster: nothing to carry over.
  EXPECT_EQ(api_.UpdateTVShowExPosterHandler(showTwo_, "Nothing", "Other"), 1);
  EXPECT_EQ(Listing(two_), "Renamed.png=two|Show Two.png=two");
}

TEST_F(PosterFilesTest, RenameRefusals) {
  Write(one_ + "/Keep.jpg", "keep");
  Write(dir_ + "/Secret.jpg", "secret");
  ASSERT_EQ(mkdir((one_ + "/Odd.jpg").c_str(), 0755), 0);
  for (const auto& bad : {std::vector<std::string>{"", "Keep", "b"},
                          {showOne_, "", "b"},
                          {showOne_, "Keep", ""},
                          {"1 OR true", "Keep", "b"},
                          {empty_, "Empty", "b"}}) {
    EXPECT_EQ(api_.UpdateTVShowExPosterHandler(bad[0], bad[1], bad[2]), 0) << bad[0];
  }
  // Titles that would leave the show's folder name no poster.
  EXPECT_EQ(api_.UpdateTVShowExPosterHandler(showOne_, "Keep", "../Escaped"), 1);
  EXPECT_EQ(api_.UpdateTVShowExPosterHandler(showOne_, "../Secret", "Leaked"), 1);
  // A poster name that is no regular file cannot be copied.
  EXPECT_EQ(api_.UpdateTVShowExPosterHandler(showOne_, "Odd", "Copy"), 0);
  EXPECT_EQ(Listing(one_), "Keep.jpg=keep|Odd.jpg/");
  EXPECT_EQ(Listing(dir_), "Folder 'one' 100% é/|Secret.jpg=secret|two/");
}

TEST_F(PosterFilesTest, MergeReplacesTheFirstShowsPosterByTheSecondShows) {
  const std::string old = one_ + "/" + kShowOne;
  Write(old + ".jpg", "old");
  Write(two_ + "/Show Two.jpg", "two jpg");
  EXPECT_EQ(api_.MergeTVShowExPosterHandler(showOne_, showTwo_), 1);
  EXPECT_EQ(Listing(one_), "Show Two.jpg=two jpg");
  EXPECT_EQ(Listing(two_), "Show Two.jpg=two jpg");

  // The .jpg target is there: the .png one is copied.
  Write(old + ".png", "old png");
  Write(two_ + "/Show Two.png", "two png");
  EXPECT_EQ(api_.MergeTVShowExPosterHandler(showOne_, showTwo_), 1);
  EXPECT_EQ(Listing(one_), "Show Two.jpg=two jpg|Show Two.png=two png");

  // Both targets there: nothing copied, the old poster removed all the same.
  Write(old + ".jpg", "old again");
  Write(two_ + "/Show Two.jpg", "newer");
  EXPECT_EQ(api_.MergeTVShowExPosterHandler(showOne_, showTwo_), 1);
  EXPECT_EQ(Listing(one_), "Show Two.jpg=two jpg|Show Two.png=two png");
}

TEST_F(PosterFilesTest, MergeRefusals) {
  const std::string old = one_ + "/" + kShowOne;
  ASSERT_EQ(mkdir((old + ".jpg").c_str(), 0755), 0);
  Write(old + ".jpg/inside", "x");
  Write(two_ + "/Show Two.jpg", "two");
  for (const auto& ids : {std::vector<std::string>{"", showTwo_},
                          {showOne_, "2 OR true"},
                          {showOne_, empty_},
                          {empty_, showTwo_}}) {
    EXPECT_EQ(api_.MergeTVShowExPosterHandler(ids[0], ids[1]), 0) << ids[0] << " " << ids[1];
  }
  // An old poster that cannot be removed stops the merge before the copy.
  EXPECT_EQ(api_.MergeTVShowExPosterHandler(showOne_, showTwo_), 0);
  EXPECT_EQ(Listing(one_), std::string(kShowOne) + ".jpg/");

  // A stored title that leads out of the folder removes nothing there.
  Exec("UPDATE tvshow SET title = '../Victim' WHERE id = " + showOne_);
  Write(dir_ + "/Victim.jpg", "victim");
  EXPECT_EQ(api_.MergeTVShowExPosterHandler(showOne_, showTwo_), 1);
  EXPECT_EQ(Listing(one_), "Show Two.jpg=two|" + std::string(kShowOne) + ".jpg/");
  EXPECT_EQ(Listing(dir_), "Folder 'one' 100% é/|Victim.jpg=victim|two/");
}

}  // namespace
}  // namespace kinolot_test
