// The platform's small C-library services: the last platform error code and
// shell quoting of command-line parameters.
#ifndef KINOLOT_PLATFORM_VLIB_C_H_
#define KINOLOT_PLATFORM_VLIB_C_H_

#include <cstddef>

#include "kinolot/export.h"

namespace LibKinolot {

// Error codes that platform operations leave for VLIBCErrGet.
enum VLIBCError {
  VLIBC_ERR_NONE = 0x0000,
  VLIBC_ERR_BAD_PARAMETER = 0x0001,    // a null or malformed argument
  VLIBC_ERR_OUT_OF_MEMORY = 0x0002,    // an allocation failed
  VLIBC_ERR_BAD_FORMAT = 0x0003,       // a format holds an unknown placeholder
  VLIBC_ERR_UNSUPPORTED_DB = 0x0004,   // a database kind other than PostgreSQL
  VLIBC_ERR_BUFFER_TOO_SMALL = 0x0005  // the output does not fit the buffer
};

// Returns the code left by the last platform operation that failed on this
// thread (a VLIBCError), or 0 when none has failed yet.
KINOLOT_EXPORT int VLIBCErrGet();

// Sets the code that VLIBCErrGet reports. Used by the platform itself.
KINOLOT_EXPORT void VLIBCErrSet(int code);

// Quotes `param` so that a POSIX shell reads it back as one word, unchanged:
// the text between single quotes, each quote written as '\''. Writes the
// terminated result into `out` of `outSize` bytes; 4 * strlen(param) + 3
// bytes always suffice. Returns the length written, or -1 when an argument
// is null or `out` is too small (then `out` holds an empty text if it has
// room for one).
KINOLOT_EXPORT int VLIBCEncShParam(const char* param, char* out, size_t outSize);

}  // namespace LibKinolot

#endif  // KINOLOT_PLATFORM_VLIB_C_H_
