// Text work on .nfo sidecars that other media managers write in their own
// ways: bytes in the wrong encoding, names run together in one field, and
// links to movie database pages in place of any XML.
#ifndef KINOLOT_TOOLS_SCAN_NFO_TEXT_H_
#define KINOLOT_TOOLS_SCAN_NFO_TEXT_H_

#include <json/value.h>

#include <string>
#include <vector>

namespace kinolot_scan {

// `bytes` read as Windows-1252, in UTF-8. The five codes that encoding
// leaves undefined become U+FFFD.
std::string Windows1252ToUtf8(const std::string& bytes);

// Whether an XML declaration at the start of `bytes` names a single-byte
// encoding (ISO-8859-x, Windows-125x, Latin-1), so that bytes that are not
// UTF-8 are what the writer said they are.
bool DeclaresSingleByteEncoding(const std::string& bytes);

// The names in one list field, split where writers run them together:
// "A, B, C", "|A|B|", "A / B", "Name," give one entry per name, trimmed,
// empty ones and repeats dropped. Never fails.
std::vector<std::string> SplitNames(const std::string& text);

// The identities named by links to movie database pages in `text`, as an
// object of source to id: "imdb" ("tt0111161"), "tmdb" ("603", also
// "tv/1399"), "tvdb" ("81189"). Null when there is none.
Json::Value IdsFromLinks(const std::string& text);

// Whether `text` holds nothing but links and blanks (the URL-only form).
bool IsOnlyLinks(const std::string& text);

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_NFO_TEXT_H_
