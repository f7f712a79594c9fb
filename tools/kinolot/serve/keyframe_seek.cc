// Finding the keyframe a remux starts from; see keyframe_seek.h.
#include "keyframe_seek.h"

extern "C" {
#include <libavutil/mathematics.h>
}

#include <algorithm>

namespace kinolot_serve {
namespace {

constexpr double kSlack = 0.001;  // seconds: rounding of time bases

int64_t FirstTime(const AVFormatContext* input) {
  return input->start_time == AV_NOPTS_VALUE ? 0 : input->start_time;
}

}  // namespace

double KeyframeSeek::Seconds(int64_t time) const {
  return static_cast<double>(time) * av_q2d(input_->streams[video_]->time_base) -
         static_cast<double>(FirstTime(input_)) / AV_TIME_BASE;
}

bool KeyframeSeek::SeekTo(double seconds) {
  const int64_t target =
      FirstTime(input_) + static_cast<int64_t>(std::max(0.0, seconds) * AV_TIME_BASE);
  int status = av_seek_frame(
      input_, video_, av_rescale_q(target, AV_TIME_BASE_Q, input_->streams[video_]->time_base),
      AVSEEK_FLAG_BACKWARD);
  if (status < 0) status = avformat_seek_file(input_, -1, INT64_MIN, target, target, 0);
  return status >= 0;
}

// When `frame` is shown, in seconds of the film.
double KeyframeSeek::Shown(const AVPacket* frame) const {
  const int64_t at = frame->pts != AV_NOPTS_VALUE ? frame->pts : frame->dts;
  return at == AV_NOPTS_VALUE ? 0 : Seconds(at);
}

// Reads on to the next video keyframe; its time, or -1 when the file ends.
double KeyframeSeek::NextKeyframe(AVPacket* keyframe) {
  av_packet_unref(keyframe);
  while (av_read_frame(input_, keyframe) >= 0) {
    if (keyframe->stream_index == video_ && (keyframe->flags & AV_PKT_FLAG_KEY)) {
      return Shown(keyframe);
    }
    av_packet_unref(keyframe);
  }
  return -1;
}

// From a keyframe found by seeking to `target`, on to the last keyframe at
// or before `seconds`; back to the first one when that cannot be reached.
void KeyframeSeek::Refine(double seconds, double target, AVPacket* keyframe) {
  int64_t best = -1;
  AVPacket* packet = av_packet_alloc();
  while (packet != nullptr && av_read_frame(input_, packet) >= 0) {
    const bool video = packet->stream_index == video_;
    const double at = Shown(packet);
    if (video && (packet->flags & AV_PKT_FLAG_KEY) && at <= seconds + kSlack) best = packet->pos;
    av_packet_unref(packet);
    if (video && at > seconds + 1.0) break;  // past the reordering of any frame before
  }
  av_packet_free(&packet);
  if (best >= 0 && av_seek_frame(input_, -1, best, AVSEEK_FLAG_BYTE) >= 0) {
    const double at = NextKeyframe(keyframe);
    if (at >= 0 && at <= seconds + kSlack) return;
  }
  if (SeekTo(target)) NextKeyframe(keyframe);
}

bool KeyframeSeek::Find(double seconds, bool rewind, AVPacket* keyframe, std::string* why) {
  double back = 0;
  for (int attempt = 0;; ++attempt) {
    const double target = seconds - back;
    if ((seconds > 0 || rewind) && !SeekTo(target)) {
      *why = "cannot seek";
      return false;
    }
    const double at = NextKeyframe(keyframe);
    if (at >= 0 && (at <= seconds + kSlack || target <= 0)) break;
    if (attempt == 8 || target <= 0) {
      *why = "no keyframe found";
      return false;
    }
    // Landed past the time (or at the end): step back further, wider each time.
    back = std::max(2 * back, (at >= 0 ? at - seconds : 0) + 1.0);
  }
  if (back > 0 && !(input_->iformat->flags & AVFMT_NO_BYTE_SEEK)) {
    Refine(seconds, seconds - back, keyframe);
  }
  if (keyframe->data == nullptr) {
    *why = "no keyframe found";
    return false;
  }
  return true;
}

}  // namespace kinolot_serve
