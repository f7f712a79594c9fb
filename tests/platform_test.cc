// Tests of the platform layer. The escaping is judged by the real server: a
// value must come back byte for byte and never end its literal early. The
// statement tests compare the exact SQL the server received.
#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "kinolot/platform/vexo_db.h"
#include "kinolot/platform/vexo_file.h"
#include "kinolot/platform/vlib_c.h"
#include "support/test_database.h"

namespace {

using namespace LibKinolot;

// Returns the formatter's heap text as a string and frees it; "<null>" for null.
std::string Take(char* text) {
  if (text == nullptr) return "<null>";
  std::string copy = text;
  std::free(text);
  return copy;
}

// Texts that break naive quoting: quotes, backslashes (also last), LIKE
// wildcards, multi-byte UTF-8, and an attempt to end the statement.
const char* const kHardTexts[] = {"it's",
                                  "'",
                                  "''",
                                  "back\\slash",
                                  "trailing\\",
                                  "\\'",
                                  "50%",
                                  "a_b",
                                  "Amélie – 東京",
                                  "x'); DELETE FROM mapper; --",
                                  "\n\t\r \\\\'' end"};

// The code that a failing formatter call left, or -1 when it did not fail.
template <typename... Args>
int FailureCode(Args... args) {
  VLIBCErrSet(VLIBC_ERR_NONE);
  char* text = VEXODBEscapeStringEX3(args...);
  if (text != nullptr) {
    std::free(text);
    return -1;
  }
  return VLIBCErrGet();
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

  // Every value of `column` in `result`, in order; frees the result.
  static std::vector<std::string> Values(DBResult_tag* result, const char* column) {
    std::vector<std::string> values;
    unsigned int row = 0;
    while (VEXODBFetchRow(result, &row) == 0) {
      const char* value = VEXODBFetchField(result, row, column);
      values.push_back(value ? value : "<NULL>");
    }
    VEXODBFreeResult(result);
    return values;
  }
  // Every value of `column` of `sql` run through the layer, in order.
  std::vector<std::string> Column(const std::string& sql, const char* column) {
    DBResult_tag* result = nullptr;
    EXPECT_EQ(VEXODBExecute(conn_, sql.c_str(), &result), 0)
        << sql << ": " << VEXODBErrorGet(conn_);
    return Values(result, column);
  }

  DBConnect_tag* conn_ = nullptr;
};

TEST_F(PlatformDbTest, VarStoresEveryTextByteForByte) {
  for (const char* text : kHardTexts) {
    std::string sql = Take(VEXODBEscapeStringEX3(
        1, "INSERT INTO mapper(type) VALUES('@VEXO:VAR') RETURNING type", text));
    EXPECT_EQ(Column(sql, "type"), std::vector<std::string>{text}) << sql;
  }
  // Each text stayed inside its literal: one row per text, nothing deleted.
  EXPECT_EQ(Count("mapper"), static_cast<long>(std::size(kHardTexts)));
}

TEST_F(PlatformDbTest, ConnectionsKeepStandardStringsWhateverTheEnvironmentAsks) {
  setenv("PGOPTIONS", "-c standard_conforming_strings=off", 1);
  DBConnect_tag* other = VEXODBConnect(nullptr, "admin", nullptr, "video_metadata");
  unsetenv("PGOPTIONS");
  ASSERT_NE(other, nullptr) << VEXODBErrorGet(nullptr);
  std::string sql = Take(VEXODBEscapeStringEX3(1, "SELECT '@VEXO:VAR' AS v", "a\\'b\\"));
  DBResult_tag* result = nullptr;
  ASSERT_EQ(VEXODBExecute(other, sql.c_str(), &result), 0) << VEXODBErrorGet(other);
  EXPECT_STREQ(VEXODBFetchField(result, 0, "v"), "a\\'b\\");
  VEXODBFreeResult(result);
  VEXODBClose(other);
}

TEST_F(PlatformDbTest, LvarMatchesItsTextLiterally) {
  Exec(
      "INSERT INTO mapper(type) VALUES ('50%'), ('50% off'), ('500'), ('a_b'), ('axb'), "
      "('back\\slash'), ('backslash'), ('it''s')");
  auto like = [&](const char* text) {
    std::string sql = Take(VEXODBEscapeStringEX3(
        1, "SELECT type FROM mapper WHERE type LIKE '@VEXO:LVAR%' ORDER BY type", text));
    return Column(sql, "type");
  };
  EXPECT_EQ(like("50%"), (std::vector<std::string>{"50%", "50% off"}));
  EXPECT_EQ(like("a_b"), std::vector<std::string>{"a_b"});
  EXPECT_EQ(like("back\\slash"), std::vector<std::string>{"back\\slash"});
  EXPECT_EQ(like("it's"), std::vector<std::string>{"it's"});
}

TEST(FormatterTest, FillsEachPlaceholderKind) {
  EXPECT_EQ(Take(VEXODBEscapeStringEX3(1, "@VEXO:INT,@VEXO:LLINT,@VEXO:INT,@VEXO:LLINT", INT_MIN,
                                       5000000000LL, 7, LLONG_MIN)),
            "-2147483648,5000000000,7,-9223372036854775808");
  EXPECT_EQ(Take(VEXODBEscapeStringEX3(1, "a=@VEXO:NEVAR, b=@VEXO:NEVAR", "NULL", "'x''y\\'")),
            "a=NULL, b='x''y\\'");
  EXPECT_EQ(Take(VEXODBEscapeStringEX3(1, "@VEXO:VAR_@VEXO:VAR", "tvshow", "summary")),
            "tvshow_summary");
  EXPECT_EQ(Take(VEXODBEscapeStrAlloc("it's")), "it''s");
  EXPECT_EQ(Take(VEXODBEscapeStrAlloc("")), "");
  // A template without placeholders comes back as a copy of its own.
  const char* format = "SELECT 'x@y', '@VEXO' FROM mapper";
  char* copy = VEXODBEscapeStringEX3(1, format);
  EXPECT_NE(copy, format);
  EXPECT_EQ(Take(copy), format);
  EXPECT_EQ(Take(VEXODBEscapeStringEX3(1, "")), "");
}

TEST(FormatterTest, FailuresReturnNullAndLeaveTheirCode) {
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
}

TEST_F(PlatformDbTest, SelectLimitAddsOnlyTheClausesDue) {
  Exec("INSERT INTO mapper(type) VALUES('t1'),('t2'),('t3'),('t4'),('t5')");
  const char* sql = "SELECT type FROM mapper ORDER BY id";
  struct Case {
    int limit, offset;
    std::string sent;
    std::vector<std::string> rows;
  } cases[] = {{0, 0, sql, {"t1", "t2", "t3", "t4", "t5"}},
               {-1, -1, sql, {"t1", "t2", "t3", "t4", "t5"}},
               {2, 1, std::string(sql) + " LIMIT 2 OFFSET 1", {"t2", "t3"}},
               {2, 0, std::string(sql) + " LIMIT 2", {"t1", "t2"}},
               {0, 3, std::string(sql) + " OFFSET 3", {"t4", "t5"}}};
  for (const Case& c : cases) {
    MarkStatements();
    DBResult_tag* result = nullptr;
    ASSERT_EQ(VEXODBSelectLimit(conn_, sql, c.limit, c.offset, &result), 0);
    EXPECT_EQ(Values(result, "type"), c.rows) << c.sent;
    EXPECT_EQ(Statements(), std::vector<std::string>{c.sent});
  }
}

TEST_F(PlatformDbTest, RowsAndFieldsAreReadByExactColumnName) {
  Exec("INSERT INTO mapper(type) VALUES('movie'),('')");
  DBResult_tag* result = nullptr;
  ASSERT_EQ(VEXODBExecute(conn_,
                          "SELECT id, type AS resolutionX, NULL::text AS gone, 1 AS \"MixedCase\" "
                          "FROM mapper ORDER BY id",
                          &result),
            0);
  ASSERT_EQ(VEXODBNumRows(result), 2);
  unsigned int row = 99;
  ASSERT_EQ(VEXODBFetchRow(result, &row), 0);
  EXPECT_EQ(row, 0u);
  EXPECT_STREQ(VEXODBFetchField(result, row, "resolutionx"), "movie");
  EXPECT_EQ(VEXODBFetchField(result, row, "resolutionX"), nullptr);
  EXPECT_STREQ(VEXODBFetchField(result, row, "MixedCase"), "1");
  EXPECT_EQ(VEXODBFetchField(result, row, "mixedcase"), nullptr);
  EXPECT_EQ(VEXODBFetchField(result, row, "gone"), nullptr);
  EXPECT_EQ(VEXODBFetchField(result, row, nullptr), nullptr);
  ASSERT_EQ(VEXODBFetchRow(result, &row), 0);
  EXPECT_EQ(row, 1u);
  EXPECT_STREQ(VEXODBFetchField(result, row, "resolutionx"), "");  // empty is not NULL
  EXPECT_EQ(VEXODBFetchRow(result, &row), -1);
  EXPECT_EQ(VEXODBFetchRow(result, &row), -1);
  EXPECT_EQ(VEXODBFetchField(result, 2, "id"), nullptr);
  VEXODBFreeResult(result);
}

TEST_F(PlatformDbTest, FailedStatementReportsTheServerErrorAndKeepsTheConnection) {
  DBResult_tag* result = reinterpret_cast<DBResult_tag*>(&conn_);  // must be overwritten
  EXPECT_EQ(VEXODBExecute(conn_, "SELECT * FROM no_such_table", &result), -1);
  EXPECT_EQ(result, nullptr);
  std::string error = VEXODBErrorGet(conn_);
  EXPECT_NE(error.find("no_such_table"), std::string::npos) << error;
  EXPECT_NE(error.back(), '\n');
  EXPECT_EQ(VEXODBExecute(conn_, nullptr, nullptr), -1);
  EXPECT_EQ(VEXODBExecute(nullptr, "SELECT 1", nullptr), -1);
  EXPECT_EQ(VEXODBExecute(conn_, "SELECT 1", nullptr), 0);
  // Null handles are refused without harm.
  EXPECT_EQ(VEXODBClose(nullptr), -1);
  EXPECT_EQ(VEXODBDatabaseTypeGet(nullptr), -1);
  EXPECT_EQ(VEXODBNumRows(nullptr), 0);
  unsigned int row = 0;
  EXPECT_EQ(VEXODBFetchRow(nullptr, &row), -1);
  EXPECT_EQ(VEXODBFetchField(nullptr, 0, "id"), nullptr);
  EXPECT_EQ(VEXODBSelectLimit(nullptr, "SELECT 1", 1, 1, nullptr), -1);
  VEXODBFreeResult(nullptr);
  EXPECT_NE(VEXODBErrorGet(nullptr), nullptr);
}

TEST_F(PlatformDbTest, AffectedRowsCountsChangesAndZeroForCommandsWithoutCount) {
  Exec("INSERT INTO mapper(type) VALUES('a'),('b'),('c')");
  auto affected = [&](const char* sql) {
    DBResult_tag* result = nullptr;
    EXPECT_EQ(VEXODBExecute(conn_, sql, &result), 0) << sql << ": " << VEXODBErrorGet(conn_);
    int count = VEXODBAffectedRows(conn_, result);
    VEXODBFreeResult(result);
    return count;
  };
  EXPECT_EQ(affected("UPDATE mapper SET type = 'x' WHERE type <> 'c'"), 2);
  EXPECT_EQ(affected("DELETE FROM mapper WHERE false"), 0);
  EXPECT_EQ(affected("VACUUM FULL ANALYZE mapper"), 0);
  EXPECT_EQ(VEXODBAffectedRows(conn_, nullptr), -1);
}

TEST(PlatformConnectTest, CountersCountConnectsStatementsAndRows) {
  char folder[] = "/tmp/kinolot-no-server-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  VEXODBCountersReset();
  EXPECT_EQ(VEXODBConnect(folder, "admin", nullptr, "video_metadata"), nullptr);
  EXPECT_STRNE(VEXODBErrorGet(nullptr), "") << "a failed connect leaves its reason";
  rmdir(folder);
  DBConnect_tag* conn = VEXODBConnect(nullptr, "admin", nullptr, "video_metadata");
  ASSERT_NE(conn, nullptr) << VEXODBErrorGet(nullptr);
  EXPECT_EQ(VEXODBExecute(conn, "SELECT generate_series(1, 7)", nullptr), 0);
  EXPECT_EQ(VEXODBSelectLimit(conn, "SELECT generate_series(1, 7)", 3, 0, nullptr), 0);
  EXPECT_EQ(VEXODBExecute(conn, "SELECT broken syntax (", nullptr), -1);
  VEXODBClose(conn);
  VEXODBCounters counters = VEXODBCountersGet();
  EXPECT_EQ(counters.connects + counters.reused, 1u) << "a failed connect is not counted";
  EXPECT_EQ(counters.statements, 3u);
  EXPECT_EQ(counters.rows, 10u);
}

TEST_F(PlatformDbTest, ConditionCheckLetsOneExpressionThroughAndNothingElse) {
  char out[256];
  for (const char* condition :
       {"mapper_id = 42", "title = 'it''s; -- fine'", "\"odd;name\" IS NULL OR title = 'a /* b'"}) {
    ASSERT_EQ(EscapeConditionEX2(1, condition, out), static_cast<int>(strlen(condition)));
    EXPECT_STREQ(out, condition);
  }
  // What passes runs on the server as a WHERE clause.
  EscapeConditionEX2(1, "title = 'it''s; -- fine'", out);
  EXPECT_EQ(Count("movie WHERE " + std::string(out)), 0);
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
  EXPECT_EQ(static_cast<size_t>(length), strlen(out.data()));
  FILE* shell = popen(("printf %s " + std::string(out.data())).c_str(), "r");
  ASSERT_NE(shell, nullptr);
  std::string printed(nasty.size() + 1, '\0');
  printed.resize(fread(&printed[0], 1, printed.size(), shell));
  EXPECT_EQ(pclose(shell), 0);
  EXPECT_EQ(printed, nasty);

  // The exact size fits; one byte less is refused and leaves an empty text.
  std::vector<char> exact(static_cast<size_t>(length) + 1);
  EXPECT_EQ(VLIBCEncShParam(nasty.c_str(), exact.data(), exact.size()), length);
  std::vector<char> small(static_cast<size_t>(length), 'x');
  EXPECT_EQ(VLIBCEncShParam(nasty.c_str(), small.data(), small.size()), -1);
  EXPECT_STREQ(small.data(), "");
  EXPECT_EQ(VLIBCErrGet(), VLIBC_ERR_BUFFER_TOO_SMALL);
}

TEST(ErrorCodeTest, CodeIsKeptPerThread) {
  VLIBCErrSet(VLIBC_ERR_BAD_FORMAT);
  int seen = -1;
  std::thread([&] { seen = VLIBCErrGet(); }).join();
  EXPECT_EQ(seen, VLIBC_ERR_NONE);
  EXPECT_EQ(VLIBCErrGet(), VLIBC_ERR_BAD_FORMAT);
}

class FileCopyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char folder[] = "/tmp/kinolot-copy-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    folder_ = folder;
  }
  void TearDown() override { std::system(("rm -rf " + folder_).c_str()); }

  std::string Path(const char* name) { return folder_ + "/" + name; }
  static void Write(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
  }
  static std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  std::set<std::string> Names() {
    std::set<std::string> names;
    DIR* dir = opendir(folder_.c_str());
    while (dirent* entry = readdir(dir)) names.insert(entry->d_name);
    closedir(dir);
    names.erase(".");
    names.erase("..");
    return names;
  }

  std::string folder_;
};

