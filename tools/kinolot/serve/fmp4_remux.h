// Remuxing a stored video into fragmented MP4 while it is being sent: the
// packets of the video track and of one audio track are copied into MP4
// fragments of at most about half a megabyte, whose bytes go to a sink as
// they are made, so a server can send them on at once and memory stays
// bounded. Audio a browser cannot play is turned into AAC on the way; video
// is never re-encoded.
//
// The output starts at the keyframe at or before the asked time, and its
// clock starts at 0 there; `start_seconds()` tells which time of the film
// that is, so a player can place its seek bar. Timestamps in the output
// always increase. Opening the first remux lowers libav's log level to
// errors for the whole process.
//
//   Fmp4Remuxer remuxer;
//   if (!remuxer.Open(path, 95.0, send_bytes, &error)) { answer 404/500 }
//   RemuxStep step;
//   while ((step = remuxer.Step()) == RemuxStep::kMore) {}
#ifndef KINOLOT_TOOLS_SERVE_FMP4_REMUX_H_
#define KINOLOT_TOOLS_SERVE_FMP4_REMUX_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace kinolot_serve {

// Receives the next bytes of the MP4 stream; returns false when the client
// is gone, which stops the remux (the next Step returns kStopped).
using ByteSink = std::function<bool(const uint8_t* data, size_t size)>;

enum class RemuxStep {
  kMore,      // call Step again
  kFinished,  // the whole stream was handed to the sink
  kStopped,   // the sink said stop
  kFailed,    // reading or writing failed; see error()
};

class Fmp4Remuxer {
 public:
  Fmp4Remuxer();
  ~Fmp4Remuxer();  // frees everything, whatever state the remux is in
  Fmp4Remuxer(const Fmp4Remuxer&) = delete;
  Fmp4Remuxer& operator=(const Fmp4Remuxer&) = delete;

  // Opens the file at `path`, chooses its tracks and finds the keyframe at
  // or before `start_seconds` (0 or less for the beginning; past the end
  // gives the last keyframe). Hands nothing to `sink` yet, so a server can
  // still answer with an error. Returns false with the reason in `error`
  // (may be null) when the file cannot be read or its video would need
  // re-encoding. Call once.
  bool Open(const std::string& path, double start_seconds, ByteSink sink, std::string* error);

  // Writes the next piece: the MP4 header on the first call, then one input
  // packet at a time, and the end when the input ends.
  RemuxStep Step();

  // The film's time, in seconds, at which the output's clock is 0.
  double start_seconds() const;
  // Whether the audio track is being turned into AAC.
  bool transcodes_audio() const;
  // Why Step returned kFailed.
  const std::string& error() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Opens and runs a remux to its end. Returns kFinished, kStopped, or
// kFailed with the reason in `error` (may be null).
RemuxStep RemuxToFragmentedMp4(const std::string& path, double start_seconds, const ByteSink& sink,
                               std::string* error);

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_FMP4_REMUX_H_
