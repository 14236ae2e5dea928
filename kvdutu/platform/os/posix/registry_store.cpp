// The SQLite hive store. One connection per hive and process, used under the hive's mutex; every
// call is one transaction (reads of a single statement simply autocommit). Key paths already
// walked are remembered as parent/name edges; PRAGMA data_version tells when another process has
// committed, and then the edges are forgotten. Our own writes keep the edges up to date instead.
#include "kvdutu/platform/os/posix/registry_store_internal.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <random>
#include <thread>
#include <unordered_map>

namespace KvdUtils::Platform::RegistryStore {

namespace {

using Clock = std::chrono::steady_clock;

// A failed SQLite call; turned into a Win32 error code where the transaction ends.
struct SqlError {
  int rc;
};

enum Sql {
  kBegin,
  kBeginImmediate,
  kCommit,
  kRollback,
  kDataVersion,
  kFindChild,
  kKeyExists,
  kInsertKey,
  kTouchKey,
  kHasChildren,
  kDeleteKeyValues,
  kDeleteKey,
  kGetValue,
  kUpdateValue,
  kInsertValue,
  kDeleteValue,
  kEnumKey,
  kEnumValue,
  kInfoKeys,
  kInfoValues,
  kKeyTime,
  kSqlCount
};

const char* const kSqlText[kSqlCount] = {
    "BEGIN",
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "PRAGMA data_version",
    "SELECT id FROM keys WHERE parent=?1 AND folded=?2",
    "SELECT 1 FROM keys WHERE id=?1",
    "INSERT INTO keys(parent,name,folded,mtime) VALUES(?1,?2,?3,?4)",
    "UPDATE keys SET mtime=?2 WHERE id=?1",
    "SELECT 1 FROM keys WHERE parent=?1 LIMIT 1",
    "DELETE FROM vals WHERE key=?1",
    "DELETE FROM keys WHERE id=?1",
    "SELECT id,type,data FROM vals WHERE key=?1 AND folded=?2",
    "UPDATE vals SET type=?2,data=?3 WHERE id=?1",
    "INSERT INTO vals(key,name,folded,type,data) VALUES(?1,?2,?3,?4,?5)",
    "DELETE FROM vals WHERE key=?1 AND folded=?2",
    "SELECT name,mtime FROM keys WHERE parent=?1 ORDER BY folded LIMIT 1 OFFSET ?2",
    "SELECT name,type,data FROM vals WHERE key=?1 ORDER BY id LIMIT 1 OFFSET ?2",
    "SELECT count(*),coalesce(max(length(name)),0) FROM keys WHERE parent=?1",
    "SELECT count(*),coalesce(max(length(name)),0),coalesce(max(length(data)),0) FROM vals WHERE key=?1",
    "SELECT mtime FROM keys WHERE id=?1",
};

const char* const kSchema =
    "CREATE TABLE IF NOT EXISTS keys(id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER NOT NULL,"
    " name BLOB NOT NULL, folded BLOB NOT NULL, mtime INTEGER NOT NULL, UNIQUE(parent, folded));"
    "CREATE TABLE IF NOT EXISTS vals(id INTEGER PRIMARY KEY AUTOINCREMENT, key INTEGER NOT NULL,"
    " name BLOB NOT NULL, folded BLOB NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL,"
    " UNIQUE(key, folded));"
    "CREATE INDEX IF NOT EXISTS vals_by_key ON vals(key, id);"
    "INSERT OR IGNORE INTO keys(id,parent,name,folded,mtime) VALUES(1,0,x'',x'',0);"
    "PRAGMA user_version=1;";

const char* const kFileNames[] = {"HKCR.db", "HKCU.db", "HKLM.db", "HKU.DEFAULT.db"};

int64_t nowFileTime() {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  return (int64_t(ts.tv_sec) + 11644473600LL) * 10000000LL + ts.tv_nsec / 100;
}

Bytes toLe(const Name& n) {
  Bytes b(n.size() * 2, '\0');
  for (size_t i = 0; i < n.size(); ++i) {
    b[2 * i] = char(n[i] & 0xFF);
    b[2 * i + 1] = char(n[i] >> 8);
  }
  return b;
}

Name fromLe(const void* p, int bytes) {
  const auto* s = static_cast<const unsigned char*>(p);
  Name n(size_t(bytes / 2), u'\0');
  for (size_t i = 0; i < n.size(); ++i) n[i] = char16_t(s[2 * i] | (s[2 * i + 1] << 8));
  return n;
}

// Upper-cased, big-endian: byte order is the order of the folded units.
Bytes folded(const Name& n) {
  Bytes b(n.size() * 2, '\0');
  for (size_t i = 0; i < n.size(); ++i) {
    char16_t c = upcaseUnit(n[i]);
    b[2 * i] = char(c >> 8);
    b[2 * i + 1] = char(c & 0xFF);
  }
  return b;
}

std::string edgeKey(int64_t parent, const Bytes& fold) {
  std::string k(reinterpret_cast<const char*>(&parent), sizeof parent);
  k += fold;
  return k;
}

std::string hiveDir(HiveId id) {
  if (const char* d = std::getenv("KVDUTU_REGISTRY_DIR"); d && *d) return d;
  if (id == HiveId::CurrentUser) {
    std::string base;
    if (const char* x = std::getenv("XDG_CONFIG_HOME"); x && *x == '/') {
      base = x;
    } else if (const char* home = std::getenv("HOME"); home && *home) {
      base = std::string(home) + "/.config";
    } else {
      base = "/tmp";
    }
    return base + "/kvdutu/registry";
  }
  return "/var/lib/kvdutu/registry";
}

// A random short pause, so that processes waiting for the write lock take turns instead of the
// last one to arrive backing off longest.
void pause(int attempt) {
  thread_local std::minstd_rand rng(unsigned(getpid()) * 2654435761u ^
                                    unsigned(Clock::now().time_since_epoch().count()));
  int cap = attempt < 20 ? 400 : 2000;
  std::this_thread::sleep_for(std::chrono::microseconds(50 + rng() % cap));
}

constexpr auto kBusyPatience = std::chrono::seconds(120);

int busyHandler(void* arg, int count) {
  auto* start = static_cast<Clock::time_point*>(arg);
  if (count == 0) *start = Clock::now();
  if (Clock::now() - *start > kBusyPatience) return 0;
  pause(count);
  return 1;
}

}  // namespace

class Hive {
 public:
  explicit Hive(HiveId id) : id_(id) {}

