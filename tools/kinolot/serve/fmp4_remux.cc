// Remuxing into fragmented MP4 through a byte sink; see fmp4_remux.h.
#include "fmp4_remux.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/error.h>
#include <libavutil/log.h>
#include <libavutil/mathematics.h>
}

#include <malloc.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "aac_transcoder.h"
#include "keyframe_seek.h"

namespace kinolot_serve {
namespace {

// The muxer's output buffer, and the largest fragment it keeps before it
// hands the fragment on: together most of a stream's memory.
constexpr int kOutputBuffer = 64 * 1024;
constexpr char kFragmentBytes[] = "524288";

std::string ErrorText(const std::string& what, int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof(text));
  return what + ": " + text;
}

bool CopiesVideo(AVCodecID codec) {
  return codec == AV_CODEC_ID_H264 || codec == AV_CODEC_ID_VP9 || codec == AV_CODEC_ID_AV1;
}

// Audio that browsers play from MP4, copied as it is.
bool CopiesAudio(AVCodecID codec) {
  return codec == AV_CODEC_ID_AAC || codec == AV_CODEC_ID_MP3 || codec == AV_CODEC_ID_OPUS ||
         codec == AV_CODEC_ID_FLAC;
}

bool Usable(const AVStream* stream, AVMediaType type) {
  // Cover art is stored as a video stream of one picture.
  return stream->codecpar->codec_type == type &&
         !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC);
}

// The length of the ADTS frame header at `data`, 0 when there is none.
size_t AdtsHeader(const uint8_t* data, size_t size) {
  if (size < 9 || data[0] != 0xFF || (data[1] & 0xF6) != 0xF0) return 0;
  return (data[1] & 0x01) ? 7 : 9;  // 9 with a checksum
}

// The two bytes of AAC decoder set-up (object type, sampling rate index,
// channel configuration) that an ADTS header carries.
void AdtsConfig(const uint8_t* header, uint8_t config[2]) {
  const int object = ((header[2] >> 6) & 0x3) + 1;
  const int rate = (header[2] >> 2) & 0xF;
  const int channels = ((header[2] & 0x1) << 2) | (header[3] >> 6);
  config[0] = static_cast<uint8_t>(object << 3 | rate >> 1);
  config[1] = static_cast<uint8_t>((rate & 1) << 7 | channels << 3);
}

// The muxer hands its output bytes as const from libavformat 61 on.
#if LIBAVFORMAT_VERSION_MAJOR >= 61
using OutputBytes = const uint8_t*;
#else
using OutputBytes = uint8_t*;
#endif

// Opens `path` and reads its tracks' parameters. Probing decodes a few
// pictures, about 9 MB at 1080p against the 1-2 MB a stream needs later, so
// only two streams probe at once and the memory goes back to the system at
// once (the allocator would keep it, in an arena per thread).
int ProbeInput(const std::string& path, AVFormatContext** input) {
  static std::mutex lock;
  static std::condition_variable turn;
  static int probing = 0;
  {
    std::unique_lock<std::mutex> hold(lock);
    turn.wait(hold, [] { return probing < 2; });
    ++probing;
  }
  int status = avformat_open_input(input, path.c_str(), nullptr, nullptr);
  if (status >= 0) status = avformat_find_stream_info(*input, nullptr);
  malloc_trim(0);
  {
    std::lock_guard<std::mutex> hold(lock);
    --probing;
  }
  turn.notify_one();
  return status;
}

// One input track and its output stream.
struct Track {
  int input = -1;
  AVStream* out = nullptr;
  int64_t shift = AV_NOPTS_VALUE;  // lifts the first output time to 0 or later
  int64_t last_dts = AV_NOPTS_VALUE;
};

}  // namespace

struct Fmp4Remuxer::State {
  AVFormatContext* input = nullptr;
  AVFormatContext* output = nullptr;
  AVIOContext* io = nullptr;
  AVPacket* packet = nullptr;
  AVPacket* keyframe = nullptr;  // the first packet to write, read by Open
  std::unique_ptr<AacTranscoder> transcoder;
  Track video, audio;
  int64_t base = 0;  // the first keyframe's decoding time, in the video's time base
  double start = 0;
  ByteSink sink;
  bool sink_stopped = false;
  bool header_written = false;
  bool adts = false;    // copied AAC comes in ADTS frames, whose headers are cut off
  bool rewind = false;  // packets were read ahead: seek even to the beginning
  RemuxStep done = RemuxStep::kMore;
  std::string error;

