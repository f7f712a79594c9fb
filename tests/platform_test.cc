// Tests of the platform layer. The escaping is judged by the real server: a
// value must come back byte for byte and never end its literal early. The
// statement tests compare the exact SQL the server received.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "kinolot/platform/vexo_db.h"
#include "kinolot/platform/vexo_file.h"
#include "kinolot/platform/vlib_c.h"
#include "support/temp_files.h"
#include "support/test_database.h"

namespace {

using namespace LibKinolot;
using Texts = std::vector<std::string>;

// Returns the formatter's heap text as a string and frees it; "<null>" for null.
std::string Take(char* text) {
  if (text == nullptr) return "<null>";
  std::string copy = text;
  std::free(text);
  return copy;
}

// The code that a failing formatter call left, or -1 when it did not fail.
template <typename... Args>
int FailureCode(Args... args) {
  VLIBCErrSet(VLIBC_ERR_NONE);
  char* text = VEXODBEscapeStringEX3(args...);
  if (text == nullptr) return VLIBCErrGet();
  std::free(text);
  return -1;
}

class PlatformDbTest : public kinolot_test::DatabaseTest {
 protected:
  void SetUp() override {
    DatabaseTest::SetUp();
    conn_ = VEXODBConnect(nullptr, "admin", nullptr, "video_metadata");
    ASSERT_NE(conn_, nullptr) << VEXODBErrorGet(nullptr);
  }
  void TearDown() override {
    VEXODBClose(conn_);
    DatabaseTest::TearDown();
  }
  // Every value of `column` of `sql` run through `conn` (else the fixture's), in order.
  Texts Column(const std::string& sql, const char* column, DBConnect_tag* conn = nullptr) {
    DBResult_tag* result = nullptr;
    EXPECT_EQ(VEXODBExecute(conn ? conn : conn_, sql.c_str(), &result), 0) << sql;
    Texts values;
    for (unsigned int row = 0; VEXODBFetchRow(result, &row) == 0;) {
      const char* value = VEXODBFetchField(result, row, column);
      values.push_back(value ? value : "<NULL>");
    }
    VEXODBFreeResult(result);
    return values;
  }

