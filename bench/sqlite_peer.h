// The peer that registry benchmarks are measured against: one prepared SQLite point select of a
// DWORD on a table shaped like a hive's value table (same pragmas, key id and folded-name look-up),
// in a database of its own. Also the private registry folder of a benchmark program.
#pragma once

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "bench/ratio.h"

namespace KvdBench {

class SqlitePeer {
 public:
  // Makes a private folder, points KVDUTU_REGISTRY_DIR at it, and builds the peer database there.
  SqlitePeer() {
    char tmpl[] = "/tmp/kvdutu-bench-XXXXXX";
    dir_ = mkdtemp(tmpl);
    setenv("KVDUTU_REGISTRY_DIR", dir_.c_str(), 1);
    sqlite3_open((dir_ + "/peer.db").c_str(), &db_);
    sqlite3_exec(db_,
                 "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;"
                 "CREATE TABLE vals(id INTEGER PRIMARY KEY AUTOINCREMENT, key INTEGER NOT NULL, name BLOB NOT NULL,"
                 " folded BLOB NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL, UNIQUE(key, folded));"
                 "INSERT INTO vals(key,name,folded,type,data) VALUES(5, x'560061006C0075006500',"
                 " x'00560041004C00550045', 4, x'2A000000');",
                 nullptr, nullptr, nullptr);
    sqlite3_prepare_v3(db_, "SELECT type,data FROM vals WHERE key=?1 AND folded=?2", -1, SQLITE_PREPARE_PERSISTENT,
                       &select_, nullptr);
  }
  ~SqlitePeer() {
    sqlite3_finalize(select_);
    sqlite3_close(db_);
    std::error_code ec;
    std::filesystem::remove_all(dir_, ec);
  }
  SqlitePeer(const SqlitePeer&) = delete;
  SqlitePeer& operator=(const SqlitePeer&) = delete;

  unsigned read() {
    static const unsigned char folded[] = {0, 'V', 0, 'A', 0, 'L', 0, 'U', 0, 'E'};
    sqlite3_bind_int64(select_, 1, 5);
    sqlite3_bind_blob(select_, 2, folded, sizeof folded, SQLITE_STATIC);
    unsigned v = 0;
    if (sqlite3_step(select_) == SQLITE_ROW && sqlite3_column_bytes(select_, 1) == 4)
      std::memcpy(&v, sqlite3_column_blob(select_, 1), 4);
    sqlite3_reset(select_);
    return v;
  }

  const std::string& dir() const { return dir_; }

 private:
  std::string dir_;
  sqlite3* db_ = nullptr;
  sqlite3_stmt* select_ = nullptr;
};

// `subject` against the SQLite point select (see ratio.h).
template <class Subject>
void measureAgainstPeer(benchmark::State& state, SqlitePeer& peer, Subject subject) {
  measureRatio(state, subject, [&peer] { return peer.read(); });
}

}  // namespace KvdBench
