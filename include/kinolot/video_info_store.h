// The path-keyed indexing interface: what a media scanner calls to store the
// videos it finds on disk, read them back, delete, move and respect user
// locks, all keyed by the file's full path.
//
// Storing a video is two calls: VideoInfoVideoFileSave for the file's
// technical data, then VideoInfoSave for its description (movie, episode,
// home video or TV recording), which points the file at the description and
// drops whatever that change left without a file.
//
// Everything runs on the process-wide connection of video_db.h, one
// statement at a time and without transactions: when a later step fails,
// earlier writes stay. Use the interface from one thread at a time. Failures
// are return values (-1, false) and lines in syslog (source name "video_db",
// priority 3); nothing throws. Texts that are data (paths, titles, names)
// may hold any letters, quotes, backslashes and percent signs.
//
// Dates written into the database (`originally_available`, `sort_time`,
// `record_time` and their show counterparts) must be well-formed date or
// timestamp texts: digits and the characters - : . T + and blank, at most 29
// of them. A record holding any other non-empty date is refused as a whole
// ("Bad date" in the log) and nothing is written.
#ifndef KINOLOT_VIDEO_INFO_STORE_H_
#define KINOLOT_VIDEO_INFO_STORE_H_

#include "kinolot/export.h"
#include "kinolot/video_db.h"
#include "kinolot/video_info.h"
#include "kinolot/video_types.h"

