// Uses a few operations of the installed library through its umbrella header.
#include <kinolot/kinolot.h>

#include <cstdio>
#include <cstring>

int main() {
  using namespace LibKinolot;
  const char* name = VideoTypeGetName(VIDEO_TYPE_TVSHOW_EPISODE);
  std::string table = gMappingTable[VIDEO_TABLE_GNERE];
  std::string joined = StringImplode(StringExplode("a|b||c", "|"), ", ");
  std::printf("%s %s %s\n", name, table.c_str(), joined.c_str());
  return std::strcmp(name, "tvshow_episode") == 0 && table == "gnere" && joined == "a, b, c" ? 0
                                                                                             : 1;
}
