// Posters as large objects of the database: the MD5 digest of an image file,
// the download of a poster from candidate URLs into a reserved temporary
// file, and its import into and export out of the table `poster`, all on the
// shared connection of the indexing interface.
#include "kinolot/poster_store.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "db/video_db_connection.h"
#include "db/video_info_common.h"
#include "foundation/heap_text.h"
#include "foundation/log.h"
#include "kinolot/file_download.h"
#include "kinolot/platform/vlib_c.h"
#include "kinolot/video_db.h"
#include "platform/db_large_object.h"

namespace LibKinolot {
namespace {

// An image announcing this many bytes or more is not taken as a poster.
constexpr double kPosterLengthLimit = 1048576.0;

// Removes the file it names when it goes.
struct FileRemover {
  void operator()(const char* path) const { unlink(path); }
};

struct PipeCloser {
  void operator()(FILE* pipe) const { pclose(pipe); }
};
using PipeOwner = std::unique_ptr<FILE, PipeCloser>;

// A temporary file reserved under a unique name; removed when the object
// goes, unless Keep() handed it to the caller.
class TempFile {
 public:
  TempFile() = default;
  ~TempFile() {
    if (reserved_ && !kept_) unlink(name_.c_str());
  }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  // Creates "/tmp/poster_<6 random characters><extension>". False (after
  // logging) when the name cannot be a file, e.g. an extension holding "/".
  bool Reserve(const std::string& extension) {
    name_ = "/tmp/poster_XXXXXX" + extension;
    int fd = mkstemps(&name_[0], static_cast<int>(extension.size()));
    if (fd < 0) {
      LogError("%s:%d Failed to create [%s] (%s)", kVideoDbSource, __LINE__, name_.c_str(),
               strerror(errno));
      return false;
    }
    reserved_ = true;
    // mkstemps creates the file for its owner only, but the database server
    // reads it as its own user when it imports the poster, so everyone may
    // read it; the download truncates and rewrites it, keeping this mode.
    fchmod(fd, 0644);
    close(fd);
    return true;
  }
  const std::string& name() const { return name_; }
  void Keep() { kept_ = true; }

