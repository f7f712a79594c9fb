// The read commands: `kinolot list`, `search`, `info` and `browse`, each one
// call of VideoMetadataAPI whose JSON answer is printed as it comes. The edit,
// collection and poster commands live in units of their own and are
// registered from here.
#include "library_commands.h"

#include <kinolot/mapping_tables.h>
#include <kinolot/video_metadata_api.h>

#include <climits>
#include <memory>
#include <sstream>

#include "commands.h"
#include "database_server.h"
#include "json_output.h"
#include "library_options.h"

namespace kinolot_cli {

using namespace LibKinolot;

namespace {

// Episodes are listed in the order they were stored (which follows their
// files); every other kind by its sort title.
std::string SortOf(const PageOptions& page, _VIDEO_TABLE_TYPE_ kind) {
  if (!page.sort.empty()) return page.sort;
  return kind == VIDEO_TABLE_TVSHOW_EPISODE ? "id" : "sort_title";
}

_ORDER_DIRECTION_ DirectionOf(const PageOptions& page) {
  return page.desc ? ORDER_DIRECTION_DESC : ORDER_DIRECTION_ASC;
}

void Print(const Json::Value& answer) {
  if (!PrintJson(answer)) Fail(1, "could not write the answer to standard output");
}

// A person or genre filter: unset (null), or a text that may be empty.
struct Filter {
  std::string value;
  CLI::Option* option = nullptr;
  const char* get() const { return option && option->count() > 0 ? value.c_str() : nullptr; }
};

// The person, genre and year filters that list and search share; `what`
// says whether their values are row ids or name fragments.
struct Filters {
  Filter actor, director, writer, genre;
  std::string year;

