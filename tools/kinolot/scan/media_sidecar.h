// The files that stand beside a video and describe it: its .nfo, the show's
// tvshow.nfo, and poster pictures (<name>-poster.jpg beside the file,
// poster.jpg or folder.jpg in the folder of a lone movie or of a show).
// Names match in any case; .jpg, .jpeg and .png pictures are taken.
#ifndef KINOLOT_TOOLS_SCAN_MEDIA_SIDECAR_H_
#define KINOLOT_TOOLS_SCAN_MEDIA_SIDECAR_H_

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "media_name.h"

namespace kinolot_scan {

struct Sidecar {
  std::string path;  // empty when there is none
  int64_t mtime_ns = 0;
};

struct Sidecars {
  Sidecar nfo;          // <name>.nfo, else movie.nfo beside a lone movie
  Sidecar show_nfo;     // tvshow.nfo in an episode's show folder
  Sidecar poster;       // the video's own poster
  Sidecar show_poster;  // poster.* or folder.* in an episode's show folder
  // Every picture that may serve as the poster or the show's, present on
  // disk, in order of preference; `poster` and `show_poster` are the first.
  // A picture that does not decode gives way to the next.
  std::vector<Sidecar> posters, show_posters;
  // The latest modification time of them all: a sidecar changed after the
  // video was stored makes the video worth storing again.
  int64_t newest_ns = 0;
};

// Finds sidecars, listing each folder once and reading the modification time
// of a sidecar only when one is asked for.
class SidecarFinder {
 public:
  // The sidecars of the video at `path`, named `name`. `alone` says that it
  // is the only video in its folder, so that the folder's own poster and
  // movie.nfo are its.
  Sidecars Find(const std::string& path, const MediaName& name, bool alone);

 private:
  struct Entry {
    std::string name;       // as on disk
    int64_t mtime_ns = -1;  // -1 until read
  };
  using Folder = std::unordered_map<std::string, Entry>;  // by lower-case name

  // The first of `names` (lower case) present in `folder`, or none.
  Sidecar Pick(const std::string& folder, const std::vector<std::string>& names);
  // Every one of `names` present in `folder`, appended to `found` in order.
  void PickAll(const std::string& folder, const std::vector<std::string>& names,
               std::vector<Sidecar>* found);
  Folder& Listing(const std::string& folder);

  std::map<std::string, Folder> folders_;
};

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_MEDIA_SIDECAR_H_