  DBConnect_tag* conn_ = nullptr;
};

TEST_F(PlatformDbTest, VarStoresEveryTextByteForByteWhateverTheEnvironmentAsks) {
  // Quotes, backslashes (also last and before a quote), LIKE wildcards,
  // multi-byte letters and an attempt to end the statement.
  const std::string hard[] = {kinolot_test::kAwkward, "'", "trailing\\", "\\'",
                              "x'); DELETE FROM mapper; --"};
  for (const std::string& text : hard) {
    std::string sql = Take(VEXODBEscapeStringEX3(
        1, "INSERT INTO mapper(type) VALUES('@VEXO:VAR') RETURNING type", text.c_str()));
    EXPECT_EQ(Column(sql, "type"), Texts{text}) << sql;
  }
  EXPECT_EQ(Count("mapper"), static_cast<long>(std::size(hard))) << "nothing deleted";

  // A server told to read backslashes as escapes would let "\'" end the
  // literal; every connection is pinned to standard strings.
  setenv("PGOPTIONS", "-c standard_conforming_strings=off", 1);
  DBConnect_tag* other = VEXODBConnect(nullptr, "admin", nullptr, "video_metadata");
  unsetenv("PGOPTIONS");
  ASSERT_NE(other, nullptr) << VEXODBErrorGet(nullptr);
  EXPECT_EQ(
      Column(Take(VEXODBEscapeStringEX3(1, "SELECT '@VEXO:VAR' AS v", "a\\'b\\")), "v", other),
      Texts{"a\\'b\\"});
  VEXODBClose(other);
}

TEST(FormatterTest, FillsEachPlaceholderKindAndRefusesWhatItCannotFill) {
  EXPECT_EQ(Take(VEXODBEscapeStringEX3(1, "@VEXO:INT,@VEXO:LLINT,@VEXO:INT,@VEXO:LLINT", INT_MIN,
                                       5000000000LL, 7, LLONG_MIN)),
            "-2147483648,5000000000,7,-9223372036854775808");
  EXPECT_EQ(Take(VEXODBEscapeStringEX3(1, "a=@VEXO:NEVAR, b=@VEXO:NEVAR", "NULL", "'x''y\\'")),
            "a=NULL, b='x''y\\'");
  EXPECT_EQ(Take(VEXODBEscapeStringEX3(1, "@VEXO:VAR_@VEXO:VAR", "tvshow", "summary")),
            "tvshow_summary");
  // A template without placeholders comes back as a heap copy of its own.
  EXPECT_EQ(Take(VEXODBEscapeStringEX3(1, "SELECT 'x@y', '@VEXO' FROM mapper")),
            "SELECT 'x@y', '@VEXO' FROM mapper");
  EXPECT_EQ(Take(VEXODBEscapeStringEX3(1, "")), "");
  EXPECT_EQ(Take(VEXODBEscapeStrAlloc("it's")), "it''s");

  const char* none = nullptr;
  EXPECT_EQ(FailureCode(2, "SELECT 1"), VLIBC_ERR_UNSUPPORTED_DB);
  EXPECT_EQ(FailureCode(1, none), VLIBC_ERR_BAD_PARAMETER);
  EXPECT_EQ(FailureCode(1, "'@VEXO:VAR'", none), VLIBC_ERR_BAD_PARAMETER);
  EXPECT_EQ(FailureCode(1, "@VEXO:NEVAR", none), VLIBC_ERR_BAD_PARAMETER);
  EXPECT_EQ(FailureCode(1, "a @VEXO:LVAR", none), VLIBC_ERR_BAD_PARAMETER);
  EXPECT_EQ(FailureCode(1, "@VEXO:INT @VEXO:TEXT", 1, "x"), VLIBC_ERR_BAD_FORMAT);
  EXPECT_EQ(FailureCode(1, "trailing @VEXO:"), VLIBC_ERR_BAD_FORMAT);
  VLIBCErrSet(VLIBC_ERR_NONE);
  EXPECT_EQ(VEXODBEscapeStrAlloc(nullptr), nullptr);
  EXPECT_EQ(VLIBCErrGet(), VLIBC_ERR_BAD_PARAMETER);
  // The code is kept per thread.
  int seen = -1;
  std::thread([&] { seen = VLIBCErrGet(); }).join();
  EXPECT_EQ(seen, VLIBC_ERR_NONE);
}

TEST_F(PlatformDbTest, RowsAndFieldsAreReadByExactColumnNameWithinBounds) {
  Exec("INSERT INTO mapper(type) VALUES('movie'),('')");
  DBResult_tag* result = nullptr;
  ASSERT_EQ(VEXODBExecute(conn_,
                          "SELECT type AS resolutionX, NULL::text AS gone, 1 AS \"MixedCase\" "
                          "FROM mapper ORDER BY id",
                          &result),
            0);
  ASSERT_EQ(VEXODBNumRows(result), 2);
  unsigned int row = 99;
  ASSERT_EQ(VEXODBFetchRow(result, &row), 0);
  EXPECT_EQ(row, 0u);
  EXPECT_STREQ(VEXODBFetchField(result, row, "resolutionx"), "movie");
  EXPECT_STREQ(VEXODBFetchField(result, row, "MixedCase"), "1");
  for (const char* absent : {"resolutionX", "mixedcase", "gone"}) {
    EXPECT_EQ(VEXODBFetchField(result, row, absent), nullptr) << absent;
  }
  EXPECT_EQ(VEXODBFetchField(result, row, nullptr), nullptr);
  ASSERT_EQ(VEXODBFetchRow(result, &row), 0);
  EXPECT_STREQ(VEXODBFetchField(result, 1, "resolutionx"), "") << "empty is not NULL";
  EXPECT_EQ(VEXODBFetchRow(result, &row), -1);
  EXPECT_EQ(VEXODBFetchField(result, 2, "gone"), nullptr);
  VEXODBFreeResult(result);
}

TEST_F(PlatformDbTest, FailuresReportTheServerErrorAndNullHandlesAreRefused) {
  DBResult_tag* result = reinterpret_cast<DBResult_tag*>(&conn_);  // must be overwritten
  EXPECT_EQ(VEXODBExecute(conn_, "SELECT * FROM no_such_table", &result), -1);
  EXPECT_EQ(result, nullptr);
  std::string error = VEXODBErrorGet(conn_);
  EXPECT_NE(error.find("no_such_table"), std::string::npos) << error;
  EXPECT_NE(error.back(), '\n');
  EXPECT_EQ(VEXODBExecute(conn_, nullptr, nullptr), -1);
  EXPECT_EQ(VEXODBExecute(conn_, "SELECT 1", nullptr), 0) << "the connection stays usable";
  unsigned int row = 0;
  EXPECT_EQ(VEXODBExecute(nullptr, "SELECT 1", nullptr), -1);
  EXPECT_EQ(VEXODBClose(nullptr), -1);
  EXPECT_EQ(VEXODBDatabaseTypeGet(nullptr), -1);
  EXPECT_EQ(VEXODBNumRows(nullptr), 0);
  EXPECT_EQ(VEXODBFetchRow(nullptr, &row), -1);
  EXPECT_EQ(VEXODBFetchField(nullptr, 0, "id"), nullptr);
  EXPECT_EQ(VEXODBSelectLimit(nullptr, "SELECT 1", 1, 1, nullptr), -1);
  EXPECT_EQ(VEXODBAffectedRows(conn_, nullptr), -1);
  VEXODBFreeResult(nullptr);

  Exec("INSERT INTO mapper(type) VALUES('a'),('b'),('c')");
  for (const auto& [sql, count] :
       {std::pair<const char*, int>{"UPDATE mapper SET type = 'x' WHERE type <> 'c'", 2},
        {"VACUUM FULL ANALYZE mapper", 0}}) {
    ASSERT_EQ(VEXODBExecute(conn_, sql, &result), 0) << sql;
    EXPECT_EQ(VEXODBAffectedRows(conn_, result), count) << sql;
    VEXODBFreeResult(result);
  }
}

TEST(ConditionCheckTest, LetsOneExpressionThroughAndNothingElse) {
  char out[256];
  for (const char* condition :
       {"mapper_id = 42", "title = 'it''s; -- fine'", "\"odd;name\" IS NULL OR title = 'a /* b'"}) {
    ASSERT_EQ(EscapeConditionEX2(1, condition, out), static_cast<int>(strlen(condition)));
    EXPECT_STREQ(out, condition);
  }
  for (const char* condition :
       {"1=1; DROP TABLE mapper", "a = 'open", "a = 1 -- rest", "a = 1 /* rest */",
        "\"it's\" = 1; DELETE FROM mapper; --'", "$$'$$; DELETE FROM mapper; --'",
        "title = E'\\''; DELETE FROM mapper; --'", "\"open = 1"}) {
    std::snprintf(out, sizeof(out), "stale");
    EXPECT_LT(EscapeConditionEX2(1, condition, out), 0) << condition;
    EXPECT_STREQ(out, "") << condition;
  }
  EXPECT_LT(EscapeConditionEX2(2, "a = 1", out), 0);
  EXPECT_LT(EscapeConditionEX2(1, nullptr, out), 0);
}

TEST(ShellQuoteTest, ShellReadsTheQuotedParameterBackUnchanged) {
  const std::string nasty = "it's $(echo no) `echo no` \"q\" \\ ; | & * ~ $HOME\n'' end'";
  std::vector<char> out(4 * nasty.size() + 3);
  int length = VLIBCEncShParam(nasty.c_str(), out.data(), out.size());
  ASSERT_GT(length, 0);
  FILE* shell = popen(("printf %s " + std::string(out.data())).c_str(), "r");
  ASSERT_NE(shell, nullptr);
  std::string printed(nasty.size() + 1, '\0');
  printed.resize(fread(&printed[0], 1, printed.size(), shell));
  EXPECT_EQ(pclose(shell), 0);
  EXPECT_EQ(printed, nasty);
  // The exact size fits; one byte less is refused and leaves an empty text.
  EXPECT_EQ(VLIBCEncShParam(nasty.c_str(), out.data(), length + 1), length);
  std::vector<char> small(static_cast<size_t>(length), 'x');
  EXPECT_EQ(VLIBCEncShParam(nasty.c_str(), small.data(), small.size()), -1);
  EXPECT_STREQ(small.data(), "");
  EXPECT_EQ(VLIBCErrGet(), VLIBC_ERR_BUFFER_TOO_SMALL);
}

// VEXOFileCopy copies every byte or leaves nothing behind: no partial
// destination and no temporary file, whatever failed.
TEST(FileCopyTest, CopiesEveryByteOrLeavesNothing) {
  kinolot_test::TempDir dir;
  auto copy = [&](const char* from, const char* to, VEXO_FILE_COPY_OPT* options) {
    return VEXOFileCopy((dir / from).c_str(), (dir / to).c_str(), options);
  };
  auto names = [&] {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
      names.insert(entry.path().filename());
    return names;
  };
  // Larger than one read, with NUL bytes and every byte value; mode and
  // times kept when asked.
  std::string bytes;
  for (int i = 0; i < 300000; ++i) bytes.push_back(static_cast<char>(i * 7 % 256));
  kinolot_test::WriteFile(dir / "src", bytes);
  chmod((dir / "src").c_str(), 0640);
  struct timespec times[2] = {{1000000000, 5}, {1000000000, 0}};
  utimensat(AT_FDCWD, (dir / "src").c_str(), times, 0);
  VEXO_FILE_COPY_OPT keep = {1, 0, 1, 1}, overwrite = {0, 1, 0, 0};
  ASSERT_EQ(copy("src", "dst", &keep), 0);
  EXPECT_EQ(kinolot_test::ReadFile(dir / "dst"), bytes);
  struct stat st;
  ASSERT_EQ(stat((dir / "dst").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0640u);
  EXPECT_EQ(st.st_mtim.tv_sec, 1000000000);
  // An existing destination is replaced only when asked.
  kinolot_test::WriteFile(dir / "src", "new");
  EXPECT_EQ(copy("src", "dst", nullptr), -1);
  EXPECT_EQ(kinolot_test::ReadFile(dir / "dst"), bytes);
  EXPECT_EQ(copy("src", "dst", &overwrite), 0);
  EXPECT_EQ(kinolot_test::ReadFile(dir / "dst"), "new");
  EXPECT_EQ(copy("src", "src", &overwrite), 0);
  EXPECT_EQ(kinolot_test::ReadFile(dir / "src"), "new") << "a copy onto itself keeps the content";
  EXPECT_EQ(IsFileExist((dir / "dst").c_str()) + IsFileExist(nullptr), 1);

  // A missing source, a folder, and writes that fail half way.
  std::filesystem::remove(dir / "dst");
  EXPECT_EQ(copy("missing", "dst", &overwrite), -1);
  mkdir((dir / "folder").c_str(), 0755);
  EXPECT_EQ(copy("folder", "dst", nullptr), -1);
  kinolot_test::WriteFile(dir / "src", std::string(100000, 'x'));
  struct rlimit old_limit;
  getrlimit(RLIMIT_FSIZE, &old_limit);
  struct rlimit small = old_limit;
  small.rlim_cur = 1000;
  void (*old_handler)(int) = signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  int plain = copy("src", "dst", nullptr);
  int replacing = copy("src", "src2", &overwrite);
  setrlimit(RLIMIT_FSIZE, &old_limit);
  signal(SIGXFSZ, old_handler);
  EXPECT_EQ(plain + replacing, -2);
  // A destination that cannot be replaced (a folder with content).
  mkdir((dir / "folder/inner").c_str(), 0755);
  EXPECT_EQ(copy("src", "folder", &overwrite), -1);
  EXPECT_EQ(names(), (std::set<std::string>{"folder", "src"}));
}

}  // namespace
