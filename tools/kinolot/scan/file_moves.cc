// Telling moved files and renaming them in the library; see file_moves.h.
#include "file_moves.h"

#include <map>
#include <utility>

#include "kinolot/video_info_store.h"
#include "media_probe.h"
#include "scan_state.h"

namespace kinolot_scan {
namespace {

using namespace LibKinolot;

std::string BaseName(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

// The technical data of the file at `path`, in StoredTechnicalText's form;
// "" when it cannot be probed (an unreadable file matches nothing).
std::string ProbedTechnicalText(const std::string& path) {
  _VIDEO_INFO_ file{};
  std::string error;
  if (!ProbeMedia(path, &file, nullptr, &error) || file.container_type[0] == '\0') return "";
  std::string text;
  for (const std::string& part :
       {std::string(file.container_type), std::to_string(static_cast<int>(file.duration)),
        std::string(file.video_codec), std::to_string(file.resolutionX),
        std::to_string(file.resolutionY), std::string(file.audio_codec),
        std::to_string(file.frequency), std::to_string(file.channel)}) {
    text += part + "|";
  }
  return text;
}

// Indexes of the files of `files` grouped by `key`.
template <typename File, typename Key>
std::map<Key, std::vector<size_t>> GroupBy(const std::vector<File>& files,
                                           Key (*key)(const File&)) {
  std::map<Key, std::vector<size_t>> groups;
  for (size_t i = 0; i < files.size(); ++i) groups[key(files[i])].push_back(i);
  return groups;
}

template <typename File>
std::pair<int64_t, std::string> SizeAndName(const File& file) {
  return {file.size, BaseName(file.path)};
}
template <typename File>
int64_t SizeOf(const File& file) {
  return file.size;
}

}  // namespace

std::vector<FileMove> MatchMoves(const std::vector<GoneFile>& gone,
                                 const std::vector<NewFile>& fresh) {
  std::vector<FileMove> moves;
  if (gone.empty() || fresh.empty()) return moves;
  std::vector<bool> gone_used(gone.size(), false), fresh_used(fresh.size(), false);

  // Same size, same name: one file on each side and the pair is made unopened.
  auto gone_named = GroupBy(gone, &SizeAndName<GoneFile>);
  for (const auto& group : GroupBy(fresh, &SizeAndName<NewFile>)) {
    auto other = gone_named.find(group.first);
    if (group.second.size() != 1 || other == gone_named.end() || other->second.size() != 1) {
      continue;
    }
    moves.push_back({other->second[0], group.second[0]});
    gone_used[other->second[0]] = fresh_used[group.second[0]] = true;
  }

  // Same size, another name: the technical data decide, probed once per new
  // file and read once per gone file.
  auto gone_sized = GroupBy(gone, &SizeOf<GoneFile>);
  std::map<size_t, std::string> stored_text;
  for (size_t i = 0; i < fresh.size(); ++i) {
    auto candidates = gone_sized.find(fresh[i].size);
    if (fresh_used[i] || candidates == gone_sized.end()) continue;
    std::vector<size_t> open;
    for (size_t g : candidates->second) {
      if (!gone_used[g]) open.push_back(g);
    }
    if (open.empty()) continue;
    std::string probed = ProbedTechnicalText(fresh[i].path);
    if (probed.empty()) continue;
    std::vector<size_t> same;
    for (size_t g : open) {
      auto known = stored_text.find(g);
      if (known == stored_text.end()) {
        known = stored_text.emplace(g, StoredTechnicalText(gone[g].path)).first;
      }
      if (known->second == probed) same.push_back(g);
    }
    if (same.size() != 1) continue;
    moves.push_back({same[0], i});
    gone_used[same[0]] = fresh_used[i] = true;
  }
  return moves;
}

bool RenameStoredFile(const std::string& from, const std::string& to) {
  if (FilesOfItemOf(from) != 1) return false;
  return VideoInfoRename(to.c_str(), from.c_str()) == 0;
}

}  // namespace kinolot_scan
