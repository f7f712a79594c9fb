// Poster files of the metadata API on a library stored through the indexing
// interface, with real show folders and poster images in a scratch
// directory: digests, file locations, and posters carried along when a show
// is renamed or merged.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "kinolot/video_metadata_api.h"
#include "support/temp_files.h"
#include "support/test_database.h"

using namespace LibKinolot;

namespace kinolot_test {
namespace {

// Poster names are ordinary data: quotes, percent signs, multi-byte letters.
const std::string kShowOne = "Ørsted's 50% Show";

class PosterFilesTest : public DatabaseTest {
 protected:
  void SetUp() override {
    DatabaseTest::SetUp();
    ASSERT_TRUE(std::filesystem::create_directory(one_) && std::filesystem::create_directory(two_));
    ASSERT_TRUE(StoreVideo(one_ + "/s1e1.mkv", Episode(kShowOne, 2010, 1, 1)));
    ASSERT_TRUE(StoreVideo(two_ + "/s1e1.mkv", Episode("Show Two", 2015, 1, 1)));
    ASSERT_TRUE(StoreVideo(dir_ / "Alpha.mkv", Movie("Alpha", 2001)));
    Exec(
        "WITH m AS (INSERT INTO mapper(type) VALUES ('tvshow') RETURNING id)"
        " INSERT INTO tvshow(mapper_id, title) SELECT id, 'Empty' FROM m");
    showOne_ = Value("SELECT id FROM tvshow WHERE title = 'Ørsted''s 50% Show'");
    showTwo_ = Value("SELECT id FROM tvshow WHERE title = 'Show Two'");
    empty_ = Value("SELECT id FROM tvshow WHERE title = 'Empty'");
    MarkStatements();
  }

  // "name=bytes" of every entry of `folder` but the video, sorted and joined
  // with "|"; folders show as "name/". Catches stray files as well.
  static std::string Listing(const std::string& folder) {
    std::set<std::string> entries;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      std::string name = entry.path().filename();
      if (entry.is_directory())
        entries.insert(name + "/");
      else if (name != "s1e1.mkv")
        entries.insert(name + "=" + ReadFile(entry.path()));
    }
    std::string out;
    for (const std::string& entry : entries) out += (out.empty() ? "" : "|") + entry;
    return out;
  }

