// The test bed fixture; see test_database.h.
#include "support/test_database.h"

#include <libpq-fe.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include "kinolot/video_db.h"

namespace kinolot_test {

const char* const kNull = "<NULL>";

namespace {

// Every table of the schema; TRUNCATE ... CASCADE empties them in one go.
const char kTruncateAll[] =
    "TRUNCATE mapper, movie, tvshow, tvshow_episode, home_video, tv_record, video_file, poster, "
    "summary, plus_info, actor, director, writer, gnere, collection, collection_map "
    "RESTART IDENTITY CASCADE";

const char* ServerLogPath() {
  return std::getenv("KINOLOT_TEST_SERVER_LOG");
}

long FileSize(const char* path) {
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  return in ? static_cast<long>(in.tellg()) : 0;
}

}  // namespace

void DatabaseTest::SetUp() {
  LibKinolot::VideoDBConnClose();
  conn_ = PQconnectdb("user=admin dbname=video_metadata application_name=kinolot-test-fixture");
  ASSERT_EQ(PQstatus(conn_), CONNECTION_OK)
      << "no test database (run the tests through scripts/test.sh): " << PQerrorMessage(conn_);
  ASSERT_NE(ServerLogPath(), nullptr) << "KINOLOT_TEST_SERVER_LOG is not set";
  Exec(kTruncateAll);
  // Large objects left by poster tests go too.
  Exec("SELECT lo_unlink(oid) FROM pg_largeobject_metadata");
  MarkStatements();
  syslog_.Start();
}

void DatabaseTest::TearDown() {
  syslog_.Stop();
  LibKinolot::VideoDBConnClose();
  if (conn_) PQfinish(conn_);
  conn_ = nullptr;
}

void DatabaseTest::Exec(const std::string& sql) {
  Query(sql);
}

Rows DatabaseTest::Query(const std::string& sql) {
  Rows rows;
  PGresult* res = PQexec(conn_, sql.c_str());
  ExecStatusType status = PQresultStatus(res);
  EXPECT_TRUE(status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK)
      << sql << ": " << PQresultErrorMessage(res);
  for (int r = 0; r < PQntuples(res); ++r) {
    Row row;
    for (int c = 0; c < PQnfields(res); ++c) {
      row.push_back(PQgetisnull(res, r, c) ? kNull : PQgetvalue(res, r, c));
    }
    rows.push_back(row);
  }
  PQclear(res);
  return rows;
}

std::string DatabaseTest::Value(const std::string& sql) {
  Rows rows = Query(sql);
  return rows.empty() || rows[0].empty() ? "" : rows[0][0];
}

long DatabaseTest::Count(const std::string& table) {
  return std::atol(Value("SELECT count(*) FROM " + table).c_str());
}

void DatabaseTest::MarkStatements() {
  log_offset_ = FileSize(ServerLogPath());
}

std::vector<std::string> DatabaseTest::Statements() {
  // Log entries look like "<time> [<pid>] LOG:  statement: <sql>", a
  // statement of several lines continuing on lines that start with a tab. A
  // statement the server could not even parse is logged only after its
  // error, as "<time> [<pid>] STATEMENT:  <sql>"; a statement that failed
  // later is logged both ways and counted once.
  struct Entry {
    std::string pid;
    bool parsed;
    std::string text;
  };
  std::vector<Entry> entries;
  std::ifstream in(ServerLogPath(), std::ios::binary);
  in.seekg(log_offset_);
  const std::string logged = "LOG:  statement: ";
  const std::string failed = "STATEMENT:  ";
  std::string line;
  bool continues = false;
  while (std::getline(in, line)) {
    if (!line.empty() && line[0] == '\t') {
      if (continues) entries.back().text += "\n" + line.substr(1);
      continue;
    }
    continues = false;
    size_t pid_start = line.find(" [");
    size_t pid_end = pid_start == std::string::npos ? pid_start : line.find("] ", pid_start);
    if (pid_end == std::string::npos) continue;
    std::string pid = line.substr(pid_start + 2, pid_end - pid_start - 2);
    std::string rest = line.substr(pid_end + 2);
    if (rest.compare(0, logged.size(), logged) == 0) {
      entries.push_back({pid, true, rest.substr(logged.size())});
      continues = true;
    } else if (rest.compare(0, failed.size(), failed) == 0) {
      entries.push_back({pid, false, rest.substr(failed.size())});
      continues = true;
    }
  }
  const std::string own = std::to_string(PQbackendPID(conn_));
  std::map<std::string, std::string> last_by_pid;
  std::vector<std::string> statements;
  for (const Entry& entry : entries) {
    if (entry.pid == own) continue;
    if (entry.parsed || last_by_pid[entry.pid] != entry.text) statements.push_back(entry.text);
    last_by_pid[entry.pid] = entry.text;
  }
  return statements;
}

bool DatabaseTest::Received(const std::string& sql) {
  std::vector<std::string> all = Statements();
  return std::find(all.begin(), all.end(), sql) != all.end();
}

bool DatabaseTest::Logged(const std::string& line) {
  std::vector<std::string> lines = LogLines();
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

}  // namespace kinolot_test

namespace kinolot_test {

bool DatabaseTest::LoggedMatching(const std::string& regex) {
  std::regex pattern(regex);
  for (const std::string& line : LogLines()) {
    if (std::regex_match(line, pattern)) return true;
  }
  return false;
}

}  // namespace kinolot_test

namespace kinolot_test {

void DatabaseTest::RestartServer() {
  // The log lies in <cluster>/data/server.log.
  std::string cluster = ServerLogPath();
  for (int up = 0; up < 2; ++up) cluster = cluster.substr(0, cluster.find_last_of('/'));
  const std::string script = std::string(KINOLOT_SOURCE_DIR) + "/scripts/pg-cluster.sh";
  ASSERT_EQ(std::system((script + " stop '" + cluster + "' && " + script + " start '" + cluster +
                         "' >/dev/null")
                            .c_str()),
            0);
  if (conn_) PQfinish(conn_);
  conn_ = PQconnectdb("user=admin dbname=video_metadata application_name=kinolot-test-fixture");
  ASSERT_EQ(PQstatus(conn_), CONNECTION_OK) << PQerrorMessage(conn_);
  MarkStatements();
}

}  // namespace kinolot_test
