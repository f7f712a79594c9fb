// Moves and renames: telling that a file which vanished from the library's
// folders and a file which appeared are the same video, and giving the stored
// file its new path so that its item keeps everything people did to it
// (edits, lock, poster, collection memberships).
//
// "The same video" is decided without reading either file whole:
//  - equal size and equal file name (a folder moved or renamed above the
//    file): taken as the same without opening the file, so a moved folder
//    costs no probe;
//  - equal size and another name (the file itself renamed): the new file is
//    probed once and taken as the same when its technical data (container,
//    duration, codecs, picture size, audio rate and channels) equal the
//    stored ones.
// A pair is made only when it is the only candidate of its kind on both
// sides; anything ambiguous stays a removal and an addition.
#ifndef KINOLOT_TOOLS_SCAN_FILE_MOVES_H_
#define KINOLOT_TOOLS_SCAN_FILE_MOVES_H_

#include <cstdint>
#include <string>
#include <vector>

namespace kinolot_scan {

// A file the library holds that is gone from the disk.
struct GoneFile {
  std::string path;
  int64_t size = 0;
};

// A file on the disk that the library does not hold.
struct NewFile {
  std::string path;
  int64_t size = 0;
};

struct FileMove {
  size_t gone = 0;   // index into the gone files
  size_t fresh = 0;  // index into the new files
};

// Pairs gone and new files that are the same video (see above). Each file
// is in at most one pair. Reads the stored technical data of a gone file
// only when a renamed candidate needs it; a database failure there just
// leaves the pair unmade.
std::vector<FileMove> MatchMoves(const std::vector<GoneFile>& gone,
                                 const std::vector<NewFile>& fresh);

// Gives the stored file `from` the path `to` with VideoInfoRename. Refuses
// (returns false) when the file shares its item with another stored file,
// for the library renames every file of an item at once; the caller then
// stores the new file and removes the old one as for any other change.
// Returns false also when `from` is not stored or the library fails.
bool RenameStoredFile(const std::string& from, const std::string& to);

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_FILE_MOVES_H_
