// The playback decision from stored technical data; see playback_decision.h.
#include "playback_decision.h"

#include <initializer_list>

namespace kinolot_serve {
namespace {

// Where a container leaves a browser: able to open it, or only through a
// remux into MP4.
enum class Holder { kMp4, kWebm, kQuickTime, kOther };

struct ContainerRow {
  std::initializer_list<const char*> names;
  const char* label;
  Holder holder;
};

const ContainerRow kContainers[] = {
    {{"mp4", "m4v", "m4a"}, "MP4", Holder::kMp4},
    {{"webm"}, "WebM", Holder::kWebm},
    {{"mov"}, "QuickTime", Holder::kQuickTime},
    {{"matroska", "mkv"}, "Matroska", Holder::kOther},
    {{"avi"}, "AVI", Holder::kOther},
    {{"mpegts", "ts", "m2ts", "mts"}, "MPEG-TS", Holder::kOther},
    {{"mpeg", "vob"}, "MPEG-PS", Holder::kOther},
    {{"flv"}, "Flash Video", Holder::kOther},
    {{"asf", "wmv"}, "ASF", Holder::kOther},
    {{"ogg", "ogv"}, "Ogg", Holder::kOther},
    {{"3gp", "3g2"}, "3GP", Holder::kOther},
};

// H.264 profiles browsers decode in software and hardware alike: Baseline,
// Main, Extended and High (8 bits, 4:2:0). libavcodec marks constrained and
// intra variants with flag bits above the profile number; 0 is unknown.
bool PlayableH264Profile(int profile) {
  const int base = profile & ~(1 << 9 | 1 << 11);
  return profile == 0 || base == 66 || base == 77 || base == 88 || base == 100;
}

bool AnyProfile(int) {
  return true;
}

struct VideoRow {
  std::initializer_list<const char*> names;
  const char* label;
  bool in_mp4;        // plays from an MP4 (and so can be remuxed into one)
  bool in_webm;       // plays from a WebM
  bool in_quicktime;  // plays from a QuickTime file
  bool (*profile_plays)(int);
  const char* why_not = nullptr;  // for codecs that need re-encoding: what to add
};

const char kReencode[] = "would need re-encoding, which this server does not do";

const VideoRow kVideo[] = {
    {{"h264", "avc", "avc1"}, "H.264", true, false, true, PlayableH264Profile},
    {{"vp9"}, "VP9", true, true, false, AnyProfile},
    {{"av1"}, "AV1", true, true, false, AnyProfile},
    {{"vp8"}, "VP8", false, true, false, AnyProfile},
    {{"hevc", "h265"},
     "HEVC",
     false,
     false,
     false,
     AnyProfile,
     "browsers do not all decode it and it"},
    {{"mpeg2video"}, "MPEG-2", false, false, false, AnyProfile, ""},
    {{"mpeg1video"}, "MPEG-1", false, false, false, AnyProfile, ""},
    {{"mpeg4"}, "MPEG-4 Part 2", false, false, false, AnyProfile, ""},
    {{"msmpeg4v1", "msmpeg4v2", "msmpeg4v3", "msmpeg4"},
     "Microsoft MPEG-4",
     false,
     false,
     false,
     AnyProfile,
     ""},
    {{"vc1", "wmv3"}, "VC-1", false, false, false, AnyProfile, ""},
    {{"wmv1", "wmv2"}, "Windows Media", false, false, false, AnyProfile, ""},
    {{"theora"}, "Theora", false, false, false, AnyProfile, ""},
    {{"mjpeg"}, "Motion JPEG", false, false, false, AnyProfile, ""},
};

struct AudioRow {
  std::initializer_list<const char*> names;
  const char* label;
  bool in_mp4;   // plays from an MP4, and is copied as it is into a remux
  bool in_webm;  // plays from a WebM
};

// Audio not listed here is decoded and turned into AAC by the remuxer.
const AudioRow kAudio[] = {
    {{"aac"}, "AAC", true, false},        {{"mp3"}, "MP3", true, false},
    {{"opus"}, "Opus", true, true},       {{"vorbis"}, "Vorbis", false, true},
    {{"flac"}, "FLAC", true, false},      {{"ac3"}, "AC-3", false, false},
    {{"eac3"}, "E-AC-3", false, false},   {{"dts", "dca"}, "DTS", false, false},
    {{"truehd"}, "TrueHD", false, false}, {{"mp2"}, "MPEG audio layer 2", false, false},
};

std::string Lower(const std::string& text) {
  std::string lower = text;
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

template <typename Row, size_t N>
const Row* Find(const Row (&table)[N], const std::string& name) {
  const std::string key = Lower(name);
  for (const Row& row : table) {
    for (const char* alias : row.names) {
      if (key == alias) return &row;
    }
  }
  return nullptr;
}

PlaybackDecision Decide(Playback playback, std::string reason, bool transcode = false) {
  PlaybackDecision decision;
  decision.playback = playback;
  decision.reason = std::move(reason);
  decision.transcode_audio = transcode;
  return decision;
}

std::string Text(const Json::Value& object, const char* key) {
  if (!object.isObject()) return "";
  const Json::Value& value = object[key];
  return value.isString() ? value.asString() : "";
}

}  // namespace

PlaybackDecision DecidePlayback(const MediaTraits& media) {
  if (media.video_codec.empty()) {
    return Decide(Playback::kUnsupported, "No video stream is known for this file.");
  }
  const VideoRow* video = Find(kVideo, media.video_codec);
  if (video == nullptr) {
    return Decide(Playback::kUnsupported, "Video in " + media.video_codec + " " + kReencode + ".");
  }
  if (video->why_not != nullptr) {
    std::string why = *video->why_not ? std::string(video->why_not) + " " : "";
    return Decide(Playback::kUnsupported,
                  std::string(video->label) + " video: " + why + kReencode + ".");
  }
  if (!video->profile_plays(media.video_profile)) {
    return Decide(Playback::kUnsupported, std::string(video->label) +
                                              " beyond the High profile (10-bit, 4:2:2 or 4:4:4) " +
                                              kReencode + ".");
  }

  const ContainerRow* container = Find(kContainers, media.container);
  const std::string box = container                 ? container->label
                          : media.container.empty() ? std::string("This container")
                                                    : media.container;
  const AudioRow* audio = media.audio_codec.empty() ? nullptr : Find(kAudio, media.audio_codec);
  const std::string audio_label = audio ? audio->label : media.audio_codec;
  const bool has_audio = !media.audio_codec.empty();

  if (container != nullptr) {
    const Holder holder = container->holder;
    const bool video_fits = (holder == Holder::kMp4 && video->in_mp4) ||
                            (holder == Holder::kWebm && video->in_webm) ||
                            (holder == Holder::kQuickTime && video->in_quicktime);
    const bool audio_fits =
        !has_audio ||
        (audio != nullptr && (holder == Holder::kWebm ? audio->in_webm : audio->in_mp4));
    if (video_fits && audio_fits) {
      return Decide(Playback::kDirect, box + " with " + video->label +
                                           (has_audio ? " and " + audio_label : std::string()) +
                                           " plays directly.");
    }
  }
  if (!video->in_mp4) {
    return Decide(Playback::kUnsupported, std::string(video->label) +
                                              " video plays only from a WebM file, and " + box +
                                              " cannot be remuxed into one here.");
  }
  const bool transcode = has_audio && (audio == nullptr || !audio->in_mp4);
  std::string reason = box + " is remuxed to MP4 on the fly";
  if (transcode) reason += "; its " + audio_label + " audio is turned into AAC";
  return Decide(Playback::kRemux, reason + ".", transcode);
}

MediaTraits TraitsOf(const LibKinolot::_VIDEO_INFO_& file) {
  MediaTraits media;
  media.container = file.container_type;
  media.video_codec = file.video_codec;
  media.video_profile = file.video_profile;
  media.audio_codec = file.audio_codec;
  return media;
}

MediaTraits TraitsOf(const Json::Value& file_object) {
  MediaTraits media;
  media.container = Text(file_object, "container_type");
  media.video_codec = Text(file_object, "video_codec");
  media.audio_codec = Text(file_object, "audio_codec");
  return media;
}

const char* PlaybackName(Playback playback) {
  switch (playback) {
    case Playback::kDirect:
      return "direct";
    case Playback::kRemux:
      return "remux";
    case Playback::kUnsupported:
      break;
  }
  return "unsupported";
}

Json::Value PlaybackJson(const PlaybackDecision& decision) {
  Json::Value object(Json::objectValue);
  object["playback"] = PlaybackName(decision.playback);
  object["reason"] = decision.reason;
  return object;
}

}  // namespace kinolot_serve
