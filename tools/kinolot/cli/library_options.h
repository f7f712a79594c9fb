// The vocabulary that the read and edit commands share: kinds of video
// ("movies", "shows", ...), pieces of additional information ("summary,actor"),
// browse categories, the paging options, and how a command fails.
#ifndef KINOLOT_TOOLS_CLI_LIBRARY_OPTIONS_H_
#define KINOLOT_TOOLS_CLI_LIBRARY_OPTIONS_H_

#include <json/json.h>
#include <kinolot/video_types.h>

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "serve/video_vocabulary.h"

namespace kinolot_cli {

using LibKinolot::_VIDEO_ADDITIONAL_;
using LibKinolot::_VIDEO_CATEGORY_;
using LibKinolot::_VIDEO_TABLE_TYPE_;

// Ends the running command: prints "kinolot: <message>" on stderr and throws
// CLI::RuntimeError(status), which main turns into the exit status.
[[noreturn]] void Fail(int status, const std::string& message);

// The kind a name means, ignoring case: movie(s), tvshow(s) or show(s),
// episode(s), home, homevideo(s) or home_video, recording(s) or tv_record.
// VIDEO_TABLE_INVALID for any other name.
_VIDEO_TABLE_TYPE_ ParseKind(const std::string& name);
// "movie", "TV show", "episode", "home video" or "recording", for messages.
std::string KindLabel(_VIDEO_TABLE_TYPE_ kind);
// Accepts the names of the kinds in `allowed` and refuses anything else with
// a message listing them.
CLI::Validator KindValidator(const std::vector<_VIDEO_TABLE_TYPE_>& allowed);
// The five kinds of video, and those a collection may hold (no TV shows).
extern const std::vector<_VIDEO_TABLE_TYPE_> kAllKinds;
extern const std::vector<_VIDEO_TABLE_TYPE_> kCollectableKinds;

// The mask that a comma-separated list of piece names means: summary, extra,
// episodes, actor, director, writer, genre, files, collection, show_summary,
// show_extra (plural forms too), all, none. Returns false for an unknown name.
bool ParseAdditional(const std::string& list, _VIDEO_ADDITIONAL_& mask);
CLI::Validator AdditionalValidator();

// The category a name means: actor(s), director(s), writer(s), genre(s),
// year(s). Returns false for any other name.
bool ParseCategory(const std::string& name, _VIDEO_CATEGORY_& category);

// Accepts the decimal numbers from 0 to 999999999.
CLI::Validator CountValidator();
// Accepts decimal numbers that fit a 32-bit id, and the empty text when
// `allowEmpty`; refuses anything else as not being `what` ("an id").
CLI::Validator IdValidator(const std::string& what, bool allowEmpty = false);

// Adds the required positional KIND, naming and taking the kinds of
// `allowed`, and, when `id` is not null, the required positional ID of a
// video after it.
void AddVideoArguments(CLI::App* command, std::string* kind, std::string* id,
                       const std::vector<_VIDEO_TABLE_TYPE_>& allowed = kAllKinds);

// The keywords of a search that looks for `text` in any of the fields named
// in the comma-separated `fields`; empty names are skipped.
Json::Value KeywordsOf(const std::string& fields, const std::string& text);

// The paging and sorting options of a listing command.
struct PageOptions {
  unsigned long offset = 0;
  unsigned long limit = 0;  // 0: every item from `offset` on
  std::string sort;         // a column of the kind's table; "" for the command's default
  bool desc = false;
  std::string with;  // pieces of additional information, see ParseAdditional
};
// Adds --offset, --limit, --sort (unless `sortable` is false), --desc and
// --with (whose help names `defaultWith`) to `command`.
void AddPageOptions(CLI::App* command, PageOptions* page, bool sortable, const char* defaultWith);
// The pieces of additional information that videos of `kind` can have, the
// same for the command line as for the HTTP service.
using kinolot_serve::PiecesOf;
// The mask of `page.with` (validated when parsed), kept to the pieces that
// videos of `kind` have: the library would otherwise match the ids of one
// kind against another's, and attach a show's episodes to the movie of the
// same id.
_VIDEO_ADDITIONAL_ AdditionalOf(const PageOptions& page, _VIDEO_TABLE_TYPE_ kind);

}  // namespace kinolot_cli

#endif  // KINOLOT_TOOLS_CLI_LIBRARY_OPTIONS_H_
