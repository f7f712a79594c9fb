// The test bed of the whole suite: a fixture that hands every test a clean
// video_metadata database on the real server that the test command started,
// reads back the statements that reached that server and the lines the
// library wrote to syslog, and builds sample rows and indexing records.
//
// The server is found the way libpq finds it (PGHOST/PGPORT); its statement
// log is the file named by KINOLOT_TEST_SERVER_LOG.
#ifndef KINOLOT_TESTS_SUPPORT_TEST_DATABASE_H_
#define KINOLOT_TESTS_SUPPORT_TEST_DATABASE_H_

#include <gtest/gtest.h>
#include <libpq-fe.h>

#include <cstdio>
#include <string>
#include <vector>

#include "kinolot/video_info.h"
#include "kinolot/video_info_store.h"
#include "kinolot/video_metadata_db.h"

namespace kinolot_test {

using Row = std::vector<std::string>;
using Rows = std::vector<Row>;

// Texts that break naive quoting, LIKE patterns or printf-style formatting.
constexpr char kAwkward[] = "O'Brien \\n 100% _x_ '' \xC3\xA9t\xC3\xA9 \xE6\x98\xA0\xE7\x94\xBB %s";

// `text` as an SQL literal: between single quotes, each quote doubled.
std::string Quoted(const std::string& text);

// Reads back what the library writes to syslog: the log is opened with
// LOG_PERROR, so every message also goes to standard error, which is
// redirected into a file while a capture runs.
class SyslogCapture {
 public:
  SyslogCapture() = default;
  ~SyslogCapture();  // stops the capture and removes its file
  SyslogCapture(const SyslogCapture&) = delete;
  SyslogCapture& operator=(const SyslogCapture&) = delete;
  void Start();
  // Restores standard error and passes on what was not syslog (a sanitizer
  // report, say); captured lines stay readable.
  void Stop();
  // The messages captured so far, one per line, without the "ident: " prefix.
  std::vector<std::string> Lines() { return Read(true); }

 private:
  // The captured lines that came from syslog (without the prefix), or the others.
  std::vector<std::string> Read(bool fromSyslog);
  int saved_stderr_ = -1;
  std::string path_;
};

class DatabaseTest : public ::testing::Test {
 protected:
  // Empties every table (identities restart at 1) and every large object,
  // closes the library's shared connection and starts collecting server
  // statements and syslog.
  void SetUp() override;
  void TearDown() override;

  // Runs `sql` on the fixture's own connection, bypassing the library.
  // Fails the test on an error.
  void Exec(const std::string& sql) { Query(sql); }
  // SQL NULL reads as "<NULL>".
  Rows Query(const std::string& sql);
  // First column of the first row, "" when there is none.
  std::string Value(const std::string& sql);
  long Count(const std::string& table);
  // Every row of every table, each led by its table's name, in a stable
  // order: equal snapshots mean nothing was stored, changed or removed.
  Rows Snapshot();

  // Statements that connections other than the fixture's sent to the server
  // since SetUp or the last MarkStatements, in order, as the server logged them.
  std::vector<std::string> Statements();
  void MarkStatements();
  // True when `sql` is, byte for byte, one of Statements().
  bool Received(const std::string& sql);

  // Stop and start the test server (scripts/pg-cluster.sh on the cluster
  // whose log KINOLOT_TEST_SERVER_LOG names); starting reconnects the
  // fixture. Every session of the library is cut off on the way.
  void StopDatabase();
  void StartDatabase();

  // Syslog lines the library wrote since SetUp, without the ident.
  std::vector<std::string> LogLines() { return syslog_.Lines(); }
  // True when a syslog line matches `regex` in full (ECMAScript); useful
  // where a line number stands in the text.
  bool LoggedMatching(const std::string& regex);
  // True when VideoDB logged "<kind> = <sql>" (after its source and line).
  bool LoggedLine(const std::string& kind, const std::string& sql);

