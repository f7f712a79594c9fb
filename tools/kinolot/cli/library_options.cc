// The shared vocabulary of the read and edit commands; see library_options.h.
#include "library_options.h"

#include <strings.h>

#include <cctype>
#include <climits>
#include <iostream>
#include <sstream>

namespace kinolot_cli {

using namespace LibKinolot;

namespace {

struct Name {
  const char* name;
  unsigned value;
};

const Name kCategoryNames[] = {
    {"actor", VIDEO_CATEGORY_ACTOR},       {"actors", VIDEO_CATEGORY_ACTOR},
    {"director", VIDEO_CATEGORY_DIRECTOR}, {"directors", VIDEO_CATEGORY_DIRECTOR},
    {"writer", VIDEO_CATEGORY_WRITER},     {"writers", VIDEO_CATEGORY_WRITER},
    {"genre", VIDEO_CATEGORY_GENRE},       {"genres", VIDEO_CATEGORY_GENRE},
    {"year", VIDEO_CATEGORY_YEAR},         {"years", VIDEO_CATEGORY_YEAR},
};

template <size_t N>
bool Find(const Name (&names)[N], const std::string& name, unsigned& value) {
  for (const Name& entry : names) {
    if (strcasecmp(entry.name, name.c_str()) == 0) {
      value = entry.value;
      return true;
    }
  }
  return false;
}

}  // namespace

const std::vector<_VIDEO_TABLE_TYPE_> kAllKinds = {VIDEO_TABLE_MOVIE, VIDEO_TABLE_TVSHOW,
                                                   VIDEO_TABLE_TVSHOW_EPISODE,
                                                   VIDEO_TABLE_HOME_VIDEO, VIDEO_TABLE_TV_RECORD};
const std::vector<_VIDEO_TABLE_TYPE_> kCollectableKinds = {
    VIDEO_TABLE_MOVIE, VIDEO_TABLE_TVSHOW_EPISODE, VIDEO_TABLE_HOME_VIDEO, VIDEO_TABLE_TV_RECORD};

void Fail(int status, const std::string& message) {
  std::cerr << "kinolot: " << message << std::endl;
  throw CLI::RuntimeError(status);
}

_VIDEO_TABLE_TYPE_ ParseKind(const std::string& name) {
  return kinolot_serve::KindFromName(name);
}

std::string KindLabel(_VIDEO_TABLE_TYPE_ kind) {
  switch (kind) {
    case VIDEO_TABLE_MOVIE:
      return "movie";
    case VIDEO_TABLE_TVSHOW:
      return "TV show";
    case VIDEO_TABLE_TVSHOW_EPISODE:
      return "episode";
    case VIDEO_TABLE_HOME_VIDEO:
      return "home video";
    case VIDEO_TABLE_TV_RECORD:
      return "recording";
    default:
      return "video";
  }
}

CLI::Validator KindValidator(const std::vector<_VIDEO_TABLE_TYPE_>& allowed) {
  std::string words;
  for (_VIDEO_TABLE_TYPE_ kind : allowed)
    words += std::string(words.empty() ? "" : ", ") + kinolot_serve::KindName(kind);
  return CLI::Validator(
      [allowed, words](std::string& text) -> std::string {
        _VIDEO_TABLE_TYPE_ kind = ParseKind(text);
        for (_VIDEO_TABLE_TYPE_ ok : allowed) {
          if (kind == ok) return "";
        }
        return "'" + text + "' is not a kind this command takes (" + words + ")";
      },
      "");
}

CLI::Validator IdValidator(const std::string& what, bool allowEmpty) {
  return CLI::Validator(
      [what, allowEmpty](std::string& text) -> std::string {
        if (text.empty() && allowEmpty) return "";
        bool digits = !text.empty() && text.size() <= 10 &&
                      text.find_first_not_of("0123456789") == std::string::npos;
        if (digits && std::stoull(text) <= INT_MAX) return "";
        return "'" + text + "' is not " + what;
      },
      "");
}

void AddVideoArguments(CLI::App* command, std::string* kind, std::string* id,
                       const std::vector<_VIDEO_TABLE_TYPE_>& allowed) {
  std::string words;
  for (size_t i = 0; i < allowed.size(); ++i)
    words += std::string(i == 0                    ? ""
                         : i + 1 == allowed.size() ? " or "
                                                   : ", ") +
             kinolot_serve::KindName(allowed[i]);
  command->add_option("KIND", *kind, words)->required()->check(KindValidator(allowed));
  if (id != nullptr) {
    command->add_option("ID", *id, "The video's id (the \"id\" of list)")
        ->required()
        ->check(IdValidator("an id"));
  }
}

Json::Value KeywordsOf(const std::string& fields, const std::string& text) {
  Json::Value keywords(Json::objectValue);
  std::stringstream names(fields);
  std::string name;
  while (std::getline(names, name, ',')) {
    if (!name.empty()) keywords[name] = text;
  }
  return keywords;
}

bool ParseAdditional(const std::string& list, _VIDEO_ADDITIONAL_& mask) {
  unsigned bits = 0;
  std::stringstream pieces(list);
  std::string piece;
  while (std::getline(pieces, piece, ',')) {
    uint32_t value = 0;
    if (piece.empty()) continue;
    if (strcasecmp(piece.c_str(), "all") == 0) {
      value = 0x7ff;
    } else if (strcasecmp(piece.c_str(), "none") != 0 &&
               !kinolot_serve::PieceFromName(piece, value)) {
      return false;
    }
    bits |= value;
  }
  mask = static_cast<_VIDEO_ADDITIONAL_>(bits);
  return true;
}

CLI::Validator AdditionalValidator() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        _VIDEO_ADDITIONAL_ mask;
        if (ParseAdditional(text, mask)) return "";
        return "'" + text +
               "' names no additional information (summary, extra, episodes, actor, director, "
               "writer, genre, files, collection, show_summary, show_extra, all, none)";
      },
      "");
}

