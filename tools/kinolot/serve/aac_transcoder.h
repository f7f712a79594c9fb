// Turns one audio track that browsers cannot play (AC-3, E-AC-3, DTS and the
// like) into AAC for the fragmented-MP4 remuxer: decode, mix down to at most
// two channels, re-frame into AAC's 1024-sample frames, encode. Memory stays
// at a few frames of audio.
#ifndef KINOLOT_TOOLS_SERVE_AAC_TRANSCODER_H_
#define KINOLOT_TOOLS_SERVE_AAC_TRANSCODER_H_

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace kinolot_serve {

class AacTranscoder {
 public:
  AacTranscoder();
  ~AacTranscoder();
  AacTranscoder(const AacTranscoder&) = delete;
  AacTranscoder& operator=(const AacTranscoder&) = delete;

  // Prepares the decoder for a track with `input` parameters whose packets
  // carry times in `time_base`, and the AAC encoder. Returns false with the
  // reason in `error` when the track cannot be decoded or the encoder fails.
  bool Open(const AVCodecParameters* input, AVRational time_base, std::string* error);

  // The encoder, for the output stream's parameters and time base (one tick
  // per sample). Null before a successful Open.
  const AVCodecContext* encoder() const { return encoder_; }

  // Receives one encoded packet (times in the encoder's time base); returns
  // false to stop.
  using PacketSink = std::function<bool(AVPacket* packet)>;

  // Decodes `packet` (null at the end of the track, which also drains the
  // encoder) and hands every AAC packet that is ready to `sink`. A packet the
  // decoder rejects is skipped, as a player would. Returns false when `sink`
  // says stop or the encoder fails.
  bool Feed(const AVPacket* packet, const PacketSink& sink);

 private:
  struct Parts;
  bool Encode(bool flush, const PacketSink& sink);
  bool Drain(const PacketSink& sink);

  std::unique_ptr<Parts> parts_;
  AVCodecContext* encoder_ = nullptr;
};

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_AAC_TRANSCODER_H_
