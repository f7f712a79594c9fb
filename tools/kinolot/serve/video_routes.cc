// The routes of one kind of video; see video_routes.h.
#include "video_routes.h"

#include <mutex>

#include "edit_form.h"
#include "kinolot/mapping_tables.h"
#include "kinolot/video_db.h"
#include "kinolot/video_metadata_api.h"

namespace kinolot_serve {

using namespace LibKinolot;

namespace {

// Edit saves part of its work through the indexing interface, whose one
// shared connection serves one thread at a time.
std::mutex gEditMutex;

std::string TableOf(_VIDEO_TABLE_TYPE_ kind) {
  return gMappingTable[kind];
}

// A library call that failed after its arguments were checked failed in the
// database.
[[noreturn]] void DatabaseFailed() {
  throw ApiError(503, "the database did not answer");
}

// The media type of an image from its first bytes: image/jpeg, image/png,
// image/gif, image/webp, else application/octet-stream.
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

// Throws 404 when item `id` of `kind` does not exist, 500 when the database
// cannot tell.
void RequireItem(VideoMetadataAPI& api, _VIDEO_TABLE_TYPE_ kind, const std::string& id) {
  if (!api.GetFieldValueById(TableOf(kind), id, "id").empty()) return;
  if (!api.DatabaseAnswers()) DatabaseFailed();
  throw ApiError(404, "no " + TableOf(kind) + " with id " + id);
}

void List(const ApiRequest& request, HttpResponse& response) {
  const _VIDEO_TABLE_TYPE_ kind = request.Kind(1);
  std::string actor, director, writer, genre, show;
  const char* a = request.OptionalId("actor", actor);
  const char* d = request.OptionalId("director", director);
  const char* w = request.OptionalId("writer", writer);
  const char* g = request.OptionalId("genre", genre);
  if (request.Has("tvshow")) show = RequireId(request.Text("tvshow"), "tvshow");
  std::string year = request.Text("year");
  if (!year.empty()) RequireId(year, "year");
  VideoMetadataAPI api;
  Json::Value answer;
  unsigned long total = 0, count = 0;
  if (!api.List(kind, request.Offset(), request.Limit(), request.Additional(kind),
                request.Sort(kind), request.Order(), show, a, d, w, g, year, answer, total, count))
    DatabaseFailed();
  SendJson(response, answer);
}

void Search(const ApiRequest& request, HttpResponse& response) {
  const _VIDEO_TABLE_TYPE_ kind = request.Kind(1);
  bool any = false;
  for (const char* name : {"title", "channel", "actor", "director", "writer", "genre", "year"})
    any = any || !request.Text(name).empty();
  if (!any)
    throw ApiError(400, "search needs title, channel, actor, director, writer, genre or year");
  // Absent name filters are null (no filter); given ones are fragments.
  std::string names[4];
  const char* keys[4] = {"actor", "director", "writer", "genre"};
  const char* values[4] = {};
  for (int i = 0; i < 4; ++i) {
    names[i] = request.Text(keys[i]);
    if (!names[i].empty()) values[i] = names[i].c_str();
  }
  std::string year = request.Text("year");
  if (!year.empty()) RequireId(year, "year");
  VideoMetadataAPI api;
  Json::Value answer;
  unsigned long total = 0, count = 0;
  if (!api.Search(kind, request.Offset(), request.Limit(), request.Additional(kind),
                  request.Sort(kind), request.Order(), Json::Value(), request.Text("title"),
                  request.Text("channel"), values[0], values[1], values[2], values[3], year, answer,
                  total, count))
    DatabaseFailed();
  SendJson(response, answer);
}

// The page from `offset` of the years among `years` (all of a browse, in
// order) whose digits hold `keyword`. The library narrows a year browse by
// comparing the number as a text, which the database refuses; the years of
// a library are few, so they are narrowed here.
Json::Value YearsMatching(const Json::Value& years, const std::string& keyword,
                          unsigned long offset, unsigned long limit) {
  Json::Value page(Json::arrayValue);
  unsigned long matched = 0;
  for (const Json::Value& year : years) {
    if (year.empty() || year["name"].asString().find(keyword) == std::string::npos) continue;
    if (matched++ >= offset && page.size() < limit) page.append(year);
  }
  Json::Value answer(Json::objectValue);
  answer["total"] = static_cast<Json::UInt64>(matched);
  answer["offset"] = static_cast<Json::UInt64>(offset + page.size());
  answer["metadatas"] = page;
  return answer;
}

void Browse(const ApiRequest& request, HttpResponse& response) {
  const _VIDEO_TABLE_TYPE_ kind = request.Kind(1);
  if (kind == VIDEO_TABLE_TVSHOW)
    throw ApiError(400, "TV shows are browsed through their episodes (episodes)");
  static const std::map<std::string, _VIDEO_CATEGORY_> categories = {
      {"actor", VIDEO_CATEGORY_ACTOR},
      {"director", VIDEO_CATEGORY_DIRECTOR},
      {"writer", VIDEO_CATEGORY_WRITER},
      {"genre", VIDEO_CATEGORY_GENRE},
      {"year", VIDEO_CATEGORY_YEAR}};
  auto category = categories.find(request.Segment(2));
  if (category == categories.end())
    throw ApiError(400, "unknown category (use actor, director, writer, genre or year)");
  std::string keyword = request.Text("keyword");
  VideoMetadataAPI api;
  Json::Value answer;
  unsigned long total = 0, count = 0;
  if (category->second == VIDEO_CATEGORY_YEAR && request.Has("keyword")) {
    if (!api.CategoryBrowse(kind, category->second, 0, 0, request.Order(), nullptr, answer, total,
                            count))
      DatabaseFailed();
    return SendJson(response,
                    YearsMatching(answer["metadatas"], keyword, request.Offset(), request.Limit()));
  }
  if (!api.CategoryBrowse(kind, category->second, request.Offset(), request.Limit(),
                          request.Order(), request.Has("keyword") ? keyword.c_str() : nullptr,
                          answer, total, count))
    DatabaseFailed();
  SendJson(response, answer);
}

void Info(const ApiRequest& request, HttpResponse& response) {
  const _VIDEO_TABLE_TYPE_ kind = request.Kind(1);
  const std::string id = RequireId(request.Segment(2), "id");
  VideoMetadataAPI api;
  Json::Value answer;
  api.GetInfo(kind, request.Additional(kind), id, answer);
  const Json::Value& items = answer[gMappingKeyName[kind]];
  if (!items.isArray() || items.empty()) {
    if (!api.DatabaseAnswers()) DatabaseFailed();
    throw ApiError(404, "no " + TableOf(kind) + " with id " + id);
  }
  SendJson(response, answer);
}

// The id of one video file of item `id`, "" when it has none: what finds the
// item afterwards should an edit merge it into another.
std::string AnyFileOf(VideoMetadataAPI& api, _VIDEO_TABLE_TYPE_ kind, const std::string& id) {
  Json::Value answer;
  unsigned long total = 0, count = 0;
  Json::Value items;
  if (kind == VIDEO_TABLE_TVSHOW) {
    api.List(VIDEO_TABLE_TVSHOW_EPISODE, 0, 1, VIDEO_ADDITIONAL_VIDEO_FILE, "", ORDER_DIRECTION_ASC,
             id, nullptr, nullptr, nullptr, nullptr, "", answer, total, count);
    items = answer[gMappingKeyName[VIDEO_TABLE_TVSHOW_EPISODE]];
  } else {
    api.GetInfo(kind, VIDEO_ADDITIONAL_VIDEO_FILE, id, answer);
    items = answer[gMappingKeyName[kind]];
  }
  if (!items.isArray() || items.empty()) return "";
  const Json::Value& files = items[0]["additional"]["files"];
  return files.isArray() && !files.empty() ? files[0]["id"].asString() : "";
}

void Edit(const ApiRequest& request, HttpResponse& response) {
  const _VIDEO_TABLE_TYPE_ kind = request.Kind(1);
  const std::string id = RequireId(request.Segment(2), "id");
  Json::Value body = request.Body();

  VideoMetadataAPI api;
  std::lock_guard<std::mutex> lock_edits(gEditMutex);
  // The library's edit replaces every field, so the form is laid over what
  // is stored.
  Json::Value stored;
  api.GetInfo(kind, PiecesOf(kind), id, stored);
  const Json::Value& items = stored[gMappingKeyName[kind]];
  if (!items.isArray() || items.empty())
    throw ApiError(404, "no " + TableOf(kind) + " with id " + id);
  const EditForm form(std::move(body), items[0]);
  const std::string title = form.Text("title");
  if (title.empty()) throw ApiError(400, "title is required");
  std::string lock = "false";
  if (kind != VIDEO_TABLE_HOME_VIDEO && kind != VIDEO_TABLE_TV_RECORD) lock = form.Lock();
  const std::string recordTime = form.Text("record_time", "record_date");
  if (kind == VIDEO_TABLE_HOME_VIDEO && recordTime.empty())
    throw ApiError(400, "record_time is required");
  const std::string channel = form.Text("channel_name");
  if (kind == VIDEO_TABLE_TV_RECORD && channel.empty())
    throw ApiError(400, "channel_name is required");
  std::string date, extra, showExtra, showSummary, showDate;
  const char* dateArg = form.Date("original_available", date);
  const char* extraArg = form.Extra("extra", extra);
  const char* showExtraArg = form.Extra("tvshow_extra", showExtra);
  const char* showSummaryArg = form.Optional("tvshow_summary", showSummary);
  const char* showDateArg = form.Date("tvshow_original_available", showDate);
  const std::string season = form.Text("season"), episode = form.Text("episode");
  if (kind == VIDEO_TABLE_TVSHOW_EPISODE) {
    RequireId(season, "season");
    RequireId(episode, "episode");
  }

  const std::string file = AnyFileOf(api, kind, id);
  bool saved = api.Edit(kind, id, "", title, form.Text("tagline"), dateArg, recordTime, season,
                        episode, lock, channel, form.Text("summary"), form.List("actor"),
                        form.List("director"), form.List("writer"), form.List("genre"), extraArg,
                        showExtraArg, showSummaryArg, showDateArg);
  if (!saved) {
    // A broken shared connection is opened anew by the next edit.
    VideoDBConnClose();
    if (!api.DatabaseAnswers()) DatabaseFailed();
    throw ApiError(500, "the edit could not be saved");
  }
  Json::Value answer(Json::objectValue);
  answer["id"] = id;
  answer["merged"] = false;
  if (api.GetFieldValueById(TableOf(kind), id, "id").empty()) {
    // Merged: the item that now holds its files is the one it became.
    std::string owner;
    if (!file.empty()) {
      const auto ownerKind = kind == VIDEO_TABLE_TVSHOW ? VIDEO_TABLE_TVSHOW_EPISODE : kind;
      api.GetIDByVideoID(ownerKind, file, owner);
      if (kind == VIDEO_TABLE_TVSHOW && !owner.empty())
        owner = api.GetFieldValueById(TableOf(ownerKind), owner, "tvshow_id");
    }
    answer["id"] = owner;
    answer["merged"] = true;
  }
  SendJson(response, answer);
}

// True when `header` (an If-None-Match value) names `etag` or is "*".
bool Matches(const std::string& header, const std::string& etag) {
  if (header == "*") return true;
  size_t start = 0;
  while (start < header.size()) {
    size_t end = std::min(header.find(',', start), header.size());
    std::string tag = header.substr(start, end - start);
    tag.erase(0, tag.find_first_not_of(" \t"));
    tag.erase(tag.find_last_not_of(" \t") + 1);
    if (tag.compare(0, 2, "W/") == 0) tag.erase(0, 2);
    if (tag == etag) return true;
    start = end + 1;
  }
  return false;
}

void Poster(const ApiRequest& request, HttpResponse& response) {
  const _VIDEO_TABLE_TYPE_ kind = request.Kind(1);
  const std::string id = RequireId(request.Segment(2), "id");
  VideoMetadataAPI api;
  std::string mapper = api.GetFieldValueById(TableOf(kind), id, "mapper_id");
  if (mapper.empty()) RequireItem(api, kind, id);
  std::string md5, image;
  int found = 0;
  for (int round = 0; round < 2 && found == 0; ++round) {
    if (round == 1) {
      // An episode without a poster of its own shows its show's.
      if (kind != VIDEO_TABLE_TVSHOW_EPISODE) break;
      const std::string show = api.GetFieldValueById(TableOf(kind), id, "tvshow_id");
      mapper =
          show.empty() ? "" : api.GetFieldValueById(TableOf(VIDEO_TABLE_TVSHOW), show, "mapper_id");
      if (mapper.empty()) break;
    }
    md5.clear();
    if (!api.Poster_MD5(mapper, md5)) DatabaseFailed();
    const std::string etag = "\"" + md5 + "\"";
    if (!md5.empty() && Matches(request.http().Header("If-None-Match"), etag)) {
      response.status = 304;
      response.SetHeader("ETag", etag);
      return;
    }
    found = api.Poster_Image(mapper, image);
    if (found < 0) DatabaseFailed();
  }
  if (found == 0) throw ApiError(404, "no poster for " + TableOf(kind) + " " + id);
  if (!md5.empty()) response.SetHeader("ETag", "\"" + md5 + "\"");
  // Revalidated by its ETag rather than never kept, unlike JSON answers.
  response.SetHeader("Cache-Control", "private, no-cache");
  response.SetContent(image, ImageType(image));
}

}  // namespace

void AddVideoRoutes(ApiRoutes& routes) {
  routes.Get(R"(/api/(\w+))", List);
  routes.Get(R"(/api/(\w+)/search)", Search);
  routes.Get(R"(/api/(\w+)/browse/([^/]+))", Browse);
  routes.Get(R"(/api/(\w+)/([^/]+)/poster)", Poster);
  routes.Get(R"(/api/(\w+)/([^/]+))", Info);
  routes.Post(R"(/api/(\w+)/([^/]+))", Edit);
}

}  // namespace kinolot_serve