namespace LibKinolot {

// --- Titles and dates derived from names ---

// Writes the sort title of `title` into `out`, which must hold 255 bytes:
// the words of the title (split at blanks) without the stop words a, an, the,
// of, in, on, at, for and by, wherever they stand and in any case, each
// followed by one blank ("The Lord of the Rings" gives "Lord Rings "). Only
// the first 255 bytes of `title` count. A null `title` gives ""; a null `out`
// does nothing.
KINOLOT_EXPORT void filterTitle(char* out, const char* title);

// Reads a release date from `text` (the first 32 bytes count): a leading year
// sets `*year` and `sortTime` to "<year>-01-01"; a full date YYYY-MM-DD sets
// `date` and `sortTime` to that date, anything behind it dropped. Otherwise
// `*year` is 0 and `date` and `sortTime` are "". `date` and `sortTime` must
// hold 32 bytes; `date` may be the same buffer as `text`. Returns `sortTime`
// when a full date was found, else null (also for null arguments, which
// leave everything untouched; a null `text` reads as "").
KINOLOT_EXPORT char* parseYearDate(int* year, char* date, char* sortTime, const char* text);

// Fills the derived fields of `info` in place by its type: the sort title
// always, and for movies, shows and episodes the year, release date and sort
// date from `originally_available` unless the caller set `sort_time` (for an
// episode the show's three likewise). Other types and a null record are left
// alone.
KINOLOT_EXPORT void FillVideoInfo(_VIDEO_INFO_* info);

// --- Mapper identities ---

// Returns the mapper id of the row of `table` whose identity matches `info`:
// movie and show by title (ignoring case) and year (`tvshow_year` for a
// show), episode by its show and season and episode, home video and TV
// recording by title and record time (never matching when the record time is
// empty), video file (table 15) by `path`. Returns -1 when nothing matches, on
// failure, for a null record, a malformed record time and any other table.
KINOLOT_EXPORT int VideoInfoMapperIDGet(_VIDEO_TABLE_TYPE_ table, _VIDEO_INFO_* info);

// As above, the table chosen by `info->type` (1 to 5 the same number, 6 the
// video file table). -1 for other types and a null record.
KINOLOT_EXPORT int VideoInfoMapperIDGet(_VIDEO_INFO_* info);

// Returns whether a video file row has exactly this path. False for null.
KINOLOT_EXPORT bool IsVideoInfoExisted(const char* path);

// Returns the mapper id of the TV show that the episode with mapper id
// `episodeMapperId` belongs to, or -1 when there is none or on failure.
KINOLOT_EXPORT int GetTVShowMapperIDFromEpisode(int episodeMapperId);

// Deletes the mapper row `mapperId` and, through the schema, every row that
// refers to it (the video, its files, summary, lists, poster). Returns 0 (also
// when no such row exists), or -1 on failure.
KINOLOT_EXPORT int VideoInfoMapperDelete(int mapperId);

// --- Saving ---

// Stores the technical data of `file` under `file->path`: a new file gets a
// row under a new mapper of kind `file->video_type`; a known one has its data
// updated and keeps its mapper. Either way the row is marked updated. Returns
// 0, or -1 for a null record, an empty path and on failure.
KINOLOT_EXPORT int VideoInfoVideoFileSave(_VIDEO_INFO_VIDEO_FILE_* file);

// Stores the description `info` (type 1 movie, 3 episode, 4 home video or
// 5 TV recording) with its summary, extra information and name lists, and
// points the file row of `path` at it. A description with the same identity
// (see VideoInfoMapperIDGet) is updated and keeps its mapper id; otherwise a
// new one is created. When `path` has no file row, the description is removed
// again unless some other file uses it. The former description of the file
// goes once no file uses it, and a show with its last episode.
// FillVideoInfo is applied to `info` first, so its derived fields change.
// Returns 0, or -1 for a null record or path, another type, a malformed date
// and on failure.
KINOLOT_EXPORT int VideoInfoSave(const char* path, _VIDEO_INFO_* info);

// --- Reading ---

// Reads the description of the file at `path` into `info`, whose `type` the
// caller sets first to the kind expected (1, 3, 4, 5, or 6 for the file's
// technical data); the other fields are overwritten where the database has
// them (both dates of the row end up in `modify_date`; `create_date` is left
// as it was). For types 1, 3, 4 and 5 the writer, director, gnere and actor
// lists are replaced by the stored ones. `plus_info` and `tvshow_plus_info`
// receive the stored text as a JSON string value, not parsed. With a non-zero
// `prefix` and type 6 the path is compared as "path = '%<path>'" (an equality,
// so the percent sign is literal). Returns 0 when a row was read, -1 when the
// file has no description of that kind, for other types, null arguments and
// on failure.
KINOLOT_EXPORT int VideoInfoGetOneEx(const char* path, _VIDEO_INFO_* info, int prefix);

// VideoInfoGetOneEx(path, info, 0).
KINOLOT_EXPORT int VideoInfoGetOne(const char* path, _VIDEO_INFO_* info);

// Decodes the next row of `handle` (a joined row as VideoInfoGetOneEx selects
// it) into `info` by `info->type`; name lists are not touched. Returns 0 when
// a row was decoded (also when `type` fits no view and nothing was filled),
// -1 at the end of the rows and for null arguments.
KINOLOT_EXPORT int VideoInfoGet(_VIDEO_DB_HANDLER_* handle, _VIDEO_INFO_* info);

// --- Deleting, moving, locks ---

// Returns whether the description of the file at `path` is locked by a user:
// a locked movie, or an episode that is locked itself or whose show is.
// Home videos and recordings are never locked. False for null and unknown
// paths.
KINOLOT_EXPORT bool VideoInfoIsLock(const char* path);

// Deletes the file row of `path`; its description goes too once no other
// file uses it, and a show with its last episode. Unless `force`, a locked
// description whose file still exists on disk is kept and -1 returned.
// Returns 0, or -1 for a null or empty or unknown path and on failure.
KINOLOT_EXPORT int VideoInfoDelete(const char* path, bool force);

// VideoInfoDelete for every file under the folder `dir` (a sibling folder
// with a longer name is not touched). Single failures are skipped. Returns 0
// when the folder could be listed, -1 for a null, empty or over-long `dir`
// and on failure.
KINOLOT_EXPORT int VideoInfoDirDelete(const char* dir, bool force);

// Gives every file row of the description that `oldPath` belongs to the path
// `newPath` (a null `newPath` stores ""). Returns 0, or -1 when both paths are
// null or empty, when `oldPath` is unknown and on failure.
KINOLOT_EXPORT int VideoInfoRename(const char* newPath, const char* oldPath);

}  // namespace LibKinolot

#endif  // KINOLOT_VIDEO_INFO_STORE_H_