TEST_F(FileCopyTest, CopiesEveryByteAndHonoursOptions) {
  // Larger than one read, with NUL bytes and every byte value.
  std::string bytes;
  for (int i = 0; i < 300000; ++i) bytes.push_back(static_cast<char>(i * 7 % 256));
  Write(Path("src"), bytes);
  chmod(Path("src").c_str(), 0640);
  struct timespec times[2] = {{1000000000, 5}, {1000000000, 0}};
  utimensat(AT_FDCWD, Path("src").c_str(), times, 0);

  VEXO_FILE_COPY_OPT keep = {};
  keep.keepMode = keep.keepTimes = keep.syncData = 1;
  ASSERT_EQ(VEXOFileCopy(Path("src").c_str(), Path("dst").c_str(), &keep), 0);
  EXPECT_EQ(Read(Path("dst")), bytes);
  struct stat st;
  ASSERT_EQ(stat(Path("dst").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0640u);
  EXPECT_EQ(st.st_mtim.tv_sec, 1000000000);
  EXPECT_EQ(IsFileExist(Path("dst").c_str()), 1);
}

TEST_F(FileCopyTest, ExistingDestinationIsReplacedOnlyWhenAsked) {
  Write(Path("src"), "new");
  Write(Path("dst"), "old");
  EXPECT_EQ(VEXOFileCopy(Path("src").c_str(), Path("dst").c_str(), nullptr), -1);
  EXPECT_EQ(Read(Path("dst")), "old");
  VEXO_FILE_COPY_OPT overwrite = {};
  overwrite.overwrite = 1;
  EXPECT_EQ(VEXOFileCopy(Path("src").c_str(), Path("dst").c_str(), &overwrite), 0);
  EXPECT_EQ(Read(Path("dst")), "new");
  // A copy onto itself keeps the content, and no temporary file stays.
  EXPECT_EQ(VEXOFileCopy(Path("src").c_str(), Path("src").c_str(), &overwrite), 0);
  EXPECT_EQ(Read(Path("src")), "new");
  EXPECT_EQ(Names(), (std::set<std::string>{"src", "dst"}));
}

TEST_F(FileCopyTest, FailedCopyLeavesNoDestination) {
  VEXO_FILE_COPY_OPT overwrite = {};
  overwrite.overwrite = 1;
  EXPECT_EQ(VEXOFileCopy(Path("missing").c_str(), Path("dst").c_str(), nullptr), -1);
  EXPECT_EQ(VEXOFileCopy(Path("missing").c_str(), Path("dst").c_str(), &overwrite), -1);
  // A folder is not a regular file.
  mkdir(Path("folder").c_str(), 0755);
  EXPECT_EQ(VEXOFileCopy(Path("folder").c_str(), Path("dst").c_str(), nullptr), -1);
  EXPECT_EQ(Names(), std::set<std::string>{"folder"});

  // Writes that fail half way: the partial copy goes.
  Write(Path("src"), std::string(100000, 'x'));
  struct rlimit old_limit;
  getrlimit(RLIMIT_FSIZE, &old_limit);
  struct rlimit small = old_limit;
  small.rlim_cur = 1000;
  void (*old_handler)(int) = signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  int plain = VEXOFileCopy(Path("src").c_str(), Path("dst").c_str(), nullptr);
  int replacing = VEXOFileCopy(Path("src").c_str(), Path("dst").c_str(), &overwrite);
  setrlimit(RLIMIT_FSIZE, &old_limit);
  signal(SIGXFSZ, old_handler);
  EXPECT_EQ(plain, -1);
  EXPECT_EQ(replacing, -1);
  // A destination that cannot be replaced keeps the temporary file from staying.
  mkdir(Path("folder/inner").c_str(), 0755);
  EXPECT_EQ(VEXOFileCopy(Path("src").c_str(), Path("folder").c_str(), &overwrite), -1);
  EXPECT_EQ(Names(), (std::set<std::string>{"folder", "src"}));
  EXPECT_EQ(IsFileExist(Path("dst").c_str()), 0);
  EXPECT_EQ(IsFileExist(""), 0);
  EXPECT_EQ(IsFileExist(nullptr), 0);
}

}  // namespace
