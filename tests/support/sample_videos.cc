// Generated sample videos; see sample_videos.h.
#include "support/sample_videos.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <vector>

namespace kinolot_test {

const char kSampleCreationTime[] = "2019-07-14T10:15:00Z";

namespace {

namespace fs = std::filesystem;

std::map<Sample, std::string> Generate() {
  static TempDir samples;
  const std::string& folder = samples.path();
  if (folder.empty()) return {};
  const std::string ffmpeg = "ffmpeg -v error -y -nostdin ";
  const std::string picture = "-f lavfi -i testsrc=duration=1:size=";
  const std::string tone = " -f lavfi -i sine=duration=1:sample_rate=";
  std::map<Sample, std::string> paths = {{Sample::kMatroskaH264, folder + "/h264.mkv"},
                                         {Sample::kMp4Mpeg4, folder + "/mpeg4.mp4"},
                                         {Sample::kMpegTs, folder + "/mpeg2.ts"},
                                         {Sample::kTruncated, folder + "/truncated.mp4"},
                                         {Sample::kPoster, folder + "/poster.jpg"}};
  std::vector<std::string> commands = {
      ffmpeg + picture + "160x120:rate=25" + tone +
          "44100 -c:v libx264 -profile:v high -level 3.0 -pix_fmt yuv420p -c:a aac -ac 2 " +
          paths[Sample::kMatroskaH264],
      ffmpeg + picture + "176x144:rate=30000/1001" + tone +
          "48000 -c:v mpeg4 -c:a ac3 -ac 6 -metadata creation_time=" + kSampleCreationTime + " " +
          paths[Sample::kMp4Mpeg4],
      ffmpeg + picture + "320x240:rate=25" + tone +
          "48000 -c:v mpeg2video -c:a mp2 -ac 1 -metadata service_name='Channel Five' " +
          paths[Sample::kMpegTs],
      ffmpeg + "-f lavfi -i color=c=red:size=64x96 -frames:v 1 " + paths[Sample::kPoster],
      "head -c 2000 " + paths[Sample::kMp4Mpeg4] + " > " + paths[Sample::kTruncated]};
  for (const std::string& command : commands) {
    if (std::system(command.c_str()) != 0) return {};
  }
  for (const auto& entry : paths) chmod(entry.second.c_str(), 0644);
  return paths;
}

}  // namespace

const std::string& SamplePath(Sample sample) {
  static const std::map<Sample, std::string> paths = Generate();
  static const std::string none;
  auto found = paths.find(sample);
  return found == paths.end() ? none : found->second;
}

bool PlaceSample(Sample sample, const std::string& path, bool copy) {
  const std::string& source = SamplePath(sample);
  if (source.empty()) return false;
  std::error_code error;
  fs::path target(path);
  fs::path parent = target.parent_path();
  fs::create_directories(parent, error);
  // Every folder up to the target must be open to the database server.
  for (fs::path folder = parent; !folder.empty() && folder != "/tmp" && folder != "/";
       folder = folder.parent_path()) {
    chmod(folder.c_str(), 0755);
  }
  fs::remove(target, error);
  if (!copy && link(source.c_str(), path.c_str()) == 0) return true;
  return fs::copy_file(source, target, error) && chmod(path.c_str(), 0644) == 0;
}

}  // namespace kinolot_test
