// Decoding a poster candidate once with libavcodec; see picture_check.h.
#include "picture_check.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/error.h>
#include <libavutil/log.h>
}

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>

namespace kinolot_scan {
namespace {

struct Closer {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
  void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

std::string NotAPicture(int status) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(status, text, sizeof(text));
  return std::string("not a picture: ") + text;
}

// Whether the decoder hands out a frame for the stream's first packets.
bool DecodesFrame(AVFormatContext* input, int stream, AVCodecContext* codec) {
  std::unique_ptr<AVPacket, Closer> packet(av_packet_alloc());
  std::unique_ptr<AVFrame, Closer> frame(av_frame_alloc());
  if (!packet || !frame) return false;
  while (av_read_frame(input, packet.get()) >= 0) {
    bool ours = packet->stream_index == stream;
    int sent = ours ? avcodec_send_packet(codec, packet.get()) : 0;
    av_packet_unref(packet.get());
    if (sent < 0) return false;
    if (ours && avcodec_receive_frame(codec, frame.get()) == 0) return true;
  }
  avcodec_send_packet(codec, nullptr);
  return avcodec_receive_frame(codec, frame.get()) == 0;
}

}  // namespace

bool IsDecodablePicture(const std::string& path, std::string* reason) {
  static std::once_flag quiet;
  std::call_once(quiet, [] { av_log_set_level(AV_LOG_QUIET); });
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) {
    *reason = std::strerror(errno);
    return false;
  }
  if (info.st_size == 0) {
    *reason = "empty";
    return false;
  }
  AVFormatContext* raw = nullptr;
  int status = avformat_open_input(&raw, path.c_str(), nullptr, nullptr);
  if (status < 0) {
    *reason = NotAPicture(status);
    return false;
  }
  std::unique_ptr<AVFormatContext, Closer> input(raw);
  avformat_find_stream_info(input.get(), nullptr);
  int stream = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  const AVCodec* decoder =
      stream >= 0 ? avcodec_find_decoder(input->streams[stream]->codecpar->codec_id) : nullptr;
  std::unique_ptr<AVCodecContext, Closer> codec(decoder ? avcodec_alloc_context3(decoder)
                                                        : nullptr);
  if (!codec || avcodec_parameters_to_context(codec.get(), input->streams[stream]->codecpar) < 0 ||
      avcodec_open2(codec.get(), decoder, nullptr) < 0 ||
      !DecodesFrame(input.get(), stream, codec.get())) {
    *reason = "not a picture: it does not decode";
    return false;
  }
  return true;
}

}  // namespace kinolot_scan
