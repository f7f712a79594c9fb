// Moving what a merged item owns to the item it is merged into; see
// metadata_item_merge.h.
#include "metadata/metadata_item_merge.h"

#include "foundation/heap_text.h"
#include "kinolot/video_info_store.h"
#include "kinolot/video_metadata_db.h"
#include "metadata/metadata_text.h"

namespace LibKinolot {
namespace {

// Re-points the collection memberships of mapper `from` to mapper `to`,
// except those in collections that already hold `to`: the unique pair
// (mapper, collection) allows one each, and the rest go with `from`'s mapper.
bool MoveMemberships(const std::string& from, const std::string& to) {
  if (!IsDecimalText(from) || !IsDecimalText(to)) return false;
  VideoDB db(nullptr, MetadataTableName(VIDEO_TABLE_COLLECTION_MAP));
  HeapText sql(VEXODBEscapeStringEX3(
      VEXODBDatabaseTypeGet(db.connection),
      "UPDATE collection_map SET mapper_id = @VEXO:INT WHERE mapper_id = @VEXO:INT AND "
      "collection_id NOT IN (SELECT collection_id FROM collection_map WHERE mapper_id = @VEXO:INT)",
      DecimalValue(to), DecimalValue(from), DecimalValue(to)));
  if (!sql) return false;
  DBResult_tag* result = nullptr;
  bool ran = VEXODBExecute(db.connection, sql.get(), &result) != -1;
  VEXODBFreeResult(result);
  return ran;
}

}  // namespace

int DeleteMergedItem(const std::string& mapperId) {
  return VideoInfoMapperDelete(DecimalValue(mapperId)) == -1 ? -1 : 1;
}

int MergeItemInto(const std::string& from, const std::string& to) {
  VideoDB files(nullptr, MetadataTableName(VIDEO_TABLE_VIDEO_FILE));
  if (!files.UpdateDBEx("mapper_id", from, {{"mapper_id", to}})) return -1;
  // Deleting the mapper would take the memberships along: a user's
  // collection would lose the video.
  if (!MoveMemberships(from, to)) return -1;
  return DeleteMergedItem(from);
}

}  // namespace LibKinolot