  enum class State { Closed, Open, Absent };
  // Auto: single-statement reads that autocommit and use no remembered path (so they need no
  // data_version check: a key id found in a handle is checked by the statement itself).
  // Walk: like Auto, but walks paths through the remembered edges.
  enum class Mode { Auto, Walk, Read, Write };

  HiveId id_;
  std::mutex mu;
  State state = State::Closed;
  bool writable = false;
  sqlite3* db = nullptr;
  sqlite3_stmt* stmt[kSqlCount] = {};
  int64_t dataVersion = -1;
  Clock::time_point busyStart;
  std::unordered_map<std::string, int64_t> edges;

  std::string path() const { return hiveDir(id_) + "/" + kFileNames[int(id_)]; }

  void check(int rc) {
    if (rc != SQLITE_OK && rc != SQLITE_ROW && rc != SQLITE_DONE) throw SqlError{rc};
  }

  // A prepared statement, reset and unbound when the scope ends.
  class Use {
   public:
    Use(Hive& h, Sql which) : h_(h), s_(h.stmt[which]) {}
    ~Use() {
      sqlite3_reset(s_);
      sqlite3_clear_bindings(s_);
    }
    Use& bind(int i, int64_t v) {
      h_.check(sqlite3_bind_int64(s_, i, v));
      return *this;
    }
    Use& bind(int i, const Bytes& b) {
      h_.check(sqlite3_bind_blob(s_, i, b.data(), int(b.size()), SQLITE_STATIC));
      return *this;
    }
    bool step() {
      int rc = sqlite3_step(s_);
      if (rc == SQLITE_ROW) return true;
      if (rc == SQLITE_DONE) return false;
      throw SqlError{rc};
    }
    int64_t i64(int col) { return sqlite3_column_int64(s_, col); }
    Bytes blob(int col) {
      const void* p = sqlite3_column_blob(s_, col);
      int n = sqlite3_column_bytes(s_, col);
      return p ? Bytes(static_cast<const char*>(p), size_t(n)) : Bytes();
    }
    Name name(int col) {
      const void* p = sqlite3_column_blob(s_, col);
      return p ? fromLe(p, sqlite3_column_bytes(s_, col)) : Name();
    }

