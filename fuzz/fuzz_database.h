// The fuzz targets' own connection to the cluster that scripts/fuzz.sh
// starts (found through PGHOST and PGPORT, as libpq finds any server): for
// putting the library back into a known state between inputs and for
// checking what the library stored or what the server accepts.
#ifndef KINOLOT_FUZZ_FUZZ_DATABASE_H_
#define KINOLOT_FUZZ_FUZZ_DATABASE_H_

#include <libpq-fe.h>

#include <string>

namespace kinolot_fuzz {

class FuzzDatabase {
 public:
  FuzzDatabase() = default;
  ~FuzzDatabase();
  FuzzDatabase(const FuzzDatabase&) = delete;
  FuzzDatabase& operator=(const FuzzDatabase&) = delete;

  // Connects to "video_metadata" as "admin"; false when no server answers.
  bool Open();
  bool IsOpen() const { return conn_ != nullptr; }
  // Runs `sql` (several statements allowed); a failure aborts the run: the
  // target's own statements never fail unless the library broke something.
  void Exec(const std::string& sql);
  // The first column of the first row of `sql`, "" when there is none.
  std::string Value(const std::string& sql);
  // Whether the server takes `text` as a value of `type` ("date", ...).
  bool Accepts(const std::string& text, const char* type);

 private:
  PGconn* conn_ = nullptr;
};

// Aborts with `what` on standard error when `condition` is false: a finding.
void Check(bool condition, const char* what);

}  // namespace kinolot_fuzz

#endif  // KINOLOT_FUZZ_FUZZ_DATABASE_H_
