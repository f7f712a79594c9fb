// Technical data of a video file, read in-process with libavformat: the
// container, duration, bit rates, picture size, codecs with the video's
// profile and level, frame rate and the audio's sample rate and channels:
// every column of the library's video_file row.
#ifndef KINOLOT_TOOLS_SCAN_MEDIA_PROBE_H_
#define KINOLOT_TOOLS_SCAN_MEDIA_PROBE_H_

#include <string>

#include "kinolot/video_info.h"

namespace kinolot_scan {

// What the container says beyond the columns, for naming recordings and
// home videos.
struct MediaTags {
  std::string creation_time;  // local time "YYYY-MM-DD HH:MM:SS", or empty
  std::string service_name;   // a broadcast's channel, or empty
};

// Fills the technical fields of `file` (container_type, duration, the three
// bit rates in bits per second, resolutionX/Y, the codecs, video_profile and
// video_level, frame_rate_num/den, frequency, channel) from the file at
// `path`, and `tags` when it is not null. Fields the file does not tell stay
// as they were (zero or empty in a cleared record). Returns true, or false
// with the reason in `error` when the file cannot be opened as media or holds
// neither video nor audio. Safe to call from several threads at once.
bool ProbeMedia(const std::string& path, LibKinolot::_VIDEO_INFO_* file, MediaTags* tags,
                std::string* error);

// How many files ProbeMedia has opened in this process, for telling how much
// work a scan or a watch really did.
long ProbeCount();

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_MEDIA_PROBE_H_
