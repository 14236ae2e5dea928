// User values against the SQLite peer: a first-stage hit of an integer and of a string, a miss
// that runs the whole reading ladder, and a 5000-character chunked string.
#include "bench/sqlite_peer.h"
#include "kvdutu/settings/registry_roots.h"
#include "kvdutu/settings/user_values.h"

namespace {

struct Fixture {
  KvdBench::SqlitePeer peer;  // first: it points the registry at a private folder
  CString section{L"Bench\\Options"};

  Fixture() {
    setCurrKorvalindeRegSubKey(L"Korvalinde 2013");
    int number = 42;
    regSetUserValue(section, L"Number", &number);
    CString text(L"a short setting");
    regSetUserValue(section, L"Text", text);
    CString longText(L'x', 5000);
    regSetUserValue(section, L"LongText", longText);
  }
};

Fixture& fixture() {
  static Fixture f;
  return f;
}

int readInt() {
  int v = 0;
  regGetUserValue(fixture().section, L"Number", &v);
  return v;
}

int readString() {
  CString v;
  regGetUserValue(fixture().section, L"Text", v);
  return v.GetLength();
}

int readMissing() {
  int v = 0;
  return regGetUserValue(fixture().section, L"NoSuchValue", &v);
}

int readChunked() {
  CString v;
  regGetUserValue(fixture().section, L"LongText", v);
  return v.GetLength();
}

void BM_UserValueIntFirstStageHit(benchmark::State& state) {
  readInt();
  for (auto _ : state) benchmark::DoNotOptimize(readInt());
}
BENCHMARK(BM_UserValueIntFirstStageHit);

void BM_UserValueStringFirstStageHit(benchmark::State& state) {
  readString();
  for (auto _ : state) benchmark::DoNotOptimize(readString());
}
BENCHMARK(BM_UserValueStringFirstStageHit);

void BM_UserValueFullLadderMiss(benchmark::State& state) {
  readMissing();
  for (auto _ : state) benchmark::DoNotOptimize(readMissing());
}
BENCHMARK(BM_UserValueFullLadderMiss);

void BM_UserValueChunked5000(benchmark::State& state) {
  if (readChunked() != 5000) state.SkipWithError("the chunked string did not read back");
  for (auto _ : state) benchmark::DoNotOptimize(readChunked());
}
BENCHMARK(BM_UserValueChunked5000);

void BM_PeerSqlitePointSelect(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(fixture().peer.read());
}
BENCHMARK(BM_PeerSqlitePointSelect);

void BM_RatioIntHitToPeer(benchmark::State& state) {
  readInt();
  KvdBench::measureAgainstPeer(state, fixture().peer, readInt);
}
BENCHMARK(BM_RatioIntHitToPeer);

void BM_RatioStringHitToPeer(benchmark::State& state) {
  readString();
  KvdBench::measureAgainstPeer(state, fixture().peer, readString);
}
BENCHMARK(BM_RatioStringHitToPeer);

}  // namespace
