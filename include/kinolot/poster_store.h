// Posters of the indexing interface: each video (mapper id) has at most one
// poster, kept inside the database as a large object in the table `poster`
// together with the MD5 digest of the image. These functions download a
// poster from candidate URLs, store it, and write it back out to a file.
//
// A database server on this machine is asked to read and write the image
// files itself (its large-object import and export). When it cannot (the
// file or folder is closed to its operating-system user, it runs in a
// container or on another machine, which is then never asked), this process
// reads or writes the file and moves the bytes over the connection with the
// client-side large-object calls, to the same rows with the same digest.
// Everything runs on the process-wide connection of video_db.h; use these
// functions from one thread at a time. Inside a batch (video_db_batch.h) the
// bytes always go over the connection, under a savepoint, so that a failed
// poster cannot spoil the batch.
// Failures are return values and lines in syslog (source name "video_db",
// priority 3); nothing throws. Paths may hold any letters, quotes,
// backslashes and percent signs.
#ifndef KINOLOT_POSTER_STORE_H_
#define KINOLOT_POSTER_STORE_H_

#include <string>
#include <vector>

#include "kinolot/export.h"

namespace LibKinolot {

// Computes the MD5 digest of the file `path` with the openssl command-line
// tool. Returns true and sets `md5` to the lower-case hex digest; returns
// false, leaving `md5` as it was, for a null path, a file that cannot be read
// and when the tool cannot be run.
KINOLOT_EXPORT bool GetMD5(const char* path, std::string& md5);

// Tries `urls` in order until one yields a usable image, and downloads it
// into a new file "/tmp/poster_<random><extension>", the extension being the
// URL's text from its last "." on. The file is reserved before it is
// written, so no other process can take the name, and is readable by
// everyone (the database server imports it as its own user).
//
// For each URL: only the headers are fetched first; a response that is not
// a JPEG or PNG image (see FileDownload::IsImageType) sets the result to -3,
// one that announces 1 MiB or more sets it to -4; otherwise the body is
// downloaded. A URL without any "." is a failed URL, as is one whose
// extension cannot be part of a file name (it holds a "/", or is too long),
// and one whose download fails; these leave the result as it was.
//
// Returns 0 with `path` naming the downloaded file, which the caller then
// owns and removes. Otherwise returns -2 for an empty list, else the code of
// the last URL that set one (-3 or -4), else -1; no file is left behind and
// `path` names none.
KINOLOT_EXPORT int DownloadPoster(std::vector<std::string>& urls, std::string& path);

// Stores the image file `path` as the poster of `mapperId`, with its MD5
// digest (empty when it cannot be computed): a new `poster` row, or, when the
// video has one, the row updated to the new large object, digest and time.
// The large object an update replaces is kept. Returns 0, or -1 when there is
// no database connection (nothing is stored), when the video does not exist
// and when neither the server nor this process can read the file.
KINOLOT_EXPORT int ImportPoster(int mapperId, std::string path);

// Writes the poster of `mapperId` into the file `path`: the server writes it
// when it can, otherwise this process does. Returns 0, also for a video
// without a poster (then no file is written), or -1 when there is no
// connection or neither can write the file.
KINOLOT_EXPORT int ExportPoster(int mapperId, std::string path);

// Downloads a poster from `urls` (DownloadPoster), stores it for `mapperId`
// (ImportPoster, whose result is not reported) and removes the downloaded
// file. Returns the result of DownloadPoster.
KINOLOT_EXPORT int VideoInfoPosterSave(int mapperId, std::vector<std::string>& urls);

}  // namespace LibKinolot

#endif  // KINOLOT_POSTER_STORE_H_
