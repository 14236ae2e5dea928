// The SQLite hive store. One connection per hive and process, used under the hive's mutex; every
// call is one transaction (reads of a single statement simply autocommit).
//
// Caches. Key paths already walked are remembered as parent/name edges, and values read or written
// lately as (key id, folded name) -> type and bytes (or "absent"). Our own writes keep both up to
// date under the hive's mutex, so every thread of the process sees them at once. Another process's
// commit must empty them before our next read; two oracles tell us when:
//
//  * PRAGMA data_version (one read transaction, ~2 us): differs from the last reading exactly when
//    another connection committed in between. Complete but dear: the slow path.
//
//  * The change counter "<hive file>-gen" (see registry.h): two 64-bit counters in a shared mapping,
//    `begun` and `ended`. A writer, holding SQLite's write lock and just before COMMIT of a
//    transaction that changed something, first sets ended = begun (repairing a writer that died
//    between the two steps: only the lock holder can be mid-write, and a dead one has released
//    the lock, its transaction committed or gone), then increments begun; after COMMIT returns it
//    raises ended to its own begun value. Both only grow and ended <= begun, so a reader that loads
//    ended then begun and finds them equal knows they were equal at one instant: every commit
//    announced so far had completed, none was under way. The caches carry the label g under which
//    they were last confirmed (counters read BEFORE the SQLite read that confirmed or filled them);
//    while begun == ended == g no commit can have happened since, and the caches answer without
//    SQLite. Anything else (counters moved, a write under way, a killed writer not yet repaired,
//    no counter file) takes the slow path, which relabels the caches when the counters are settled.
//
// The counter file is created once with the hive file's permissions, sized once and never
// truncated (so a mapping of it cannot fault, unlike a mapping of SQLite's -shm, which SQLite
// truncates). It is created only under the write lock, and a writer without a mapping looks for it
// under the write lock: so no write can slip past a process that trusts its caches. A writer that
// finds the file but may not update it refuses the write rather than leave others stale. Where the
// file cannot be made (a read-only folder) everyone falls back to data_version.
#include "kvdutu/platform/os/posix/registry_store_internal.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <list>
#include <mutex>
#include <random>
#include <string_view>
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

// What a new hive holds besides its root: every Windows user, machine and default-user hive has a
// "Software" key, and callers open it rather than create it. Names are stored as created
// (UTF-16LE) and folded (upper case, big-endian so that the bytes sort as the names do).
const char* const kSoftwareKey =
    "INSERT OR IGNORE INTO keys(parent,name,folded,mtime)"
    " VALUES(1, x'53006F00660074007700610072006500', x'0053004F004600540057004100520045', 0);";

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

// (key id, folded name) as one string: the key of both caches.
void cacheKey(int64_t id, const Name& name, std::string* out) {
  out->resize(sizeof id + name.size() * 2);
  std::memcpy(out->data(), &id, sizeof id);
  char* p = out->data() + sizeof id;
  for (char16_t unit : name) {
    char16_t c = upcaseUnit(unit);
    *p++ = char(c >> 8);
    *p++ = char(c & 0xFF);
  }
}

void cacheKey(int64_t id, const Bytes& fold, std::string* out) {
  out->assign(reinterpret_cast<const char*>(&id), sizeof id);
  *out += fold;
}

std::atomic<WriteHook> g_writeHook{nullptr};

void writeHook(WritePoint point) {
  if (WriteHook hook = g_writeHook.load(std::memory_order_relaxed)) hook(point);
}

constexpr uint64_t kNoLabel = ~uint64_t(0);
constexpr size_t kGenFileSize = 4096;

// The mapped change counter file: words[0] is `begun`, words[1] `ended` (see the top of the file).
struct Generation {
  uint64_t* words = nullptr;
  bool writable = false;

  uint64_t begun() const { return __atomic_load_n(&words[0], __ATOMIC_SEQ_CST); }
  uint64_t ended() const { return __atomic_load_n(&words[1], __ATOMIC_SEQ_CST); }

