// `kinolot edit KIND ID --title ...`: saves an edit of one video through
// VideoMetadataAPI::Edit. Edit replaces every field of the item at once, so
// the command first reads the item and sends its stored values for every field
// the user did not name. An edit that gives the item the identity of another
// one (the title and year of another movie, the season and episode of another
// episode) merges it into that one; the command then shows the item that
// holds the video now.
#include <kinolot/mapping_tables.h>
#include <kinolot/video_db.h>
#include <kinolot/video_info_store.h>
#include <kinolot/video_metadata_api.h>

#include <map>
#include <memory>

#include "database_server.h"
#include "json_output.h"
#include "library_commands.h"
#include "library_options.h"
#include "serve/edit_form.h"

namespace kinolot_cli {

using namespace LibKinolot;

namespace {

// The fields an edit may change, by option name, and the kinds each applies
// to (bit 1 << kind).
struct EditField {
  const char* option;
  const char* help;
  unsigned kinds;
  const char* type;  // the value's name in the help
};

constexpr unsigned kMovie = 1u << VIDEO_TABLE_MOVIE;
constexpr unsigned kShow = 1u << VIDEO_TABLE_TVSHOW;
constexpr unsigned kEpisode = 1u << VIDEO_TABLE_TVSHOW_EPISODE;
constexpr unsigned kHome = 1u << VIDEO_TABLE_HOME_VIDEO;
constexpr unsigned kRecording = 1u << VIDEO_TABLE_TV_RECORD;

const EditField kFields[] = {
    {"--title", "New title (of an episode: the title of its show)",
     kMovie | kShow | kEpisode | kHome | kRecording, "TEXT"},
    {"--tagline", "New tag line", kMovie | kEpisode, "TEXT"},
    {"--date", "New release date, YYYY-MM-DD or a year", kMovie | kShow | kEpisode, "DATE"},
    {"--record-time", "New recording time, \"YYYY-MM-DD HH:MM:SS\"", kHome, "TIME"},
    {"--season", "New season number", kEpisode, "N"},
    {"--episode", "New episode number", kEpisode, "N"},
    {"--channel", "New channel name", kRecording, "NAME"},
    {"--summary", "New summary", kMovie | kShow | kEpisode | kHome | kRecording, "TEXT"},
    {"--extra", "New extra information, a JSON object", kMovie | kShow | kEpisode, "JSON"},
    {"--show-date", "New release date of the episode's show", kEpisode, "DATE"},
    {"--show-summary", "New summary of the episode's show", kEpisode, "TEXT"},
    {"--show-extra", "New extra information of the episode's show, a JSON object", kEpisode,
     "JSON"},
};

// The name lists; each option may be repeated, and each value may also hold
// several names separated by "|". One empty value empties the list.
const EditField kLists[] = {
    {"--actor", "Actor", kMovie | kEpisode | kHome, "NAME"},
    {"--director", "Director", kMovie | kEpisode | kHome, "NAME"},
    {"--writer", "Writer", kMovie | kEpisode | kHome, "NAME"},
    {"--genre", "Genre", kMovie | kEpisode | kHome, "NAME"},
};

struct EditArgs {
  std::string kind;
  std::string id;
  std::map<std::string, std::string> fields;
  std::map<std::string, std::vector<std::string>> lists;
  std::map<std::string, CLI::Option*> options;
  bool lock = false;
  bool unlock = false;

  bool Given(const std::string& option) const { return options.at(option)->count() > 0; }
};

std::string Join(const Json::Value& names) {
  std::string text;
  for (const Json::Value& name : names) text += (text.empty() ? "" : "|") + name.asString();
  return text;
}

std::string Join(const std::vector<std::string>& names) {
  std::string text;
  for (size_t i = 0; i < names.size(); ++i) text += (i ? "|" : "") + names[i];
  return text;
}

// The values one Edit call sends: the stored ones, overlaid by the user's.
struct EditValues {
  std::string title, tagline, recordTime, season, episode, isLock, channel, summary;
  std::string actor, director, writer, genre;
  std::string date, extra, showDate, showSummary, showExtra;
  bool hasDate = false, hasExtra = false, hasShowDate = false, hasShowSummary = false,
       hasShowExtra = false;

