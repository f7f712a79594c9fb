// Decoding of result rows into _VIDEO_INFO_ALL_: every known column is looked
// up by name, so any query that names its columns (with aliases where needed)
// can be decoded without a fixed column order.
#include <cstddef>
#include <cstring>

#include "db/video_metadata_db_internal.h"
#include "kinolot/video_metadata_db.h"

namespace LibKinolot {
namespace {

// Copies `text` into a field of `capacity` bytes: at most capacity minus one
// bytes, always terminated. A cut never leaves half a UTF-8 character behind.
void CopyText(char* field, size_t capacity, const char* text) {
  size_t length = text == nullptr ? 0 : std::strlen(text);
  if (length >= capacity) {
    length = capacity - 1;
    // When the cut falls inside a character, leave that character out whole.
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
  }
  if (length > 0) std::memcpy(field, text, length);
  field[length] = '\0';
}

// Keeps the low 32 bits of a parsed number, as the 32-bit fields do.
int32_t Low32(int64_t value) {
  return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(value)));
}

}  // namespace

bool VideoDB::DBRecToData(DBResult_tag* result, unsigned int row, _VIDEO_INFO_ALL_* item) {
  if (result == nullptr || item == nullptr) return false;
  std::memset(item, 0, sizeof(*item));
  auto field = [&](const char* column) { return VEXODBFetchField(result, row, column); };
  auto number = [&](const char* column) { return ParseDecimal(field(column)); };
#define KINOLOT_TEXT(member, column) CopyText(item->member, sizeof(item->member), field(column))

  item->id = Low32(number("id"));
  item->tvshow_id = Low32(number("tvshow_id"));
  item->mapper_id = Low32(number("mapper_id"));
  KINOLOT_TEXT(title, "title");
  KINOLOT_TEXT(tag_line, "tag_line");
  KINOLOT_TEXT(sort_title, "sort_title");
  KINOLOT_TEXT(summary, "summary");
  KINOLOT_TEXT(year, "year");
  KINOLOT_TEXT(originally_available, "originally_available");
  KINOLOT_TEXT(create_date, "create_date");
  KINOLOT_TEXT(modify_date, "modify_date");
  KINOLOT_TEXT(writer, "writer");
  KINOLOT_TEXT(director, "director");
  KINOLOT_TEXT(gnere, "gnere");
  KINOLOT_TEXT(actor, "actor");
  KINOLOT_TEXT(plus_info, "plus_info");
  // PostgreSQL folds unquoted column names, so isLock and resolutionX/Y come
  // back in lower case.
  KINOLOT_TEXT(isLock, "islock");
  item->season = Low32(number("season"));
  item->episode = Low32(number("episode"));
  item->tvshow_mapper_id = Low32(number("tvshow_mapper_id"));
  KINOLOT_TEXT(tvshow_year, "tvshow_year");
  KINOLOT_TEXT(tvshow_originally_available, "tvshow_originally_available");
  KINOLOT_TEXT(path, "path");
  item->filesize = number("filesize");
  item->duration = Low32(number("duration"));
  KINOLOT_TEXT(container_type, "container_type");
  KINOLOT_TEXT(video_codec, "video_codec");
  KINOLOT_TEXT(audio_codec, "audio_codec");
  item->resolutionX = Low32(number("resolutionx"));
  item->resolutionY = Low32(number("resolutiony"));
  item->frame_bitrate = Low32(number("frame_bitrate"));
  item->audio_bitrate = Low32(number("audio_bitrate"));
  item->video_bitrate = Low32(number("video_bitrate"));
  item->channel = Low32(number("channel"));
  KINOLOT_TEXT(record_time, "record_time");
  KINOLOT_TEXT(channel_name, "channel_name");
  KINOLOT_TEXT(type, "type");
  item->collection_id = Low32(number("collection_id"));
#undef KINOLOT_TEXT
  return true;
}

bool VideoDB::FetchVideoItem(_VIDEO_INFO_ALL_& item) {
  if (result == nullptr) return false;
  return DBRecToData(result, row, &item);
}

}  // namespace LibKinolot
