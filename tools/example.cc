// A tour of Kinolot against a live database: what the README's first command
// runs. It uses only the library's public interface and prints what it did.
#include <kinolot/kinolot.h>

#include <cstdio>

using namespace LibKinolot;

namespace {

int CountRows(_VIDEO_TABLE_TYPE_ table) {
  return VideoDBGetCount(table, "id", nullptr, nullptr);
}

}  // namespace

int main() {
  std::printf("Video types:");
  for (int type = VIDEO_TYPE_MOVIE; type <= VIDEO_TYPE_VIDEO_FILE; ++type) {
    std::printf(" %d=%s", type, VideoTypeGetName(static_cast<_VIDEO_TYPE_>(type)));
  }
  std::printf("\nList keys: movies under \"%s\", episodes under \"%s\"\n",
              gMappingKeyName[VIDEO_TABLE_MOVIE].c_str(),
              gMappingKeyName[VIDEO_TABLE_TVSHOW_EPISODE].c_str());

  const _VIDEO_TABLE_TYPE_ tables[] = {VIDEO_TABLE_MAPPER, VIDEO_TABLE_MOVIE, VIDEO_TABLE_TVSHOW,
                                       VIDEO_TABLE_TVSHOW_EPISODE, VIDEO_TABLE_VIDEO_FILE};
  for (_VIDEO_TABLE_TYPE_ table : tables) {
    int count = CountRows(table);
    if (count < 0) {
      std::fprintf(stderr, "Cannot reach the video_metadata database as user admin (%s)\n",
                   VEXODBErrorGet(nullptr));
      return 1;
    }
    std::printf("Rows in %-15s %d\n", gMappingTable[table].c_str(), count);
  }

  _VIDEO_DB_HANDLER_* handle =
      VideoDBOpen(VIDEO_TABLE_MAPPER, "type, count(*) AS videos", nullptr, "type", "type", 0, 0);
  if (handle != nullptr) {
    while (VEXODBFetchRow(handle->result, &handle->row) == 0) {
      std::printf("  %s: %s\n",
                  szValueCheck(VEXODBFetchField(handle->result, handle->row, "type")).c_str(),
                  szValueCheck(VEXODBFetchField(handle->result, handle->row, "videos")).c_str());
    }
    VideoDBHandlerFree(handle);
  }

  std::printf("Vacuum: %s\n", VideoDBVacuum() == 0 ? "done" : "failed");
  VideoDBConnClose();
  return 0;
}
