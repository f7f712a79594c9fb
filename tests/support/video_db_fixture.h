// The fixture of VideoDB's tests: rows of the video kinds inserted with raw
// SQL through the fixture's own connection, and the log lines VideoDB writes.
#ifndef KINOLOT_TESTS_SUPPORT_VIDEO_DB_FIXTURE_H_
#define KINOLOT_TESTS_SUPPORT_VIDEO_DB_FIXTURE_H_

#include <string>
#include <vector>

#include "kinolot/video_metadata_db.h"
#include "support/test_database.h"

namespace kinolot_test {

// Texts that break naive quoting, LIKE patterns or printf-style formatting.
constexpr char kAwkward[] = "O'Brien \\n 100% _x_ '' \xC3\xA9t\xC3\xA9 \xE6\x98\xA0\xE7\x94\xBB %s";

class VideoDbTest : public DatabaseTest {
 protected:
  std::string AddMapper(const std::string& type) {
    return Value("INSERT INTO mapper(type) VALUES('" + type + "') RETURNING id");
  }
  // Adds a movie (a sort time of "" is NULL) and returns its mapper id.
  std::string AddMovie(const std::string& title, int year, const std::string& sortTime = "") {
    std::string mapper = AddMapper("movie");
    Exec("INSERT INTO movie(mapper_id, title, sort_title, year, sort_time) VALUES(" + mapper +
         ", '" + title + "', '" + title + "', " + std::to_string(year) + ", " +
         (sortTime.empty() ? "NULL" : "'" + sortTime + "'") + ")");
    return mapper;
  }
  void AddName(const std::string& table, const std::string& mapper, const std::string& name) {
    Exec("INSERT INTO " + table + "(mapper_id, " + table + ") VALUES(" + mapper + ", '" + name +
         "')");
  }
  // True when VideoDB logged "<kind> = <sql>" (after its source and line).
  bool LoggedLine(const std::string& kind, const std::string& sql) {
    for (const std::string& line : LogLines()) {
      if (line.rfind("video_metadata_db:", 0) != 0) continue;
      size_t at = line.find(' ');
      if (at != std::string::npos && line.substr(at) == " " + kind + " = " + sql) return true;
    }
    return false;
  }
  // "title/type" of every row of `db`'s current result.
  std::vector<std::string> Listed(LibKinolot::VideoDB& db) {
    std::vector<std::string> rows;
    LibKinolot::_VIDEO_INFO_ALL_ item;
    while (db.NextRow() && db.FetchVideoItem(item)) {
      rows.push_back(std::string(item.title) + "/" + item.type);
    }
    return rows;
  }
};

}  // namespace kinolot_test

#endif  // KINOLOT_TESTS_SUPPORT_VIDEO_DB_FIXTURE_H_
