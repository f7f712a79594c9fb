// Ownership of heap text from C interfaces: the formatter's results and
// buffers of the library's own that are sized at run time. Allocation
// failures are results, not exceptions, so the buffers come from malloc.
#ifndef KINOLOT_FOUNDATION_HEAP_TEXT_H_
#define KINOLOT_FOUNDATION_HEAP_TEXT_H_

#include <cstddef>
#include <cstdlib>
#include <memory>

namespace LibKinolot {

struct FreeDeleter {
  void operator()(char* text) const { std::free(text); }
};

// A malloc'd, NUL-terminated text with exactly one owner.
using HeapText = std::unique_ptr<char, FreeDeleter>;

// Returns a zero-filled buffer of `size` bytes, or null when memory runs out.
inline HeapText AllocText(size_t size) {
  return HeapText(static_cast<char*>(std::calloc(size, 1)));
}

}  // namespace LibKinolot

#endif  // KINOLOT_FOUNDATION_HEAP_TEXT_H_
