// System-log output of the library; see log.h.
#include "foundation/log.h"

#include <syslog.h>

#include <cstdarg>

namespace LibKinolot {

void LogError(const char* format, ...) {
  va_list args;
  va_start(args, format);
  vsyslog(LOG_ERR, format, args);
  va_end(args);
}

}  // namespace LibKinolot
