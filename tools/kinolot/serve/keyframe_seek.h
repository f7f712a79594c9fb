// Where a remux of a film starts: the last video keyframe at or before an
// asked time. Demuxers with an index land there at once; those without one
// (MPEG-TS) seek by bytes and can land past it or groups before it, so the
// search steps back until it is before, then reads on to the last keyframe
// before the time and returns to it by its byte position.
#ifndef KINOLOT_TOOLS_SERVE_KEYFRAME_SEEK_H_
#define KINOLOT_TOOLS_SERVE_KEYFRAME_SEEK_H_

extern "C" {
#include <libavformat/avformat.h>
}

#include <cstdint>
#include <string>

namespace kinolot_serve {

class KeyframeSeek {
 public:
  // Searches stream `video` of `input`; both stay the caller's and must
  // outlive the object.
  KeyframeSeek(AVFormatContext* input, int video) : input_(input), video_(video) {}

  // Reads the keyframe into `keyframe` (the caller's), leaving the input just
  // after it. `seconds` counts from the film's first timestamp; 0 or less
  // means the first keyframe, which is read from where the input stands
  // unless `rewind` says packets were read ahead. Returns false with the
  // reason in `why` when the input cannot seek or holds no keyframe.
  bool Find(double seconds, bool rewind, AVPacket* keyframe, std::string* why);

  // A time in the video's time base as seconds of the film.
  double Seconds(int64_t time) const;

 private:
  bool SeekTo(double seconds);
  double Shown(const AVPacket* frame) const;
  double NextKeyframe(AVPacket* keyframe);
  void Refine(double seconds, double target, AVPacket* keyframe);

  AVFormatContext* input_;
  int video_;
};

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_KEYFRAME_SEEK_H_
