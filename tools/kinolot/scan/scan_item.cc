// Reading and storing one video file; see scan_item.h.
#include "scan_item.h"

#include <json/reader.h>

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <sstream>
#include <unordered_map>

#include "kinolot/poster_store.h"
#include "kinolot/video_db_batch.h"
#include "kinolot/video_info_store.h"
#include "media_probe.h"
#include "picture_check.h"
#include "video_description.h"

namespace kinolot_scan {
namespace {

using namespace LibKinolot;

const char kRefused[] = "the library did not store it (details in the system log)";

// The library hands extra information back as the stored text; storing it
// again wants the JSON value that text holds.
Json::Value Parsed(const Json::Value& stored) {
  Json::Value value;
  if (!stored.isString() || stored.asString().empty()) return value;
  Json::CharReaderBuilder builder;
  std::istringstream in(stored.asString());
  std::string errors;
  if (!Json::parseFromStream(builder, in, &value, &errors)) value = Json::Value();
  return value;
}

}  // namespace

void UnifyShowTitles(std::vector<ScanItem>* items) {
  std::unordered_map<std::string, const MediaName*> chosen;
  auto key = [](const MediaName& name) {
    return TitleKey(name.title) + "/" + std::to_string(name.year);
  };
  for (const ScanItem& item : *items) {
    if (item.name.type != VIDEO_TYPE_TVSHOW_EPISODE) continue;
    const MediaName*& first = chosen[key(item.name)];
    if (!first || (first->show_folder.empty() && !item.name.show_folder.empty())) {
      first = &item.name;
    }
  }
  for (ScanItem& item : *items) {
    if (item.name.type != VIDEO_TYPE_TVSHOW_EPISODE) continue;
    const MediaName* first = chosen[key(item.name)];
    if (first != &item.name) item.name.title = first->title;
  }
}

void ItemContext::ReadItem(ScanItem* item) {
  const FoundVideo& found = *item->found;
  item->records = std::make_unique<ItemRecords>();
  _VIDEO_INFO_& file = item->records->file;
  file.type = VIDEO_TYPE_VIDEO_FILE;
  file.video_type = item->name.type;
  SetField(file.path, found.path);
  file.filesize = item->size;

  MediaTags tags;
  std::string error;
  if (!ProbeMedia(found.path, &file, &tags, &error)) {
    item->warnings.push_back({found.path, "not probed (" + error + "), stored by its name"});
  }
  NfoInfo nfo;
  bool have_nfo = false;
  if (!item->sidecars.nfo.path.empty()) {
    have_nfo = ReadNfo(item->sidecars.nfo.path, &nfo, &error);
    if (!have_nfo) item->warnings.push_back({item->sidecars.nfo.path, error});
    for (const std::string& warning : nfo.warnings) {
      item->warnings.push_back({item->sidecars.nfo.path, warning});
    }
  }
  const NfoInfo* show_nfo = item->sidecars.show_nfo.path.empty()
                                ? nullptr
                                : ShowNfo(item->sidecars.show_nfo.path, &item->warnings);
  DescribeVideo(item->name, have_nfo ? &nfo : nullptr, show_nfo, tags, item->mtime_ns,
                &item->records->info);
}

const NfoInfo* ItemContext::ShowNfo(const std::string& path, std::vector<PathIssue>* warnings) {
  std::lock_guard<std::mutex> lock(show_nfos_mutex_);
  auto known = show_nfos_.find(path);
  if (known != show_nfos_.end()) return known->second.get();
  auto nfo = std::make_unique<NfoInfo>();
  std::string error;
  bool read = ReadNfo(path, nfo.get(), &error);
  // The show's file is read once; its warnings come with the first episode.
  for (const std::string& warning : nfo->warnings) warnings->push_back({path, warning});
  if (!read) {
    warnings->push_back({path, error});
    nfo.reset();
  }
  return (show_nfos_[path] = std::move(nfo)).get();
}

void ItemContext::KeepLocked(ScanItem* item) {
  if (item->lock_checked) return;
  item->lock_checked = true;
  const std::string& path = item->found->path;
  // A changed file of a locked item: its technical data is new, the
  // description stays the user's.
  if (item->stored && state_.IsLockedItem(item->stored->mapper_id)) {
    item->describe = false;
    item->locked = true;
    item->warnings.push_back({path, "locked: technical data updated, description kept"});
    return;
  }
  if (!state_.HasLocks()) return;
  // A file that joins a locked item (a second file of a locked movie, a new
  // episode of a locked show) is linked to it with the item's stored
  // description, read back from one of its files, in place of its own.
  _VIDEO_INFO_& info = item->records->info;
  int id = VideoInfoMapperIDGet(&info);
  bool whole = id >= 0 && state_.IsLockedItem(id);
  int show = -1;
  if (!whole && info.type == VIDEO_TYPE_TVSHOW_EPISODE) {
    show = VideoInfoMapperIDGet(VIDEO_TABLE_TVSHOW, &info);
  }
  if (!whole && !(show >= 0 && state_.IsLockedShow(show))) return;

  item->locked = true;
  _VIDEO_INFO_ stored;
  stored.type = info.type;
  std::string other = StoredPathOf(whole ? id : show, !whole);
  if (other.empty() || VideoInfoGetOne(other.c_str(), &stored) != 0) {
    item->describe = false;
    item->warnings.push_back({path, "its item is locked and could not be read; stored unlinked"});
    return;
  }
  if (whole) {
    info = stored;
    info.plus_info = Parsed(stored.plus_info);
  } else {
    SetField(info.title, stored.title);
    info.tvshow_year = stored.tvshow_year;
    SetField(info.tvshow_originally_available, stored.tvshow_originally_available);
    SetField(info.tvshow_sort_time, stored.tvshow_sort_time);
    SetField(info.tvshow_summary, stored.tvshow_summary);
  }
  info.tvshow_plus_info = Parsed(stored.tvshow_plus_info);
  item->warnings.push_back({path, "locked: linked to its item, description kept"});
}

bool ItemContext::StoreItem(ScanItem* item, std::string* reason) {
  // The file was read ahead, perhaps before the batch began. Unchanged since,
  // what was read is what the batch stamps; changed, it is read again now.
  struct stat now {};
  if (stat(item->found->path.c_str(), &now) != 0) {
    *reason = std::string("gone during the scan: ") + std::strerror(errno);
    return false;
  }
  int64_t mtime_ns = static_cast<int64_t>(now.st_mtim.tv_sec) * 1000000000 + now.st_mtim.tv_nsec;
  if (now.st_size != item->size || mtime_ns != item->mtime_ns || !item->records) {
    item->size = now.st_size;
    item->mtime_ns = mtime_ns;
    ReadItem(item);
  }
  // The derived year and dates are what the library compares identities by.
  FillVideoInfo(&item->records->info);
  KeepLocked(item);
  if (VideoInfoVideoFileSave(&item->records->file) != 0) {
    *reason = kRefused;
    return false;
  }
  if (!item->describe) return true;
  if (VideoInfoSave(item->found->path.c_str(), &item->records->info) != 0) {
    // Outside a batch the file's row is already written; a new file's row
    // goes again, so that the next scan tries the file anew instead of
    // taking it for stored.
    if (!item->stored && !VideoDBBatchIsOpen()) VideoInfoDelete(item->found->path.c_str(), true);
    *reason = kRefused;
    return false;
  }
  // The poster goes to the description's mapper.
  bool posters = !item->sidecars.poster.path.empty() || !item->sidecars.show_poster.path.empty();
  if (posters) item->mapper_id = VideoInfoMapperIDGet(&item->records->info);
  return true;
}

void ItemContext::StorePosters(ScanItem* item) {
  if (item->locked || item->mapper_id < 0) return;
  // The first candidate that decodes is the poster; one stored after it last
  // changed is the same picture.
  auto import = [item](int mapper_id, const std::vector<Sidecar>& candidates) {
    for (const Sidecar& poster : candidates) {
      std::string reason;
      if (!IsDecodablePicture(poster.path, &reason)) {
        item->warnings.push_back({poster.path, "poster refused (" + reason + ")"});
        continue;
      }
      if (poster.mtime_ns / 1000 <= PosterStoredAt(mapper_id)) return;
      if (ImportPoster(mapper_id, poster.path) != 0) {
        item->warnings.push_back(
            {poster.path, "poster not stored: the database server could not read the picture"});
      }
      return;
    }
  };
  import(item->mapper_id, item->sidecars.posters);
  if (item->name.type == VIDEO_TYPE_TVSHOW_EPISODE && !item->sidecars.show_posters.empty()) {
    int show = GetTVShowMapperIDFromEpisode(item->mapper_id);
    if (show >= 0 && !state_.IsLockedShow(show) && show_posters_done_.insert(show).second) {
      import(show, item->sidecars.show_posters);
    }
  }
}

}  // namespace kinolot_scan
