// A cached registry read against its peer: RegOpenKeyExW of a 4-level path, RegQueryValueExW of a
// DWORD and RegCloseKey, beside one prepared SQLite point select on an equivalent table (same
// pragmas, same key and folded-name look-up) in a database of its own.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "kvdutu/platform/os/registry.h"

namespace P = KvdUtils::Platform;

namespace {

const wchar_t kPath[] = L"Software\\Bench\\Level3\\Level4";

struct Setup {
  std::string dir;
  sqlite3* db = nullptr;
  sqlite3_stmt* select = nullptr;

  Setup() {
    char tmpl[] = "/tmp/kvdutu-bench-XXXXXX";
    dir = mkdtemp(tmpl);
    setenv("KVDUTU_REGISTRY_DIR", dir.c_str(), 1);
    HKEY h;
    P::RegCreateKeyExW(HKEY_CURRENT_USER, kPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h, nullptr);
    DWORD v = 42;
    P::RegSetValueExW(h, L"Value", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), sizeof v);
    P::RegCloseKey(h);

    sqlite3_open((dir + "/peer.db").c_str(), &db);
    sqlite3_exec(db,
                 "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;"
                 "CREATE TABLE vals(id INTEGER PRIMARY KEY AUTOINCREMENT, key INTEGER NOT NULL, name BLOB NOT NULL,"
                 " folded BLOB NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL, UNIQUE(key, folded));"
                 "INSERT INTO vals(key,name,folded,type,data) VALUES(5, x'560061006C0075006500',"
                 " x'00560041004C00550045', 4, x'2A000000');",
                 nullptr, nullptr, nullptr);
    sqlite3_prepare_v3(db, "SELECT type,data FROM vals WHERE key=?1 AND folded=?2", -1, SQLITE_PREPARE_PERSISTENT,
                       &select, nullptr);
  }
  ~Setup() {
    sqlite3_finalize(select);
    sqlite3_close(db);
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
  }
};

Setup& setup() {
  static Setup s;
  return s;
}

DWORD registryRead() {
  HKEY h;
  DWORD v = 0, cb = sizeof v;
  if (P::RegOpenKeyExW(HKEY_CURRENT_USER, kPath, 0, KEY_READ, &h) == ERROR_SUCCESS) {
    P::RegQueryValueExW(h, L"Value", nullptr, nullptr, reinterpret_cast<LPBYTE>(&v), &cb);
    P::RegCloseKey(h);
  }
  return v;
}

DWORD sqliteRead() {
  static const unsigned char folded[] = {0, 'V', 0, 'A', 0, 'L', 0, 'U', 0, 'E'};
  sqlite3_stmt* s = setup().select;
  sqlite3_bind_int64(s, 1, 5);
  sqlite3_bind_blob(s, 2, folded, sizeof folded, SQLITE_STATIC);
  DWORD v = 0;
  if (sqlite3_step(s) == SQLITE_ROW && sqlite3_column_bytes(s, 1) == 4)
    std::memcpy(&v, sqlite3_column_blob(s, 1), 4);
  sqlite3_reset(s);
  return v;
}

void BM_RegistryCachedOpenQueryClose(benchmark::State& state) {
  setup();
  registryRead();  // warm the path cache
  for (auto _ : state) benchmark::DoNotOptimize(registryRead());
}
BENCHMARK(BM_RegistryCachedOpenQueryClose);

void BM_PeerSqlitePointSelect(benchmark::State& state) {
  setup();
  for (auto _ : state) benchmark::DoNotOptimize(sqliteRead());
}
BENCHMARK(BM_PeerSqlitePointSelect);

// Both, interleaved in blocks so that they see the same machine state; reports the ratio.
void BM_RatioRegistryToPeer(benchmark::State& state) {
  setup();
  using Clock = std::chrono::steady_clock;
  double regNs = 0, peerNs = 0;
  int64_t blocks = 0;
  for (auto _ : state) {
    auto t0 = Clock::now();
    for (int i = 0; i < 100; ++i) benchmark::DoNotOptimize(registryRead());
    auto t1 = Clock::now();
    for (int i = 0; i < 100; ++i) benchmark::DoNotOptimize(sqliteRead());
    auto t2 = Clock::now();
    regNs += std::chrono::duration<double, std::nano>(t1 - t0).count() / 100;
    peerNs += std::chrono::duration<double, std::nano>(t2 - t1).count() / 100;
    ++blocks;
  }
  state.counters["registry_ns"] = regNs / double(blocks);
  state.counters["peer_ns"] = peerNs / double(blocks);
  state.counters["ratio"] = regNs / peerNs;
}
BENCHMARK(BM_RatioRegistryToPeer);

}  // namespace
