// One video file on its way into the library: read (probed, named, its
// sidecars parsed), then stored through the indexing interface, keeping the
// metadata of items users have locked, then given its posters.
#ifndef KINOLOT_TOOLS_SCAN_SCAN_ITEM_H_
#define KINOLOT_TOOLS_SCAN_SCAN_ITEM_H_

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "kinolot/video_info.h"
#include "media_name.h"
#include "media_sidecar.h"
#include "media_walk.h"
#include "nfo_reader.h"
#include "scan_state.h"

namespace kinolot_scan {

// What is stored for a file: large records, held only while the file is on
// its way.
struct ItemRecords {
  LibKinolot::_VIDEO_INFO_ file;  // technical data (type 6)
  LibKinolot::_VIDEO_INFO_ info;  // description
};

struct ScanItem {
  const FoundVideo* found = nullptr;
  const StoredFile* stored = nullptr;  // null for a file new to the library
  MediaName name;
  Sidecars sidecars;
  int64_t size = 0, mtime_ns = 0;  // as last seen on disk

  std::unique_ptr<ItemRecords> records;  // set by ReadItem
  bool describe = true;                  // false: store the file's technical data only
  bool locked = false;                   // the item is locked: its metadata and posters stay
  bool lock_checked = false;
  int mapper_id = -1;  // the description's, once stored
  std::vector<PathIssue> warnings;
};

// Gives the episodes of one show one spelling of its title: episodes whose
// show titles differ only in spelling ("Marvel's ..." and "Marvels ...", a
// dotted and a spaced form; see TitleKey) and year take the spelling of the
// first one named from its show folder, else of the first one.
void UnifyShowTitles(std::vector<ScanItem>* items);

// Shared by the items of one scan: what was read once and is reused.
class ItemContext {
 public:
  explicit ItemContext(const ScanState& state) : state_(state) {}

  // Probes the file and reads its sidecars into `item->records`. Problems
  // become warnings: an unprobeable file keeps what its name and size tell.
  // Touches no database, so it may run on another thread than the rest, on
  // another item.
  void ReadItem(ScanItem* item);

  // Stores the item through the indexing interface, reading the file again
  // first when it changed since it was read. Returns false when the library
  // refused it or the file is gone; `reason` then says so.
  bool StoreItem(ScanItem* item, std::string* reason);

  // Stores the item's poster and its show's, unless the library holds them
  // since they last changed. Failures become warnings.
  void StorePosters(ScanItem* item);

 private:
  const NfoInfo* ShowNfo(const std::string& path, std::vector<PathIssue>* warnings);
  void KeepLocked(ScanItem* item);

  const ScanState& state_;
  std::mutex show_nfos_mutex_;
  std::map<std::string, std::unique_ptr<NfoInfo>> show_nfos_;  // null: unreadable
  std::set<int> show_posters_done_;
};

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_SCAN_ITEM_H_
