// Edit, the one entry point through which the front end saves an edited
// item, and MergeHandler behind it. An edit either changes the item in place
// or, when the edited identity (title and year, title and recording time, or
// show, season and episode) already belongs to another item of the kind,
// merges the edited item into that one: its files and collection
// memberships move over and it is deleted, the surviving item keeping its own
// metadata.
#include <cstdlib>
#include <map>
#include <string>

#include "foundation/field_text.h"
#include "kinolot/video_info_store.h"
#include "kinolot/video_metadata_api.h"
#include "metadata/metadata_item_merge.h"
#include "metadata/metadata_text.h"

namespace LibKinolot {
namespace {

// The mapper id of the item of `table` whose identity `record` holds, as a
// decimal text, or "" when there is none (or the look-up failed).
std::string MapperIdOfIdentity(_VIDEO_TABLE_TYPE_ table, _VIDEO_INFO_& record) {
  int mapperId = VideoInfoMapperIDGet(table, &record);
  return mapperId < 0 ? std::string() : std::to_string(mapperId);
}

}  // namespace

bool VideoMetadataAPI::Edit(_VIDEO_TABLE_TYPE_ type, const std::string& id,
                            const std::string& videoId, const std::string& title,
                            const std::string& tagLine, const char* date,
                            const std::string& recordTime, const std::string& season,
                            const std::string& episode, const std::string& isLock,
                            const std::string& channelName, const std::string& summary,
                            const std::string& actor, const std::string& director,
                            const std::string& writer, const std::string& genre,
                            const char* plusInfo, const char* tvshowPlusInfo,
                            const char* tvshowSummary, const char* tvshowDate) {
  if (type < VIDEO_TABLE_MOVIE || type > VIDEO_TABLE_TV_RECORD) return false;
  // Exactly one of the item's id and the file's id names what is edited.
  if (!id.empty() && !videoId.empty()) return false;
  if (!id.empty()) {
    return MergeHandler(type, id, title, tagLine, date, recordTime, season, episode, isLock,
                        channelName, summary, actor, director, writer, genre, plusInfo,
                        tvshowPlusInfo, tvshowSummary, tvshowDate) != -1;
  }
  if (videoId.empty()) return false;
  const std::string path =
      GetFieldValueById(MetadataTableName(VIDEO_TABLE_VIDEO_FILE), videoId, "path");
  return UpdateOrInsertFile(type, path, id, videoId, title, tagLine, date, recordTime, season,
                            episode, isLock, channelName, summary, actor, director, writer, genre,
                            plusInfo, tvshowPlusInfo, tvshowSummary, tvshowDate);
}

int VideoMetadataAPI::MergeHandler(_VIDEO_TABLE_TYPE_ type, const std::string& id,
                                   const std::string& title, const std::string& tagLine,
                                   const char* date, const std::string& recordTime,
                                   const std::string& season, const std::string& episode,
                                   const std::string& isLock, const std::string& channelName,
                                   const std::string& summary, const std::string& actor,
                                   const std::string& director, const std::string& writer,
                                   const std::string& genre, const char* plusInfo,
                                   const char* tvshowPlusInfo, const char* tvshowSummary,
                                   const char* tvshowDate) {
  if (!IsDecimalText(id)) return -1;
  std::string odate;
  GetODate(type, id, date, odate);
  // An edit in place stores "{}" when no extra information was given.
  const char* plusInfoOrEmpty = plusInfo != nullptr ? plusInfo : "{}";
  auto updateInPlace = [&](_VIDEO_TABLE_TYPE_ kind, const std::string& itemId, const char* itemDate,
                           const std::string& itemSummary, const char* itemPlusInfo) {
    return UpdateHandler(kind, itemId, title, tagLine, itemDate, recordTime, season, episode,
                         isLock, channelName, itemSummary, actor, director, writer, genre,
                         itemPlusInfo) == -1
               ? -1
               : 1;
  };
  auto insertThroughFiles = [&]() {
    return InsertHandler(type, id, title, tagLine, odate, recordTime, season, episode, isLock,
                         channelName, summary, actor, director, writer, genre, plusInfo,
                         tvshowPlusInfo, tvshowSummary, tvshowDate) != 0
               ? 1
               : -1;
  };
  const std::string table = MetadataTableName(type);
  const std::string showTable = MetadataTableName(VIDEO_TABLE_TVSHOW);
  const std::string episodeTable = MetadataTableName(VIDEO_TABLE_TVSHOW_EPISODE);

  switch (type) {
    case VIDEO_TABLE_TV_RECORD:
      // Recordings are never merged.
      return updateInPlace(type, id, date, summary, plusInfo);
    case VIDEO_TABLE_MOVIE:
    case VIDEO_TABLE_TVSHOW:
    case VIDEO_TABLE_HOME_VIDEO: {
      _VIDEO_INFO_ identity;
      if (title.empty()) return -1;
      CopyText(identity.title, title.c_str());
      if (type == VIDEO_TABLE_HOME_VIDEO) {
        if (recordTime.empty()) return -1;
        CopyText(identity.record_time, recordTime.c_str());
      } else {
        identity.year = identity.tvshow_year = YearOfDate(odate.c_str());
      }
      const std::string target = MapperIdOfIdentity(type, identity);
      const std::string self = GetFieldValueById(table, id, "mapper_id");
      if (self.empty()) return -1;
      if (target.empty() || target == self) {
        return updateInPlace(type, id, date, summary, plusInfoOrEmpty);
      }
      if (type == VIDEO_TABLE_TVSHOW) {
        // Episodes both shows have become one; the others change shows.
        const std::string targetId = GetFieldValueByKey(showTable, "mapper_id", target, "id");
        if (MergeTVShowExSEpisodeHandler(id, targetId, nullptr) < 0) return -1;
        VideoDB episodes(nullptr, episodeTable);
        if (!episodes.UpdateDBEx("tvshow_id", id, {{"tvshow_id", targetId}})) return -1;
        return DeleteMergedItem(self);
      }
      return MergeItemInto(self, target);
    }
    case VIDEO_TABLE_TVSHOW_EPISODE:
      break;
    default:
      return 1;  // nothing of another kind is edited here
  }

  // An episode: `title` and `tvshowDate` name the show it belongs to after
  // the edit.
  if (title.empty()) return -1;
  const std::string showId = GetFieldValueById(episodeTable, id, "tvshow_id");
  if (showId.empty()) return -1;
  // The stored year of the show, read once: it names the show when the edit
  // gives no show date, and the episode's identity when it stays there.
  std::string storedShowYear;
  if (tvshowDate == nullptr) storedShowYear = GetFieldValueById(showTable, showId, "year");
  _VIDEO_INFO_ show;
  CopyText(show.title, title.c_str());
  show.tvshow_year = tvshowDate != nullptr ? YearOfDate(tvshowDate) : DecimalValue(storedShowYear);
  const std::string showTarget = MapperIdOfIdentity(VIDEO_TABLE_TVSHOW, show);
  const std::string showSelf = GetFieldValueById(showTable, showId, "mapper_id");
  if (showSelf.empty()) return -1;

  // No show has the edited title and year: saving the episode's files
  // creates it.
  if (showTarget.empty()) return insertThroughFiles();

  if (showTarget == showSelf) {
    // The episode stays in its show; its own identity may now be another
    // episode's.
    _VIDEO_INFO_ identity;
    const std::string showTitle = GetFieldValueById(showTable, showId, "title");
    const std::string showYear =
        !storedShowYear.empty() ? storedShowYear : GetFieldValueById(showTable, showId, "year");
    if (showTitle.empty() || showYear.empty()) return -1;
    CopyText(identity.title, showTitle.c_str());
    identity.tvshow_year = DecimalValue(showYear);
    identity.season = DecimalValue(season);
    identity.episode = DecimalValue(episode);
    const std::string target = MapperIdOfIdentity(VIDEO_TABLE_TVSHOW_EPISODE, identity);
    const std::string self = GetFieldValueById(episodeTable, id, "mapper_id");
    if (self.empty()) return -1;
    if (!target.empty() && target != self) return MergeItemInto(self, target);

    if (updateInPlace(VIDEO_TABLE_TVSHOW_EPISODE, id, date, summary, plusInfoOrEmpty) == -1) {
      return -1;
    }
    // The show's own row takes the show's values of the edit.
    const std::string showSummary = tvshowSummary != nullptr
                                        ? std::string(tvshowSummary)
                                        : GetFieldValueByKey(MetadataTableName(VIDEO_TABLE_SUMMARY),
                                                             "mapper_id", showSelf, "summary");
    return updateInPlace(VIDEO_TABLE_TVSHOW, showId, tvshowDate, showSummary, tvshowPlusInfo);
  }

  // The episode moves to another existing show: into its counterpart there,
  // or, without one, by saving its files under the new show.
  const std::string targetShowId = GetFieldValueByKey(showTable, "mapper_id", showTarget, "id");
  const std::map<std::string, std::string> moving = {
      {id, (season.empty() ? "0" : season) + "-" + (episode.empty() ? "0" : episode)}};
  int merged = MergeTVShowExSEpisodeHandler(showId, targetShowId, &moving);
  if (merged < 0) return -1;
  if (merged == 0) return insertThroughFiles();
  // The old show goes with its last episode.
  if (!GetFieldValueByKey(episodeTable, "tvshow_id", showId, "id").empty()) return 1;
  return DeleteMergedItem(showSelf);
}

}  // namespace LibKinolot