  ~State() {
    avformat_close_input(&input);
    avformat_free_context(output);
    if (io) av_freep(&io->buffer);
    avio_context_free(&io);
    av_packet_free(&packet);
    av_packet_free(&keyframe);
  }

  AVRational VideoBase() const { return input->streams[video.input]->time_base; }
  bool OpenAudio(std::string* why);
  bool ReadAdtsConfig();
  RemuxStep Fail(const std::string& why) {
    error = why;
    return done = sink_stopped ? RemuxStep::kStopped : RemuxStep::kFailed;
  }
  RemuxStep WritePacket(Track& track, AVPacket* packet, AVRational time_base);
  RemuxStep Route(AVPacket* packet);
  RemuxStep End();

  // The muxer's output callback: hands the bytes to the sink.
  static int WriteBytes(void* opaque, OutputBytes data, int size) {
    auto* state = static_cast<State*>(opaque);
    if (state->sink_stopped || !state->sink(data, static_cast<size_t>(size))) {
      state->sink_stopped = true;
      return AVERROR_EXIT;
    }
    return size;
  }
};

// The main audio track (the one marked default, else the first): copied
// when browsers play it, else turned into AAC; when it cannot be decoded,
// the first other track that can be copied or decoded. No audio is no error.
bool Fmp4Remuxer::State::OpenAudio(std::string* why) {
  std::vector<int> order;
  for (unsigned i = 0; i < input->nb_streams; ++i) {
    if (!Usable(input->streams[i], AVMEDIA_TYPE_AUDIO)) continue;
    const bool main = input->streams[i]->disposition & AV_DISPOSITION_DEFAULT;
    order.insert(main && !order.empty() ? order.begin() : order.end(), static_cast<int>(i));
  }
  for (int pass = 0; pass < 2 && audio.input < 0; ++pass) {
    for (size_t n = 0; n < order.size() && audio.input < 0; ++n) {
      const AVStream* stream = input->streams[order[n]];
      const bool copy = CopiesAudio(stream->codecpar->codec_id);
      if (pass == 0 && n > 0 && !copy) continue;  // first look for a copy beyond the main one
      if (copy) {
        audio.input = order[n];
        break;
      }
      std::unique_ptr<AacTranscoder> aac(new AacTranscoder);
      if (aac->Open(stream->codecpar, stream->time_base, why)) {
        transcoder = std::move(aac);
        audio.input = order[n];
      }
    }
  }
  if (audio.input < 0) return true;
  audio.out = avformat_new_stream(output, nullptr);
  if (audio.out == nullptr) return false;
  const AVStream* stream = input->streams[audio.input];
  if (transcoder) {
    audio.out->time_base = transcoder->encoder()->time_base;
    return avcodec_parameters_from_context(audio.out->codecpar, transcoder->encoder()) >= 0;
  }
  audio.out->time_base = stream->time_base;
  if (avcodec_parameters_copy(audio.out->codecpar, stream->codecpar) < 0) return false;
  audio.out->codecpar->codec_tag = 0;
  if (stream->codecpar->codec_id != AV_CODEC_ID_AAC || stream->codecpar->extradata_size > 0) {
    return true;
  }
  if (!ReadAdtsConfig()) *why = "no AAC frame found";
  return adts;
}

// A copied AAC track in ADTS frames (as broadcasts carry it) needs its
// decoder set-up in the MP4 header, which is written before any packet:
// it is taken from the first frame's header, and the rest rewound.
bool Fmp4Remuxer::State::ReadAdtsConfig() {
  for (int n = 0; n < 10000 && av_read_frame(input, packet) >= 0; ++n) {
    const bool found = packet->stream_index == audio.input &&
                       AdtsHeader(packet->data, static_cast<size_t>(packet->size)) > 0;
    uint8_t config[2];
    if (found) AdtsConfig(packet->data, config);
    av_packet_unref(packet);
    if (!found) continue;
    AVCodecParameters* out = audio.out->codecpar;
    out->extradata = static_cast<uint8_t*>(av_mallocz(2 + AV_INPUT_BUFFER_PADDING_SIZE));
    if (out->extradata == nullptr) return false;
    out->extradata[0] = config[0];
    out->extradata[1] = config[1];
    out->extradata_size = 2;
    adts = rewind = true;
    return true;
  }
  return false;
}

