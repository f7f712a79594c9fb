// The test bed: a fixture that hands every test a clean video_metadata
// database on the real server that the test command started, and lets a test
// read back what reached that server and what the library wrote to syslog.
//
// The server is found the way libpq finds it (PGHOST/PGPORT); the server's
// statement log is the file named by KINOLOT_TEST_SERVER_LOG.
#ifndef KINOLOT_TESTS_SUPPORT_TEST_DATABASE_H_
#define KINOLOT_TESTS_SUPPORT_TEST_DATABASE_H_

#include <gtest/gtest.h>
#include <libpq-fe.h>

#include <string>
#include <vector>

#include "support/syslog_capture.h"

namespace kinolot_test {

using Row = std::vector<std::string>;
using Rows = std::vector<Row>;

// Text that Query() gives for SQL NULL.
extern const char* const kNull;

class DatabaseTest : public ::testing::Test {
 protected:
  // Empties every table (identities restart at 1), closes the library's
  // shared connection and starts collecting server statements and syslog.
  void SetUp() override;
  void TearDown() override;

  // Runs `sql` on the fixture's own connection, bypassing the library.
  // Fails the test on an error.
  void Exec(const std::string& sql);
  Rows Query(const std::string& sql);
  // First column of the first row, "" when there is none.
  std::string Value(const std::string& sql);
  long Count(const std::string& table);

  // Statements that connections other than the fixture's sent to the server
  // since SetUp or the last MarkStatements, in order, as the server logged them.
  std::vector<std::string> Statements();
  void MarkStatements();
  // True when `sql` is, byte for byte, one of Statements().
  bool Received(const std::string& sql);

  // Stops and starts the test server (scripts/pg-cluster.sh on the cluster
  // whose log KINOLOT_TEST_SERVER_LOG names), then reconnects the fixture.
  // Every session of the library is cut off on the way.
  void RestartServer();

  // Syslog lines the library wrote since SetUp, without the ident.
  std::vector<std::string> LogLines() { return syslog_.Lines(); }
  bool Logged(const std::string& line);
  // True when a syslog line matches `regex` in full (std::regex, ECMAScript);
  // useful where a line number stands in the text.
  bool LoggedMatching(const std::string& regex);

 private:
  PGconn* conn_ = nullptr;
  long log_offset_ = 0;
  SyslogCapture syslog_;
};

}  // namespace kinolot_test

#endif  // KINOLOT_TESTS_SUPPORT_TEST_DATABASE_H_
