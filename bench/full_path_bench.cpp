// The full path accessors beside the nearest std::filesystem::path operations, measured
// interleaved in the same run: getNameWithExt / filename, getName / stem, getExtension /
// extension, getDirectory / parent_path, and operator== (which asks the platform for the drive's
// remote name and the computer name on each side) / comparison of lexically normal paths.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>

#include "bench/ratio.h"
#include "kvdutu/files/full_path.h"

namespace {

// The same location in both forms; the drive table maps N to a share, as a design office has it.
const wchar_t kPath[] = L"N:\\designs\\project 7\\sub.assemblies\\bracket.rev2.KVDPRT";
const char kPeerPath[] = "/mnt/designs/project 7/sub.assemblies/bracket.rev2.KVDPRT";

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
  KvdBench::measureRatio(
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
  KvdBench::measureRatio(
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
  KvdBench::measureRatio(
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
  KvdBench::measureRatio(
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
  KvdBench::measureRatio(
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
  KvdBench::measureRatio(
      state, [&] { return f.path == other; },
      [&] { return f.peer.lexically_normal() == peerOther.lexically_normal(); });
}
BENCHMARK(BM_EqualityVsLexicallyNormal);

}  // namespace