Fmp4Remuxer::Fmp4Remuxer() : state_(new State) {}

Fmp4Remuxer::~Fmp4Remuxer() = default;

bool Fmp4Remuxer::Open(const std::string& path, double start_seconds, ByteSink sink,
                       std::string* error) {
  State& s = *state_;
  std::string why;
  auto fail = [&](const std::string& reason) {
    s.error = reason;
    s.done = RemuxStep::kFailed;
    if (error) *error = reason;
    return false;
  };
  if (s.input != nullptr || s.done != RemuxStep::kMore) return fail("already opened");
  // libav's notices (an encoder's statistics, a damaged frame skipped) would
  // interleave with the server's log on every stream; its errors stay.
  static std::once_flag quiet;
  std::call_once(quiet, [] {
    if (av_log_get_level() > AV_LOG_ERROR) av_log_set_level(AV_LOG_ERROR);
  });
  s.sink = std::move(sink);
  int status = ProbeInput(path, &s.input);
  if (status < 0) return fail(ErrorText(path, status));
  for (unsigned i = 0; i < s.input->nb_streams && s.video.input < 0; ++i) {
    if (Usable(s.input->streams[i], AVMEDIA_TYPE_VIDEO)) s.video.input = static_cast<int>(i);
  }
  if (s.video.input < 0) return fail(path + ": no video stream");
  const AVStream* video = s.input->streams[s.video.input];
  if (!CopiesVideo(video->codecpar->codec_id)) {
    return fail(std::string("video in ") + avcodec_get_name(video->codecpar->codec_id) +
                " would need re-encoding");
  }

  s.packet = av_packet_alloc();
  s.keyframe = av_packet_alloc();
  unsigned char* buffer = static_cast<unsigned char*>(av_malloc(kOutputBuffer));
  if (buffer)
    s.io = avio_alloc_context(buffer, kOutputBuffer, 1, &s, nullptr, State::WriteBytes, nullptr);
  if (s.io == nullptr) av_free(buffer);
  status = avformat_alloc_output_context2(&s.output, nullptr, "mp4", nullptr);
  if (status < 0 || !s.packet || !s.keyframe || !s.io) return fail("out of memory");
  s.output->pb = s.io;
  s.output->flags |= AVFMT_FLAG_CUSTOM_IO;
  // Opus and FLAC in MP4 are still marked experimental by the muxer.
  s.output->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;

  s.video.out = avformat_new_stream(s.output, nullptr);
  if (s.video.out == nullptr ||
      avcodec_parameters_copy(s.video.out->codecpar, video->codecpar) < 0) {
    return fail("out of memory");
  }
  s.video.out->codecpar->codec_tag = 0;
  s.video.out->time_base = video->time_base;
  if (!s.OpenAudio(&why)) return fail(why.empty() ? "out of memory" : why);
  KeyframeSeek seek(s.input, s.video.input);
  if (!seek.Find(start_seconds, s.rewind, s.keyframe, &why)) return fail(path + ": " + why);
  s.base = s.keyframe->dts != AV_NOPTS_VALUE ? s.keyframe->dts : s.keyframe->pts;
  if (s.base == AV_NOPTS_VALUE) s.base = 0;
  s.start = std::max(0.0, seek.Seconds(s.base));
  return true;
}

RemuxStep Fmp4Remuxer::State::WritePacket(Track& track, AVPacket* packet, AVRational time_base) {
  const int64_t offset = av_rescale_q(base, VideoBase(), time_base);
  if (packet->pts != AV_NOPTS_VALUE) packet->pts -= offset;
  if (packet->dts != AV_NOPTS_VALUE) packet->dts -= offset;
  av_packet_rescale_ts(packet, time_base, track.out->time_base);
  int64_t dts = packet->dts != AV_NOPTS_VALUE ? packet->dts : packet->pts;
  if (dts == AV_NOPTS_VALUE) dts = track.last_dts == AV_NOPTS_VALUE ? 0 : track.last_dts + 1;
  if (track.shift == AV_NOPTS_VALUE) track.shift = dts < 0 ? -dts : 0;
  dts += track.shift;
  int64_t pts = packet->pts == AV_NOPTS_VALUE ? dts : packet->pts + track.shift;
  // Damaged or re-based input can repeat or step back a time; the output's
  // decoding times must rise strictly, and no frame shows before it decodes.
  if (track.last_dts != AV_NOPTS_VALUE && dts <= track.last_dts) dts = track.last_dts + 1;
  if (pts < dts) pts = dts;
  track.last_dts = dts;
  packet->dts = dts;
  packet->pts = pts;
  packet->stream_index = track.out->index;
  packet->pos = -1;
  const int status = av_write_frame(output, packet);
  av_packet_unref(packet);
  if (sink_stopped) return Fail("the client is gone");
  if (status < 0) return Fail(ErrorText("writing MP4", status));
  return RemuxStep::kMore;
}

