// Finding a video's sidecar files; see media_sidecar.h.
#include "media_sidecar.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <vector>

namespace kinolot_scan {
namespace {

std::string Lower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Only these can be sidecars; other names are not kept.
bool MaySidecar(const std::string& lower) {
  return EndsWith(lower, ".nfo") || EndsWith(lower, ".jpg") || EndsWith(lower, ".jpeg") ||
         EndsWith(lower, ".png");
}

std::vector<std::string> Pictures(const std::string& base) {
  return {base + ".jpg", base + ".jpeg", base + ".png"};
}

}  // namespace

SidecarFinder::Folder& SidecarFinder::Listing(const std::string& folder) {
  auto found = folders_.find(folder);
  if (found != folders_.end()) return found->second;
  Folder& listing = folders_[folder];
  if (DIR* dir = opendir(folder.c_str())) {
    while (struct dirent* entry = readdir(dir)) {
      std::string lower = Lower(entry->d_name);
      if (MaySidecar(lower)) listing[lower].name = entry->d_name;
    }
    closedir(dir);
  }
  return listing;
}

void SidecarFinder::PickAll(const std::string& folder, const std::vector<std::string>& names,
                            std::vector<Sidecar>* found) {
  Folder& listing = Listing(folder);
  for (const std::string& name : names) {
    auto entry = listing.find(name);
    if (entry == listing.end()) continue;
    Sidecar sidecar;
    sidecar.path = (folder == "/" ? "" : folder) + "/" + entry->second.name;
    if (entry->second.mtime_ns < 0) {
      struct stat info {};
      // A sidecar that cannot be read is no sidecar.
      if (stat(sidecar.path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) continue;
      entry->second.mtime_ns =
          static_cast<int64_t>(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
    }
    sidecar.mtime_ns = entry->second.mtime_ns;
    found->push_back(sidecar);
  }
}

Sidecar SidecarFinder::Pick(const std::string& folder, const std::vector<std::string>& names) {
  std::vector<Sidecar> found;
  PickAll(folder, names, &found);
  return found.empty() ? Sidecar{} : found.front();
}

Sidecars SidecarFinder::Find(const std::string& path, const MediaName& name, bool alone) {
  size_t slash = path.rfind('/');
  std::string folder = slash == 0 ? "/" : path.substr(0, slash);
  std::string stem = Lower(path.substr(slash + 1));
  size_t dot = stem.rfind('.');
  if (dot != std::string::npos && dot > 0) stem.resize(dot);

  Sidecars found;
  std::vector<std::string> own = Pictures(stem + "-poster");
  std::vector<std::string> folder_posters = Pictures("poster");
  for (const std::string& picture : Pictures("folder")) folder_posters.push_back(picture);
  found.nfo = Pick(folder, {stem + ".nfo"});
  PickAll(folder, own, &found.posters);
  if (name.type == LibKinolot::VIDEO_TYPE_TVSHOW_EPISODE) {
    if (!name.show_folder.empty()) {
      found.show_nfo = Pick(name.show_folder, {"tvshow.nfo"});
      PickAll(name.show_folder, folder_posters, &found.show_posters);
    }
  } else if (alone) {
    if (found.nfo.path.empty()) found.nfo = Pick(folder, {"movie.nfo"});
    PickAll(folder, folder_posters, &found.posters);
  }
  if (!found.posters.empty()) found.poster = found.posters.front();
  if (!found.show_posters.empty()) found.show_poster = found.show_posters.front();
  found.newest_ns = std::max(found.nfo.mtime_ns, found.show_nfo.mtime_ns);
  for (const auto* pictures : {&found.posters, &found.show_posters}) {
    for (const Sidecar& picture : *pictures) {
      found.newest_ns = std::max(found.newest_ns, picture.mtime_ns);
    }
  }
  return found;
}

}  // namespace kinolot_scan