  static const char* Ptr(bool has, const std::string& text) { return has ? text.c_str() : nullptr; }
};

EditValues StoredValues(const Json::Value& item) {
  const Json::Value& more = item["additional"];
  EditValues v;
  v.title = item["title"].asString();
  v.tagline = item["tagline"].asString();
  v.recordTime = item["record_date"].asString();
  v.season = std::to_string(item["season"].asInt());
  v.episode = std::to_string(item["episode"].asInt());
  v.isLock = item["metadata_locked"].asBool() ? "true" : "false";
  v.channel = item["channel_name"].asString();
  v.summary = more["summary"].asString();
  v.actor = Join(more["actor"]);
  v.director = Join(more["director"]);
  v.writer = Join(more["writer"]);
  v.genre = Join(more["genre"]);
  // Without stored extra information the library writes "{}" for movies,
  // shows and episodes, which is what an empty one is anyway.
  v.hasExtra = more.isMember("extra");
  v.extra = more["extra"].asString();
  return v;
}

void Overlay(const EditArgs& args, EditValues& v) {
  auto take = [&args](const char* option, std::string& value, bool* has = nullptr) {
    if (!args.Given(option)) return;
    value = args.fields.at(option);
    if (has) *has = true;
  };
  take("--title", v.title);
  take("--tagline", v.tagline);
  take("--date", v.date, &v.hasDate);
  take("--record-time", v.recordTime);
  take("--season", v.season);
  take("--episode", v.episode);
  take("--channel", v.channel);
  take("--summary", v.summary);
  take("--extra", v.extra, &v.hasExtra);
  take("--show-date", v.showDate, &v.hasShowDate);
  take("--show-summary", v.showSummary, &v.hasShowSummary);
  take("--show-extra", v.showExtra, &v.hasShowExtra);
  if (args.lock) v.isLock = "true";
  if (args.unlock) v.isLock = "false";
  auto list = [&args](const char* option, std::string& value) {
    if (args.Given(option)) value = Join(args.lists.at(option));
  };
  list("--actor", v.actor);
  list("--director", v.director);
  list("--writer", v.writer);
  list("--genre", v.genre);
}

// Refuses, before anything is written, options that do not apply to `kind`
// and values the library would refuse only halfway through an edit.
void CheckOptions(const EditArgs& args, _VIDEO_TABLE_TYPE_ kind, const EditValues& v) {
  auto applies = [&](const EditField& field) {
    if (args.Given(field.option) && !(field.kinds & (1u << kind))) {
      Fail(2, std::string(field.option) + " does not apply to a " + KindLabel(kind));
    }
  };
  for (const EditField& field : kFields) applies(field);
  for (const EditField& field : kLists) applies(field);
  if ((args.lock || args.unlock) && !(kind == VIDEO_TABLE_MOVIE || kind == VIDEO_TABLE_TVSHOW ||
                                      kind == VIDEO_TABLE_TVSHOW_EPISODE)) {
    Fail(2, "only movies, TV shows and episodes can be locked");
  }
  if (v.title.empty()) Fail(2, "a " + KindLabel(kind) + " needs a title");
  if (kind == VIDEO_TABLE_HOME_VIDEO && v.recordTime.empty()) {
    Fail(2, "a home video needs a recording time (--record-time)");
  }
  if (kind == VIDEO_TABLE_TV_RECORD && v.channel.empty()) {
    Fail(2, "a recording needs a channel name (--channel)");
  }
  for (const char* option : {"--date", "--show-date"}) {
    if (args.Given(option) && !kinolot_serve::IsReleaseDate(args.fields.at(option))) {
      Fail(2, std::string(option) + " takes a date YYYY-MM-DD or a year, from " +
                  std::to_string(kinolot_serve::kFirstYear) + " to " +
                  std::to_string(kinolot_serve::kLastYear));
    }
  }
  for (const char* option : {"--extra", "--show-extra"}) {
    if (!args.Given(option)) continue;
    Json::Value parsed;
    Json::CharReaderBuilder builder;
    std::string errors;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    const std::string& text = args.fields.at(option);
    if (!reader->parse(text.data(), text.data() + text.size(), &parsed, &errors) ||
        !parsed.isObject()) {
      Fail(2, std::string(option) + " must be a JSON object, such as {\"rating\": 7}");
    }
  }
}

// The id of the item of `kind` that holds the edited video after an edit that
// removed item `id`: for kinds with files the owner of one of its former
// files, for a TV show the show with the edited title and year. "" when
// there is none.
std::string SuccessorId(_VIDEO_TABLE_TYPE_ kind, const Json::Value& before, const EditValues& v) {
  VideoMetadataAPI api;
  if (kind == VIDEO_TABLE_TVSHOW) {
    _VIDEO_INFO_ show{};
    show.type = VIDEO_TYPE_TVSHOW;
    std::snprintf(show.title, sizeof(show.title), "%s", v.title.c_str());
    char date[32] = {}, sortTime[32] = {};
    std::string when = v.hasDate ? v.date : before["original_available"].asString();
    parseYearDate(&show.tvshow_year, date, sortTime, when.c_str());
    int mapper = VideoInfoMapperIDGet(VIDEO_TABLE_TVSHOW, &show);
    VideoDBConnClose();
    if (mapper < 0) return "";
    return api.GetFieldValueByKey("tvshow", "mapper_id", std::to_string(mapper), "id");
  }
  for (const Json::Value& file : before["additional"]["files"]) {
    std::string id;
    if (api.GetIDByVideoID(kind, file["id"].asString(), id) && !id.empty()) return id;
  }
  return "";
}

void Run(const EditArgs& args) {
  RequireDatabase();
  _VIDEO_TABLE_TYPE_ kind = ParseKind(args.kind);
  const std::string& key = gMappingKeyName[kind];
  VideoMetadataAPI api;
  Json::Value stored;
  api.GetInfo(kind, PiecesOf(kind), args.id, stored);
  if (stored[key].empty()) Fail(1, "no " + KindLabel(kind) + " has the id " + args.id);
  const Json::Value before = stored[key][0];

  EditValues v = StoredValues(before);
  Overlay(args, v);
  CheckOptions(args, kind, v);
  if (!api.Edit(kind, args.id, "", v.title, v.tagline, EditValues::Ptr(v.hasDate, v.date),
                v.recordTime, v.season, v.episode, v.isLock, v.channel, v.summary, v.actor,
                v.director, v.writer, v.genre, EditValues::Ptr(v.hasExtra, v.extra),
                EditValues::Ptr(v.hasShowExtra, v.showExtra),
                EditValues::Ptr(v.hasShowSummary, v.showSummary),
                EditValues::Ptr(v.hasShowDate, v.showDate))) {
    Fail(1,
         "the " + KindLabel(kind) + " was not saved, or only in part (details in the system log)");
  }

  Json::Value answer;
  api.GetInfo(kind, PiecesOf(kind), args.id, answer);
  answer["merged"] = answer[key].empty();
  if (answer[key].empty()) {
    std::string successor = SuccessorId(kind, before, v);
    if (!successor.empty()) {
      api.GetInfo(kind, PiecesOf(kind), successor, answer);
    }
    answer["merged"] = true;
  }
  if (!PrintJson(answer)) Fail(1, "could not write the answer to standard output");
}

}  // namespace

void AddEditCommand(CLI::App& app) {
  auto args = std::make_shared<EditArgs>();
  CLI::App* command =
      app.add_subcommand("edit", "Change the title, dates, summary or people of a video");
  AddVideoArguments(command, &args->kind, &args->id);
  for (const EditField& field : kFields) {
    CLI::Option* option = command->add_option(field.option, args->fields[field.option], field.help)
                              ->type_name(field.type);
    if (std::string(field.option) == "--season" || std::string(field.option) == "--episode") {
      option->check(IdValidator("a number"));
    }
    args->options[field.option] = option;
  }
  for (const EditField& field : kLists) {
    args->options[field.option] =
        command
            ->add_option(field.option, args->lists[field.option],
                         std::string(field.help) +
                             "s, replacing the stored ones (repeat the option, or "
                             "separate names with |; \"\" for none)")
            ->allow_extra_args(false);
  }
  CLI::Option* lock =
      command->add_flag("--lock", args->lock, "Lock the item: rescans keep its metadata");
  command->add_flag("--unlock", args->unlock, "Unlock the item")->excludes(lock);
  command->footer(
      "Fields not named keep their stored values. When the edit gives the video the identity "
      "of another one of its kind (title and year; show, season and episode; title and "
      "recording time), it is merged into that one, which keeps its own metadata. Prints "
      "{\"merged\": true|false, \"<kind>\": [the item that holds the video now]}.");
  command->callback([args] { Run(*args); });
}

}  // namespace kinolot_cli
