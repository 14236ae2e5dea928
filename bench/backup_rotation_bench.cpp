// Rotation of five backup copies of a 200 MB design file beside `cp` of the same file, in the same
// run. A rotation in its steady state makes five whole copies (four older copies move up by
// copying, the file becomes copy 1), each written to a temporary name, synced and renamed over
// the older copy, whose blocks are freed then; so the peer is `cp` over an existing copy (it frees
// the old blocks when it truncates), measured plain and followed by `sync` of the copy, and the
// counters give the rotation per copy made.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/statvfs.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "kvdutu/files/backups.h"
#include "kvdutu/platform/os/resources.h"
#include "kvdutu/settings/registry_roots.h"
#include "kvdutu/settings/user_values.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::uintmax_t kFileSize = 200ull << 20;
constexpr int kCopies = 5;

struct Fixture {
  fs::path dir, design, peerTarget;
  std::string error;

  Fixture() {
    const char* base = getenv("KVDUTU_BENCH_DIR");
    std::string tmpl = std::string(base && *base ? base : "/tmp") + "/kvdutu-rotation-XXXXXX";
    if (!mkdtemp(tmpl.data())) {
      error = "cannot make the benchmark folder";
      return;
    }
    dir = tmpl;
    struct statvfs fsInfo{};
    // The file, five copies, the peer's copy and the temporary name of the copy in flight.
    if (statvfs(dir.c_str(), &fsInfo) == 0 && fsInfo.f_bavail * fsInfo.f_frsize < (kCopies + 3) * kFileSize) {
      error = "not enough free space for 8 x 200 MB";
      return;
    }
    setenv("KVDUTU_REGISTRY_DIR", (dir / "registry").c_str(), 1);
    fs::create_directories(dir / "registry");
    fs::create_directories(dir / "work");
    design = dir / "work" / "bracket.KVDPRT";
    peerTarget = dir / "peer-copy.KVDPRT";
    writeDesign();

    KvdUtils::Platform::RegisterStringResource(10122, L"Backup %sof ");
    setCurrKorvalindeRegSubKey(L"Korvalinde 2013");
    int copies = kCopies;
    regSetUserValue(L"General", L"Backup Copies", &copies);
    CString folder((dir / "backups").wstring().c_str());
    regSetUserValue(L"General", L"Backup directory", folder);
    // Fill the row so that every measured rotation moves all five copies.
    for (int i = 0; i < kCopies; ++i)
      if (!su_CreateBackupOfFile(CString(design.wstring().c_str()))) error = "a backup failed while filling the row";
  }
  ~Fixture() {
    std::error_code ec;
    if (!dir.empty()) fs::remove_all(dir, ec);
  }

  void writeDesign() {
    std::mt19937_64 random(7);
    std::vector<uint64_t> block(1 << 17);  // 1 MB of data that no file system compresses away
    std::ofstream out(design, std::ios::binary);
    for (std::uintmax_t written = 0; written < kFileSize; written += block.size() * 8) {
      for (auto& word : block) word = random();
      out.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(block.size() * 8));
    }
  }
};

Fixture& fixture() {
  static Fixture f;
  return f;
}

bool run(std::vector<std::string> args) {
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return false;
  int status = 0;
  return waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

double secondsOf(const Clock::time_point& from) {
  return std::chrono::duration<double>(Clock::now() - from).count();
}

void BM_RotateFiveBackupsOf200MBVsCp(benchmark::State& state) {
  Fixture& f = fixture();
  if (!f.error.empty()) {
    state.SkipWithError(f.error.c_str());
    return;
  }
  const CString path(f.design.wstring().c_str());
  if (!run({"cp", f.design.string(), f.peerTarget.string()}) || !run({"sync"})) {
    state.SkipWithError("cp could not be run");
    return;
  }
  double rotation = 0, cp = 0, cpSync = 0;
  for (auto _ : state) {
    auto t0 = Clock::now();
    const int made = su_CreateBackupOfFile(path);
    const double subject = secondsOf(t0);
    if (!made) {
      state.SkipWithError("the rotation failed");
      return;
    }
    t0 = Clock::now();
    const bool copied = run({"cp", f.design.string(), f.peerTarget.string()});
    cp += secondsOf(t0);
    t0 = Clock::now();
    const bool synced = run({"cp", f.design.string(), f.peerTarget.string()}) && run({"sync", f.peerTarget.string()});
    cpSync += secondsOf(t0);
    if (!copied || !synced) {
      state.SkipWithError("cp or sync could not be run");
      return;
    }
    rotation += subject;
    state.SetIterationTime(subject);
  }
  const double n = static_cast<double>(state.iterations());
  state.counters["rotation_ms"] = rotation / n * 1e3;
  state.counters["cp_ms"] = cp / n * 1e3;
  state.counters["cp_sync_ms"] = cpSync / n * 1e3;
  state.counters["ratio_vs_cp"] = rotation / cp;
  state.counters["per_copy_vs_cp_sync"] = rotation / kCopies / cpSync;
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kCopies * static_cast<int64_t>(kFileSize));
}
BENCHMARK(BM_RotateFiveBackupsOf200MBVsCp)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace
