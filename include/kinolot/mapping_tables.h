// Maps from table types to text: `MappingTable` gives a table type's database
// table name, `MappingKeyName` the key under which the metadata API returns a
// list of videos of that type.
//
// Both are std::map filled by their constructors and read with operator[].
// Reading an absent key inserts it with an empty value and yields "", so the
// poster table (8) and 0 read as "". The library holds one global instance of
// each, built when it is loaded; they are not locked, and since even a read
// of an absent key is a write, users of one instance must keep to one thread
// at a time.
#ifndef KINOLOT_MAPPING_TABLES_H_
#define KINOLOT_MAPPING_TABLES_H_

#include <map>
#include <string>

#include "kinolot/export.h"

namespace LibKinolot {

// Table type -> table name, for every table but the poster table.
class KINOLOT_EXPORT MappingTable : public std::map<unsigned int, std::string> {
 public:
  MappingTable();
};

// Video table type (1 to 5) -> the JSON key of a list of such videos.
class KINOLOT_EXPORT MappingKeyName : public std::map<unsigned int, std::string> {
 public:
  MappingKeyName();
};

// The process-wide instances. Built in this order at load, destroyed in the
// reverse order at unload.
KINOLOT_EXPORT extern MappingTable gMappingTable;
KINOLOT_EXPORT extern MappingKeyName gMappingKeyName;

}  // namespace LibKinolot

#endif  // KINOLOT_MAPPING_TABLES_H_
