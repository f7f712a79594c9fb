// Reading a file's technical data with libavformat; see media_probe.h.
#include "media_probe.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/log.h>
}

#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>

namespace kinolot_scan {
namespace {

using LibKinolot::_VIDEO_INFO_;

struct InputCloser {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};

template <size_t N>
void SetText(char (&field)[N], const char* text) {
  snprintf(field, N, "%s", text ? text : "");
}

int32_t Clamp(int64_t value) {
  if (value < 0) return 0;
  return value > INT32_MAX ? INT32_MAX : static_cast<int32_t>(value);
}

std::string ErrorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof(text));
  return text;
}

std::string Lower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

// libavformat names a demuxer after the family of containers it reads
// ("matroska,webm", "mov,mp4,m4a,3gp,3g2,mj2"); the file's own extension
// says which member of the family it is, when it is one.
std::string ContainerName(const char* demuxer, const std::string& path) {
  std::string names = demuxer ? demuxer : "";
  std::string extension;
  size_t dot = path.rfind('.');
  if (dot != std::string::npos && path.find('/', dot) == std::string::npos) {
    extension = Lower(path.substr(dot + 1));
  }
  if (extension == "m4v") extension = "mp4";
  std::string first;
  size_t pos = 0;
  while (pos <= names.size()) {
    size_t comma = names.find(',', pos);
    if (comma == std::string::npos) comma = names.size();
    std::string name = names.substr(pos, comma - pos);
    if (first.empty()) first = name;
    if (!extension.empty() && name == extension) return name;
    pos = comma + 1;
  }
  return first;
}

// A stream's bit rate: the codec parameters', else the "BPS" statistics tag
// that some muxers write per stream; 0 when neither is there.
int64_t StreamBitRate(const AVStream* stream) {
  if (stream->codecpar->bit_rate > 0) return stream->codecpar->bit_rate;
  const AVDictionaryEntry* tag =
      av_dict_get(stream->metadata, "BPS", nullptr, AV_DICT_IGNORE_SUFFIX);
  return tag ? std::strtoll(tag->value, nullptr, 10) : 0;
}

const AVStream* FirstStream(const AVFormatContext* context, AVMediaType type) {
  for (unsigned i = 0; i < context->nb_streams; ++i) {
    const AVStream* stream = context->streams[i];
    // Cover art is stored as a video stream of one picture.
    if (stream->codecpar->codec_type == type &&
        !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC)) {
      return stream;
    }
  }
  return nullptr;
}

// Bytes of `video` and `audio` among the first packets (up to 4 MiB of
// them) and of all packets read: the shares that split the overall rate when
// the container keeps no rate per stream.
struct PacketShares {
  int64_t video = 0, audio = 0, total = 0;
};

PacketShares ReadShares(AVFormatContext* context, const AVStream* video, const AVStream* audio) {
  PacketShares shares;
  AVPacket* packet = av_packet_alloc();
  if (packet == nullptr) return shares;
  while (shares.total < (4 << 20) && av_read_frame(context, packet) >= 0) {
    if (video && packet->stream_index == video->index) shares.video += packet->size;
    if (audio && packet->stream_index == audio->index) shares.audio += packet->size;
    shares.total += packet->size;
    av_packet_unref(packet);
  }
  av_packet_free(&packet);
  return shares;
}

// "2019-07-14T10:15:00.000000Z" (UTC, as containers store it) to local time.
std::string LocalTime(const char* utc) {
  struct tm parts {};
  if (utc == nullptr || strptime(utc, "%Y-%m-%dT%H:%M:%S", &parts) == nullptr) return "";
  time_t seconds = timegm(&parts);
  struct tm local {};
  char text[32] = {};
  if (localtime_r(&seconds, &local) == nullptr) return "";
  strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &local);
  return text;
}

const char* Tag(const AVDictionary* metadata, const char* key) {
  const AVDictionaryEntry* entry = av_dict_get(metadata, key, nullptr, 0);
  return entry && entry->value[0] ? entry->value : nullptr;
}

}  // namespace

namespace {
std::atomic<long> probes{0};
}  // namespace

long ProbeCount() {
  return probes.load();
}

