// Playing the library's files in a browser, without a server: which files
// play directly, are remuxed or cannot play; range answers and bounded
// reading for direct play; and the fragmented MP4 the remuxer makes, probed
// back with libavformat. Every sample is a real file made by ffmpeg.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "scan/media_probe.h"
#include "serve/byte_ranges.h"
#include "serve/fmp4_remux.h"
#include "serve/playback_decision.h"
#include "support/temp_files.h"

namespace {

using namespace kinolot_serve;
using kinolot_test::TempDir;

enum Sample { kMp4, kMkvAac, kMkvAc3, kTs, kMpeg2 };

// Six seconds of picture and tone, a keyframe every second (25 frames).
const std::string& SamplePath(Sample sample) {
  static TempDir folder;
  static std::map<Sample, std::string> paths;
  if (paths.empty()) {
    const std::string ffmpeg =
        "ffmpeg -v error -y -nostdin -f lavfi -i testsrc=duration=6:size=320x240:rate=25 "
        "-f lavfi -i sine=duration=6:sample_rate=48000 ";
    const std::string h264 = "-c:v libx264 -preset veryfast -g 25 -pix_fmt yuv420p ";
    const std::map<Sample, std::string> commands = {
        {kMp4, h264 + "-c:a aac -ac 2 " + folder / "h264-aac.mp4"},
        {kMkvAac, h264 + "-c:a aac -ac 2 " + folder / "h264-aac.mkv"},
        {kMkvAc3, h264 + "-c:a ac3 -ac 6 " + folder / "h264-ac3.mkv"},
        {kTs, h264 + "-c:a aac -ac 2 " + folder / "h264-aac.ts"},
        {kMpeg2, "-c:v mpeg2video -g 12 -c:a mp2 " + folder / "mpeg2.mpg"}};
    for (const auto& command : commands) {
      if (std::system((ffmpeg + command.second).c_str()) != 0) return paths[command.first];
      paths[command.first] = command.second.substr(command.second.rfind(' ') + 1);
    }
  }
  return paths[sample];
}

// What the scanner stores for the sample.
MediaTraits Stored(Sample sample) {
  LibKinolot::_VIDEO_INFO_ info{};
  std::string error;
  EXPECT_TRUE(kinolot_scan::ProbeMedia(SamplePath(sample), &info, nullptr, &error)) << error;
  return TraitsOf(info);
}

TEST(PlaybackDecisionTest, StoredSamplesGetTheirWay) {
  EXPECT_EQ(Playback::kDirect, DecidePlayback(Stored(kMp4)).playback);
  PlaybackDecision mkv = DecidePlayback(Stored(kMkvAac));
  EXPECT_EQ(Playback::kRemux, mkv.playback);
  EXPECT_FALSE(mkv.transcode_audio);
  EXPECT_EQ("Matroska is remuxed to MP4 on the fly.", mkv.reason);
  PlaybackDecision ac3 = DecidePlayback(Stored(kMkvAc3));
  EXPECT_EQ(Playback::kRemux, ac3.playback);
  EXPECT_TRUE(ac3.transcode_audio);
  EXPECT_NE(std::string::npos, ac3.reason.find("AC-3 audio is turned into AAC"));
  EXPECT_EQ("MPEG-TS is remuxed to MP4 on the fly.", DecidePlayback(Stored(kTs)).reason);
  PlaybackDecision mpeg2 = DecidePlayback(Stored(kMpeg2));
  EXPECT_EQ(Playback::kUnsupported, mpeg2.playback);
  EXPECT_EQ("MPEG-2 video: would need re-encoding, which this server does not do.", mpeg2.reason);
}

TEST(PlaybackDecisionTest, ContainerCodecAndProfileTable) {
  struct Case {
    MediaTraits media;
    Playback expected;
  };
  const Playback D = Playback::kDirect, R = Playback::kRemux, U = Playback::kUnsupported;
  const Case cases[] = {
      {{"webm", "vp9", 0, "opus"}, D},       {{"WebM", "VP8", 0, "vorbis"}, D},
      {{"mp4", "av1", 0, "opus"}, D},        {{"mov", "h264", 100, "aac"}, D},
      {{"mp4", "h264", 578, ""}, D},         {{"mp4", "h264", 77, "ac3"}, R},
      {{"mov", "vp9", 0, "aac"}, R},         {{"webm", "h264", 0, "opus"}, R},
      {{"avi", "h264", 0, "mp3"}, R},        {{"mpegts", "h264", 0, "dts"}, R},
      {{"matroska", "vp9", 0, "eac3"}, R},   {{"", "h264", 0, "aac"}, R},
      {{"mp4", "h264", 110, "aac"}, U},      {{"matroska", "hevc", 1, "aac"}, U},
      {{"matroska", "vp8", 0, "vorbis"}, U}, {{"avi", "mpeg4", 0, "mp3"}, U},
      {{"asf", "vc1", 0, "wmapro"}, U},      {{"mp4", "", 0, "aac"}, U},
      {{"mp4", "prores", 0, "aac"}, U},
  };
  for (const Case& c : cases) {
    PlaybackDecision decision = DecidePlayback(c.media);
    EXPECT_EQ(c.expected, decision.playback)
        << c.media.container << "/" << c.media.video_codec << "/" << c.media.audio_codec << ": "
        << decision.reason;
    EXPECT_FALSE(decision.reason.empty());
  }
}

TEST(PlaybackDecisionTest, ReadsTheApiFileObject) {
  Json::Value file;
  file["container_type"] = "matroska";
  file["video_codec"] = "h264";
  file["audio_codec"] = "ac3";
  Json::Value answer = PlaybackJson(DecidePlayback(TraitsOf(file)));
  EXPECT_EQ("remux", answer["playback"].asString());
  file["video_codec"] = 42;  // not a text: not known
  EXPECT_EQ("unsupported", PlaybackJson(DecidePlayback(TraitsOf(file)))["playback"].asString());
  EXPECT_EQ(Playback::kUnsupported, DecidePlayback(TraitsOf(Json::Value())).playback);
}

// The bytes a direct answer sends, read through the bounded reader.
std::string Send(const StreamFile& file, const RangeAnswer& answer, size_t chunk = 4096) {
  std::string sent;
  EXPECT_EQ(StreamOutcome::kDone, StreamRange(
                                      file.fd(), answer.offset, answer.length,
                                      [&](const char* data, size_t size) {
                                        EXPECT_LE(size, chunk);
                                        sent.append(data, size);
                                        return true;
                                      },
                                      chunk));
  return sent;
}

class ByteRangeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    bytes_ = kinolot_test::ReadFile(SamplePath(kMp4));
    ASSERT_GT(bytes_.size(), 10000u);
    ASSERT_EQ(StreamFile::Status::kOpen, file_.Open(SamplePath(kMp4), nullptr));
    size_ = static_cast<int64_t>(bytes_.size());
  }
  RangeAnswer Answer(const char* range, const char* if_range = nullptr) {
    return AnswerRange(range, if_range, file_.etag(), size_);
  }
  std::string bytes_;
  StreamFile file_;
  int64_t size_ = 0;
};

