// The fuzz targets' connection; see fuzz_database.h.
#include "fuzz_database.h"

#include <cstdio>
#include <cstdlib>

namespace kinolot_fuzz {

FuzzDatabase::~FuzzDatabase() {
  if (conn_ != nullptr) PQfinish(conn_);
}

bool FuzzDatabase::Open() {
  conn_ = PQconnectdb("dbname=video_metadata user=admin");
  if (PQstatus(conn_) != CONNECTION_OK) {
    fprintf(stderr, "no database: %s", PQerrorMessage(conn_));
    PQfinish(conn_);
    conn_ = nullptr;
    return false;
  }
  PQclear(PQexec(conn_, "SET client_min_messages = warning"));
  return true;
}

void FuzzDatabase::Exec(const std::string& sql) {
  PGresult* result = PQexec(conn_, sql.c_str());
  ExecStatusType status = PQresultStatus(result);
  if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
    fprintf(stderr, "%s: %s", sql.c_str(), PQerrorMessage(conn_));
    abort();
  }
  PQclear(result);
}

std::string FuzzDatabase::Value(const std::string& sql) {
  PGresult* result = PQexec(conn_, sql.c_str());
  if (PQresultStatus(result) != PGRES_TUPLES_OK) {
    fprintf(stderr, "%s: %s", sql.c_str(), PQerrorMessage(conn_));
    abort();
  }
  std::string value = PQntuples(result) > 0 ? PQgetvalue(result, 0, 0) : "";
  PQclear(result);
  return value;
}

bool FuzzDatabase::Accepts(const std::string& text, const char* type) {
  const std::string sql = std::string("SELECT $1::") + type;
  const char* values[] = {text.c_str()};
  PGresult* result = PQexecParams(conn_, sql.c_str(), 1, nullptr, values, nullptr, nullptr, 0);
  bool accepted = PQresultStatus(result) == PGRES_TUPLES_OK;
  PQclear(result);
  return accepted;
}

void Check(bool condition, const char* what) {
  if (condition) return;
  fprintf(stderr, "finding: %s\n", what);
  abort();
}

}  // namespace kinolot_fuzz
