// The full path accessors beside the nearest std::filesystem::path operations, measured
// interleaved in the same run: getNameWithExt / filename, getName / stem, getExtension /
// extension, getDirectory / parent_path, and operator== (which asks the platform for the drive's
// remote name and the computer name on each side) / comparison of lexically normal paths.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>

#include "kvdutu/files/full_path.h"

namespace {

// The same location in both forms; the drive table maps N to a share, as a design office has it.
const wchar_t kPath[] = L"N:\\designs\\project 7\\sub.assemblies\\bracket.rev2.KVDPRT";
const char kPeerPath[] = "/mnt/designs/project 7/sub.assemblies/bracket.rev2.KVDPRT";

// Runs `subject` and `peer` interleaved in blocks of 100 so that both see the same machine state,
// and reports their mean times and the ratio subject / peer.
template <class Subject, class Peer>
void measure(benchmark::State& state, Subject subject, Peer peer) {
  using Clock = std::chrono::steady_clock;
  double subjectNs = 0, peerNs = 0;
  int64_t blocks = 0;
  for (auto _ : state) {
    auto t0 = Clock::now();
    for (int i = 0; i < 100; ++i) benchmark::DoNotOptimize(subject());
    auto t1 = Clock::now();
    for (int i = 0; i < 100; ++i) benchmark::DoNotOptimize(peer());
    auto t2 = Clock::now();
    subjectNs += std::chrono::duration<double, std::nano>(t1 - t0).count() / 100;
    peerNs += std::chrono::duration<double, std::nano>(t2 - t1).count() / 100;
    ++blocks;
  }
  state.counters["subject_ns"] = subjectNs / double(blocks);
  state.counters["peer_ns"] = peerNs / double(blocks);
  state.counters["ratio"] = subjectNs / peerNs;
}

struct Fixture {
  suFullPath_c path{kPath};
  std::filesystem::path peer{kPeerPath};
  Fixture() { setenv("KVDUTU_DRIVES", "C=/tmp;N=\\\\fileserver\\designs", 1); }
};

Fixture& fixture() {
  static Fixture f;
  return f;
}

void BM_NameWithExtVsFilename(benchmark::State& state) {
  Fixture& f = fixture();
  measure(
      state,
      [&] {
        CString out;
        f.path.getNameWithExt(&out);
        return out.GetLength();
      },
      [&] { return f.peer.filename().native().size(); });
}
BENCHMARK(BM_NameWithExtVsFilename);

void BM_NameVsStem(benchmark::State& state) {
  Fixture& f = fixture();
  measure(
      state,
      [&] {
        CString out;
        f.path.getName(&out, 0);
        return out.GetLength();
      },
      [&] { return f.peer.stem().native().size(); });
}
BENCHMARK(BM_NameVsStem);

void BM_NameKnownExtensionVsStem(benchmark::State& state) {
  Fixture& f = fixture();
  measure(
      state,
      [&] {
        CString out;
        f.path.getName(&out, 1);
        return out.GetLength();
      },
      [&] { return f.peer.stem().native().size(); });
}
BENCHMARK(BM_NameKnownExtensionVsStem);

void BM_ExtensionVsExtension(benchmark::State& state) {
  Fixture& f = fixture();
  measure(
      state,
      [&] {
        CString out;
        f.path.getExtension(&out);
        return out.GetLength();
      },
      [&] { return f.peer.extension().native().size(); });
}
BENCHMARK(BM_ExtensionVsExtension);

void BM_DirectoryVsParentPath(benchmark::State& state) {
  Fixture& f = fixture();
  measure(
      state,
      [&] {
        CString out;
        f.path.getDirectory(&out, 0);
        return out.GetLength();
      },
      [&] { return f.peer.parent_path().native().size(); });
}
BENCHMARK(BM_DirectoryVsParentPath);

void BM_EqualityVsLexicallyNormal(benchmark::State& state) {
  Fixture& f = fixture();
  const suFullPath_c other(L"\\\\fileserver\\designs\\designs\\project 7\\sub.assemblies\\bracket.rev2.KVDPRT");
  const std::filesystem::path peerOther("/mnt/designs//project 7/./sub.assemblies/bracket.rev2.KVDPRT");
  measure(
      state, [&] { return f.path == other; },
      [&] { return f.peer.lexically_normal() == peerOther.lexically_normal(); });
}
BENCHMARK(BM_EqualityVsLexicallyNormal);

}  // namespace