  VideoMetadataAPI api_;
  TempDir dir_;
  const std::string one_ = dir_ / "Folder 'one' 100% é", two_ = dir_ / "two";
  std::string showOne_, showTwo_, empty_;
};

TEST_F(PosterFilesTest, DigestAndFilePathOfItemsAndShows) {
  std::string mapper = Value("SELECT mapper_id FROM movie WHERE title = 'Alpha'");
  std::string md5 = "kept";
  EXPECT_TRUE(api_.Poster_MD5(mapper, md5));
  EXPECT_EQ(md5, "kept") << "no poster yet";
  Exec("INSERT INTO poster(mapper_id, md5) VALUES (" + mapper + ", 'd41d8cd98f00b204')");
  EXPECT_TRUE(api_.Poster_MD5(mapper, md5));
  EXPECT_EQ(md5, "d41d8cd98f00b204");

  std::string path, title = "untouched";
  EXPECT_TRUE(api_.Poster_GetFilePath(
      VIDEO_TABLE_MOVIE, Value("SELECT id FROM movie WHERE title = 'Alpha'"), path, title));
  EXPECT_EQ(path + "|" + title, dir_ / "Alpha.mkv|untouched");
  EXPECT_TRUE(api_.Poster_GetFilePath(VIDEO_TABLE_TVSHOW, showOne_, path, title));
  EXPECT_EQ(path + "|" + title, one_ + "/s1e1.mkv|" + kShowOne);
  EXPECT_TRUE(api_.Poster_GetFilePath(VIDEO_TABLE_TVSHOW, empty_, path, title));
  EXPECT_EQ(path + "|" + title, "|Empty") << "a show without episodes";

  MarkStatements();
  path = title = md5 = "kept";
  for (const std::string& bad : {std::string(), std::string("1 OR true"), std::string(1100, '7')}) {
    EXPECT_FALSE(api_.Poster_MD5(bad, md5)) << bad;
    EXPECT_FALSE(api_.Poster_GetFilePath(VIDEO_TABLE_TVSHOW, bad, path, title)) << bad;
  }
  EXPECT_FALSE(api_.Poster_GetFilePath(VIDEO_TABLE_INVALID, "1", path, title));
  EXPECT_FALSE(api_.Poster_GetFilePath(VIDEO_TABLE_SUMMARY, "1", path, title));
  EXPECT_EQ(path + title + md5, "keptkeptkept");
  EXPECT_TRUE(Statements().empty()) << testing::PrintToString(Statements());
}

TEST_F(PosterFilesTest, RenameCopiesThePosterUnderTheNewTitle) {
  WriteFile(one_ + "/" + kShowOne + ".jpg", "jpg\n\x01");
  WriteFile(one_ + "/" + kShowOne + ".png", "png");
  WriteFile(one_ + "/Stale.jpg", "stale");
  // .jpg is taken when both exist, a file under the new title is replaced,
  // and the old poster stays.
  EXPECT_EQ(api_.UpdateTVShowExPosterHandler(showOne_, kShowOne, "New 100% Ñame"), 1);
  EXPECT_EQ(api_.UpdateTVShowExPosterHandler(showOne_, kShowOne, "Stale"), 1);
  EXPECT_EQ(Listing(one_), "New 100% Ñame.jpg=jpg\n\x01|Stale.jpg=jpg\n\x01|" + kShowOne +
                               ".jpg=jpg\n\x01|" + kShowOne + ".png=png");
  WriteFile(two_ + "/Show Two.png", "two");
  EXPECT_EQ(api_.UpdateTVShowExPosterHandler(showTwo_, "Show Two", "Renamed"), 1);
  EXPECT_EQ(api_.UpdateTVShowExPosterHandler(showTwo_, "Nothing", "Other"), 1) << "no poster";
  EXPECT_EQ(Listing(two_), "Renamed.png=two|Show Two.png=two");

  // Refused: missing values, ids that are no number, a show without files,
  // and a poster name that is no regular file. Titles that would leave the
  // show's folder name no poster.
  WriteFile(one_ + "/Keep.jpg", "keep");
  WriteFile(dir_ / "Secret.jpg", "secret");
  std::filesystem::create_directory(one_ + "/Odd.jpg");
  for (const auto& bad : {std::vector<std::string>{"", "Keep", "b"},
                          {showOne_, "", "b"},
                          {showOne_, "Keep", ""},
                          {"1 OR true", "Keep", "b"},
                          {empty_, "Empty", "b"},
                          {showOne_, "Odd", "Copy"}}) {
    EXPECT_EQ(api_.UpdateTVShowExPosterHandler(bad[0], bad[1], bad[2]), 0) << bad[0] << bad[1];
  }
  EXPECT_EQ(api_.UpdateTVShowExPosterHandler(showOne_, "Keep", "../Escaped"), 1);
  EXPECT_EQ(api_.UpdateTVShowExPosterHandler(showOne_, "../Secret", "Leaked"), 1);
  EXPECT_EQ(Listing(one_).find("Copy"), std::string::npos);
  EXPECT_EQ(Listing(dir_.path()), "Folder 'one' 100% é/|Secret.jpg=secret|two/");
}

TEST_F(PosterFilesTest, MergeReplacesTheFirstShowsPosterByTheSecondShows) {
  const std::string old = one_ + "/" + kShowOne;
  WriteFile(old + ".jpg", "old");
  WriteFile(two_ + "/Show Two.jpg", "two jpg");
  EXPECT_EQ(api_.MergeTVShowExPosterHandler(showOne_, showTwo_), 1);
  EXPECT_EQ(Listing(one_), "Show Two.jpg=two jpg");
  EXPECT_EQ(Listing(two_), "Show Two.jpg=two jpg");
  // The .jpg target is there: the .png one is copied.
  WriteFile(old + ".png", "old png");
  WriteFile(two_ + "/Show Two.png", "two png");
  EXPECT_EQ(api_.MergeTVShowExPosterHandler(showOne_, showTwo_), 1);
  EXPECT_EQ(Listing(one_), "Show Two.jpg=two jpg|Show Two.png=two png");
  // Both targets there: nothing copied, the old poster removed all the same.
  WriteFile(old + ".jpg", "old again");
  WriteFile(two_ + "/Show Two.jpg", "newer");
  EXPECT_EQ(api_.MergeTVShowExPosterHandler(showOne_, showTwo_), 1);
  EXPECT_EQ(Listing(one_), "Show Two.jpg=two jpg|Show Two.png=two png");

  // Refused ids, and an old poster that cannot be removed, stop the merge
  // before the copy.
  std::filesystem::remove_all(one_ + "/Show Two.jpg");
  std::filesystem::create_directory(old + ".jpg");
  WriteFile(old + ".jpg/inside", "x");
  for (const auto& ids : {std::vector<std::string>{"", showTwo_},
                          {showOne_, "2 OR true"},
                          {showOne_, empty_},
                          {empty_, showTwo_},
                          {showOne_, showTwo_}}) {
    EXPECT_EQ(api_.MergeTVShowExPosterHandler(ids[0], ids[1]), 0) << ids[0] << " " << ids[1];
  }
  EXPECT_EQ(Listing(one_), "Show Two.png=two png|" + kShowOne + ".jpg/");
  // A stored title that leads out of the folder removes nothing there.
  Exec("UPDATE tvshow SET title = '../Victim' WHERE id = " + showOne_);
  WriteFile(dir_ / "Victim.jpg", "victim");
  EXPECT_EQ(api_.MergeTVShowExPosterHandler(showOne_, showTwo_), 1);
  EXPECT_EQ(ReadFile(dir_ / "Victim.jpg"), "victim");
}

}  // namespace
}  // namespace kinolot_test
