// The schema the library relies on: the cascade from a mapper row to
// everything that refers to it, the defaults, unique paths and the indexes of
// the look-up columns.
#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

#include "support/test_database.h"

namespace kinolot_test {
namespace {

using SchemaTest = DatabaseTest;

const char* const kPerVideo[] = {"video_file", "poster", "summary", "plus_info",     "actor",
                                 "director",   "writer", "gnere",   "collection_map"};

TEST_F(SchemaTest, DeletingAMapperRowRemovesEveryRowThatRefersToIt) {
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

TEST_F(SchemaTest, DefaultsUniquePathsAndIndexedLookUps) {
  Exec("INSERT INTO movie(mapper_id, title) VALUES(" + AddMapper("movie") + ", 'X')");
  EXPECT_EQ(Query("SELECT isLock, create_date IS NOT NULL, modify_date IS NOT NULL FROM movie"),
            (Rows{{"f", "t", "t"}}));
  EXPECT_EQ(Value("SELECT count(*) FROM pg_indexes WHERE tablename = 'video_file' AND "
                  "indexdef LIKE '%UNIQUE%(path)%'"),
            "1");
  std::vector<std::string> tables(std::begin(kPerVideo), std::end(kPerVideo));
  tables.insert(tables.end(), {"movie", "tvshow", "tvshow_episode", "home_video", "tv_record"});
  for (const std::string& table : tables) {
    EXPECT_NE(Value("SELECT count(*) FROM pg_indexes WHERE tablename = '" + table +
                    "' AND indexdef LIKE '%(mapper_id%'"),
              "0")
        << table;
  }
  for (const char* column : {"tvshow_id", "collection_id"}) {
    EXPECT_NE(Value(std::string("SELECT count(*) FROM pg_indexes WHERE indexdef LIKE '%(") +
                    column + "%'"),
              "0")
        << column;
  }
}

}  // namespace
}  // namespace kinolot_test
