// The step that every merge of two items ends with: the item that goes gives
// its video files and its places in users' collections to the item that
// stays, and is then deleted through its mapper record, its other rows going
// with it.
#ifndef KINOLOT_METADATA_METADATA_ITEM_MERGE_H_
#define KINOLOT_METADATA_METADATA_ITEM_MERGE_H_

#include <string>

namespace LibKinolot {

// Deletes the item of mapper `mapperId` (a decimal text) through its mapper
// record. 1, or -1.
int DeleteMergedItem(const std::string& mapperId);

// Moves every video file and every collection membership of mapper `from`
// to mapper `to` (both decimal texts), then deletes the item of `from`. A
// collection that holds both items keeps one membership. 1, or -1 when a
// step failed; the item of `from` is kept then, with whatever it still has.
int MergeItemInto(const std::string& from, const std::string& to);

}  // namespace LibKinolot

#endif  // KINOLOT_METADATA_METADATA_ITEM_MERGE_H_
