// The idle connections of the process; see db_pool.h.
#include "platform/db_pool.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <vector>

#include "platform/db_session.h"

namespace LibKinolot {

namespace {

constexpr long kDefaultIdleLimit = 8;

// How many idle connections the process may keep: KINOLOT_DB_REUSE, read
// on every use so that a program may change it as it goes; 0 turns reuse
// off.
size_t IdleLimit() {
  const char* setting = std::getenv("KINOLOT_DB_REUSE");
  if (setting == nullptr || *setting == '\0') return kDefaultIdleLimit;
  char* end = nullptr;
  errno = 0;
  long limit = std::strtol(setting, &end, 10);
  if (errno != 0 || *end != '\0' || limit < 0) return kDefaultIdleLimit;
  return static_cast<size_t>(limit > 1000 ? 1000 : limit);
}

struct Pool {
  std::mutex mutex;
  pid_t pid = 0;                    // the process the idle connections belong to
  std::deque<DBConnect_tag*> idle;  // oldest first
  bool closed = false;              // the process is exiting
};

void LockPool();
void UnlockPool();
void DrainPool();

// Never destroyed: connections may be given back by other objects' static
// destructors after this unit's would have run.
Pool& ThePool() {
  static Pool* pool = [] {
    Pool* created = new Pool;
    created->pid = getpid();
    // The mutex must not be held across a fork, or the child could never
    // take it; idle sessions are ended politely at exit.
    pthread_atfork(LockPool, UnlockPool, UnlockPool);
    std::atexit(DrainPool);
    return created;
  }();
  return *pool;
}

void LockPool() {
  ThePool().mutex.lock();
}
void UnlockPool() {
  ThePool().mutex.unlock();
}

// Takes the idle list out of a pool whose connections belong to the parent
// process. Called with the mutex held.
std::vector<DBConnect_tag*> ForgetInherited(Pool& pool) {
  std::vector<DBConnect_tag*> inherited;
  if (pool.pid == getpid()) return inherited;
  inherited.assign(pool.idle.begin(), pool.idle.end());
  pool.idle.clear();
  pool.pid = getpid();
  return inherited;
}

void CloseAll(const std::vector<DBConnect_tag*>& connections) {
  for (DBConnect_tag* connection : connections) CloseSession(connection);
}

void DrainPool() {
  Pool& pool = ThePool();
  std::vector<DBConnect_tag*> idle;
  {
    std::lock_guard<std::mutex> lock(pool.mutex);
    idle.assign(pool.idle.begin(), pool.idle.end());
    pool.idle.clear();
    pool.closed = true;
  }
  CloseAll(idle);
}

std::string Setting(const char* given, const char* variable) {
  if (given != nullptr) return given;
  const char* value = std::getenv(variable);
  return value ? value : "";
}

}  // namespace

std::string PoolKey(const char* host, const char* user, const char* password,
                    const char* database) {
  // Whatever libpq would take from the environment is part of the key, so
  // that a program that changes PGHOST or PGOPTIONS gets what it asks for.
  std::string key;
  for (const std::string& part :
       {Setting(host, "PGHOST"), Setting(nullptr, "PGHOSTADDR"), Setting(nullptr, "PGPORT"),
        Setting(user, "PGUSER"), Setting(password, "PGPASSWORD"), Setting(database, "PGDATABASE"),
        Setting(nullptr, "PGOPTIONS"), Setting(nullptr, "PGSERVICE")}) {
    key += part;
    key += '\0';
  }
  return key;
}

DBConnect_tag* PoolTake(const std::string& key) {
  if (IdleLimit() == 0) return nullptr;
  Pool& pool = ThePool();
  std::vector<DBConnect_tag*> dead;
  DBConnect_tag* found = nullptr;
  while (found == nullptr) {
    DBConnect_tag* candidate = nullptr;
    {
      std::lock_guard<std::mutex> lock(pool.mutex);
      dead = ForgetInherited(pool);
      // The most recently used first: its server process is the warmest.
      for (auto it = pool.idle.rbegin(); it != pool.idle.rend(); ++it) {
        if ((*it)->key != key) continue;
        candidate = *it;
        pool.idle.erase(std::next(it).base());
        break;
      }
    }
    CloseAll(dead);
    dead.clear();
    if (candidate == nullptr) break;
    // Checked outside the lock; a server restarted since leaves only dead
    // connections behind, which are closed one after the other.
    if (SessionAlive(candidate)) {
      found = candidate;
    } else {
      CloseSession(candidate);
    }
  }
  return found;
}

bool PoolGive(DBConnect_tag* connection) {
  size_t limit = IdleLimit();
  if (limit == 0 || connection->key.empty() || !connection->reusable ||
      connection->in_transaction || connection->transaction_lost || connection->pid != getpid() ||
      PQstatus(connection->pg) != CONNECTION_OK ||
      PQtransactionStatus(connection->pg) != PQTRANS_IDLE) {
    return false;
  }
  Pool& pool = ThePool();
  std::vector<DBConnect_tag*> surplus;
  bool kept = false;
  {
    std::lock_guard<std::mutex> lock(pool.mutex);
    surplus = ForgetInherited(pool);
    if (!pool.closed) {
      connection->error.clear();
      pool.idle.push_back(connection);
      kept = true;
      while (pool.idle.size() > limit) {
        surplus.push_back(pool.idle.front());
        pool.idle.pop_front();
      }
    }
  }
  CloseAll(surplus);
  return kept;
}

}  // namespace LibKinolot
