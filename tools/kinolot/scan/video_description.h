// The description the scanner stores for a video: what its name says,
// overridden by what its .nfo sidecars say, with a recording's time and
// channel from the container, put into the library's indexing record.
#ifndef KINOLOT_TOOLS_SCAN_VIDEO_DESCRIPTION_H_
#define KINOLOT_TOOLS_SCAN_VIDEO_DESCRIPTION_H_

#include <cstdint>
#include <string>

#include "kinolot/video_info.h"
#include "media_name.h"
#include "media_probe.h"
#include "nfo_reader.h"

namespace kinolot_scan {

// Copies `text` into `field`, cut to the field's capacity at a letter
// boundary, so that a multi-byte letter is never split.
void SetField(char* field, size_t capacity, const std::string& text);
template <size_t N>
void SetField(char (&field)[N], const std::string& text) {
  SetField(field, N, text);
}

// Fills `info` (cleared first) for the video named `name`. `nfo` and
// `show_nfo` may be null; `tags` are the container's; `mtime_ns` is the
// file's modification time, the recording time of last resort for home
// videos and recordings. The library derives sort title and dates from it
// when it stores the record.
void DescribeVideo(const MediaName& name, const NfoInfo* nfo, const NfoInfo* show_nfo,
                   const MediaTags& tags, int64_t mtime_ns, LibKinolot::_VIDEO_INFO_* info);

// Whether `text` is well-formed UTF-8, which every text the database keeps
// must be.
bool IsUtf8(const std::string& text);

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_VIDEO_DESCRIPTION_H_