 private:
  std::string name_;
  bool reserved_ = false;
  bool kept_ = false;
};

bool IsHexDigest(const char* text) {
  if (*text == '\0') return false;
  for (; *text; ++text) {
    if (!isxdigit(static_cast<unsigned char>(*text))) return false;
  }
  return true;
}

bool ComputeMD5(const char* path, std::string& md5) {
  // Quoting can at most quadruple the text (a quote becomes '\'') and adds
  // the two enclosing quotes and the terminator.
  size_t escapedSize = (path ? 4 * strlen(path) : 0) + 3;
  HeapText escaped = AllocText(escapedSize);
  if (!escaped) {
    LogError("%s:%d Failed to malloc: (%d)", kVideoDbSource, __LINE__,
             static_cast<int>(escapedSize));
    return false;
  }
  if (VLIBCEncShParam(path, escaped.get(), escapedSize) < 0) {
    LogError("%s:%d Failed to escape zip path", kVideoDbSource, __LINE__);
    return false;
  }

  static const char kCommand[] = "openssl md5 %s 2>/dev/null";
  size_t commandSize = strlen(escaped.get()) + sizeof(kCommand);
  HeapText command = AllocText(commandSize);
  if (!command) {
    LogError("%s:%d Failed to malloc: (%d)", kVideoDbSource, __LINE__,
             static_cast<int>(commandSize));
    return false;
  }
  snprintf(command.get(), commandSize, kCommand, escaped.get());
  PipeOwner pipe(popen(command.get(), "r"));
  if (!pipe) {
    LogError("%s:%d Failed to execute cmd = %s", kVideoDbSource, __LINE__, command.get());
    return false;
  }

  // The tool prints "MD5(<path>)= <digest>". The path may itself hold "= ",
  // the digest never does, so the digest follows the last one.
  char line[1024] = "";
  if (fgets(line, sizeof(line), pipe.get()) == nullptr) line[0] = '\0';
  line[strcspn(line, "\n")] = '\0';
  const char* digest = nullptr;
  for (const char* at = strstr(line, "= "); at != nullptr; at = strstr(at + 1, "= ")) {
    digest = at + 2;
  }
  if (digest == nullptr || !IsHexDigest(digest)) {
    LogError("%s:%d Invalid output", kVideoDbSource, __LINE__);
    return false;
  }
  md5.clear();
  md5.append(digest);
  return true;
}

int DownloadFirstPoster(std::vector<std::string>& urls, std::string& path) {
  path.clear();
  if (urls.empty()) return -2;
  int result = -1;
  for (const std::string& url : urls) {
    size_t dot = url.rfind('.');
    if (dot == std::string::npos) continue;  // no extension to name the file by

    FileDownload download(url.c_str());
    if (download.DownloadHeader(nullptr) != 0) continue;
    if (!download.IsImageType()) {
      result = -3;
      continue;
    }
    if (!download.IsReasonableLength(kPosterLengthLimit)) {
      result = -4;
      continue;
    }

    TempFile file;
    if (!file.Reserve(url.substr(dot))) continue;
    if (download.DownloadBody(file.name().c_str()) == 0) {
      path = file.name();
      file.Keep();
      return 0;
    }
  }
  return result;
}

// Runs `format` filled with `args` without logging a failure: the caller
// may still reach its end another way. False with the reason in `error`.
template <typename... Args>
bool ExecQuiet(DBConnect_tag* connection, std::string& error, ResultOwner* result,
               const char* format, Args... args) {
  HeapText sql(VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL, format, args...));
  if (!sql) {
    error = "the statement could not be formatted";
    return false;
  }
  if (VEXODBExecute(connection, sql.get(), result ? result->out() : nullptr) == 0) return true;
  error = std::string("[") + sql.get() + "] (" + VEXODBErrorGet(connection) + ")";
  return false;
}

// The large-object calls over the connection need a transaction: a new one,
// or a savepoint inside the caller's, so that a failure undoes only this.
class Transaction {
 public:
  explicit Transaction(DBConnect_tag* connection)
      : connection_(connection), nested_(InTransaction(connection)) {
    open_ = VEXODBExecute(connection_, nested_ ? "SAVEPOINT poster_store" : "BEGIN", nullptr) == 0;
  }
  ~Transaction() {
    if (open_) {
      VEXODBExecute(connection_, nested_ ? "ROLLBACK TO SAVEPOINT poster_store" : "ROLLBACK",
                    nullptr);
    }
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  bool open() const { return open_; }
  bool Commit() {
    if (!open_) return false;
    open_ = false;
    return VEXODBExecute(connection_, nested_ ? "RELEASE SAVEPOINT poster_store" : "COMMIT",
                         nullptr) == 0;
  }

 private:
  DBConnect_tag* connection_;
  bool nested_;
  bool open_ = false;
};

// Whether the server should be asked to open `path` itself: it runs on this
// machine, and no transaction is open that its failure would spoil.
bool ServerMayOpenFiles(DBConnect_tag* connection) {
  return ServerOnThisMachine(connection) && !InTransaction(connection);
}

// Stores the poster with this process reading the file: the image becomes a
// new large object over the connection, and the row points at it.
bool StoreThroughConnection(DBConnect_tag* connection, int mapperId, bool update,
                            const std::string& path, const std::string& md5, std::string& error) {
  Transaction transaction(connection);
  if (!transaction.open()) {
    error = std::string("[BEGIN] (") + VEXODBErrorGet(connection) + ")";
    return false;
  }
  unsigned int oid = LargeObjectImport(connection, path.c_str());
  if (oid == 0) {
    error = "[client-side import of " + path + "] (" + VEXODBErrorGet(connection) + ")";
    return false;
  }
  long long object = oid;
  bool ok = update ? ExecQuiet(connection, error, nullptr,
                               "UPDATE poster SET lo_oid = @VEXO:LLINT, md5 = '@VEXO:VAR', "
                               "modify_date = current_timestamp WHERE mapper_id = @VEXO:INT "
                               "RETURNING id",
                               object, md5.c_str(), mapperId)
                   : ExecQuiet(connection, error, nullptr,
                               "INSERT INTO poster(mapper_id, lo_oid, md5) VALUES(@VEXO:INT, "
                               "@VEXO:LLINT, '@VEXO:VAR') RETURNING id",
                               mapperId, object, md5.c_str());
  if (ok && !transaction.Commit()) {
    error = std::string("[COMMIT] (") + VEXODBErrorGet(connection) + ")";
    return false;
  }
  return ok;
}

bool Readable(const std::string& path) {
  return access(path.c_str(), R_OK) == 0;
}

int StorePoster(int mapperId, const std::string& path) {
  DBConnect_tag* connection = ConnectionOrLog(__LINE__);
  if (connection == nullptr) return -1;

  std::string md5;
  GetMD5(path.c_str(), md5);  // a file without digest is still stored

  char condition[32];
  snprintf(condition, sizeof(condition), "mapper_id = %d", mapperId);
  int count = VideoDBGetCount(VIDEO_TABLE_POSTER, "id", condition, nullptr);
  if (count < 0) return -1;

  // The server reads the file itself when it can; otherwise this process
  // reads it and hands the bytes over the connection.
  std::string serverError;
  if (ServerMayOpenFiles(connection)) {
    bool ok;
    if (count == 0) {
      ok = ExecQuiet(connection, serverError, nullptr,
                     "INSERT INTO poster(mapper_id, lo_oid, md5) VALUES(@VEXO:INT, "
                     "lo_import('@VEXO:VAR'), '@VEXO:VAR') RETURNING id",
                     mapperId, path.c_str(), md5.c_str());
    } else {
      // The large object the row pointed at is left in place.
      ok = ExecQuiet(connection, serverError, nullptr,
                     "UPDATE poster SET lo_oid = lo_import('@VEXO:VAR'), md5 = '@VEXO:VAR', "
                     "modify_date = current_timestamp WHERE mapper_id = @VEXO:INT RETURNING id",
                     path.c_str(), md5.c_str(), mapperId);
    }
    if (ok) return 0;
    if (!Readable(path)) {
      LogError("%s:%d Failed to exec %s", kVideoDbSource, __LINE__, serverError.c_str());
      return -1;
    }
  }
  std::string error;
  if (StoreThroughConnection(connection, mapperId, count != 0, path, md5, error)) return 0;
  if (!serverError.empty()) {
    LogError("%s:%d Failed to exec %s", kVideoDbSource, __LINE__, serverError.c_str());
  }
  LogError("%s:%d Failed to exec %s", kVideoDbSource, __LINE__, error.c_str());
  return -1;
}

// Writes the poster with this process creating the file, the image read
// over the connection. A video without a poster writes nothing.
bool WriteThroughConnection(DBConnect_tag* connection, int mapperId, const std::string& path,
                            std::string& error) {
  ResultOwner result;
  if (!ExecQuiet(connection, error, &result,
                 "SELECT lo_oid FROM poster WHERE mapper_id = @VEXO:INT", mapperId)) {
    return false;
  }
  unsigned int row = 0;
  if (VEXODBFetchRow(result.get(), &row) != 0) return true;
  const char* oid = VEXODBFetchField(result.get(), row, "lo_oid");
  if (oid == nullptr) return true;
  Transaction transaction(connection);
  if (!transaction.open() ||
      !LargeObjectExport(connection, static_cast<unsigned int>(strtoul(oid, nullptr, 10)),
                         path.c_str()) ||
      !transaction.Commit()) {
    error = "[client-side export to " + path + "] (" + VEXODBErrorGet(connection) + ")";
    return false;
  }
  return true;
}

int WritePoster(int mapperId, const std::string& path) {
  DBConnect_tag* connection = ConnectionOrLog(__LINE__);
  if (connection == nullptr) return -1;
  std::string serverError;
  if (ServerMayOpenFiles(connection)) {
    ResultOwner result;
    if (ExecQuiet(connection, serverError, &result,
                  "SELECT lo_export(lo_oid, '@VEXO:VAR') FROM poster WHERE mapper_id = "
                  "@VEXO:INT",
                  path.c_str(), mapperId)) {
      // A server that wrote the file where this process cannot see it (its
      // own disk) has not written it for the caller.
      if (VEXODBNumRows(result.get()) == 0 || access(path.c_str(), F_OK) == 0) return 0;
      serverError.clear();
    }
  }
  std::string error;
  if (WriteThroughConnection(connection, mapperId, path, error)) return 0;
  if (!serverError.empty()) {
    LogError("%s:%d Failed to exec %s", kVideoDbSource, __LINE__, serverError.c_str());
  }
  LogError("%s:%d Failed to exec %s", kVideoDbSource, __LINE__, error.c_str());
  return -1;
}

}  // namespace

bool GetMD5(const char* path, std::string& md5) {
  return NoThrow(false, __LINE__, [&] { return ComputeMD5(path, md5); });
}

int DownloadPoster(std::vector<std::string>& urls, std::string& path) {
  return NoThrow(-1, __LINE__, [&] { return DownloadFirstPoster(urls, path); });
}

int ImportPoster(int mapperId, std::string path) {
  return NoThrow(-1, __LINE__, [&] { return StorePoster(mapperId, path); });
}

int ExportPoster(int mapperId, std::string path) {
  return NoThrow(-1, __LINE__, [&] { return WritePoster(mapperId, path); });
}

int VideoInfoPosterSave(int mapperId, std::vector<std::string>& urls) {
  return NoThrow(-1, __LINE__, [&] {
    std::string path;
    int result = DownloadPoster(urls, path);
    if (result == 0) {
      std::unique_ptr<const char, FileRemover> remove(path.c_str());
      ImportPoster(mapperId, path);
    }
    return result;
  });
}

}  // namespace LibKinolot
