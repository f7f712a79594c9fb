// The JSON items of the wire format, built from one decoded row each: the
// list items of every video kind, the browse entry, and the detail objects of
// episodes, files and collections that the additional information carries.
#include <cstdio>
#include <cstring>

#include "kinolot/video_metadata_api.h"
#include "metadata/metadata_text.h"

namespace LibKinolot {
namespace {

// originally_available when the row has one, else the year (possibly "").
std::string AvailableOrYear(const std::string& available, const std::string& year) {
  return available.empty() ? year : available;
}

std::string AvailableOrYear(const _VIDEO_INFO_ALL_& row) {
  return AvailableOrYear(FieldText(row.originally_available), FieldText(row.year));
}

// The optional keys of a list item; every item has "id", "title" and
// "mapper_id".
enum ItemKeys : unsigned {
  kTagline = 1,     // "tagline"
  kAvailable = 2,   // "original_available": the date, else the year
  kLocked = 4,      // "metadata_locked"
  kRecordDate = 8,  // "record_date"
};

// The list item of `row` with the keys `keys` names.
Json::Value ListItem(const _VIDEO_INFO_ALL_& row, unsigned keys) {
  Json::Value item(Json::objectValue);
  item["id"] = IdText(row.id);
  item["title"] = FieldText(row.title);
  item["mapper_id"] = IdText(row.mapper_id);
  if (keys & kTagline) item["tagline"] = FieldText(row.tag_line);
  if (keys & kAvailable) item["original_available"] = AvailableOrYear(row);
  // "metadata_locked" is written only when the row carried a lock value at
  // all; a row without one gets no key rather than false.
  std::string lock = FieldText(row.isLock);
  if ((keys & kLocked) && !lock.empty()) item["metadata_locked"] = lock == "t";
  if (keys & kRecordDate) item["record_date"] = FieldText(row.record_time);
  return item;
}

void Append(Json::Value& array, const Json::Value& item) {
  if (JsonCanAppend(array)) array.append(item);
}

// Keys are set only on values that can hold them.
bool CanSetKeys(const Json::Value& object) {
  return object.isNull() || object.isObject();
}

std::string UnsignedText(int32_t value) {
  char text[30];
  snprintf(text, sizeof(text), "%u", static_cast<uint32_t>(value));
  return text;
}

}  // namespace

void VideoMetadataAPI::DBdataToArrayHandler(_VIDEO_TABLE_TYPE_ type, _VIDEO_INFO_ALL_ row,
                                            Json::Value& array) {
  switch (type) {
    case VIDEO_TABLE_MOVIE:
      DBdataToMovieArray(row, array);
      break;
    case VIDEO_TABLE_TVSHOW:
      DBdataToTVshowArray(row, array);
      break;
    case VIDEO_TABLE_TVSHOW_EPISODE:
      DBdataToTVEpisodesArray(row, array);
      break;
    case VIDEO_TABLE_HOME_VIDEO:
      DBdataToHomeArray(row, array);
      break;
    case VIDEO_TABLE_TV_RECORD:
      DBdataToTVrecord(row, array);
      break;
    case VIDEO_TABLE_COLLECTION_MAP:
      DBdataToCollectionMap(row, array);
      break;
    default:
      break;
  }
}

void VideoMetadataAPI::DBdataToMovieArray(_VIDEO_INFO_ALL_ row, Json::Value& array) {
  Append(array, ListItem(row, kTagline | kAvailable | kLocked));
}

void VideoMetadataAPI::DBdataToTVshowArray(_VIDEO_INFO_ALL_ row, Json::Value& array) {
  // A show listed through its episodes comes back once per matching episode.
  AppendObjectToArray(ListItem(row, kAvailable | kLocked), array);
}

void VideoMetadataAPI::DBdataToTVEpisodesArray(_VIDEO_INFO_ALL_ row, Json::Value& array) {
  Json::Value item = ListItem(row, kTagline | kAvailable | kLocked);
  item["tvshow_id"] = IdText(row.tvshow_id);
  item["season"] = row.season;
  item["episode"] = row.episode;
  item["tvshow_mapper_id"] = IdText(row.tvshow_mapper_id);
  item["tvshow_original_available"] =
      AvailableOrYear(FieldText(row.tvshow_originally_available), FieldText(row.tvshow_year));
  Append(array, item);
}

void VideoMetadataAPI::DBdataToHomeArray(_VIDEO_INFO_ALL_ row, Json::Value& array) {
  Append(array, ListItem(row, kRecordDate));
}

void VideoMetadataAPI::DBdataToTVrecord(_VIDEO_INFO_ALL_ row, Json::Value& array) {
  Json::Value item = ListItem(row, kRecordDate);
  item["channel_name"] = FieldText(row.channel_name);
  Append(array, item);
}

void VideoMetadataAPI::DBdataToCollectionMap(_VIDEO_INFO_ALL_ row, Json::Value& array) {
  Json::Value item = ListItem(row, 0);
  item["time"] = AvailableOrYear(row);
  item["type"] = FieldText(row.type);
  Append(array, item);
}

void VideoMetadataAPI::AppendObjectToArray(const Json::Value& item, Json::Value& array) {
  if (!(array.isArray() || item.isObject() || item.isString())) return;
  if (!JsonCanAppend(array)) return;
  for (Json::ArrayIndex i = 0; i < array.size(); ++i) {
    if (array[i] == item) return;
  }
  array.append(item);
}

void VideoMetadataAPI::DBdataToMetadataArray(_VIDEO_CATEGORY_ category, _VIDEO_INFO_ALL_ row,
                                             Json::Value& array) {
  Json::Value entry(Json::objectValue);
  std::string id;
  std::string name;
  switch (category) {
    case VIDEO_CATEGORY_ACTOR:
      name = FieldText(row.actor);
      break;
    case VIDEO_CATEGORY_DIRECTOR:
      name = FieldText(row.director);
      break;
    case VIDEO_CATEGORY_WRITER:
      name = FieldText(row.writer);
      break;
    case VIDEO_CATEGORY_GENRE:
      name = FieldText(row.gnere);
      break;
    case VIDEO_CATEGORY_YEAR:
      id = name = FieldText(row.year);
      break;
    default:
      break;
  }
  // For the four name categories the row is a group whose id is the smallest
  // row id carrying the name.
  if (category >= VIDEO_CATEGORY_ACTOR && category <= VIDEO_CATEGORY_GENRE) id = IdText(row.id);
  entry["id"] = id;
  entry["name"] = name;
  Append(array, entry);
}

void VideoMetadataAPI::CreateCollectionObject(_VIDEO_INFO_ALL_ row, Json::Value& object) {
  if (!CanSetKeys(object)) return;
  object["id"] = IdText(row.collection_id);
  object["title"] = FieldText(row.title);
}

void VideoMetadataAPI::CreateTVshowEpisode(_VIDEO_INFO_ALL_ row, Json::Value& object) {
  if (!CanSetKeys(object)) return;
  // Unlike the episode list item, the detail object carries season and
  // episode as texts and the tag line as "tag_line".
  object["season"] = std::to_string(row.season);
  object["episode"] = std::to_string(row.episode);
  object["create_date"] = FieldText(row.create_date);
  object["modify_date"] = FieldText(row.modify_date);
  object["tag_line"] = FieldText(row.tag_line);
}

void VideoMetadataAPI::CreateFilesObject(_VIDEO_INFO_ALL_ row, Json::Value& object) {
  if (!CanSetKeys(object)) return;
  char size[30];
  snprintf(size, sizeof(size), "%llu", static_cast<unsigned long long>(row.filesize));
  object["id"] = IdText(row.id);
  object["path"] = FieldText(row.path);
  object["filesize"] = size;
  object["duration"] = CreateDurationFormat(static_cast<uint32_t>(row.duration));
  object["container_type"] = FieldText(row.container_type);
  object["video_codec"] = FieldText(row.video_codec);
  object["audio_codec"] = FieldText(row.audio_codec);
  object["resolutionx"] = UnsignedText(row.resolutionX);
  object["resolutiony"] = UnsignedText(row.resolutionY);
  object["frame_bitrate"] = IdText(row.frame_bitrate);
  object["video_bitrate"] = IdText(row.video_bitrate);
  object["audio_bitrate"] = IdText(row.audio_bitrate);
  object["channel"] = UnsignedText(row.channel);
}

std::string VideoMetadataAPI::CreateDurationFormat(unsigned int seconds) {
  // The hours wrap at 60 like the minutes; the front end relies on this form.
  char text[64];
  snprintf(text, sizeof(text), "%u:%02u:%02u", (seconds / 3600) % 60, (seconds / 60) % 60,
           seconds % 60);
  return text;
}

}  // namespace LibKinolot