bool ParseCategory(const std::string& name, _VIDEO_CATEGORY_& category) {
  unsigned value = 0;
  if (!Find(kCategoryNames, name, value)) return false;
  category = static_cast<_VIDEO_CATEGORY_>(value);
  return true;
}

CLI::Validator CountValidator() {
  return CLI::Validator(
      [](std::string& text) -> std::string {
        bool digits = !text.empty() && text.size() <= 9 &&
                      text.find_first_not_of("0123456789") == std::string::npos;
        return digits ? "" : "'" + text + "' is not a count (a number from 0 to 999999999)";
      },
      "");
}

void AddPageOptions(CLI::App* command, PageOptions* page, bool sortable, const char* defaultWith) {
  command->add_option("--offset", page->offset, "Skip this many items first")
      ->type_name("N")
      ->check(CountValidator());
  command->add_option("--limit", page->limit, "Print at most this many items (0: all, the default)")
      ->type_name("N")
      ->check(CountValidator());
  if (sortable) {
    command
        ->add_option("--sort", page->sort,
                     "Sort by this column of the kind's table (title, sort_title, year, "
                     "sort_time, create_date, modify_date, ...)")
        ->type_name("COLUMN")
        ->check(CLI::Validator(
            [](std::string& text) -> std::string {
              bool plain = !text.empty() && text.size() < 64 &&
                           text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_") ==
                               std::string::npos &&
                           !std::isdigit(static_cast<unsigned char>(text[0]));
              return plain ? "" : "'" + text + "' is not a column name";
            },
            ""));
  }
  command->add_flag("--desc", page->desc, "Sort in descending order");
  command
      ->add_option("--with", page->with,
                   std::string("Attach these pieces, comma-separated: summary, extra, episodes, "
                               "actor, director, writer, genre, files, collection, show_summary, "
                               "show_extra, all, none (default: ") +
                       defaultWith + ")")
      ->type_name("PIECES")
      ->check(AdditionalValidator());
  if (page->with.empty()) page->with = defaultWith;
}

_VIDEO_ADDITIONAL_ AdditionalOf(const PageOptions& page, _VIDEO_TABLE_TYPE_ kind) {
  _VIDEO_ADDITIONAL_ mask = VIDEO_ADDITIONAL_NONE;
  ParseAdditional(page.with, mask);
  return static_cast<_VIDEO_ADDITIONAL_>(mask & PiecesOf(kind));
}

}  // namespace kinolot_cli
