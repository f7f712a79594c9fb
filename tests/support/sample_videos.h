// Tiny real video files for the scanner's tests and benchmark: a second of
// test pattern and tone per file, encoded once per process by Debian's ffmpeg
// program with known parameters, then hard-linked under whatever names a test
// needs.
#ifndef KINOLOT_TESTS_SUPPORT_SAMPLE_VIDEOS_H_
#define KINOLOT_TESTS_SUPPORT_SAMPLE_VIDEOS_H_

#include <string>

#include "support/temp_files.h"

namespace kinolot_test {

enum class Sample {
  kMatroskaH264,  // 160x120 H.264 High level 3.0 at 25 fps; AAC 44.1 kHz stereo
  kMp4Mpeg4,      // 176x144 MPEG-4 Part 2 at 30000/1001 fps; AC-3 48 kHz 5.1; a creation time
  kMpegTs,        // 320x240 MPEG-2 at 25 fps; MP2 48 kHz mono; service "Channel Five"
  kTruncated,     // the first 2000 bytes of the MP4: no longer readable as media
  kPoster,        // a 64x96 JPEG picture
};

// The creation time written into kMp4Mpeg4, in UTC.
extern const char kSampleCreationTime[];

// Returns the path of the generated sample; generates all of them on first
// use, in a folder everyone may read (the database server reads posters).
// Returns "" when ffmpeg fails.
const std::string& SamplePath(Sample sample);

// Makes `path` a hard link to the sample, or with `copy` (for a file a test
// will change) a copy of it, creating the folders on the way, all readable by
// everyone. Returns false on failure.
bool PlaceSample(Sample sample, const std::string& path, bool copy = false);

}  // namespace kinolot_test

#endif  // KINOLOT_TESTS_SUPPORT_SAMPLE_VIDEOS_H_
