// The two table-type maps and their process-wide instances.
#include "kinolot/mapping_tables.h"

namespace LibKinolot {

// The poster table (8) is deliberately absent: it is reached only by the
// poster procedures, never through this map.
MappingTable::MappingTable() {
  (*this)[1] = "movie";
  (*this)[2] = "tvshow";
  (*this)[3] = "tvshow_episode";
  (*this)[4] = "home_video";
  (*this)[5] = "tv_record";
  (*this)[7] = "plus_info";
  (*this)[6] = "summary";
  (*this)[16] = "mapper";
  (*this)[9] = "writer";
  (*this)[10] = "director";
  (*this)[11] = "actor";
  (*this)[12] = "gnere";
  (*this)[13] = "collection";
  (*this)[14] = "collection_map";
  (*this)[15] = "video_file";
}

MappingKeyName::MappingKeyName() {
  (*this)[1] = "movies";
  (*this)[2] = "tvshows";
  (*this)[3] = "episodes";
  (*this)[4] = "videos";
  (*this)[5] = "recordings";
}

// Defined in one translation unit so that the table is built before the key
// names and destroyed after them.
MappingTable gMappingTable;
MappingKeyName gMappingKeyName;

}  // namespace LibKinolot
