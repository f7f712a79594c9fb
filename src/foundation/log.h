// The library's error log: every failure is written to the system log at the
// error priority (3), with the caller's source name and line at the front in
// one of two forms, "%s:%d " or "%s (%d) ", written out in each format string
// so that the line a reader sees in the code is the line the log receives.
#ifndef KINOLOT_FOUNDATION_LOG_H_
#define KINOLOT_FOUNDATION_LOG_H_

namespace LibKinolot {

// Writes one message at priority LOG_ERR. The library never opens or closes
// the log; that is the host program's business.
void LogError(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace LibKinolot

#endif  // KINOLOT_FOUNDATION_LOG_H_