TEST_F(ByteRangeTest, SingleRangesSendExactlyTheirBytes) {
  const std::string total = "/" + std::to_string(size_);
  const std::string last = std::to_string(size_ - 1);
  struct Case {
    std::string range;
    int64_t offset, length;
    std::string content_range;
  };
  const Case cases[] = {
      {"bytes=0-99", 0, 100, "bytes 0-99" + total},
      {"bytes=5000-5099", 5000, 100, "bytes 5000-5099" + total},
      {"bytes=-500", size_ - 500, 500, "bytes " + std::to_string(size_ - 500) + "-" + last + total},
      {"bytes=100-", 100, size_ - 100, "bytes 100-" + last + total},
      {"bytes=0-", 0, size_, "bytes 0-" + last + total},
      {"bytes=" + last + "-99999999999999999999", size_ - 1, 1,
       "bytes " + last + "-" + last + total},
      {"bytes=-99999999", 0, size_, "bytes 0-" + last + total},
      {" Bytes=7-7 ", 7, 1, "bytes 7-7" + total},
  };
  for (const Case& c : cases) {
    RangeAnswer answer = Answer(c.range.c_str());
    EXPECT_EQ(206, answer.status) << c.range;
    EXPECT_EQ(c.content_range, answer.content_range) << c.range;
    EXPECT_TRUE(bytes_.substr(c.offset, c.length) == Send(file_, answer)) << c.range;
  }
}

TEST_F(ByteRangeTest, UnsatisfiableRangesGive416) {
  const std::string past = "bytes=" + std::to_string(size_) + "-";
  for (const char* range : {past.c_str(), "bytes=99999999999-", "bytes=-0"}) {
    RangeAnswer answer = Answer(range);
    EXPECT_EQ(416, answer.status) << range;
    EXPECT_EQ("bytes */" + std::to_string(size_), answer.content_range);
    EXPECT_EQ(0, answer.length);
  }
}

TEST_F(ByteRangeTest, InvalidOrSeveralRangesGiveTheWholeFile) {
  for (const char* range : {"", "bytes=", "bytes=abc", "bytes=5-2", "items=0-1", "bytes=0-1;x",
                            "bytes=--5", "bytes=0-99,50-150", "bytes=0-0,-1", "bytes=1-2,"}) {
    RangeAnswer answer = Answer(range);
    EXPECT_EQ(200, answer.status) << range;
    EXPECT_EQ("", answer.content_range);
    EXPECT_EQ(size_, answer.length) << range;
  }
  EXPECT_TRUE(bytes_ == Send(file_, Answer(nullptr), 256 * 1024));
}

TEST_F(ByteRangeTest, IfRangeHonoursOnlyTheCurrentTag) {
  EXPECT_EQ(206, Answer("bytes=0-9", file_.etag().c_str()).status);
  EXPECT_EQ(200, Answer("bytes=0-9", "\"0-0\"").status);
  EXPECT_EQ(200, Answer("bytes=0-9", ("W/" + file_.etag()).c_str()).status);
  EXPECT_EQ(200, Answer("bytes=0-9", "Tue, 24 Nov 2026 12:00:00 GMT").status);
  EXPECT_NE(file_.etag(), FileETag(size_ + 1, 0));
}

TEST_F(ByteRangeTest, ReaderStopsWhenTheClientIsGoneAndReportsShortFiles) {
  int calls = 0;
  EXPECT_EQ(StreamOutcome::kClientGone,
            StreamRange(
                file_.fd(), 0, size_, [&](const char*, size_t) { return ++calls < 2; }, 1024));
  EXPECT_EQ(2, calls);
  EXPECT_EQ(StreamOutcome::kReadFailed,
            StreamRange(file_.fd(), size_ - 10, 20, [](const char*, size_t) { return true; }));
}

TEST(StreamFileTest, TellsMissingFromUnreadable) {
  TempDir folder;
  StreamFile file;
  std::string error;
  EXPECT_EQ(StreamFile::Status::kMissing, file.Open(folder / "gone.mp4", &error));
  EXPECT_NE(std::string::npos, error.find("gone.mp4"));
  EXPECT_EQ(StreamFile::Status::kUnreadable, file.Open(folder.path(), &error));
  EXPECT_EQ(-1, file.fd());
  EXPECT_STREQ("video/mp4", ContainerContentType("mp4"));
  EXPECT_STREQ("video/x-matroska", ContainerContentType("Matroska"));
  EXPECT_STREQ("application/octet-stream", ContainerContentType("nut"));
}

// What libavformat reads back from a remuxed stream.
struct Probed {
  bool opened = false;
  std::vector<std::string> codecs;  // per stream, in order
  int audio_channels = 0;
  double duration = 0;
  double first_video_time = -1;
  bool starts_with_keyframe = false;
  bool times_increase = true;
  int packets = 0;
};