  // True when no announced write is under way; *g is then the generation. `ended` first: with
  // both counters growing and ended <= begun, equal readings mean equal at the first load.
  bool settled(uint64_t* g) const {
    uint64_t e = ended();
    uint64_t b = begun();
    *g = e;
    return b == e;
  }

  void raiseEnded(uint64_t to) {
    uint64_t cur = __atomic_load_n(&words[1], __ATOMIC_RELAXED);
    while (cur < to && !__atomic_compare_exchange_n(&words[1], &cur, to, true, __ATOMIC_SEQ_CST, __ATOMIC_RELAXED)) {
    }
  }

  // Under the write lock: close the write of a writer that died, announce ours.
  uint64_t begin() {
    raiseEnded(begun());
    return __atomic_add_fetch(&words[0], 1, __ATOMIC_SEQ_CST);
  }

  void unmap() {
    if (words) ::munmap(words, kGenFileSize);
    words = nullptr;
    writable = false;
  }
};

enum class GenResult { Mapped, Missing, Unusable };

// Maps "<db>-gen". `create` (only under the hive's write lock) makes it when missing, with the
// database file's mode and, for root, its owner, as SQLite does for its -wal and -shm files; and
// sizes a file left short by a creator that died. Without `create` a missing or short file is
// Missing. A file that is there but may not be used as asked is Unusable (*err says why).
GenResult mapGeneration(const std::string& db, bool writable, bool create, Generation* g, int* err) {
  std::string file = db + "-gen";
  *err = 0;
  int fd = ::open(file.c_str(), (writable ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NOFOLLOW);
  if (fd < 0 && errno == ENOENT && create) {
    struct stat st{};
    if (::stat(db.c_str(), &st) != 0) return GenResult::Missing;
    mode_t mode = st.st_mode & 0777;
    fd = ::open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode);
    if (fd < 0 && errno == EEXIST) return mapGeneration(db, writable, create, g, err);
    if (fd < 0) {
      *err = errno;
      return GenResult::Missing;  // a folder we may not write: nobody can have made it
    }
    if (::fchmod(fd, mode) != 0 || (::geteuid() == 0 && ::fchown(fd, st.st_uid, st.st_gid) != 0)) {
      // The file stays as made: usable by us, and a process that may not use it falls back or is
      // refused its writes as for any counter file it cannot use.
    }
  }
  if (fd < 0 && writable && (errno == EACCES || errno == EPERM || errno == EROFS)) {
    // We may write the hive but not the counters: map them for reading; writes will be refused.
    int why = errno;
    mapGeneration(db, false, false, g, err);
    *err = why;
    return GenResult::Unusable;
  }
  if (fd < 0) {
    *err = errno;
    return errno == ENOENT ? GenResult::Missing : GenResult::Unusable;
  }
  struct stat st{};
  GenResult result = GenResult::Mapped;
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    *err = EINVAL;
    result = GenResult::Unusable;
  } else if (size_t(st.st_size) < kGenFileSize && (!create || ::ftruncate(fd, off_t(kGenFileSize)) != 0)) {
    // Growing never disturbs a mapping; only a creator under the lock does it.
    *err = create ? errno : 0;
    result = create ? GenResult::Unusable : GenResult::Missing;
  } else {
    void* p = ::mmap(nullptr, kGenFileSize, writable ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, fd, 0);
    if (p == MAP_FAILED) {
      *err = errno;
      // A file system without shared mappings: no process can use the counters there.
      result = errno == ENODEV ? GenResult::Missing : GenResult::Unusable;
    } else {
      g->unmap();
      g->words = static_cast<uint64_t*>(p);
      g->writable = writable;
    }
  }
  ::close(fd);
  return result;
}

// Values read or written lately, most recently used first, bounded in number and bytes.
class ValueCache {
 public:
  struct Entry {
    bool present = false;  // false: the key exists and has no such value
    DWORD type = REG_NONE;
    Bytes data;
  };