  void Add(CLI::App* command, bool byId) {
    const char* help = byId ? "Only videos with the %s of this id (from browse); \"\" for none"
                            : "Only videos with a %s whose name holds this text";
    auto add = [&](Filter& filter, const char* name, const char* label) {
      char text[128];
      std::snprintf(text, sizeof(text), help, label);
      filter.option =
          command->add_option(name, filter.value, text)->type_name(byId ? "ID" : "NAME");
      if (byId) filter.option->check(IdValidator("an id", true));
    };
    add(actor, "--actor", "actor");
    add(director, "--director", "director");
    add(writer, "--writer", "writer");
    add(genre, "--genre", "genre");
    command->add_option("--year", year, "Only videos of this year")
        ->type_name("YEAR")
        ->check(IdValidator("a year"));
  }
};

struct ListArgs {
  std::string kind;
  std::string show;
  Filters filters;
  PageOptions page;
};

void AddListCommand(CLI::App& app) {
  auto args = std::make_shared<ListArgs>();
  CLI::App* command = app.add_subcommand("list", "List the videos of one kind as JSON");
  AddVideoArguments(command, &args->kind, nullptr);
  command->add_option("--show", args->show, "Only the episodes of the TV show of this id")
      ->type_name("ID")
      ->check(IdValidator("an id"));
  args->filters.Add(command, true);
  AddPageOptions(command, &args->page, true, "none");
  command->footer(
      "Prints {\"total\": N, \"offset\": next offset, \"<kind>\": [items]}. Filters combine: "
      "every one given must hold.");
  command->callback([args] {
    RequireDatabase();
    _VIDEO_TABLE_TYPE_ kind = ParseKind(args->kind);
    const Filters& f = args->filters;
    VideoMetadataAPI api;
    Json::Value answer;
    unsigned long total = 0, count = 0;
    if (!api.List(kind, args->page.offset, args->page.limit, AdditionalOf(args->page, kind),
                  SortOf(args->page, kind), DirectionOf(args->page), args->show, f.actor.get(),
                  f.director.get(), f.writer.get(), f.genre.get(), f.year, answer, total, count)) {
      Fail(2, "could not list the " + KindLabel(kind) +
                  "s: the database refused the query (is the --sort column one of the kind's "
                  "table?)");
    }
    Print(answer);
  });
}

struct SearchArgs {
  std::string kind;
  std::string text;
  std::string any;
  std::string channel;
  Filters filters;
  PageOptions page;
};

void AddSearchCommand(CLI::App& app) {
  auto args = std::make_shared<SearchArgs>();
  CLI::App* command =
      app.add_subcommand("search", "Search the videos of one kind by title or names");
  AddVideoArguments(command, &args->kind, nullptr);
  command->add_option("TEXT", args->text, "Text to find in the titles (any letter case)")
      ->type_name("");
  command
      ->add_option("--any", args->any,
                   "Find TEXT in any of these fields instead, comma-separated: title, "
                   "tag_line, actor, director, writer (movies, shows and home videos)")
      ->type_name("FIELDS");
  command
      ->add_option("--channel", args->channel, "Only recordings whose channel name holds this text")
      ->type_name("NAME");
  args->filters.Add(command, false);
  AddPageOptions(command, &args->page, true, "none");
  command->footer(
      "Prints the answer of list. Without --any, TEXT and the filters combine: every one given "
      "must hold. With --any, TEXT alone decides and the filters are not used.");
  command->callback([args] {
    _VIDEO_TABLE_TYPE_ kind = ParseKind(args->kind);
    Json::Value keywords;
    if (!args->any.empty()) {
      if (kind != VIDEO_TABLE_MOVIE && kind != VIDEO_TABLE_TVSHOW &&
          kind != VIDEO_TABLE_HOME_VIDEO) {
        Fail(2, "--any searches movies, shows and home videos only");
      }
      keywords = KeywordsOf(args->any, args->text);
    }
    RequireDatabase();
    const Filters& f = args->filters;
    VideoMetadataAPI api;
    Json::Value answer;
    unsigned long total = 0, count = 0;
    if (!api.Search(kind, args->page.offset, args->page.limit, AdditionalOf(args->page, kind),
                    SortOf(args->page, kind), DirectionOf(args->page), keywords, args->text,
                    args->channel, f.actor.get(), f.director.get(), f.writer.get(), f.genre.get(),
                    f.year, answer, total, count)) {
      Fail(2, "could not search the " + KindLabel(kind) +
                  "s: the database refused the query (are the --any fields and the --sort column "
                  "ones of the kind?)");
    }
    Print(answer);
  });
}

struct InfoArgs {
  std::string kind;
  std::string id;
  PageOptions page;
};

void AddInfoCommand(CLI::App& app) {
  auto args = std::make_shared<InfoArgs>();
  CLI::App* command = app.add_subcommand("info", "Show one video with everything known about it");
  AddVideoArguments(command, &args->kind, &args->id);
  command
      ->add_option("--with", args->page.with,
                   "Attach these pieces, comma-separated (see list --help; default: all)")
      ->type_name("PIECES")
      ->check(AdditionalValidator());
  args->page.with = "all";
  command->footer("Prints {\"<kind>\": [item]}; exit status 1 when no video has the id.");
  command->callback([args] {
    RequireDatabase();
    _VIDEO_TABLE_TYPE_ kind = ParseKind(args->kind);
    VideoMetadataAPI api;
    Json::Value answer;
    api.GetInfo(kind, AdditionalOf(args->page, kind), args->id, answer);
    if (answer[gMappingKeyName[kind]].empty()) {
      Fail(1, "no " + KindLabel(kind) + " has the id " + args->id);
    }
    Print(answer);
  });
}

struct BrowseArgs {
  std::string kind;
  std::string category;
  std::string name;
  CLI::Option* name_option = nullptr;
  PageOptions page;
};

void AddBrowseCommand(CLI::App& app) {
  auto args = std::make_shared<BrowseArgs>();
  CLI::App* command = app.add_subcommand(
      "browse", "List the actors, directors, writers, genres or years of a kind");
  AddVideoArguments(command, &args->kind, nullptr, kCollectableKinds);
  command->add_option("CATEGORY", args->category, "actors, directors, writers, genres or years")
      ->required()
      ->check(CLI::Validator(
          [](std::string& text) -> std::string {
            _VIDEO_CATEGORY_ category;
            return ParseCategory(text, category)
                       ? ""
                       : "'" + text +
                             "' is no category (actors, directors, writers, genres, years)";
          },
          ""));
  args->name_option =
      command->add_option("--name", args->name, "Only the names that hold this text")
          ->type_name("TEXT");
  command->add_option("--offset", args->page.offset, "Skip this many entries first")
      ->type_name("N")
      ->check(CountValidator());
  command->add_option("--limit", args->page.limit, "Print at most this many entries (0: all)")
      ->type_name("N")
      ->check(CountValidator());
  command->add_flag("--desc", args->page.desc, "Sort in descending order");
  command->footer(
      "Prints {\"total\": N, \"offset\": next offset, \"metadatas\": [{\"id\", \"name\"}...]}, "
      "ending with {} when some videos have no value in the category (not with --name). Give "
      "an entry's id to list --actor/--director/--writer/--genre, or a year to list --year.");
  command->callback([args] {
    RequireDatabase();
    _VIDEO_TABLE_TYPE_ kind = ParseKind(args->kind);
    _VIDEO_CATEGORY_ category = VIDEO_CATEGORY_ACTOR;
    ParseCategory(args->category, category);
    VideoMetadataAPI api;
    Json::Value answer;
    unsigned long total = 0, count = 0;
    const char* keyword = args->name_option->count() > 0 ? args->name.c_str() : nullptr;
    if (!api.CategoryBrowse(kind, category, args->page.offset, args->page.limit,
                            DirectionOf(args->page), keyword, answer, total, count)) {
      Fail(2, "could not browse the " + KindLabel(kind) + "s: the database refused the query");
    }
    Print(answer);
  });
}

}  // namespace

void AddLibraryCommands(CLI::App& app) {
  AddListCommand(app);
  AddSearchCommand(app);
  AddInfoCommand(app);
  AddBrowseCommand(app);
  AddEditCommand(app);
  AddCollectionCommands(app);
  AddPosterCommand(app);
}

}  // namespace kinolot_cli