Probed Probe(const std::string& path) {
  Probed probed;
  AVFormatContext* context = nullptr;
  if (avformat_open_input(&context, path.c_str(), nullptr, nullptr) < 0) return probed;
  if (avformat_find_stream_info(context, nullptr) >= 0) {
    probed.opened = true;
    probed.duration = static_cast<double>(context->duration) / AV_TIME_BASE;
    std::vector<int64_t> last(context->nb_streams, AV_NOPTS_VALUE);
    for (unsigned i = 0; i < context->nb_streams; ++i) {
      const AVCodecParameters* codec = context->streams[i]->codecpar;
      probed.codecs.push_back(avcodec_get_name(codec->codec_id));
      if (codec->codec_type == AVMEDIA_TYPE_AUDIO)
        probed.audio_channels = codec->ch_layout.nb_channels;
    }
    AVPacket* packet = av_packet_alloc();
    while (av_read_frame(context, packet) >= 0) {
      const AVStream* stream = context->streams[packet->stream_index];
      int64_t& previous = last[packet->stream_index];
      if (packet->dts == AV_NOPTS_VALUE ||
          (previous != AV_NOPTS_VALUE && packet->dts <= previous)) {
        probed.times_increase = false;
      }
      if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO && probed.first_video_time < 0) {
        probed.first_video_time = static_cast<double>(packet->pts) * av_q2d(stream->time_base);
        probed.starts_with_keyframe = packet->flags & AV_PKT_FLAG_KEY;
      }
      previous = packet->dts;
      ++probed.packets;
      av_packet_unref(packet);
    }
    av_packet_free(&packet);
  }
  avformat_close_input(&context);
  return probed;
}

// A sink that keeps every byte in `bytes`.
ByteSink Into(std::string* bytes) {
  return [bytes](const uint8_t* data, size_t size) {
    bytes->append(reinterpret_cast<const char*>(data), size);
    return true;
  };
}

class RemuxTest : public ::testing::Test {
 protected:
  // Remuxes `sample` from `start` into a file of the folder and probes it.
  Probed Remux(Sample sample, double start = 0, double* start_seconds = nullptr) {
    Fmp4Remuxer remuxer;
    std::string bytes, error;
    EXPECT_TRUE(remuxer.Open(SamplePath(sample), start, Into(&bytes), &error)) << error;
    EXPECT_EQ(sample == kMkvAc3, remuxer.transcodes_audio());
    if (start_seconds) *start_seconds = remuxer.start_seconds();
    RemuxStep step;
    while ((step = remuxer.Step()) == RemuxStep::kMore) {
    }
    EXPECT_EQ(RemuxStep::kFinished, step) << remuxer.error();
    EXPECT_EQ("ftyp", bytes.substr(4, 4));
    EXPECT_NE(std::string::npos, bytes.find("moof"));  // fragmented
    const std::string path = folder_ / "out.mp4";
    kinolot_test::WriteFile(path, bytes);
    return Probe(path);
  }
  TempDir folder_;
};

TEST_F(RemuxTest, CopiesH264AndAacFromMatroska) {
  Probed probed = Remux(kMkvAac);
  ASSERT_TRUE(probed.opened);
  EXPECT_EQ((std::vector<std::string>{"h264", "aac"}), probed.codecs);
  EXPECT_NEAR(6.0, probed.duration, 1.0);
  EXPECT_TRUE(probed.times_increase);
  EXPECT_TRUE(probed.starts_with_keyframe);
  EXPECT_GT(probed.packets, 150 + 250);  // 150 pictures, about 280 AAC frames
}

TEST_F(RemuxTest, TurnsAc3IntoStereoAac) {
  Probed probed = Remux(kMkvAc3);
  ASSERT_TRUE(probed.opened);
  EXPECT_EQ((std::vector<std::string>{"h264", "aac"}), probed.codecs);
  EXPECT_EQ(2, probed.audio_channels);
  EXPECT_NEAR(6.0, probed.duration, 1.0);
  EXPECT_TRUE(probed.times_increase);
}

TEST_F(RemuxTest, StartsAtTheKeyframeBeforeTheAskedTime) {
  for (double asked : {2.5, 4.0, 5.9}) {
    double start = -1;
    Probed probed = Remux(kMkvAac, asked, &start);
    ASSERT_TRUE(probed.opened);
    // One keyframe a second: the stream starts at most a group (and the
    // decoding delay of two pictures) before.
    EXPECT_LE(start, asked + 0.001);
    EXPECT_GT(start, asked - 1.1);
    EXPECT_TRUE(probed.starts_with_keyframe);
    EXPECT_NEAR(0.0, probed.first_video_time, 0.2);  // the output's clock starts at 0
    EXPECT_NEAR(6.0 - start, probed.duration, 1.0) << asked;
    EXPECT_TRUE(probed.times_increase);
  }
  double start = -1;
  EXPECT_TRUE(Remux(kMp4, 60, &start).opened);  // past the end: the last group
  EXPECT_GE(start, 4.0);
}

