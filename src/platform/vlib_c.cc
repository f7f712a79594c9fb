// The platform's small C-library services: the per-thread code of the last
// platform failure, and quoting of a parameter for a POSIX shell command line.
#include "kinolot/platform/vlib_c.h"

#include <cstring>

namespace LibKinolot {

namespace {

// Per thread, like errno: a failure on one thread must not change what
// another thread reads after its own call.
thread_local int t_last_error = VLIBC_ERR_NONE;

}  // namespace

int VLIBCErrGet() {
  return t_last_error;
}

void VLIBCErrSet(int code) {
  t_last_error = code;
}

int VLIBCEncShParam(const char* param, char* out, size_t outSize) {
  if (out != nullptr && outSize > 0) out[0] = '\0';
  if (param == nullptr || out == nullptr) {
    VLIBCErrSet(VLIBC_ERR_BAD_PARAMETER);
    return -1;
  }
  // Between single quotes a shell takes every byte literally, and nothing can
  // escape a quote there; so a quote closes the text, is written escaped
  // outside it, and opens it again: '\''.
  size_t length = 2;  // the enclosing quotes
  for (const char* p = param; *p; ++p) length += *p == '\'' ? 4 : 1;
  if (length + 1 > outSize) {
    VLIBCErrSet(VLIBC_ERR_BUFFER_TOO_SMALL);
    return -1;
  }
  char* w = out;
  *w++ = '\'';
  for (const char* p = param; *p; ++p) {
    if (*p == '\'') {
      std::memcpy(w, "'\\''", 4);
      w += 4;
    } else {
      *w++ = *p;
    }
  }
  *w++ = '\'';
  *w = '\0';
  return static_cast<int>(length);
}

}  // namespace LibKinolot
