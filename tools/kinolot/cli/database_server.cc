// Choosing and checking the database server; see database_server.h.
#include "database_server.h"

#include <kinolot/platform/vexo_db.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <iostream>

namespace kinolot_cli {

namespace {

bool IsDirectory(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string Env(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// The first line of a libpq error text, which names the socket or address
// that was tried; the rest are hints about the same attempt.
std::string FirstLine(const std::string& text) {
  std::string line = text.substr(0, text.find('\n'));
  return line.empty() ? "no reason given" : line;
}

}  // namespace

std::string LocalDatabaseDir() {
  std::string dir = Env("KINOLOT_DB_DIR");
  if (!dir.empty()) return dir;
  if (geteuid() == 0) return "/var/lib/kinolot/db";
  std::string data = Env("XDG_DATA_HOME");
  if (data.empty()) data = Env("HOME") + "/.local/share";
  return data + "/kinolot/db";
}

void ChooseDatabaseServer(const std::string& host, const std::string& port) {
  if (!port.empty()) setenv("PGPORT", port.c_str(), 1);
  if (!host.empty()) {
    // A database folder of scripts/run.sh is reached through its socket folder.
    std::string socket = host + "/socket";
    setenv("PGHOST", host[0] == '/' && IsDirectory(socket) ? socket.c_str() : host.c_str(), 1);
    return;
  }
  if (!Env("PGHOST").empty()) return;
  std::string socket = LocalDatabaseDir() + "/socket";
  if (!IsDirectory(socket)) return;
  setenv("PGHOST", socket.c_str(), 1);
  setenv("PGPORT", "5432", 0);
}

std::string DescribeDatabaseServer() {
  std::string host = Env("PGHOST");
  std::string port = Env("PGPORT");
  if (port.empty()) port = "5432";
  if (host.empty()) return "libpq's default server, port " + port;
  return (host[0] == '/' ? "socket folder " : "host ") + host + ", port " + port;
}

void RequireDatabase() {
  LibKinolot::DBConnect_tag* connection =
      LibKinolot::VEXODBConnect(nullptr, "admin", nullptr, "video_metadata");
  if (connection) {
    LibKinolot::VEXODBClose(connection);
    return;
  }
  std::cerr << "kinolot: cannot reach the database server (" << DescribeDatabaseServer()
            << "): " << FirstLine(LibKinolot::VEXODBErrorGet(nullptr)) << "\n"
            << "Start the local one with scripts/run.sh, or name a server with --host.\n";
  throw CLI::RuntimeError(2);
}

}  // namespace kinolot_cli
