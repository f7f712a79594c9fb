// Storing several files in one transaction without letting one bad file
// cost the others.
#ifndef KINOLOT_TOOLS_SCAN_STORE_BATCH_H_
#define KINOLOT_TOOLS_SCAN_STORE_BATCH_H_

#include <vector>

#include "kinolot/video_db_batch.h"

namespace kinolot_scan {

// Runs `store` on every item of a batch inside one transaction. When any of
// them fails, or the commit does, the transaction is spoilt: it is rolled
// back and every item is stored again on its own, so that only the ones that
// really fail are lost. `store` returns whether the item was stored; the
// result says it per item.
template <typename Item, typename Store>
std::vector<bool> StoreBatch(std::vector<Item>& items, Store store) {
  using namespace LibKinolot;
  std::vector<bool> stored(items.size(), false);
  bool whole = VideoDBBatchBegin() == 0;
  for (size_t i = 0; whole && i < items.size(); ++i) whole = store(items[i]);
  if (whole) whole = VideoDBBatchCommit() == 0;
  if (whole) return std::vector<bool>(items.size(), true);
  if (VideoDBBatchIsOpen()) VideoDBBatchRollback();
  for (size_t i = 0; i < items.size(); ++i) stored[i] = store(items[i]);
  return stored;
}

}  // namespace kinolot_scan

#endif  // KINOLOT_TOOLS_SCAN_STORE_BATCH_H_