  const Entry* find(const std::string& k) {
    auto it = index_.find(std::string_view(k));
    if (it == index_.end()) return nullptr;
    lru_.splice(lru_.begin(), lru_, it->second);
    return &it->second->entry;
  }

  void put(const std::string& k, bool present, DWORD type, const Bytes& data) {
    if (data.size() > kValueCacheMaxValueBytes) {
      erase(k);
      return;
    }
    if (auto it = index_.find(std::string_view(k)); it != index_.end()) {
      Entry& e = it->second->entry;
      bytes_ += data.size();
      bytes_ -= e.data.size();
      e.present = present;
      e.type = type;
      e.data = data;
      lru_.splice(lru_.begin(), lru_, it->second);
    } else {
      lru_.push_front(Node{k, Entry{present, type, data}});
      index_.emplace(std::string_view(lru_.front().key), lru_.begin());
      bytes_ += cost(lru_.front());
    }
    while (lru_.size() > kValueCacheMaxEntries || bytes_ > kValueCacheMaxBytes) drop(std::prev(lru_.end()));
  }

  void erase(const std::string& k) {
    if (auto it = index_.find(std::string_view(k)); it != index_.end()) drop(it->second);
  }

  // Every value of one key.
  void eraseKey(int64_t id) {
    for (auto it = lru_.begin(); it != lru_.end();) {
      auto next = std::next(it);
      if (std::memcmp(it->key.data(), &id, sizeof id) == 0) drop(it);
      it = next;
    }
  }

  void clear() {
    index_.clear();
    lru_.clear();
    bytes_ = 0;
  }

  size_t size() const { return lru_.size(); }
  size_t bytes() const { return bytes_; }

 private:
  struct Node {
    std::string key;
    Entry entry;
  };
  static size_t cost(const Node& n) { return sizeof(Node) + 64 + n.key.size() + n.entry.data.size(); }
  void drop(std::list<Node>::iterator it) {
    bytes_ -= cost(*it);
    index_.erase(std::string_view(it->key));
    lru_.erase(it);
  }

  std::list<Node> lru_;
  std::unordered_map<std::string_view, std::list<Node>::iterator> index_;  // views of the nodes' keys
  size_t bytes_ = 0;
};

}  // namespace

class Hive {
 public:
  explicit Hive(HiveId id) : id_(id) {}

  enum class State { Closed, Open, Absent };
  // Auto: single-statement reads that autocommit and use no remembered path (so they need no
  // data_version check: a key id found in a handle is checked by the statement itself).
  // Walk: like Auto, but walks paths through the remembered edges.
  // Cached: like Auto, but answers from the value cache when it can be trusted.
  enum class Mode { Auto, Walk, Cached, Read, Write };