RemuxStep Fmp4Remuxer::State::Route(AVPacket* packet) {
  if (packet->stream_index == video.input) {
    return WritePacket(video, packet, VideoBase());
  }
  if (packet->stream_index != audio.input) {
    av_packet_unref(packet);
    return RemuxStep::kMore;
  }
  const AVRational time_base = input->streams[audio.input]->time_base;
  // Audio from before the first picture would only delay the picture.
  const int64_t at = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
  if (at != AV_NOPTS_VALUE && at < av_rescale_q(base, VideoBase(), time_base)) {
    av_packet_unref(packet);
    return RemuxStep::kMore;
  }
  if (!transcoder) {
    const size_t header = adts ? AdtsHeader(packet->data, static_cast<size_t>(packet->size)) : 0;
    if (header > 0) {
      packet->data += header;
      packet->size -= static_cast<int>(header);
    }
    return WritePacket(audio, packet, time_base);
  }
  RemuxStep step = RemuxStep::kMore;
  const AVRational aac_base = transcoder->encoder()->time_base;
  transcoder->Feed(packet, [&](AVPacket* aac) {
    step = WritePacket(audio, aac, aac_base);
    return step == RemuxStep::kMore;
  });
  av_packet_unref(packet);
  return step;
}

RemuxStep Fmp4Remuxer::State::End() {
  if (transcoder) {
    RemuxStep step = RemuxStep::kMore;
    const AVRational aac_base = transcoder->encoder()->time_base;
    transcoder->Feed(nullptr, [&](AVPacket* aac) {
      step = WritePacket(audio, aac, aac_base);
      return step == RemuxStep::kMore;
    });
    if (step != RemuxStep::kMore) return step;
  }
  const int status = av_write_trailer(output);
  avio_flush(output->pb);
  if (sink_stopped) return Fail("the client is gone");
  if (status < 0) return Fail(ErrorText("finishing MP4", status));
  return done = RemuxStep::kFinished;
}

RemuxStep Fmp4Remuxer::Step() {
  State& s = *state_;
  if (s.done != RemuxStep::kMore) return s.done;
  if (s.input == nullptr) return s.Fail("not opened");
  if (!s.header_written) {
    AVDictionary* options = nullptr;
    // Fragments begin at keyframes and hold at most kFragmentBytes, so the
    // muxer never keeps more than that of a long group of pictures.
    av_dict_set(&options, "movflags", "frag_keyframe+empty_moov+default_base_moof", 0);
    av_dict_set(&options, "frag_size", kFragmentBytes, 0);
    const int status = avformat_write_header(s.output, &options);
    av_dict_free(&options);
    if (status < 0) return s.Fail(ErrorText("writing the MP4 header", status));
    s.header_written = true;
    avio_flush(s.output->pb);  // the first bytes go out before any packet
    return s.sink_stopped ? s.Fail("the client is gone") : RemuxStep::kMore;
  }
  if (s.keyframe->data != nullptr) return s.Route(s.keyframe);
  const int status = av_read_frame(s.input, s.packet);
  if (status == AVERROR_EOF) return s.End();
  if (status < 0) return s.Fail(ErrorText("reading", status));
  return s.Route(s.packet);
}

double Fmp4Remuxer::start_seconds() const {
  return state_->start;
}

bool Fmp4Remuxer::transcodes_audio() const {
  return state_->transcoder != nullptr;
}

const std::string& Fmp4Remuxer::error() const {
  return state_->error;
}

RemuxStep RemuxToFragmentedMp4(const std::string& path, double start_seconds, const ByteSink& sink,
                               std::string* error) {
  Fmp4Remuxer remuxer;
  if (!remuxer.Open(path, start_seconds, sink, error)) return RemuxStep::kFailed;
  RemuxStep step;
  while ((step = remuxer.Step()) == RemuxStep::kMore) {
  }
  if (step != RemuxStep::kFinished && error) *error = remuxer.error();
  return step;
}

}  // namespace kinolot_serve
