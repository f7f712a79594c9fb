// The test bed of the whole suite; see test_database.h.
#include "support/test_database.h"

#include <dirent.h>
#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>

#include "kinolot/video_db.h"

namespace kinolot_test {

namespace {

const char kIdent[] = "kinolot-test";

// Every table of the schema.
const char* const kTables[] = {"mapper",     "movie",     "tvshow",     "tvshow_episode",
                               "home_video", "tv_record", "video_file", "poster",
                               "summary",    "plus_info", "actor",      "director",
                               "writer",     "gnere",     "collection", "collection_map"};

const char* ServerLogPath() {
  return std::getenv("KINOLOT_TEST_SERVER_LOG");
}

bool StartsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

}  // namespace

std::string Quoted(const std::string& text) {
  std::string out = "'";
  for (char c : text) out += c == '\'' ? std::string("''") : std::string(1, c);
  return out + "'";
}

// --- Syslog ---------------------------------------------------------------

void SyslogCapture::Start() {
  Stop();
  openlog(kIdent, LOG_PERROR, LOG_USER);
  path_ = "/tmp/kinolot-syslog-" + std::to_string(getpid()) + ".log";
  int fd = open(path_.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
  if (fd < 0) return;
  fflush(stderr);
  saved_stderr_ = dup(STDERR_FILENO);
  dup2(fd, STDERR_FILENO);
  close(fd);
}

SyslogCapture::~SyslogCapture() {
  Stop();
  if (!path_.empty()) unlink(path_.c_str());
}

void SyslogCapture::Stop() {
  if (saved_stderr_ < 0) return;
  std::vector<std::string> other = Read(false);
  dup2(saved_stderr_, STDERR_FILENO);
  close(saved_stderr_);
  saved_stderr_ = -1;
  for (const std::string& line : other) fprintf(stderr, "%s\n", line.c_str());
}

std::vector<std::string> SyslogCapture::Read(bool fromSyslog) {
  std::vector<std::string> lines;
  fflush(stderr);
  std::ifstream in(path_);
  const std::string prefix = std::string(kIdent) + ": ";
  for (std::string line; std::getline(in, line);) {
    if (StartsWith(line, prefix) != fromSyslog) continue;
    lines.push_back(fromSyslog ? line.substr(prefix.size()) : line);
  }
  return lines;
}

// --- Database -------------------------------------------------------------

void DatabaseTest::SetUp() {
  LibKinolot::VideoDBConnClose();
  conn_ = PQconnectdb("user=admin dbname=video_metadata application_name=kinolot-test-fixture");
  ASSERT_EQ(PQstatus(conn_), CONNECTION_OK)
      << "no test database (run the tests through scripts/test.sh): " << PQerrorMessage(conn_);
  ASSERT_NE(ServerLogPath(), nullptr) << "KINOLOT_TEST_SERVER_LOG is not set";
  std::string truncate = "TRUNCATE";
  for (const char* table : kTables)
    truncate += std::string(truncate.size() > 8 ? ", " : " ") + table;
  Exec(truncate + " RESTART IDENTITY CASCADE");
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

Rows DatabaseTest::Query(const std::string& sql) {
  Rows rows;
  PGresult* res = PQexec(conn_, sql.c_str());
  ExecStatusType status = PQresultStatus(res);
  EXPECT_TRUE(status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK)
      << sql << ": " << PQresultErrorMessage(res);
  for (int r = 0; r < PQntuples(res); ++r) {
    Row row;
    for (int c = 0; c < PQnfields(res); ++c) {
      row.push_back(PQgetisnull(res, r, c) ? "<NULL>" : PQgetvalue(res, r, c));
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

Rows DatabaseTest::Snapshot() {
  Rows all;
  for (const char* table : kTables) {
    for (Row& row : Query(std::string("SELECT * FROM ") + table + " ORDER BY id")) {
      row.insert(row.begin(), table);
      all.push_back(row);
    }
  }
  return all;
}

void DatabaseTest::MarkStatements() {
  std::ifstream in(ServerLogPath(), std::ios::binary | std::ios::ate);
  log_offset_ = in ? static_cast<long>(in.tellg()) : 0;
}

std::vector<std::string> DatabaseTest::Statements() {
  // Entries look like "<time> [<pid>] LOG:  statement: <sql>", a statement of
  // several lines continuing on lines that start with a tab. A statement the
  // server could not even parse is logged only after its error, as
  // "<time> [<pid>] STATEMENT:  <sql>"; one that failed later is logged both
  // ways and counted once.
  const std::string own = std::to_string(PQbackendPID(conn_));
  const std::string logged = "LOG:  statement: ", failed = "STATEMENT:  ";
  std::map<std::string, std::string> last_by_pid;
  std::vector<std::string> statements;
  struct Entry {
    std::string pid;
    bool parsed;
    std::string text;
  };
  std::vector<Entry> entries;
  std::ifstream in(ServerLogPath(), std::ios::binary);
  in.seekg(log_offset_);
  bool continues = false;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line[0] == '\t') {
      if (continues) entries.back().text += "\n" + line.substr(1);
      continue;
    }
    continues = false;
    size_t start = line.find(" [");
    size_t end = start == std::string::npos ? start : line.find("] ", start);
    if (end == std::string::npos) continue;
    std::string rest = line.substr(end + 2);
    bool parsed = StartsWith(rest, logged);
    if (!parsed && !StartsWith(rest, failed)) continue;
    entries.push_back({line.substr(start + 2, end - start - 2), parsed,
                       rest.substr(parsed ? logged.size() : failed.size())});
    continues = true;
  }
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

bool DatabaseTest::LoggedMatching(const std::string& regex) {
  std::regex pattern(regex);
  for (const std::string& line : LogLines()) {
    if (std::regex_match(line, pattern)) return true;
  }
  return false;
}

bool DatabaseTest::LoggedLine(const std::string& kind, const std::string& sql) {
  for (const std::string& line : LogLines()) {
    size_t at = line.find(' ');
    if (StartsWith(line, "video_metadata_db:") && at != std::string::npos &&
        line.substr(at) == " " + kind + " = " + sql) {
      return true;
    }
  }
  return false;
}

// Runs the cluster script on the test server's cluster, with none of this
// process's descriptors but the standard three, and those on /dev/null: the
// server it starts outlives the test, and an inherited pipe would keep
// whoever reads our output waiting.
static int RunClusterScript(const std::string& action) {
  if (DIR* fds = opendir("/proc/self/fd")) {
    while (dirent* entry = readdir(fds)) {
      int fd = std::atoi(entry->d_name);
      if (fd > 2) fcntl(fd, F_SETFD, fcntl(fd, F_GETFD) | FD_CLOEXEC);
    }
    closedir(fds);
  }
  // The log lies in <cluster>/data/server.log.
  std::string cluster = ServerLogPath();
  for (int up = 0; up < 2; ++up) cluster = cluster.substr(0, cluster.find_last_of('/'));
  const std::string command = std::string(KINOLOT_SOURCE_DIR) + "/scripts/pg-cluster.sh " + action +
                              " '" + cluster + "' </dev/null >/dev/null 2>&1";
  return std::system(command.c_str());
}

void DatabaseTest::StopDatabase() {
  ASSERT_EQ(RunClusterScript("stop"), 0);
}

void DatabaseTest::StartDatabase() {
  ASSERT_EQ(RunClusterScript("start"), 0);
  if (conn_) PQfinish(conn_);
  conn_ = PQconnectdb("user=admin dbname=video_metadata application_name=kinolot-test-fixture");
  ASSERT_EQ(PQstatus(conn_), CONNECTION_OK) << PQerrorMessage(conn_);
  MarkStatements();
}

}  // namespace kinolot_test
