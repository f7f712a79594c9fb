// Merging the episodes of two TV shows: episodes that both shows have under
// the same season and episode numbers become one, the source episode giving
// its video files and collection memberships to the target episode and then
// being deleted.

#include "kinolot/video_info_store.h"
#include "kinolot/video_metadata_api.h"
#include "metadata/metadata_item_merge.h"
#include "metadata/metadata_text.h"

namespace LibKinolot {

bool VideoMetadataAPI::GetSeasonEpisodeByTVShowID(const std::string& tvshowId,
                                                  std::map<std::string, std::string>& out) {
  if (!IsDecimalText(tvshowId)) return false;
  VideoDB db(nullptr, MetadataTableName(VIDEO_TABLE_TVSHOW_EPISODE));
  db.AddCondtion("tvshow_id=" + tvshowId);
  // A limit of 0 fetches every episode of the show.
  if (db.SelectDB("id, season, episode", "", ORDER_DIRECTION_ASC, 0, 0, "") == -1) return false;
  while (db.NextRow()) {
    out.emplace(db.FetchField("id"), db.FetchField("season") + "-" + db.FetchField("episode"));
  }
  return true;
}

int VideoMetadataAPI::MergeTVShowExSEpisodeHandler(
    const std::string& sourceShowId, const std::string& targetShowId,
    const std::map<std::string, std::string>* episodes) {
  if (sourceShowId.empty() || targetShowId.empty()) return -1;
  std::map<std::string, std::string> source;
  std::map<std::string, std::string> target;
  if (episodes != nullptr) {
    source = *episodes;
  } else if (!GetSeasonEpisodeByTVShowID(sourceShowId, source)) {
    return -1;
  }
  if (!GetSeasonEpisodeByTVShowID(targetShowId, target)) return -1;

  const std::string episodeTable = MetadataTableName(VIDEO_TABLE_TVSHOW_EPISODE);
  int merged = 0;
  for (const auto& from : source) {
    for (const auto& to : target) {
      if (from.second != to.second) continue;
      ++merged;
      std::string sourceMapper = GetFieldValueByKey(episodeTable, "id", from.first, "mapper_id");
      std::string targetMapper = GetFieldValueByKey(episodeTable, "id", to.first, "mapper_id");
      // An episode that could not be looked up leaves its mapper id empty,
      // which the file move refuses: the merge fails before anything moves.
      if (MergeItemInto(sourceMapper, targetMapper) == -1) return -1;
      break;
    }
  }
  return merged;
}

}  // namespace LibKinolot
