// A cached registry read against its peer: RegOpenKeyExW of a 4-level path, RegQueryValueExW of a
// DWORD and RegCloseKey, beside one prepared SQLite point select on an equivalent table (same
// pragmas, same key and folded-name look-up) in a database of its own.
#include "bench/sqlite_peer.h"
#include "kvdutu/platform/os/registry.h"

namespace P = KvdUtils::Platform;

namespace {

const wchar_t kPath[] = L"Software\\Bench\\Level3\\Level4";

struct Fixture {
  KvdBench::SqlitePeer peer;  // first: it points the registry at a private folder

  Fixture() {
    HKEY h;
    P::RegCreateKeyExW(HKEY_CURRENT_USER, kPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h, nullptr);
    DWORD v = 42;
    P::RegSetValueExW(h, L"Value", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), sizeof v);
    P::RegCloseKey(h);
  }
};

Fixture& fixture() {
  static Fixture f;
  return f;
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

void BM_RegistryCachedOpenQueryClose(benchmark::State& state) {
  fixture();
  registryRead();  // warm the path and value caches
  for (auto _ : state) benchmark::DoNotOptimize(registryRead());
}
BENCHMARK(BM_RegistryCachedOpenQueryClose);

void BM_PeerSqlitePointSelect(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(fixture().peer.read());
}
BENCHMARK(BM_PeerSqlitePointSelect);

// Both, interleaved in blocks so that they see the same machine state; reports the ratio.
void BM_RatioRegistryToPeer(benchmark::State& state) {
  fixture();
  registryRead();
  KvdBench::measureAgainstPeer(state, fixture().peer, registryRead);
}
BENCHMARK(BM_RatioRegistryToPeer);

}  // namespace
