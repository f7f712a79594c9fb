// `kinolot collection create|add|remove|list|search`: users' collections of
// movies, episodes, home videos and recordings, through VideoMetadataAPI.
//
// A collection's members are always read a page at a time: the library's
// listing without a limit is meant for counting and does not keep to the
// requested collection.
#include <kinolot/mapping_tables.h>
#include <kinolot/video_metadata_api.h>
#include <kinolot/video_metadata_db.h>
#include <unistd.h>

#include <memory>
#include <sstream>

#include "database_server.h"
#include "json_output.h"
#include "library_commands.h"
#include "library_options.h"

namespace kinolot_cli {

using namespace LibKinolot;

namespace {

// Members read per query when the user asked for all of them.
constexpr unsigned long kPageSize = 500;

void Print(const Json::Value& answer) {
  if (!PrintJson(answer)) Fail(1, "could not write the answer to standard output");
}

// Ends the command with status 1 unless collection `id` (a checked decimal
// number) exists; the library reads an unknown collection as an empty one.
void RequireCollection(const std::string& id) {
  VideoDB db(nullptr, "collection");
  db.AddCondtion("id=" + id);
  int rows = db.SelectDB("id", "", ORDER_DIRECTION_ASC, 0, 0, "");
  if (rows < 0) Fail(2, "could not read the collections (details in the system log)");
  if (rows == 0) Fail(1, "no collection has the id " + id);
}

struct CollectionArgs {
  std::string user = std::to_string(getuid());
  std::string title;
  std::string collection;
  std::string kind;
  std::string id;
  std::string text;
  std::string in = "title";
  PageOptions page;
};

CLI::Option* AddCollectionId(CLI::App* command, CollectionArgs& args) {
  return command->add_option("COLLECTION", args.collection, "The collection's id")
      ->required()
      ->check(IdValidator("an id"));
}

// The member's table for Collection_AddVideo and Collection_DelVideo.
void AddMemberArguments(CLI::App* command, CollectionArgs& args) {
  AddCollectionId(command, args);
  AddVideoArguments(command, &args.kind, &args.id, kCollectableKinds);
}

void Create(const CollectionArgs& args) {
  RequireDatabase();
  VideoMetadataAPI api;
  long id = api.Collection_Create(args.user, args.title);
  if (id < 0) Fail(2, "could not create the collection (details in the system log)");
  Json::Value answer;
  answer["id"] = std::to_string(id);
  answer["uid"] = args.user;
  answer["title"] = args.title;
  Print(answer);
}

void ChangeMember(const CollectionArgs& args, bool add) {
  RequireDatabase();
  RequireCollection(args.collection);
  _VIDEO_TABLE_TYPE_ kind = ParseKind(args.kind);
  const std::string& table = gMappingTable[kind];
  VideoMetadataAPI api;
  bool done = add ? api.Collection_AddVideo(args.collection, table, args.id)
                  : api.Collection_DelVideo(args.collection, table, args.id);
  if (!done) {
    Fail(1, "could not " + std::string(add ? "add " : "remove ") + KindLabel(kind) + " " + args.id +
                (add ? " to" : " from") + " collection " + args.collection + ": there is no such " +
                KindLabel(kind));
  }
  Json::Value answer;
  answer["collection_id"] = args.collection;
  answer["type"] = table;
  answer["id"] = args.id;
  answer["member"] = add;
  Print(answer);
}

// The collections of one user, or of everybody, by title.
void ListCollections(const CollectionArgs& args, bool everybody) {
  RequireDatabase();
  VideoDB db(nullptr, "collection");
  if (!everybody) db.AddCondtion("uid=" + args.user);  // a checked decimal number
  if (db.SelectDB("id, uid, title", "title", ORDER_DIRECTION_ASC, 0, 0, "") < 0) {
    Fail(2, "could not read the collections (details in the system log)");
  }
  Json::Value answer;
  answer["collections"] = Json::Value(Json::arrayValue);
  while (db.NextRow()) {
    Json::Value collection;
    collection["id"] = db.FetchField("id");
    collection["uid"] = db.FetchField("uid");
    collection["title"] = db.FetchField("title");
    answer["collections"].append(collection);
  }
  Print(answer);
}

// Reads every member with `page(offset, limit, answer)`, a page at a time,
// and prints those that `options` asks for. The count is taken from the pages
// themselves: the library's own total comes from its unrestricted listing,
// which also counts episodes of other collections.
template <typename PageFn>
void ListPaged(const PageOptions& options, PageFn page) {
  Json::Value answer;
  Json::Value chosen(Json::arrayValue);
  unsigned long seen = 0;
  for (;;) {
    if (!page(seen, kPageSize, answer)) {
      Fail(2, "could not read the collection (details in the system log)");
    }
    for (const Json::Value& member : answer["videos"]) {
      bool wanted =
          seen >= options.offset && (options.limit == 0 || seen < options.offset + options.limit);
      if (wanted) chosen.append(member);
      ++seen;
    }
    if (answer["videos"].size() < kPageSize) break;
  }
  answer["videos"] = chosen;
  answer["total"] = static_cast<Json::UInt64>(seen);
  answer["offset"] = static_cast<Json::UInt64>(options.offset + chosen.size());
  Print(answer);
}

void ListMembers(const CollectionArgs& args) {
  RequireDatabase();
  RequireCollection(args.collection);
  VideoMetadataAPI api;
  const std::string sort = args.page.sort.empty() ? "sort_title" : args.page.sort;
  ListPaged(args.page, [&](unsigned long offset, unsigned long limit, Json::Value& answer) {
    unsigned long total = 0, count = 0;
    return api.Collection_VideoList(
        args.collection, offset, limit, AdditionalOf(args.page, VIDEO_TABLE_INVALID), sort,
        args.page.desc ? ORDER_DIRECTION_DESC : ORDER_DIRECTION_ASC, answer, total, count);
  });
}

void Search(const CollectionArgs& args) {
  const Json::Value keywords = KeywordsOf(args.in, args.text);
  if (keywords.empty()) Fail(2, "--in names no field");
  RequireDatabase();
  RequireCollection(args.collection);
  VideoMetadataAPI api;
  const std::string sort = args.page.sort.empty() ? "sort_title" : args.page.sort;
  ListPaged(args.page, [&](unsigned long offset, unsigned long limit, Json::Value& answer) {
    unsigned long total = 0, count = 0;
    return api.Collection_Search(args.collection, offset, limit,
                                 AdditionalOf(args.page, VIDEO_TABLE_INVALID), sort,
                                 args.page.desc ? ORDER_DIRECTION_DESC : ORDER_DIRECTION_ASC,
                                 keywords, answer, total, count);
  });
}

}  // namespace

void AddCollectionCommands(CLI::App& app) {
  auto args = std::make_shared<CollectionArgs>();
  CLI::App* group = app.add_subcommand("collection", "Users' collections of videos");
  group->require_subcommand(1);
  const std::string userHelp =
      "The user whose collection it is (default: your user id, " + args->user + ")";

  CLI::App* create =
      group->add_subcommand("create", "Create a collection, or find the user's one of that title");
  create->add_option("TITLE", args->title, "The collection's title")->required();
  create->add_option("--user", args->user, userHelp)->check(IdValidator("a user id"));
  create->footer("Prints {\"id\", \"uid\", \"title\"} of the collection.");
  create->callback([args] { Create(*args); });

  CLI::App* add = group->add_subcommand("add", "Add a video to a collection");
  AddMemberArguments(add, *args);
  add->footer(
      "Prints {\"collection_id\", \"type\", \"id\", \"member\": true}; adding twice is no error.");
  add->callback([args] { ChangeMember(*args, true); });

  CLI::App* remove = group->add_subcommand("remove", "Remove a video from a collection");
  AddMemberArguments(remove, *args);
  remove->footer("Prints {\"collection_id\", \"type\", \"id\", \"member\": false}.");
  remove->callback([args] { ChangeMember(*args, false); });

  CLI::App* list = group->add_subcommand(
      "list", "List a collection's videos, or without COLLECTION a user's collections");
  list->add_option("COLLECTION", args->collection, "The collection's id")
      ->check(IdValidator("an id"));
  CLI::Option* user =
      list->add_option("--user", args->user, userHelp)->check(IdValidator("a user id"));
  CLI::Option* all = list->add_flag("--all-users", "Without COLLECTION: every user's collections");
  all->excludes(user);
  AddPageOptions(list, &args->page, true, "none");
  list->footer(
      "With COLLECTION prints {\"total\", \"offset\", \"videos\": [{\"id\", \"title\", \"time\", "
      "\"type\", \"mapper_id\"}...]}, sorted by title unless --sort names sort_time or a column. "
      "Without it prints {\"collections\": [{\"id\", \"uid\", \"title\"}...]}.");
  list->callback([args, all] {
    if (args->collection.empty()) {
      ListCollections(*args, all->count() > 0);
    } else {
      ListMembers(*args);
    }
  });

  CLI::App* search =
      group->add_subcommand("search", "Search a collection's videos by title or names");
  AddCollectionId(search, *args);
  search->add_option("TEXT", args->text, "Text to find, in any letter case")->required();
  search->add_option("--in", args->in,
                     "Fields to search, comma-separated, any may match: title, actor, director, "
                     "writer (default: title)");
  AddPageOptions(search, &args->page, true, "none");
  search->footer("Prints the answer of collection list.");
  search->callback([args] { Search(*args); });
}

}  // namespace kinolot_cli
