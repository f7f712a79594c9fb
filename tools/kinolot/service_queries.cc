// Statements of the web service's own; see service_queries.h.
#include "service_queries.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "kinolot/platform/vexo_db.h"

namespace kinolot_cli {

using namespace LibKinolot;

namespace {

// One connection to the library's database, closed when it goes out of scope.
class Connection {
 public:
  Connection() : connection_(VEXODBConnect(nullptr, "admin", nullptr, "video_metadata")) {}
  ~Connection() {
    if (connection_ != nullptr) VEXODBClose(connection_);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Runs `format` with the ids filled in by the platform's formatter (every
  // argument is an int, so nothing from a request reaches the SQL text as
  // text). Returns the result, or null on any failure.
  template <typename... Ints>
  std::unique_ptr<DBResult_tag, void (*)(DBResult_tag*)> Run(const char* format, Ints... ids) {
    std::unique_ptr<DBResult_tag, void (*)(DBResult_tag*)> result(nullptr, VEXODBFreeResult);
    if (connection_ == nullptr) return result;
    std::unique_ptr<char, void (*)(void*)> sql(
        VEXODBEscapeStringEX3(kVexoDBKindPostgreSQL, format, ids...), std::free);
    DBResult_tag* rows = nullptr;
    if (sql == nullptr || VEXODBExecute(connection_, sql.get(), &rows) != 0) return result;
    result.reset(rows);
    return result;
  }

 private:
  DBConnect_tag* connection_;
};

int Id(const std::string& text) {
  return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Decodes the server's hex text of a bytea value ("\x89504e47...").
bool DecodeBytea(const char* text, std::string& bytes) {
  size_t length = std::strlen(text);
  if (length < 2 || text[0] != '\\' || text[1] != 'x' || length % 2 != 0) return false;
  bytes.clear();
  bytes.reserve((length - 2) / 2);
  for (size_t i = 2; i < length; i += 2) {
    int high = HexDigit(text[i]), low = HexDigit(text[i + 1]);
    if (high < 0 || low < 0) return false;
    bytes.push_back(static_cast<char>(high * 16 + low));
  }
  return true;
}

}  // namespace

bool DatabaseAnswers() {
  Connection connection;
  return connection.Run("SELECT 1") != nullptr;
}

int ReadPoster(const std::string& mapperId, std::string& image) {
  Connection connection;
  // The newest row wins should a video ever have two; lo_get reads the large
  // object inside the server, so no file changes hands.
  auto result = connection.Run(
      "SELECT lo_get(lo_oid) AS image FROM poster WHERE mapper_id = @VEXO:INT"
      " AND lo_oid IS NOT NULL ORDER BY modify_date DESC, id DESC LIMIT 1",
      Id(mapperId));
  if (result == nullptr) return -1;
  unsigned int row = 0;
  if (VEXODBFetchRow(result.get(), &row) != 0) return 0;
  const char* text = VEXODBFetchField(result.get(), row, "image");
  if (text == nullptr) return 0;
  return DecodeBytea(text, image) ? 1 : -1;
}

const char* ImageType(const std::string& image) {
  auto starts = [&](const char* magic, size_t length, size_t at = 0) {
    return image.size() >= at + length && image.compare(at, length, magic, length) == 0;
  };
  if (starts("\xFF\xD8\xFF", 3)) return "image/jpeg";
  if (starts("\x89PNG\r\n\x1A\n", 8)) return "image/png";
  if (starts("GIF8", 4)) return "image/gif";
  if (starts("RIFF", 4) && starts("WEBP", 4, 8)) return "image/webp";
  return "application/octet-stream";
}

bool UserCollections(const std::string& uid, Json::Value& collections) {
  Connection connection;
  auto result = connection.Run(
      "SELECT id, title FROM collection WHERE uid = @VEXO:INT ORDER BY lower(title), id", Id(uid));
  if (result == nullptr) return false;
  collections = Json::Value(Json::arrayValue);
  unsigned int row = 0;
  while (VEXODBFetchRow(result.get(), &row) == 0) {
    Json::Value collection(Json::objectValue);
    const char* id = VEXODBFetchField(result.get(), row, "id");
    const char* title = VEXODBFetchField(result.get(), row, "title");
    collection["id"] = id != nullptr ? id : "";
    collection["title"] = title != nullptr ? title : "";
    collections.append(collection);
  }
  return true;
}

int DeleteUserCollection(const std::string& uid, const std::string& collectionId) {
  Connection connection;
  // Membership rows go with the collection (ON DELETE CASCADE).
  auto result =
      connection.Run("DELETE FROM collection WHERE id = @VEXO:INT AND uid = @VEXO:INT RETURNING id",
                     Id(collectionId), Id(uid));
  if (result == nullptr) return -1;
  return VEXODBNumRows(result.get()) > 0 ? 1 : 0;
}

}  // namespace kinolot_cli
