// The image bytes of an item's poster, for front ends that hand it out over
// a connection of their own (the web service's poster route). The large
// object is read inside the server, so this works whatever file system the
// server sees.
#include <cstring>
#include <string>

#include "db/video_metadata_db_internal.h"
#include "kinolot/video_metadata_api.h"
#include "metadata/metadata_text.h"

namespace LibKinolot {
namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Decodes the server's hex text of a bytea value ("\x89504e47...").
bool DecodeBytea(const std::string& text, std::string& bytes) {
  if (text.size() < 2 || text[0] != '\\' || text[1] != 'x' || text.size() % 2 != 0) return false;
  std::string decoded;
  decoded.reserve((text.size() - 2) / 2);
  for (size_t i = 2; i < text.size(); i += 2) {
    const int high = HexDigit(text[i]);
    const int low = HexDigit(text[i + 1]);
    if (high < 0 || low < 0) return false;
    decoded.push_back(static_cast<char>(high * 16 + low));
  }
  bytes.swap(decoded);
  return true;
}

}  // namespace

int VideoMetadataAPI::Poster_Image(const std::string& mapperId, std::string& image) {
  if (!IsDecimalText(mapperId)) return -1;
  VideoDB db(nullptr, "");
  // Should a video have two poster rows, the newest wins.
  const char* format =
      "SELECT lo_get(lo_oid) AS image FROM poster WHERE mapper_id = @VEXO:INT"
      " AND lo_oid IS NOT NULL ORDER BY modify_date DESC, id DESC LIMIT 1";
  HeapText sql(
      VEXODBEscapeStringEX3(VEXODBDatabaseTypeGet(db.connection), format, DecimalValue(mapperId)));
  if (!RunStatement(&db, sql, format, "SELECT", true)) return -1;
  const int rows = VEXODBNumRows(db.result);
  if (rows == -1) return -1;
  if (rows == 0 || !db.NextRow()) return 0;
  return DecodeBytea(db.FetchField("image"), image) ? 1 : -1;
}

}  // namespace LibKinolot