  // Sample rows written with plain SQL; each Add returns the new mapper id.
  std::string AddMapper(const std::string& type) {
    return Value("INSERT INTO mapper(type) VALUES(" + Quoted(type) + ") RETURNING id");
  }
  // A movie whose sort title is its title.
  std::string AddMovie(const std::string& title, int year) {
    std::string mapper = AddMapper("movie");
    Exec("INSERT INTO movie(mapper_id, title, sort_title, year) VALUES(" + mapper + ", " +
         Quoted(title) + ", " + Quoted(title) + ", " + std::to_string(year) + ")");
    return mapper;
  }
  void AddName(const std::string& table, const std::string& mapper, const std::string& name) {
    Exec("INSERT INTO " + table + "(mapper_id, " + table + ") VALUES(" + mapper + ", " +
         Quoted(name) + ")");
  }
  // Mapper id of the video_file row of `path`, "" when there is none.
  std::string MapperOf(const std::string& path) {
    return Value("SELECT mapper_id FROM video_file WHERE path = " + Quoted(path));
  }
  // "title/type" of every row left in `db`'s current result.
  std::vector<std::string> Listed(LibKinolot::VideoDB& db) {
    std::vector<std::string> rows;
    LibKinolot::_VIDEO_INFO_ALL_ item;
    while (db.NextRow() && db.FetchVideoItem(item))
      rows.push_back(std::string(item.title) + "/" + item.type);
    return rows;
  }

 private:
  PGconn* conn_ = nullptr;
  long log_offset_ = 0;
  SyslogCapture syslog_;
};

// Records of the indexing interface.
template <size_t N>
void Set(char (&field)[N], const std::string& text) {
  snprintf(field, N, "%s", text.c_str());
}
inline LibKinolot::_VIDEO_INFO_VIDEO_FILE_ FileRecord(
    const std::string& path, LibKinolot::_VIDEO_TYPE_ kind = LibKinolot::VIDEO_TYPE_MOVIE) {
  LibKinolot::_VIDEO_INFO_VIDEO_FILE_ file{};
  file.type = LibKinolot::VIDEO_TYPE_VIDEO_FILE;
  file.video_type = kind;
  Set(file.path, path);
  return file;
}
// A movie of a bare release year, which every save turns into the year.
inline LibKinolot::_VIDEO_INFO_ Movie(const std::string& title, int year) {
  LibKinolot::_VIDEO_INFO_ info{};
  info.type = LibKinolot::VIDEO_TYPE_MOVIE;
  Set(info.title, title);
  info.year = year;
  if (year > 0) Set(info.originally_available, std::to_string(year));
  return info;
}
inline LibKinolot::_VIDEO_INFO_TVSHOW_ Episode(const std::string& show, int showYear, int season,
                                               int episode) {
  LibKinolot::_VIDEO_INFO_TVSHOW_ info{};
  info.type = LibKinolot::VIDEO_TYPE_TVSHOW_EPISODE;
  Set(info.title, show);
  info.tvshow_year = showYear;
  if (showYear > 0) Set(info.tvshow_originally_available, std::to_string(showYear));
  info.season = season;
  info.episode = episode;
  return info;
}
inline LibKinolot::_VIDEO_INFO_ Recording(LibKinolot::_VIDEO_TYPE_ type, const std::string& title,
                                          const std::string& recordTime) {
  LibKinolot::_VIDEO_INFO_ info{};
  info.type = type;
  Set(info.title, title);
  Set(info.record_time, recordTime);
  return info;
}
// Stores a file row for `path`; returns VideoInfoVideoFileSave's result.
inline int StoreFile(const std::string& path,
                     LibKinolot::_VIDEO_TYPE_ kind = LibKinolot::VIDEO_TYPE_MOVIE) {
  LibKinolot::_VIDEO_INFO_VIDEO_FILE_ file = FileRecord(path, kind);
  return LibKinolot::VideoInfoVideoFileSave(&file);
}
// Stores the file of `path` and then `info` for it; true when both succeed.
inline bool StoreVideo(const std::string& path, LibKinolot::_VIDEO_INFO_ info) {
  return StoreFile(path, info.type) == 0 && LibKinolot::VideoInfoSave(path.c_str(), &info) == 0;
}

}  // namespace kinolot_test

#endif  // KINOLOT_TESTS_SUPPORT_TEST_DATABASE_H_