// A broadcast keeps H.264 without a track header and AAC in ADTS frames;
// its clock does not start at 0.
TEST_F(RemuxTest, CopiesFromMpegTs) {
  double start = -1;
  Probed probed = Remux(kTs, 3.0, &start);
  ASSERT_TRUE(probed.opened);
  EXPECT_EQ((std::vector<std::string>{"h264", "aac"}), probed.codecs);
  EXPECT_GT(start, 3.0 - 1.1);
  EXPECT_LE(start, 3.0 + 0.001);
  EXPECT_NEAR(6.0 - start, probed.duration, 1.0);
  EXPECT_TRUE(probed.times_increase);
  EXPECT_TRUE(probed.starts_with_keyframe);
}

TEST_F(RemuxTest, RefusesWhatWouldNeedReencodingOrCannotBeRead) {
  Fmp4Remuxer mpeg2;
  std::string error;
  EXPECT_FALSE(mpeg2.Open(
      SamplePath(kMpeg2), 0, [](const uint8_t*, size_t) { return true; }, &error));
  EXPECT_EQ("video in mpeg2video would need re-encoding", error);
  EXPECT_EQ(RemuxStep::kFailed, mpeg2.Step());
  EXPECT_EQ(RemuxStep::kFailed,
            RemuxToFragmentedMp4(
                folder_ / "none.mkv", 0, [](const uint8_t*, size_t) { return true; }, &error));
  EXPECT_NE(std::string::npos, error.find("none.mkv"));
}

// Files cut short by a failed copy, or with a damaged stretch, still give a
// playable stream of what can be read.
TEST_F(RemuxTest, DamagedFilesGiveWhatCanBeRead) {
  const std::string whole = kinolot_test::ReadFile(SamplePath(kMkvAac));
  std::string damaged = whole;
  damaged.replace(whole.size() / 2, 4096, 4096, '\xFF');
  const std::map<std::string, std::string> files = {
      {"cut.mkv", whole.substr(0, whole.size() * 3 / 5)}, {"damaged.mkv", damaged}};
  for (const auto& file : files) {
    kinolot_test::WriteFile(folder_ / file.first, file.second);
    std::string bytes, error;
    EXPECT_EQ(RemuxStep::kFinished,
              RemuxToFragmentedMp4(folder_ / file.first, 0, Into(&bytes), &error))
        << file.first << ": " << error;
    kinolot_test::WriteFile(folder_ / "out.mp4", bytes);
    Probed probed = Probe(folder_ / "out.mp4");
    EXPECT_TRUE(probed.opened) << file.first;
    EXPECT_TRUE(probed.times_increase) << file.first;
    EXPECT_GT(probed.duration, 2.0) << file.first;
  }
}

// A server runs one remux per client, each on a thread of its own.
TEST_F(RemuxTest, ConcurrentStreamsAreIndependent) {
  const std::string path = SamplePath(kMkvAc3);
  std::string alone;
  ASSERT_EQ(RemuxStep::kFinished, RemuxToFragmentedMp4(path, 1.0, Into(&alone), nullptr));
  std::vector<std::string> outputs(4);
  std::vector<std::thread> threads;
  for (std::string& output : outputs) {
    threads.emplace_back(
        [&path, &output] { RemuxToFragmentedMp4(path, 1.0, Into(&output), nullptr); });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& output : outputs) EXPECT_TRUE(output == alone);
}

// Run under the sanitizers, these also show that a stop leaks nothing.
TEST_F(RemuxTest, AClientThatGoesStopsEverything) {
  for (Sample sample : {kMkvAac, kMkvAc3}) {
    for (int allowed : {0, 1, 5}) {
      int calls = 0;
      std::string error;
      EXPECT_EQ(RemuxStep::kStopped,
                RemuxToFragmentedMp4(
                    SamplePath(sample), 1.0,
                    [&](const uint8_t*, size_t) { return calls++ < allowed; }, &error));
      EXPECT_EQ(allowed + 1, calls);
    }
  }
  Fmp4Remuxer opened_only;
  EXPECT_TRUE(opened_only.Open(
      SamplePath(kMkvAc3), 0, [](const uint8_t*, size_t) { return true; }, nullptr));
}

}  // namespace
