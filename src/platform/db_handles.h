// The insides of the opaque handles of vexo_db.h, shared by the units of the
// platform's database access and by nothing else.
#ifndef KINOLOT_PLATFORM_DB_HANDLES_H_
#define KINOLOT_PLATFORM_DB_HANDLES_H_

#include <libpq-fe.h>

#include <string>

namespace LibKinolot {

struct DBConnect_tag {
  PGconn* pg = nullptr;
  // Text of the last failed statement on this connection, "" when none failed.
  std::string error;
};

struct DBResult_tag {
  PGresult* pg = nullptr;
  int rows = 0;      // PQntuples of `pg`, kept to bound the cursor cheaply
  int next_row = 0;  // the row VEXODBFetchRow hands out next
};

}  // namespace LibKinolot

#endif  // KINOLOT_PLATFORM_DB_HANDLES_H_
