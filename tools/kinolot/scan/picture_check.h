// Whether a picture file beside a video can serve as its poster: it must
// hold bytes, and libavcodec must decode a picture from them. Media managers
// leave 0-byte and cut-off pictures behind; storing one would show a broken
// poster in place of the next candidate.
#ifndef KINOLOT_TOOLS_SCAN_PICTURE_CHECK_H_
#define KINOLOT_TOOLS_SCAN_PICTURE_CHECK_H_

#include <string>

namespace kinolot_scan {

// Returns true when the file at `path` decodes as a picture; otherwise false
// with the reason ("empty", "not a picture: ...") in `reason`. Safe to call
// from several threads at once.
bool IsDecodablePicture(const std::string& path, std::string* reason);

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_PICTURE_CHECK_H_