   private:
    Hive& h_;
    sqlite3_stmt* s_;
  };

  void exec(Sql which) {
    Use u(*this, which);
    u.step();
  }

  void close() {
    for (auto*& s : stmt) {
      if (s) sqlite3_finalize(s);
      s = nullptr;
    }
    if (db) sqlite3_close(db);
    db = nullptr;
    state = State::Closed;
    edges.clear();
    dataVersion = -1;
  }

  int readUserVersion(int* version) {
    return sqlite3_exec(
        db, "PRAGMA user_version",
        [](void* out, int, char** v, char**) {
          *static_cast<int*>(out) = v[0] ? std::atoi(v[0]) : 0;
          return 0;
        },
        version, nullptr);
  }

  // Opens the file and makes the schema. A file that cannot be made or opened leaves the hive
  // absent: empty to readers, closed to writers.
  void open() {
    if (state == State::Open) return;
    close();
    std::string dir = hiveDir(id_);
    std::error_code ec;
    if (!std::filesystem::is_directory(dir, ec)) {
      std::filesystem::create_directories(dir, ec);
      if (!ec && id_ == HiveId::CurrentUser && !std::getenv("KVDUTU_REGISTRY_DIR"))
        ::chmod(dir.c_str(), 0700);
    }
    int rc = sqlite3_open_v2(path().c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                             nullptr);
    if (rc != SQLITE_OK) {
      close();
      state = State::Absent;
      return;
    }
    sqlite3_extended_result_codes(db, 1);
    sqlite3_busy_handler(db, busyHandler, &busyStart);
    writable = sqlite3_db_readonly(db, "main") == 0;
    if (writable) check(sqlite3_exec(db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;", nullptr, nullptr, nullptr));
    int version = 0;
    rc = readUserVersion(&version);
    if (rc != SQLITE_OK && !writable && (rc & 0xFF) != SQLITE_NOTADB && (rc & 0xFF) != SQLITE_CORRUPT) {
      // A WAL database that we may only read needs its shared-memory file, which we may be unable
      // to make (a machine hive whose writers have all closed). Read the file as it stands: every
      // write was checkpointed into it when the last writer closed.
      close();
      std::string uri = "file:";
      for (char c : path()) {
        if (c == '?' || c == '#' || c == '%') {
          char hex[4];
          std::snprintf(hex, sizeof hex, "%%%02X", unsigned(uint8_t(c)));
          uri += hex;
        } else {
          uri += c;
        }
      }
      uri += "?immutable=1";
      if (sqlite3_open_v2(uri.c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX, nullptr) !=
          SQLITE_OK) {
        close();
        state = State::Absent;
        return;
      }
      sqlite3_extended_result_codes(db, 1);
      writable = false;
      rc = readUserVersion(&version);
    }
    check(rc);
    if (version == 0) {
      if (!writable) {
        close();
        state = State::Absent;
        return;
      }
      check(sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr));
      rc = sqlite3_exec(db, kSchema, nullptr, nullptr, nullptr);
      if (rc == SQLITE_OK) rc = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
      if (rc != SQLITE_OK) {
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        throw SqlError{rc};
      }
    }
    for (int i = 0; i < kSqlCount; ++i)
      check(sqlite3_prepare_v3(db, kSqlText[i], -1, SQLITE_PREPARE_PERSISTENT, &stmt[i], nullptr));
    state = State::Open;
  }

  // Renames the database and its companions out of the way; never deletes a byte of them.
  void setAside() {
    close();
    std::string base = path();
    std::string stamp = ".corrupt-" + std::to_string(long(std::time(nullptr)));
    std::string target = base + stamp;
    for (int n = 1; ::access(target.c_str(), F_OK) == 0; ++n) target = base + stamp + "-" + std::to_string(n);
    std::rename(base.c_str(), target.c_str());
    std::rename((base + "-wal").c_str(), (target + "-wal").c_str());
    std::rename((base + "-shm").c_str(), (target + "-shm").c_str());
  }

  // Another process committed since we last looked: what we remember may be stale.
  void refreshCache() {
    Use u(*this, kDataVersion);
    u.step();
    int64_t v = u.i64(0);
    if (v != dataVersion) {
      edges.clear();
      dataVersion = v;
    }
  }

  // Runs `body` as one transaction, retrying when the hive is busy; `absent` answers for a hive
  // without a file.
  template <class Body, class Absent>
  LONG run(Mode mode, Body&& body, Absent&& absent) {
    std::lock_guard<std::mutex> lock(mu);
    auto deadline = Clock::now() + kBusyPatience;
    for (int attempt = 0;; ++attempt) {
      bool inTxn = false;
      try {
        open();
        if (state == State::Absent) return mode == Mode::Write ? LONG(ERROR_ACCESS_DENIED) : absent();
        if (mode == Mode::Write && !writable) return ERROR_ACCESS_DENIED;
        if (mode == Mode::Read || mode == Mode::Write) {
          exec(mode == Mode::Write ? kBeginImmediate : kBegin);
          inTxn = true;
        }
        if (mode == Mode::Walk || mode == Mode::Write) refreshCache();
        LONG r = body();
        if (inTxn) {
          exec(kCommit);
          inTxn = false;
        }
        return r;
      } catch (const SqlError& e) {
        if (inTxn && db) sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        int primary = e.rc & 0xFF;
        bool ready = state == State::Open;
        if (!ready && primary != SQLITE_CORRUPT && primary != SQLITE_NOTADB) close();  // half opened: again
        edges.clear();
        dataVersion = -1;
        switch (primary) {
          case SQLITE_BUSY:
          case SQLITE_LOCKED:
            if (Clock::now() < deadline) {
              pause(attempt);
              continue;
            }
            return ERROR_BUSY;
          case SQLITE_CORRUPT:
          case SQLITE_NOTADB:
            setAside();
            return ERROR_REGISTRY_CORRUPT;
          case SQLITE_READONLY:
          case SQLITE_PERM:
          case SQLITE_AUTH:
            return ERROR_ACCESS_DENIED;
          case SQLITE_FULL:
            return ERROR_DISK_FULL;
          case SQLITE_NOMEM:
            return ERROR_NOT_ENOUGH_MEMORY;
          default:
            // An I/O failure may leave the connection in any state; start again next time.
            close();
            return ERROR_REGISTRY_IO_FAILED;
        }
      }
    }
  }

  // ---- Pieces used inside a transaction ------------------------------------------------------

  bool exists(int64_t key) {
    Use u(*this, kKeyExists);
    return u.bind(1, key).step();
  }

  // The child `name` of `parent`, or 0.
  int64_t child(int64_t parent, const Bytes& fold) {
    std::string ek = edgeKey(parent, fold);
    if (auto it = edges.find(ek); it != edges.end()) return it->second;
    Use u(*this, kFindChild);
    if (!u.bind(1, parent).bind(2, fold).step()) return 0;
    int64_t id = u.i64(0);
    if (edges.size() > 100000) edges.clear();
    edges.emplace(std::move(ek), id);
    return id;
  }

  void touch(int64_t key, int64_t now) {
    Use u(*this, kTouchKey);
    u.bind(1, key).bind(2, now).step();
  }
};

Hive& hive(HiveId id) {
  static Hive hives[] = {Hive(HiveId::ClassesRoot), Hive(HiveId::CurrentUser), Hive(HiveId::LocalMachine),
                         Hive(HiveId::UsersDefault)};
  return hives[int(id)];
}

namespace {
LONG absentKey(int64_t key) { return key == kRootKeyId ? ERROR_SUCCESS : ERROR_KEY_DELETED; }
}  // namespace

LONG openPath(Hive& h, int64_t key, const std::vector<Name>& path, int64_t* out) {
  return h.run(
      Hive::Mode::Walk,
      [&]() -> LONG {
        int64_t cur = key;
        bool checked = false;
        for (const Name& comp : path) {
          int64_t next = h.child(cur, folded(comp));
          if (!next) {
            if (!checked && !h.exists(key)) return ERROR_KEY_DELETED;
            return ERROR_FILE_NOT_FOUND;
          }
          cur = next;
          checked = true;  // a child was found, so the start key exists
        }
        if (!checked && !h.exists(key)) return ERROR_KEY_DELETED;
        *out = cur;
        return ERROR_SUCCESS;
      },
      [&]() -> LONG {
        if (key != kRootKeyId) return ERROR_KEY_DELETED;
        if (!path.empty()) return ERROR_FILE_NOT_FOUND;
        *out = key;
        return ERROR_SUCCESS;
      });
}

LONG createPath(Hive& h, int64_t key, const std::vector<Name>& path, int64_t* out, bool* created) {
  // Most creates find the key already there: answer those without taking the write lock.
  int64_t found = 0;
  LONG rc = openPath(h, key, path, &found);
  if (rc == ERROR_SUCCESS || rc == ERROR_KEY_DELETED) {
    *out = found;
    *created = false;
    return rc;
  }
  return h.run(
      Hive::Mode::Write,
      [&]() -> LONG {
        if (!h.exists(key)) return ERROR_KEY_DELETED;
        int64_t cur = key;
        bool made = false;
        int64_t now = nowFileTime();
        for (const Name& comp : path) {
          Bytes fold = folded(comp);
          int64_t next = h.child(cur, fold);
          if (!next) {
            Hive::Use ins(h, kInsertKey);
            ins.bind(1, cur).bind(2, toLe(comp)).bind(3, fold).bind(4, now).step();
            next = sqlite3_last_insert_rowid(h.db);
            h.edges.emplace(edgeKey(cur, fold), next);
            h.touch(cur, now);
            made = true;
          } else {
            made = false;
          }
          cur = next;
        }
        *out = cur;
        *created = made;
        return ERROR_SUCCESS;
      },
      [] { return LONG(ERROR_ACCESS_DENIED); });
}

LONG deletePath(Hive& h, int64_t key, const std::vector<Name>& path) {
  return h.run(
      Hive::Mode::Write,
      [&]() -> LONG {
        if (!h.exists(key)) return ERROR_KEY_DELETED;
        int64_t parent = 0, cur = key;
        Bytes fold;
        for (const Name& comp : path) {
          fold = folded(comp);
          int64_t next = h.child(cur, fold);
          if (!next) return ERROR_FILE_NOT_FOUND;
          parent = cur;
          cur = next;
        }
        if (cur == kRootKeyId) return ERROR_ACCESS_DENIED;
        {
          Hive::Use u(h, kHasChildren);
          if (u.bind(1, cur).step()) return ERROR_ACCESS_DENIED;  // as Windows refuses it
        }
        {
          Hive::Use u(h, kDeleteKeyValues);
          u.bind(1, cur).step();
        }
        {
          Hive::Use u(h, kDeleteKey);
          u.bind(1, cur).step();
        }
        // The key's own edge: found through a handle to it we do not know its parent, so forget all.
        if (parent) {
          h.edges.erase(edgeKey(parent, fold));
          h.touch(parent, nowFileTime());
        } else {
          h.edges.clear();
        }
        return ERROR_SUCCESS;
      },
      [] { return LONG(ERROR_ACCESS_DENIED); });
}

LONG keyExists(Hive& h, int64_t key) {
  return h.run(
      Hive::Mode::Auto, [&]() -> LONG { return h.exists(key) ? ERROR_SUCCESS : ERROR_KEY_DELETED; },
      [&] { return absentKey(key); });
}

bool hiveIsWritable(Hive& h) {
  std::lock_guard<std::mutex> lock(h.mu);
  try {
    h.open();
  } catch (const SqlError&) {
    h.close();
    return true;  // the operation itself will meet the failure and report it
  }
  return h.state == Hive::State::Open && h.writable;
}

LONG queryValue(Hive& h, int64_t key, const Name& name, DWORD* type, Bytes* data) {
  return h.run(
      Hive::Mode::Auto,
      [&]() -> LONG {
        {
          Hive::Use u(h, kGetValue);
          if (u.bind(1, key).bind(2, folded(name)).step()) {
            *type = DWORD(u.i64(1));
            *data = u.blob(2);
            return ERROR_SUCCESS;
          }
        }
        return h.exists(key) ? ERROR_FILE_NOT_FOUND : ERROR_KEY_DELETED;
      },
      [&] {
        LONG rc = absentKey(key);
        return rc ? rc : LONG(ERROR_FILE_NOT_FOUND);
      });
}

LONG setValue(Hive& h, int64_t key, const Name& name, DWORD type, const Bytes& data) {
  return h.run(
      Hive::Mode::Write,
      [&]() -> LONG {
        if (!h.exists(key)) return ERROR_KEY_DELETED;
        Bytes fold = folded(name);
        int64_t id = 0;
        {
          Hive::Use u(h, kGetValue);
          if (u.bind(1, key).bind(2, fold).step()) {
            if (DWORD(u.i64(1)) == type && u.blob(2) == data) return ERROR_SUCCESS;  // nothing to change
            id = u.i64(0);
          }
        }
        if (id) {
          Hive::Use u(h, kUpdateValue);
          u.bind(1, id).bind(2, int64_t(type)).bind(3, data).step();
        } else {
          Hive::Use u(h, kInsertValue);
          u.bind(1, key).bind(2, toLe(name)).bind(3, fold).bind(4, int64_t(type)).bind(5, data).step();
        }
        h.touch(key, nowFileTime());
        return ERROR_SUCCESS;
      },
      [] { return LONG(ERROR_ACCESS_DENIED); });
}

LONG deleteValue(Hive& h, int64_t key, const Name& name) {
  return h.run(
      Hive::Mode::Write,
      [&]() -> LONG {
        if (!h.exists(key)) return ERROR_KEY_DELETED;
        {
          Hive::Use u(h, kDeleteValue);
          u.bind(1, key).bind(2, folded(name)).step();
        }
        if (sqlite3_changes(h.db) == 0) return ERROR_FILE_NOT_FOUND;
        h.touch(key, nowFileTime());
        return ERROR_SUCCESS;
      },
      [] { return LONG(ERROR_ACCESS_DENIED); });
}

LONG enumKey(Hive& h, int64_t key, DWORD index, Name* name, int64_t* mtime) {
  return h.run(
      Hive::Mode::Auto,
      [&]() -> LONG {
        {
          Hive::Use u(h, kEnumKey);
          if (u.bind(1, key).bind(2, int64_t(index)).step()) {
            *name = u.name(0);
            *mtime = u.i64(1);
            return ERROR_SUCCESS;
          }
        }
        return h.exists(key) ? ERROR_NO_MORE_ITEMS : ERROR_KEY_DELETED;
      },
      [&] {
        LONG rc = absentKey(key);
        return rc ? rc : LONG(ERROR_NO_MORE_ITEMS);
      });
}

LONG enumValue(Hive& h, int64_t key, DWORD index, Name* name, DWORD* type, Bytes* data) {
  return h.run(
      Hive::Mode::Auto,
      [&]() -> LONG {
        {
          Hive::Use u(h, kEnumValue);
          if (u.bind(1, key).bind(2, int64_t(index)).step()) {
            *name = u.name(0);
            *type = DWORD(u.i64(1));
            *data = u.blob(2);
            return ERROR_SUCCESS;
          }
        }
        return h.exists(key) ? ERROR_NO_MORE_ITEMS : ERROR_KEY_DELETED;
      },
      [&] {
        LONG rc = absentKey(key);
        return rc ? rc : LONG(ERROR_NO_MORE_ITEMS);
      });
}

LONG queryInfo(Hive& h, int64_t key, KeyInfo* info) {
  return h.run(
      Hive::Mode::Read,
      [&]() -> LONG {
        {
          Hive::Use u(h, kKeyTime);
          if (!u.bind(1, key).step()) return ERROR_KEY_DELETED;
          info->mtime = u.i64(0);
        }
        {
          Hive::Use u(h, kInfoKeys);
          u.bind(1, key).step();
          info->subKeys = DWORD(u.i64(0));
          info->maxSubKeyLen = DWORD(u.i64(1) / 2);
        }
        Hive::Use u(h, kInfoValues);
        u.bind(1, key).step();
        info->values = DWORD(u.i64(0));
        info->maxValueNameLen = DWORD(u.i64(1) / 2);
        info->maxValueLen = DWORD(u.i64(2));
        return ERROR_SUCCESS;
      },
      [&] {
        *info = KeyInfo{};
        return absentKey(key);
      });
}

std::string hiveFilePath(HiveId id) { return hive(id).path(); }

void resetForTesting() {
  for (int i = 0; i < int(HiveId::Count); ++i) {
    Hive& h = hive(HiveId(i));
    std::lock_guard<std::mutex> lock(h.mu);
    h.close();
  }
}

}  // namespace KvdUtils::Platform::RegistryStore
