// Whether a browser can play one of the library's files, and how: straight
// from disk, remuxed on the fly into fragmented MP4 (packets copied, audio
// perhaps turned into AAC), or not at all without re-encoding the video.
// Decided from the technical data the scanner stored for the file, so the
// answer costs no disk access; the names are the ones the scanner writes
// (libavformat's container and codec names), matched without regard to case.
#ifndef KINOLOT_TOOLS_SERVE_PLAYBACK_DECISION_H_
#define KINOLOT_TOOLS_SERVE_PLAYBACK_DECISION_H_

#include <json/value.h>

#include <string>

#include "kinolot/video_info.h"

namespace kinolot_serve {

enum class Playback { kDirect, kRemux, kUnsupported };

// The stored facts the decision reads. Empty texts mean "not known";
// `video_profile` 0 means "not known" (libavcodec's profile numbers else).
struct MediaTraits {
  std::string container;
  std::string video_codec;
  int video_profile = 0;
  std::string audio_codec;  // the file's first audio track; empty without audio
};

struct PlaybackDecision {
  Playback playback = Playback::kUnsupported;
  // One sentence for a person, such as "Matroska is remuxed to MP4 on the fly".
  std::string reason;
  // For kRemux: the audio track is turned into AAC on the way.
  bool transcode_audio = false;
};

// Never fails: unknown containers or codecs give kUnsupported with a reason.
PlaybackDecision DecidePlayback(const MediaTraits& media);

// The traits of a stored file record and of a "files" object of the
// metadata API (which carries no profile: it counts as unknown). A value that
// is missing or not a text counts as not known.
MediaTraits TraitsOf(const LibKinolot::_VIDEO_INFO_& file);
MediaTraits TraitsOf(const Json::Value& file_object);

// "direct", "remux" or "unsupported": the value of the API's "playback" key.
const char* PlaybackName(Playback playback);

// The decision as a JSON object {"playback": NAME, "reason": TEXT}, ready to
// be merged into a file object.
Json::Value PlaybackJson(const PlaybackDecision& decision);

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_PLAYBACK_DECISION_H_
