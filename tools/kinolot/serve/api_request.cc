// Request parameters of the /api/ routes; see api_request.h.
#include "api_request.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>

namespace kinolot_serve {

using namespace LibKinolot;

namespace {

bool IsDecimal(const std::string& text, size_t maxDigits) {
  return !text.empty() && text.size() <= maxDigits &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

unsigned long Number(const std::string& text, const char* name, unsigned long max) {
  if (!IsDecimal(text, 10)) throw ApiError(400, std::string(name) + " must be a decimal number");
  unsigned long value = std::strtoul(text.c_str(), nullptr, 10);
  if (value > max) throw ApiError(400, std::string(name) + " is too large");
  return value;
}

// The columns a listing of each kind may be sorted by: those of its table
// that a person would sort by.
const std::set<std::string>& SortColumns(_VIDEO_TABLE_TYPE_ kind) {
  static const std::map<int, std::set<std::string>> columns = {
      {VIDEO_TABLE_MOVIE,
       {"id", "title", "sort_title", "year", "originally_available", "create_date", "modify_date"}},
      {VIDEO_TABLE_TVSHOW,
       {"id", "title", "sort_title", "year", "originally_available", "create_date", "modify_date"}},
      {VIDEO_TABLE_TVSHOW_EPISODE,
       {"season", "episode", "year", "originally_available", "create_date", "modify_date"}},
      {VIDEO_TABLE_HOME_VIDEO, {"id", "title", "sort_title", "record_time", "create_date"}},
      {VIDEO_TABLE_TV_RECORD,
       {"id", "title", "sort_title", "record_time", "channel_name", "create_date"}},
      {VIDEO_TABLE_COLLECTION, {"sort_title", "sort_time"}},
  };
  static const std::set<std::string> none;
  auto found = columns.find(kind);
  return found == columns.end() ? none : found->second;
}

}  // namespace

std::string RequireId(const std::string& text, const char* what) {
  // Ten digits may still pass 2^31 - 1; the library refuses those, and so do we.
  if (!IsDecimal(text, 10) || std::strtoull(text.c_str(), nullptr, 10) > 2147483647ULL)
    throw ApiError(400, std::string(what) + " must be a decimal id");
  return text;
}

std::string ApiRequest::Segment(size_t index) const {
  if (index >= request_.matches.size()) return "";
  std::string segment = request_.matches[index].str();
  if (segment.size() > kMaxParameterLength) throw ApiError(400, "path segment too long");
  if (!IsUtf8(segment)) throw ApiError(400, "path segment is not UTF-8");
  return segment;
}

_VIDEO_TABLE_TYPE_ ApiRequest::Kind(size_t index) const {
  _VIDEO_TABLE_TYPE_ kind = KindFromName(Segment(index));
  if (kind == VIDEO_TABLE_INVALID)
    throw ApiError(400, std::string("unknown kind (use ") + KindNames() + ")");
  return kind;
}

std::string ApiRequest::Text(const char* name, const std::string& fallback) const {
  if (!request_.HasParam(name)) return fallback;
  std::string value = request_.Param(name);
  if (value.size() > kMaxParameterLength)
    throw ApiError(400, std::string(name) + " is longer than 512 bytes");
  if (value.find('\0') != std::string::npos)
    throw ApiError(400, std::string(name) + " holds a NUL byte");
  if (!IsUtf8(value)) throw ApiError(400, std::string(name) + " is not UTF-8");
  return value;
}

const char* ApiRequest::OptionalId(const char* name, std::string& storage) const {
  if (!request_.HasParam(name)) return nullptr;
  storage = Text(name);
  if (!storage.empty()) RequireId(storage, name);
  return storage.c_str();
}

unsigned long ApiRequest::Offset() const {
  return Has("offset") ? Number(Text("offset"), "offset", 2147483647UL) : 0;
}

unsigned long ApiRequest::Limit() const {
  if (!Has("limit")) return kDefaultPageLimit;
  unsigned long limit = Number(Text("limit"), "limit", kMaxPageLimit);
  if (limit == 0) throw ApiError(400, "limit must be at least 1");
  return limit;
}

_ORDER_DIRECTION_ ApiRequest::Order() const {
  std::string order = Text("order", "asc");
  if (order == "asc") return ORDER_DIRECTION_ASC;
  if (order == "desc") return ORDER_DIRECTION_DESC;
  throw ApiError(400, "order must be asc or desc");
}

std::string ApiRequest::Sort(_VIDEO_TABLE_TYPE_ kind) const {
  std::string sort = Text("sort");
  if (!sort.empty() && SortColumns(kind).count(sort) == 0)
    throw ApiError(400, "cannot sort by \"" + sort + "\"");
  return sort;
}

_VIDEO_ADDITIONAL_ ApiRequest::Additional(_VIDEO_TABLE_TYPE_ kind) const {
  if (!Has("additional")) return VIDEO_ADDITIONAL_NONE;
  const std::string list = Text("additional");
  uint32_t mask = 0;
  size_t start = 0;
  while (start <= list.size()) {
    size_t end = std::min(list.find(',', start), list.size());
    std::string name = list.substr(start, end - start);
    uint32_t bits = 0;
    if (!name.empty() && !PieceFromName(name, bits))
      throw ApiError(400, "unknown additional piece \"" + name + "\" (use " + PieceNames() + ")");
    mask |= bits;
    start = end + 1;
  }
  return static_cast<_VIDEO_ADDITIONAL_>(mask & PiecesOf(kind));
}

Json::Value ApiRequest::Body() const {
  const std::string type = request_.Header("Content-Type");
  // Requiring the JSON type also keeps other web sites out: a browser sends
  // it across origins only after asking, and this server never says yes.
  if (type.compare(0, 16, "application/json") != 0)
    throw ApiError(400, "the body must be JSON (Content-Type: application/json)");
  // The database refuses what is not UTF-8, and so does the request.
  if (!IsUtf8(request_.body)) throw ApiError(400, "the body is not UTF-8");
  Json::CharReaderBuilder builder;
  builder["stackLimit"] = 32;
  builder["rejectDupKeys"] = true;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value body;
  std::string errors;
  const char* begin = request_.body.data();
  bool parsed = false;
  try {
    parsed = reader->parse(begin, begin + request_.body.size(), &body, &errors);
  } catch (const std::exception&) {
    parsed = false;
  }
  if (!parsed || !body.isObject()) throw ApiError(400, "the body must be a JSON object");
  return body;
}

void SendJson(HttpResponse& response, const Json::Value& value, int status) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  response.status = status;
  response.SetContent(Json::writeString(builder, value), "application/json; charset=utf-8");
}

void SendError(HttpResponse& response, int status, const std::string& message) {
  Json::Value error(Json::objectValue);
  error["error"] = message;
  SendJson(response, error, status);
}

}  // namespace kinolot_serve
