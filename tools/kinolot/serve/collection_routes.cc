// The routes of a user's collections; see collection_routes.h.
#include "collection_routes.h"

#include "kinolot/mapping_tables.h"
#include "kinolot/video_metadata_api.h"

namespace kinolot_serve {

using namespace LibKinolot;

namespace {

[[noreturn]] void DatabaseFailed() {
  throw ApiError(503, "the database did not answer");
}

// Returns the collection id of path segment 1 once it is known to be one of
// the user's; 404 otherwise.
std::string OwnCollection(const ApiRequest& request, VideoMetadataAPI& api) {
  const std::string id = RequireId(request.Segment(1), "collection id");
  const std::string owner = api.GetFieldValueById("collection", id, "uid");
  if (owner.empty() && !api.DatabaseAnswers()) DatabaseFailed();
  if (owner != request.user()) throw ApiError(404, "no collection " + id);
  return id;
}

// The table of a kind that collections hold: TV shows are not members, their
// episodes are.
std::string MemberTable(const std::string& name) {
  const _VIDEO_TABLE_TYPE_ kind = KindFromName(name);
  if (kind == VIDEO_TABLE_INVALID || kind == VIDEO_TABLE_TVSHOW)
    throw ApiError(400, "collections hold movies, episodes, home or recordings");
  return gMappingTable[kind];
}

void Collections(const ApiRequest& request, HttpResponse& response) {
  Json::Value answer(Json::objectValue);
  if (!VideoMetadataAPI().Collection_List(request.user(), answer["collections"])) DatabaseFailed();
  SendJson(response, answer);
}

void Create(const ApiRequest& request, HttpResponse& response) {
  const Json::Value body = request.Body();
  if (!body["title"].isString() || body["title"].asString().empty())
    throw ApiError(400, "title is required");
  const std::string title = body["title"].asString();
  if (title.size() > kMaxParameterLength || title.find('\0') != std::string::npos)
    throw ApiError(400, "title must be a text of at most 512 bytes");
  VideoMetadataAPI api;
  long id = api.Collection_Create(request.user(), title);
  if (id < 0) DatabaseFailed();
  Json::Value answer(Json::objectValue);
  answer["id"] = std::to_string(id);
  SendJson(response, answer);
}

void Videos(const ApiRequest& request, HttpResponse& response) {
  VideoMetadataAPI api;
  const std::string id = OwnCollection(request, api);
  std::string sort = request.Sort(VIDEO_TABLE_COLLECTION);
  Json::Value answer;
  unsigned long total = 0, count = 0;
  // Limit() is never 0: the library's unlimited listing is not confined to
  // the collection asked for.
  if (!api.Collection_VideoList(
          id, request.Offset(), request.Limit(), request.Additional(VIDEO_TABLE_COLLECTION),
          sort.empty() ? "sort_title" : sort, request.Order(), answer, total, count))
    DatabaseFailed();
  SendJson(response, answer);
}

void Search(const ApiRequest& request, HttpResponse& response) {
  VideoMetadataAPI api;
  const std::string id = OwnCollection(request, api);
  Json::Value keywords(Json::objectValue);
  for (const char* name : {"title", "actor", "director", "writer"}) {
    std::string value = request.Text(name);
    if (!value.empty()) keywords[name] = value;
  }
  if (keywords.empty()) throw ApiError(400, "search needs title, actor, director or writer");
  std::string sort = request.Sort(VIDEO_TABLE_COLLECTION);
  Json::Value answer;
  unsigned long total = 0, count = 0;
  if (!api.Collection_Search(
          id, request.Offset(), request.Limit(), request.Additional(VIDEO_TABLE_COLLECTION),
          sort.empty() ? "sort_title" : sort, request.Order(), keywords, answer, total, count))
    DatabaseFailed();
  SendJson(response, answer);
}

void Delete(const ApiRequest& request, HttpResponse& response) {
  const std::string id = RequireId(request.Segment(1), "collection id");
  int deleted = VideoMetadataAPI().Collection_Delete(request.user(), id);
  if (deleted < 0) DatabaseFailed();
  if (deleted == 0) throw ApiError(404, "no collection " + id);
  Json::Value answer(Json::objectValue);
  answer["deleted"] = true;
  SendJson(response, answer);
}

// Adds or removes a video; the library answers true also when nothing had to
// change, and false for a video that does not exist or a failed statement.
void Change(const ApiRequest& request, HttpResponse& response, bool add) {
  VideoMetadataAPI api;
  std::string table, video;
  if (add) {
    const Json::Value body = request.Body();
    table = MemberTable(body["kind"].isString() ? body["kind"].asString() : "");
    video = RequireId(body["id"].isString() ? body["id"].asString() : "", "id");
  } else {
    table = MemberTable(request.Segment(2));
    video = RequireId(request.Segment(3), "video id");
  }
  const std::string id = OwnCollection(request, api);
  bool done =
      add ? api.Collection_AddVideo(id, table, video) : api.Collection_DelVideo(id, table, video);
  if (!done) {
    if (!api.DatabaseAnswers()) DatabaseFailed();
    throw ApiError(404, "no " + table + " with id " + video);
  }
  Json::Value answer(Json::objectValue);
  answer[add ? "added" : "removed"] = true;
  SendJson(response, answer);
}

}  // namespace

void AddCollectionRoutes(ApiRoutes& routes) {
  routes.Get(R"(/api/collections)", Collections);
  routes.Post(R"(/api/collections)", Create);
  routes.Get(R"(/api/collections/([^/]+)/search)", Search);
  routes.Get(R"(/api/collections/([^/]+))", Videos);
  routes.Delete(R"(/api/collections/([^/]+))", Delete);
  routes.Post(
      R"(/api/collections/([^/]+)/videos)",
      [](const ApiRequest& request, HttpResponse& response) { Change(request, response, true); });
  routes.Delete(
      R"(/api/collections/([^/]+)/videos/(\w+)/([^/]+))",
      [](const ApiRequest& request, HttpResponse& response) { Change(request, response, false); });
}

}  // namespace kinolot_serve