bool ProbeMedia(const std::string& path, _VIDEO_INFO_* file, MediaTags* tags, std::string* error) {
  ++probes;
  static std::once_flag quiet;
  // Damaged files are reported by the scanner; the library's own chatter
  // would only break up the progress bar.
  std::call_once(quiet, [] { av_log_set_level(AV_LOG_QUIET); });

  AVFormatContext* raw = nullptr;
  int status = avformat_open_input(&raw, path.c_str(), nullptr, nullptr);
  if (status < 0) {
    *error = ErrorText(status);
    return false;
  }
  std::unique_ptr<AVFormatContext, InputCloser> context(raw);
  status = avformat_find_stream_info(context.get(), nullptr);
  if (status < 0) {
    *error = ErrorText(status);
    return false;
  }
  const AVStream* video = FirstStream(context.get(), AVMEDIA_TYPE_VIDEO);
  const AVStream* audio = FirstStream(context.get(), AVMEDIA_TYPE_AUDIO);
  if (video == nullptr && audio == nullptr) {
    *error = "no video or audio stream";
    return false;
  }

  SetText(file->container_type, ContainerName(context->iformat->name, path).c_str());
  double seconds = 0;
  if (context->duration != AV_NOPTS_VALUE && context->duration > 0) {
    seconds = static_cast<double>(context->duration) / AV_TIME_BASE;
    file->duration = static_cast<float>(seconds);
  }
  int64_t overall = context->bit_rate;
  if (overall <= 0 && seconds > 0) {
    overall = static_cast<int64_t>(static_cast<double>(file->filesize) * 8 / seconds);
  }
  file->frame_bitrate = Clamp(overall);

  int64_t video_rate = video ? StreamBitRate(video) : 0;
  int64_t audio_rate = audio ? StreamBitRate(audio) : 0;
  // Containers that keep no per-stream rate: the video has what the audio
  // leaves of the whole, or, with neither known, each its share of the data.
  if (video && video_rate <= 0 && overall > 0 && (audio == nullptr || audio_rate > 0)) {
    video_rate = overall - audio_rate;
  } else if (overall > 0 && ((video && video_rate <= 0) || (audio && audio_rate <= 0))) {
    PacketShares shares = ReadShares(context.get(), video, audio);
    if (shares.total > 0) {
      double per_byte = static_cast<double>(overall) / static_cast<double>(shares.total);
      if (video && video_rate <= 0) video_rate = static_cast<int64_t>(shares.video * per_byte);
      if (audio && audio_rate <= 0) audio_rate = static_cast<int64_t>(shares.audio * per_byte);
    }
  }
  if (video) {
    const AVCodecParameters* codec = video->codecpar;
    SetText(file->video_codec, avcodec_get_name(codec->codec_id));
    file->video_bitrate = Clamp(video_rate);
    file->video_profile = codec->profile == FF_PROFILE_UNKNOWN ? 0 : codec->profile;
    file->video_level = codec->level == FF_LEVEL_UNKNOWN ? 0 : codec->level;
    file->resolutionX = codec->width;
    file->resolutionY = codec->height;
    AVRational rate = video->avg_frame_rate;
    if (rate.num <= 0 || rate.den <= 0) rate = video->r_frame_rate;
    if (rate.num > 0 && rate.den > 0) {
      av_reduce(&rate.num, &rate.den, rate.num, rate.den, INT_MAX);
      file->frame_rate_num = rate.num;
      file->frame_rate_den = rate.den;
    }
  }
  if (audio) {
    const AVCodecParameters* codec = audio->codecpar;
    SetText(file->audio_codec, avcodec_get_name(codec->codec_id));
    file->audio_bitrate = Clamp(audio_rate);
    file->frequency = codec->sample_rate;
    file->channel = codec->ch_layout.nb_channels;
  }

  if (tags) {
    tags->creation_time = LocalTime(Tag(context->metadata, "creation_time"));
    const char* service = Tag(context->metadata, "service_name");
    for (unsigned i = 0; service == nullptr && i < context->nb_programs; ++i) {
      service = Tag(context->programs[i]->metadata, "service_name");
    }
    tags->service_name = service ? service : "";
  }
  return true;
}

}  // namespace kinolot_scan
