// Decoding of result rows into _VIDEO_INFO_ALL_: every known column is looked
// up by name, so any query that names its columns (with aliases where needed)
// can be decoded without a fixed column order.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "db/video_metadata_db_internal.h"
#include "foundation/field_text.h"
#include "kinolot/video_metadata_db.h"

namespace LibKinolot {
namespace {

// Keeps the low 32 bits of a parsed number, as the 32-bit fields do.
int32_t Low32(int64_t value) {
  return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(value)));
}

// Bounds a parsed number to the 32-bit range, as a 32-bit long parse does.
int32_t Clamped32(int64_t value) {
  if (value > INT32_MAX) return INT32_MAX;
  if (value < INT32_MIN) return INT32_MIN;
  return static_cast<int32_t>(value);
}

// How a number column becomes a 32-bit field. Ids and bit rates are read as
// 64-bit numbers of which the low 32 bits are kept; season, episode,
// duration, resolution and channel are read as a 32-bit long, so a number
// beyond that range stops at its bound.
enum class NumberKind { kLow32, kClamped };

// The 32-bit number fields and the column each is read from.
struct NumberColumn {
  const char* column;
  int32_t _VIDEO_INFO_ALL_::*member;
  NumberKind kind;
};
// PostgreSQL folds unquoted column names, so resolutionX/Y (and isLock below)
// come back in lower case.
const NumberColumn kNumberColumns[] = {
    {"id", &_VIDEO_INFO_ALL_::id, NumberKind::kLow32},
    {"tvshow_id", &_VIDEO_INFO_ALL_::tvshow_id, NumberKind::kLow32},
    {"mapper_id", &_VIDEO_INFO_ALL_::mapper_id, NumberKind::kLow32},
    {"season", &_VIDEO_INFO_ALL_::season, NumberKind::kClamped},
    {"episode", &_VIDEO_INFO_ALL_::episode, NumberKind::kClamped},
    {"tvshow_mapper_id", &_VIDEO_INFO_ALL_::tvshow_mapper_id, NumberKind::kLow32},
    {"duration", &_VIDEO_INFO_ALL_::duration, NumberKind::kClamped},
    {"resolutionx", &_VIDEO_INFO_ALL_::resolutionX, NumberKind::kClamped},
    {"resolutiony", &_VIDEO_INFO_ALL_::resolutionY, NumberKind::kClamped},
    {"frame_bitrate", &_VIDEO_INFO_ALL_::frame_bitrate, NumberKind::kLow32},
    {"audio_bitrate", &_VIDEO_INFO_ALL_::audio_bitrate, NumberKind::kLow32},
    {"video_bitrate", &_VIDEO_INFO_ALL_::video_bitrate, NumberKind::kLow32},
    {"channel", &_VIDEO_INFO_ALL_::channel, NumberKind::kClamped},
    {"collection_id", &_VIDEO_INFO_ALL_::collection_id, NumberKind::kLow32},
};

// The text fields, by place and capacity, and the column each is read from.
// "extra" is no column of any table and is left empty.
struct TextColumn {
  const char* column;
  size_t offset;
  size_t capacity;
};
#define KINOLOT_TEXT(member, column) \
  { column, offsetof(_VIDEO_INFO_ALL_, member), sizeof(_VIDEO_INFO_ALL_::member) }
const TextColumn kTextColumns[] = {
    KINOLOT_TEXT(title, "title"),
    KINOLOT_TEXT(tag_line, "tag_line"),
    KINOLOT_TEXT(sort_title, "sort_title"),
    KINOLOT_TEXT(summary, "summary"),
    KINOLOT_TEXT(year, "year"),
    KINOLOT_TEXT(originally_available, "originally_available"),
    KINOLOT_TEXT(create_date, "create_date"),
    KINOLOT_TEXT(modify_date, "modify_date"),
    KINOLOT_TEXT(writer, "writer"),
    KINOLOT_TEXT(director, "director"),
    KINOLOT_TEXT(gnere, "gnere"),
    KINOLOT_TEXT(actor, "actor"),
    KINOLOT_TEXT(plus_info, "plus_info"),
    KINOLOT_TEXT(isLock, "islock"),
    KINOLOT_TEXT(tvshow_year, "tvshow_year"),
    KINOLOT_TEXT(tvshow_originally_available, "tvshow_originally_available"),
    KINOLOT_TEXT(path, "path"),
    KINOLOT_TEXT(container_type, "container_type"),
    KINOLOT_TEXT(video_codec, "video_codec"),
    KINOLOT_TEXT(audio_codec, "audio_codec"),
    KINOLOT_TEXT(record_time, "record_time"),
    KINOLOT_TEXT(channel_name, "channel_name"),
    KINOLOT_TEXT(type, "type"),
};
#undef KINOLOT_TEXT

}  // namespace

bool VideoDB::DBRecToData(DBResult_tag* result, unsigned int row, _VIDEO_INFO_ALL_* item) {
  if (result == nullptr || item == nullptr) return false;
  std::memset(item, 0, sizeof(*item));
  auto field = [&](const char* column) { return VEXODBFetchField(result, row, column); };
  for (const NumberColumn& number : kNumberColumns) {
    const char* text = field(number.column);
    item->*number.member = number.kind == NumberKind::kLow32 ? Low32(ParseDecimal(text))
                                                             : Clamped32(ParseDecimal(text));
  }
  item->filesize = ParseDecimal(field("filesize"));
  char* base = reinterpret_cast<char*>(item);
  for (const TextColumn& text : kTextColumns) {
    CopyText(base + text.offset, text.capacity, field(text.column));
  }
  return true;
}

bool VideoDB::FetchVideoItem(_VIDEO_INFO_ALL_& item) {
  if (result == nullptr) return false;
  return DBRecToData(result, row, &item);
}

}  // namespace LibKinolot
