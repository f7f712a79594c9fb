// Audio to AAC for the remuxer; see aac_transcoder.h.
#include "aac_transcoder.h"

extern "C" {
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/mathematics.h>
#include <libswresample/swresample.h>
}

#include <algorithm>

namespace kinolot_serve {

struct AacTranscoder::Parts {
  AVCodecContext* decoder = nullptr;
  SwrContext* resampler = nullptr;
  AVAudioFifo* fifo = nullptr;
  AVFrame* decoded = nullptr;
  AVFrame* converted = nullptr;
  AVFrame* frame = nullptr;  // one encoder frame
  AVPacket* packet = nullptr;
  AVRational time_base{1, 1};
  int64_t next_pts = AV_NOPTS_VALUE;  // in samples, of the next encoder frame

  ~Parts() {
    avcodec_free_context(&decoder);
    swr_free(&resampler);
    if (fifo) av_audio_fifo_free(fifo);
    av_frame_free(&decoded);
    av_frame_free(&converted);
    av_frame_free(&frame);
    av_packet_free(&packet);
  }
};

namespace {

bool Fail(std::string* error, const std::string& what, int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof(text));
  if (error) *error = what + ": " + text;
  return false;
}

// AAC's sampling rates that browsers decode everywhere; others are resampled.
bool CommonRate(int rate) {
  return rate == 44100 || rate == 48000;
}

}  // namespace

AacTranscoder::AacTranscoder() : parts_(new Parts) {}

AacTranscoder::~AacTranscoder() {
  avcodec_free_context(&encoder_);
}

bool AacTranscoder::Open(const AVCodecParameters* input, AVRational time_base, std::string* error) {
  Parts& p = *parts_;
  p.time_base = time_base;
  const AVCodec* decoder = avcodec_find_decoder(input->codec_id);
  const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_AAC);
  if (decoder == nullptr || encoder == nullptr) {
    if (error) *error = std::string("no decoder for ") + avcodec_get_name(input->codec_id);
    return false;
  }
  p.decoder = avcodec_alloc_context3(decoder);
  encoder_ = avcodec_alloc_context3(encoder);
  p.decoded = av_frame_alloc();
  p.converted = av_frame_alloc();
  p.frame = av_frame_alloc();
  p.packet = av_packet_alloc();
  if (!p.decoder || !encoder_ || !p.decoded || !p.converted || !p.frame || !p.packet) {
    return Fail(error, "audio", AVERROR(ENOMEM));
  }
  int status = avcodec_parameters_to_context(p.decoder, input);
  if (status >= 0) {
    p.decoder->pkt_timebase = time_base;
    status = avcodec_open2(p.decoder, decoder, nullptr);
  }
  if (status < 0) return Fail(error, "audio decoder", status);

  const int channels = p.decoder->ch_layout.nb_channels == 1 ? 1 : 2;
  av_channel_layout_default(&encoder_->ch_layout, channels);
  encoder_->sample_rate = CommonRate(p.decoder->sample_rate) ? p.decoder->sample_rate : 48000;
  encoder_->sample_fmt = AV_SAMPLE_FMT_FLTP;
  encoder_->bit_rate = channels == 1 ? 96000 : 160000;
  encoder_->time_base = AVRational{1, encoder_->sample_rate};
  // MP4 keeps the codec's set-up once, in the track header.
  encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  status = avcodec_open2(encoder_, encoder, nullptr);
  if (status < 0) return Fail(error, "AAC encoder", status);

  p.fifo = av_audio_fifo_alloc(AV_SAMPLE_FMT_FLTP, channels, encoder_->frame_size * 2);
  if (p.fifo == nullptr) return Fail(error, "audio", AVERROR(ENOMEM));
  return true;
}

bool AacTranscoder::Feed(const AVPacket* packet, const PacketSink& sink) {
  Parts& p = *parts_;
  if (p.fifo == nullptr) return false;
  if (avcodec_send_packet(p.decoder, packet) < 0 && packet != nullptr) return true;
  for (;;) {
    const int status = avcodec_receive_frame(p.decoder, p.decoded);
    if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) break;
    if (status < 0) return true;  // a damaged frame: go on with the next packet
    if (p.next_pts == AV_NOPTS_VALUE && p.decoded->best_effort_timestamp != AV_NOPTS_VALUE) {
      p.next_pts = av_rescale_q(p.decoded->best_effort_timestamp, p.time_base, encoder_->time_base);
    }
    if (p.resampler == nullptr) {
      // Set up from the first frame: some decoders only know their layout then.
      if (swr_alloc_set_opts2(&p.resampler, &encoder_->ch_layout, encoder_->sample_fmt,
                              encoder_->sample_rate, &p.decoded->ch_layout,
                              static_cast<AVSampleFormat>(p.decoded->format),
                              p.decoded->sample_rate, 0, nullptr) < 0 ||
          swr_init(p.resampler) < 0) {
        return false;
      }
    }
    av_frame_unref(p.converted);
    av_channel_layout_copy(&p.converted->ch_layout, &encoder_->ch_layout);
    p.converted->format = encoder_->sample_fmt;
    p.converted->sample_rate = encoder_->sample_rate;
    const int converted = swr_convert_frame(p.resampler, p.converted, p.decoded);
    av_frame_unref(p.decoded);
    if (converted < 0) continue;
    if (av_audio_fifo_write(p.fifo, reinterpret_cast<void**>(p.converted->data),
                            p.converted->nb_samples) < 0 ||
        !Encode(false, sink)) {
      return false;
    }
  }
  return packet != nullptr || Encode(true, sink);
}

// Encodes every whole frame in the queue, and with `flush` the rest and the
// encoder's delay.
bool AacTranscoder::Encode(bool flush, const PacketSink& sink) {
  Parts& p = *parts_;
  if (p.next_pts == AV_NOPTS_VALUE) p.next_pts = 0;
  const int frame_size = encoder_->frame_size;
  while (av_audio_fifo_size(p.fifo) >= frame_size || (flush && av_audio_fifo_size(p.fifo) > 0)) {
    const int samples = std::min(frame_size, av_audio_fifo_size(p.fifo));
    av_frame_unref(p.frame);
    p.frame->nb_samples = samples;
    p.frame->format = encoder_->sample_fmt;
    p.frame->sample_rate = encoder_->sample_rate;
    av_channel_layout_copy(&p.frame->ch_layout, &encoder_->ch_layout);
    if (av_frame_get_buffer(p.frame, 0) < 0 ||
        av_audio_fifo_read(p.fifo, reinterpret_cast<void**>(p.frame->data), samples) < samples) {
      return false;
    }
    p.frame->pts = p.next_pts;
    p.next_pts += samples;
    if (avcodec_send_frame(encoder_, p.frame) < 0 || !Drain(sink)) return false;
  }
  if (!flush) return true;
  return avcodec_send_frame(encoder_, nullptr) >= 0 && Drain(sink);
}

bool AacTranscoder::Drain(const PacketSink& sink) {
  Parts& p = *parts_;
  for (;;) {
    const int status = avcodec_receive_packet(encoder_, p.packet);
    if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) return true;
    if (status < 0) return false;
    const bool more = sink(p.packet);
    av_packet_unref(p.packet);
    if (!more) return false;
  }
}

}  // namespace kinolot_serve
