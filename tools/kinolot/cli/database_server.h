// Which PostgreSQL server the kinolot program talks to. The library connects
// with libpq's defaults, so the program chooses a server by setting PGHOST and
// PGPORT before its first call; without a choice it falls back on the local
// database that scripts/run.sh keeps, so that `kinolot list movies` works
// right after that script ran.
#ifndef KINOLOT_TOOLS_CLI_DATABASE_SERVER_H_
#define KINOLOT_TOOLS_CLI_DATABASE_SERVER_H_

#include <string>

namespace kinolot_cli {

// The folder of the local database of scripts/run.sh: $KINOLOT_DB_DIR when
// set, else /var/lib/kinolot/db for root, else
// ${XDG_DATA_HOME:-$HOME/.local/share}/kinolot/db. Whether it exists is not
// checked.
std::string LocalDatabaseDir();

// Points libpq at the server to use. A non-empty `host` (a host name, a
// socket folder, or a database folder of scripts/run.sh, which holds the
// socket folder "socket") becomes PGHOST, a non-empty `port` PGPORT. With no
// `host` and PGHOST unset, the local database's socket folder is used when it
// exists (port 5432 unless PGPORT is set). Otherwise libpq's defaults stand.
void ChooseDatabaseServer(const std::string& host, const std::string& port);

// Names the server libpq will try, for messages: "socket folder /x, port
// 5432", "host db.lan, port 5433" or "libpq's default server".
std::string DescribeDatabaseServer();

// Opens and closes one connection the way the library does (user "admin",
// database "video_metadata"). When that fails, prints on stderr which server
// was tried and why, and ends the command with exit status 2 by throwing
// CLI::RuntimeError(2).
void RequireDatabase();

}  // namespace kinolot_cli

#endif  // KINOLOT_TOOLS_CLI_DATABASE_SERVER_H_
