// The schema the library relies on: the cascade from a mapper row to
// everything that refers to it, the defaults and unique paths. Its indexes
// are judged by the benchmarks.
#include <gtest/gtest.h>

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

TEST_F(SchemaTest, DefaultsAndUniquePaths) {
  Exec("INSERT INTO movie(mapper_id, title) VALUES(" + AddMapper("movie") + ", 'X')");
  EXPECT_EQ(Query("SELECT isLock, create_date IS NOT NULL, modify_date IS NOT NULL FROM movie"),
            (Rows{{"f", "t", "t"}}));
  EXPECT_EQ(Value("SELECT count(*) FROM pg_indexes WHERE tablename = 'video_file' AND "
                  "indexdef LIKE '%UNIQUE%(path)%'"),
            "1");
}

}  // namespace
}  // namespace kinolot_test