  HiveId id_;
  std::mutex mu;
  State state = State::Closed;
  bool writable = false;
  sqlite3* db = nullptr;
  sqlite3_stmt* stmt[kSqlCount] = {};
  int64_t dataVersion = -1;
  Clock::time_point busyStart;
  std::unordered_map<std::string, int64_t> edges;
  ValueCache values;
  Generation gen;
  uint64_t label = kNoLabel;  // the generation under which the caches were last confirmed
  std::string scratch;        // a cache key being looked up

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
    gen.unmap();
    forget();
  }

  void forget() {
    edges.clear();
    values.clear();
    label = kNoLabel;
    dataVersion = -1;
  }

  // The caches may answer without SQLite: no commit began since they were confirmed.
  bool cachesCurrent() const {
    if (!gen.words || label == kNoLabel) return false;
    return gen.ended() == label && gen.begun() == label;
  }

  // The slow path: confirm or empty the caches through data_version, and label them with the
  // counters as they were before that read.
  void refreshCache() {
    uint64_t g = 0;
    bool settled = gen.words && gen.settled(&g);
    int64_t v;
    {
      Use u(*this, kDataVersion);
      u.step();
      v = u.i64(0);
    }
    if (v != dataVersion) {
      forget();
      dataVersion = v;
      // Another process wrote: it may have made the counter file we could not find before.
      if (!gen.words) {
        int err = 0;
        mapGeneration(path(), writable, false, &gen, &err);
      }
    }
    label = settled ? g : kNoLabel;
  }

  // Called under the write lock before COMMIT of a transaction that changed something. A return
  // other than 0 refuses the write: others may trust counters that we could not move.
  LONG announceWrite(uint64_t* begun) {
    *begun = 0;
    if (!gen.words || !gen.writable) {
      int err = 0;
      GenResult r = mapGeneration(path(), true, true, &gen, &err);
      if (!gen.words || !gen.writable) {
        if (r == GenResult::Missing) {
          gen.unmap();
          return ERROR_SUCCESS;  // no counter file, and none can appear while we hold the lock
        }
        return err == EACCES || err == EPERM || err == EROFS ? LONG(ERROR_ACCESS_DENIED)
                                                             : LONG(ERROR_REGISTRY_IO_FAILED);
      }
    }
    *begun = gen.begin();
    writeHook(WritePoint::Begun);
    return ERROR_SUCCESS;
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
      if (rc == SQLITE_OK && id_ != HiveId::ClassesRoot) rc = sqlite3_exec(db, kSoftwareKey, nullptr, nullptr, nullptr);
      if (rc == SQLITE_OK) rc = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
      if (rc != SQLITE_OK) {
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        throw SqlError{rc};
      }
    }
    for (int i = 0; i < kSqlCount; ++i)
      check(sqlite3_prepare_v3(db, kSqlText[i], -1, SQLITE_PREPARE_PERSISTENT, &stmt[i], nullptr));
    state = State::Open;
    openGeneration();
  }

  // Maps the counter file, making it under the write lock when it is missing and we may write.
  // Any failure leaves the hive on the slow path.
  void openGeneration() {
    int err = 0;
    if (mapGeneration(path(), writable, false, &gen, &err) != GenResult::Missing || !writable) return;
    if (sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) != SQLITE_OK) return;
    mapGeneration(path(), true, true, &gen, &err);
    if (sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK)
      sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
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
        if (mode == Mode::Write) {
          refreshCache();
          int changesBefore = sqlite3_total_changes(db);
          LONG r = body();
          uint64_t begun = 0;
          if (sqlite3_total_changes(db) != changesBefore) {
            if (LONG refused = announceWrite(&begun)) {
              sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
              forget();
              return refused;
            }
          }
          exec(kCommit);
          inTxn = false;
          if (begun) {
            writeHook(WritePoint::Committed);
            gen.raiseEnded(begun);
            // Our caches matched the hive when the transaction began (refreshCache) and the body
            // kept them up to date: they are the hive as of our own generation.
            label = begun;
          }
          return r;
        }
        if (mode == Mode::Walk && !cachesCurrent()) refreshCache();
        // Cached reads pay for data_version only when it relabels the caches for the reads after.
        if (mode == Mode::Cached && !cachesCurrent()) {
          uint64_t g = 0;
          if (gen.words && gen.settled(&g)) refreshCache();
        }
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
        // A write that failed after announcing itself leaves begun ahead of ended: readers take
        // the slow path until the next writer closes it, as after a writer that was killed.
        forget();
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
    cacheKey(parent, fold, &scratch);
    return childOfScratch(parent);
  }
  int64_t child(int64_t parent, const Name& name) {
    cacheKey(parent, name, &scratch);
    return childOfScratch(parent);
  }
  // The child whose cache key is in `scratch`.
  int64_t childOfScratch(int64_t parent) {
    if (auto it = edges.find(scratch); it != edges.end()) return it->second;
    Bytes fold(scratch, sizeof parent);
    Use u(*this, kFindChild);
    if (!u.bind(1, parent).bind(2, fold).step()) return 0;
    int64_t id = u.i64(0);
    if (edges.size() > 100000) edges.clear();
    edges.emplace(scratch, id);
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

// A walk answered from the edges alone, when they can be trusted; false sends it to SQLite.
bool openCached(Hive& h, int64_t key, const std::vector<Name>& path, int64_t* out) {
  std::lock_guard<std::mutex> lock(h.mu);
  if (h.state != Hive::State::Open || !h.cachesCurrent()) return false;
  if (path.empty() && key != kRootKeyId) return false;  // its existence needs a look
  int64_t cur = key;
  for (const Name& comp : path) {
    cacheKey(cur, comp, &h.scratch);
    auto it = h.edges.find(h.scratch);
    if (it == h.edges.end()) return false;
    cur = it->second;
  }
  *out = cur;
  return true;
}

LONG openPath(Hive& h, int64_t key, const std::vector<Name>& path, int64_t* out) {
  if (openCached(h, key, path, out)) return ERROR_SUCCESS;
  return h.run(
      Hive::Mode::Walk,
      [&]() -> LONG {
        int64_t cur = key;
        bool checked = false;
        for (const Name& comp : path) {
          int64_t next = h.child(cur, comp);
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
        h.values.eraseKey(cur);
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

namespace {
// The value in the cache when the cache can be trusted; `h.scratch` holds its cache key.
bool valueFromCache(Hive& h, int64_t key, const Name& name, DWORD* type, Bytes* data, LONG* rc) {
  if (!h.cachesCurrent()) return false;
  cacheKey(key, name, &h.scratch);
  const ValueCache::Entry* e = h.values.find(h.scratch);
  if (!e) return false;
  if (!e->present) {
    *rc = ERROR_FILE_NOT_FOUND;
  } else {
    *type = e->type;
    *data = e->data;
    *rc = ERROR_SUCCESS;
  }
  return true;
}
}  // namespace

LONG queryValue(Hive& h, int64_t key, const Name& name, DWORD* type, Bytes* data) {
  {
    std::lock_guard<std::mutex> lock(h.mu);
    LONG rc;
    if (h.state == Hive::State::Open && valueFromCache(h, key, name, type, data, &rc)) return rc;
  }
  return h.run(
      Hive::Mode::Cached,
      [&]() -> LONG {
        LONG rc;
        if (valueFromCache(h, key, name, type, data, &rc)) return rc;
        Bytes fold = folded(name);
        cacheKey(key, fold, &h.scratch);
        {
          Hive::Use u(h, kGetValue);
          if (u.bind(1, key).bind(2, fold).step()) {
            *type = DWORD(u.i64(1));
            *data = u.blob(2);
            if (h.gen.words) h.values.put(h.scratch, true, *type, *data);
            return ERROR_SUCCESS;
          }
        }
        if (!h.exists(key)) return ERROR_KEY_DELETED;
        if (h.gen.words) h.values.put(h.scratch, false, REG_NONE, Bytes());
        return ERROR_FILE_NOT_FOUND;
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
        cacheKey(key, fold, &h.scratch);
        h.values.put(h.scratch, true, type, data);
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
        Bytes fold = folded(name);
        {
          Hive::Use u(h, kDeleteValue);
          u.bind(1, key).bind(2, fold).step();
        }
        cacheKey(key, fold, &h.scratch);
        h.values.put(h.scratch, false, REG_NONE, Bytes());
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

void setWriteHookForTesting(WriteHook hook) { g_writeHook.store(hook, std::memory_order_relaxed); }

CacheStats cacheStatsForTesting(HiveId id) {
  Hive& h = hive(id);
  std::lock_guard<std::mutex> lock(h.mu);
  return CacheStats{h.values.size(), h.values.bytes(), h.edges.size()};
}

void resetForTesting() {
  for (int i = 0; i < int(HiveId::Count); ++i) {
    Hive& h = hive(HiveId(i));
    std::lock_guard<std::mutex> lock(h.mu);
    h.close();
  }
}

}  // namespace KvdUtils::Platform::RegistryStore
