// libpq's growable text buffer, for SQL of unbounded length, with one owner.
#ifndef KINOLOT_FOUNDATION_SQL_TEXT_H_
#define KINOLOT_FOUNDATION_SQL_TEXT_H_

// libpq declares the buffer in an internal C header without linkage guards,
// which expects a printf attribute macro from the server's own headers.
#ifndef pg_attribute_printf
#define pg_attribute_printf(f, a) __attribute__((format(printf, f, a)))
#endif
extern "C" {
#include <pqexpbuffer.h>
}

namespace LibKinolot {

class SqlText {
 public:
  SqlText() { initPQExpBuffer(&buffer_); }
  ~SqlText() { termPQExpBuffer(&buffer_); }
  SqlText(const SqlText&) = delete;
  SqlText& operator=(const SqlText&) = delete;

  PQExpBuffer get() { return &buffer_; }
  const char* text() const { return buffer_.data ? buffer_.data : ""; }
  // True when an allocation failed while the text was built; the text is
  // then incomplete and must not be used.
  bool broken() const { return PQExpBufferBroken(&buffer_); }

 private:
  PQExpBufferData buffer_;
};

}  // namespace LibKinolot

#endif  // KINOLOT_FOUNDATION_SQL_TEXT_H_
