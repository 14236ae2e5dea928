// What only the SQLite hives have to show: several real processes on one hive, writers killed at
// random moments, corrupt and read-only hive files, the exact folding table, and arguments on which
// Windows itself would crash.
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "kvdutu/platform/os/posix/registry_store_internal.h"
#include "kvdutu/platform/os/registry.h"
#include "support/test_env.h"

extern char** environ;

namespace P = KvdUtils::Platform;
namespace Store = KvdUtils::Platform::RegistryStore;
namespace fs = std::filesystem;

namespace {

struct Child {
  pid_t pid = -1;
  int out = -1;  // the child's standard output
};

Child spawnChild(const std::vector<std::string>& args) {
  int fds[2];
  EXPECT_EQ(pipe2(fds, O_CLOEXEC), 0);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
  std::string exe = (KvdTest::binDir() / "reg_child").string();
  std::vector<char*> argv{const_cast<char*>(exe.c_str())};
  for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  Child c;
  EXPECT_EQ(posix_spawn(&c.pid, exe.c_str(), &actions, nullptr, argv.data(), environ), 0) << exe;
  posix_spawn_file_actions_destroy(&actions);
  close(fds[1]);
  c.out = fds[0];
  return c;
}

std::string readAll(int fd) {
  std::string s;
  char buf[4096];
  for (ssize_t n; (n = read(fd, buf, sizeof buf)) != 0;) {
    if (n < 0) {
      if (errno == EINTR) continue;
      break;
    }
    s.append(buf, size_t(n));
  }
  close(fd);
  return s;
}

// Waits for the child; its exit code, or 128 + signal.
int finish(Child& c, std::string* output = nullptr) {
  std::string out = readAll(c.out);
  if (output) *output = out;
  int status = 0;
  waitpid(c.pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int run(const std::vector<std::string>& args, std::string* output = nullptr) {
  Child c = spawnChild(args);
  return finish(c, output);
}

// A DWORD value as read: the result code and, on success, the value; equal to a number when it
// was read and is that number.
struct Read {
  LONG rc;
  DWORD value;
  bool operator==(DWORD v) const { return rc == ERROR_SUCCESS && value == v; }
};
void PrintTo(const Read& r, std::ostream* os) { *os << "{result " << r.rc << ", value " << r.value << "}"; }

Read queryDword(HKEY h, const wchar_t* name) {
  DWORD type = 0, cb = sizeof(DWORD);
  Read r{0, 0};
  r.rc = P::RegQueryValueExW(h, name, nullptr, &type, reinterpret_cast<LPBYTE>(&r.value), &cb);
  if (r.rc == ERROR_SUCCESS) EXPECT_EQ(type, DWORD(REG_DWORD));
  return r;
}

Read getDword(HKEY root, const std::wstring& key, const std::wstring& name) {
  HKEY h;
  if (LONG rc = P::RegOpenKeyExW(root, key.c_str(), 0, KEY_READ, &h)) return Read{rc, 0};
  Read r = queryDword(h, name.c_str());
  P::RegCloseKey(h);
  return r;
}

LONG setDword(HKEY root, const std::wstring& key, const std::wstring& name, DWORD v) {
  HKEY h;
  if (LONG rc = P::RegCreateKeyExW(root, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &h, nullptr)) return rc;
  LONG rc = P::RegSetValueExW(h, name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), sizeof v);
  P::RegCloseKey(h);
  return rc;
}

std::string integrityCheck(const std::string& file) {
  sqlite3* db = nullptr;
  std::string result = "cannot open";
  if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
    sqlite3_exec(
        db, "PRAGMA integrity_check",
        [](void* out, int, char** v, char**) {
          *static_cast<std::string*>(out) = v[0] ? v[0] : "";
          return 0;
        },
        &result, nullptr);
  }
  sqlite3_close(db);
  return result;
}

std::vector<std::wstring> subkeys(HKEY h) {
  std::vector<std::wstring> out;
  wchar_t name[300];
  for (DWORD i = 0;; ++i) {
    DWORD cch = 300;
    if (P::RegEnumKeyExW(h, i, name, &cch, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    out.emplace_back(name);
  }
  return out;
}

// The change counters of a hive as its file holds them: {begun, ended}.
std::pair<uint64_t, uint64_t> counters(Store::HiveId id) {
  uint64_t words[2] = {~uint64_t(0), ~uint64_t(0)};
  int fd = open((Store::hiveFilePath(id) + "-gen").c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_GE(fd, 0);
  if (fd >= 0) {
    EXPECT_EQ(pread(fd, words, sizeof words, 0), ssize_t(sizeof words));
    close(fd);
  }
  return {words[0], words[1]};
}

// UTF-16LE and folded (upper-case UTF-16BE) bytes of an ASCII name, as the hive stores them.
std::string le(const std::string& ascii) {
  std::string b;
  for (char c : ascii) b += {c, '\0'};
  return b;
}
std::string foldedBe(const std::string& ascii) {
  std::string b;
  for (char c : ascii) b += {'\0', char(std::toupper(static_cast<unsigned char>(c)))};
  return b;
}

// Points the hives at another folder for one test and back again afterwards.
class HiveDirScope {
 public:
  explicit HiveDirScope(const std::string& dir) : old_(std::getenv("KVDUTU_REGISTRY_DIR")) {
    Store::resetForTesting();
    setenv("KVDUTU_REGISTRY_DIR", dir.c_str(), 1);
  }
  ~HiveDirScope() {
    Store::resetForTesting();
    setenv("KVDUTU_REGISTRY_DIR", old_.c_str(), 1);
  }

 private:
  std::string old_;
};

TEST(RegistryPosix, FoldingTableIsFixedAndOrdersSubkeysByUpperCase) {
  // {unit, its fold}: Latin-1, Latin Extended-A pairs, Cyrillic, Greek, full-width a, sharp s (no
  // one-unit upper case) and a lone surrogate.
  const std::pair<char16_t, char16_t> folds[] = {{u'a', u'A'},           {u'z', u'Z'},           {u'_', u'_'},
                                                 {u'\u00E9', u'\u00C9'}, {u'\u00FF', u'\u0178'}, {u'\u0101', u'\u0100'},
                                                 {u'\u0100', u'\u0100'}, {u'\u0436', u'\u0416'}, {u'\u03C3', u'\u03A3'},
                                                 {u'\uFF41', u'\uFF21'}, {u'\u00DF', u'\u00DF'}, {0xD83D, 0xD83D}};
  for (auto [unit, folded] : folds) EXPECT_EQ(int(Store::upcaseUnit(unit)), int(folded)) << std::hex << int(unit);

  // Windows orders by upper case: "_" (0x5F) after "Z" (0x5A). (Wine folds to lower case and puts
  // it first, so this lives here rather than in the shared suite.)
  HKEY k;
  ASSERT_EQ(P::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Fold", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &k,
                               nullptr),
            ERROR_SUCCESS);
  for (const wchar_t* n : {L"_x", L"b", L"[", L"A", L"z"}) {
    HKEY c;
    ASSERT_EQ(P::RegCreateKeyW(k, n, &c), ERROR_SUCCESS);
    P::RegCloseKey(c);
  }
  EXPECT_EQ(subkeys(k), (std::vector<std::wstring>{L"A", L"b", L"z", L"[", L"_x"}));
  P::RegCloseKey(k);
}

TEST(RegistryPosix, ArgumentsWindowsWouldCrashOnGiveErrorCodes) {
  HKEY k;
  ASSERT_EQ(P::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Args", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &k,
                               nullptr),
            ERROR_SUCCESS);
  DWORD cch = 10;
  wchar_t name[10];
  EXPECT_EQ(P::RegEnumKeyExW(k, 0, nullptr, &cch, nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(P::RegEnumKeyExW(k, 0, name, nullptr, nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(P::RegEnumValueW(k, 0, nullptr, &cch, nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(P::RegOpenKeyExW(k, L"", 0, KEY_READ, nullptr), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(P::RegCreateKeyExW(k, L"x", 0, nullptr, 0, KEY_READ, nullptr, nullptr, nullptr), ERROR_INVALID_PARAMETER);
  // A code point beyond Unicode in a name cannot be stored as UTF-16.
  const wchar_t bad[] = {L'a', wchar_t(0x110000), 0};
  HKEY h;
  EXPECT_EQ(P::RegCreateKeyExW(k, bad, 0, nullptr, 0, KEY_READ, nullptr, &h, nullptr), ERROR_INVALID_PARAMETER);
  DWORD v = 1;
  EXPECT_EQ(P::RegSetValueExW(k, bad, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), 4), ERROR_INVALID_PARAMETER);
  // RegQueryInfoKeyW needs KEY_QUERY_VALUE, as documented (Wine does not check).
  ASSERT_EQ(P::RegOpenKeyExW(k, L"", 0, KEY_SET_VALUE, &h), ERROR_SUCCESS);
  DWORD n = 0;
  EXPECT_EQ(P::RegQueryInfoKeyW(h, nullptr, nullptr, nullptr, &n, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr),
            ERROR_ACCESS_DENIED);
  P::RegCloseKey(h);
  P::RegCloseKey(k);
}

TEST(RegistryPosix, RewritingWhatIsThereChangesNothing) {
  ASSERT_EQ(setDword(HKEY_CURRENT_USER, L"Software\\Same", L"v", 5), ERROR_SUCCESS);
  HKEY k;
  ASSERT_EQ(P::RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Same", 0, KEY_ALL_ACCESS, &k), ERROR_SUCCESS);
  FILETIME before{}, after{};
  ASSERT_EQ(P::RegQueryInfoKeyW(k, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, &before),
            ERROR_SUCCESS);
  std::string wal = Store::hiveFilePath(Store::HiveId::CurrentUser) + "-wal";
  auto walSize = fs::file_size(wal);
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  DWORD disp = 0;
  HKEY again;
  ASSERT_EQ(P::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Same", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &again,
                               &disp),
            ERROR_SUCCESS);
  EXPECT_EQ(disp, DWORD(REG_OPENED_EXISTING_KEY));
  P::RegCloseKey(again);
  DWORD v = 5;
  ASSERT_EQ(P::RegSetValueExW(k, L"V", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), 4), ERROR_SUCCESS);
  EXPECT_EQ(fs::file_size(wal), walSize);
  ASSERT_EQ(P::RegQueryInfoKeyW(k, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, &after),
            ERROR_SUCCESS);
  EXPECT_EQ(after.dwLowDateTime, before.dwLowDateTime);
  // A different value is a change.
  v = 6;
  ASSERT_EQ(P::RegSetValueExW(k, L"V", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), 4), ERROR_SUCCESS);
  EXPECT_GT(fs::file_size(wal), walSize);
  P::RegCloseKey(k);
}

TEST(RegistryPosix, SeveralProcessesAtOnceLoseNoWriteAndNeverReportBusy) {
  constexpr int kWriters = 4, kEach = 30;
  std::vector<Child> children;
  for (int w = 0; w < kWriters; ++w) {
    std::string own = "Software\\Multi\\w" + std::to_string(w);
    children.push_back(spawnChild({"write", own, "v", std::to_string(kEach)}));
    children.push_back(spawnChild({"write", "Software\\Multi\\shared", "w" + std::to_string(w) + "-",
                                   std::to_string(kEach)}));
  }
  for (int r = 0; r < 2; ++r) children.push_back(spawnChild({"read", "Software\\Multi\\shared", "200"}));
  for (auto& c : children) {
    std::string out;
    EXPECT_EQ(finish(c, &out), 0) << out;
    EXPECT_EQ(out.find("ERR"), std::string::npos) << out;
  }
  for (int w = 0; w < kWriters; ++w)
    for (int i = 0; i < kEach; ++i) {
      std::wstring own = L"Software\\Multi\\w" + std::to_wstring(w);
      ASSERT_EQ(getDword(HKEY_CURRENT_USER, own, L"v" + std::to_wstring(i)), DWORD(i));
      ASSERT_EQ(getDword(HKEY_CURRENT_USER, L"Software\\Multi\\shared",
                         L"w" + std::to_wstring(w) + L"-" + std::to_wstring(i)),
                DWORD(i));
    }
}

TEST(RegistryPosix, KilledWritersLoseNothingTheyAcknowledged) {
  // A steady writer keeps the hive busy while others are killed mid-write.
  Child steady = spawnChild({"write", "Software\\Kill\\steady", "s", "100000"});
  std::mt19937 rng(std::random_device{}());
  std::vector<std::set<int>> acked;
  constexpr int kRounds = 40;
  for (int round = 0; round < kRounds; ++round) {
    Child c = spawnChild({"write", "Software\\Kill\\k" + std::to_string(round), "v", "100000"});
    std::this_thread::sleep_for(std::chrono::milliseconds(5 + rng() % 60));
    kill(c.pid, SIGKILL);
    std::string out;
    finish(c, &out);
    std::set<int> done;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);)
      if (!lines.eof() && !line.empty()) done.insert(std::stoi(line));  // complete lines only
    acked.push_back(done);
  }
  kill(steady.pid, SIGKILL);
  std::string steadyOut;
  finish(steady, &steadyOut);
  EXPECT_EQ(steadyOut.find("ERR"), std::string::npos);

  int total = 0;
  for (int round = 0; round < kRounds; ++round)
    for (int i : acked[size_t(round)]) {
      ASSERT_EQ(getDword(HKEY_CURRENT_USER, L"Software\\Kill\\k" + std::to_wstring(round), L"v" + std::to_wstring(i)),
                DWORD(i))
          << "round " << round << " value " << i;
      ++total;
    }
  EXPECT_GT(total, 0);
  EXPECT_EQ(integrityCheck(Store::hiveFilePath(Store::HiveId::CurrentUser)), "ok");
}

TEST(RegistryPosix, CorruptHiveIsSetAsideAndReportedWhileOtherHivesWork) {
  fs::path dir = KvdTest::scratchDir("corrupt");
  HiveDirScope scope(dir.string());
  ASSERT_EQ(setDword(HKEY_LOCAL_MACHINE, L"Software\\Before", L"v", 1), ERROR_SUCCESS);
  ASSERT_EQ(setDword(HKEY_CLASSES_ROOT, L"Kept", L"v", 1), ERROR_SUCCESS);
  Store::resetForTesting();

  // One hive is not a database at all, another has a sound header over garbage pages.
  std::string machine = Store::hiveFilePath(Store::HiveId::LocalMachine);
  std::string garbage(8192, 'x');
  {
    std::ofstream(machine, std::ios::binary | std::ios::trunc) << garbage;
  }
  std::string classes = Store::hiveFilePath(Store::HiveId::ClassesRoot);
  {
    std::fstream f(classes, std::ios::binary | std::ios::in | std::ios::out);
    f.seekp(100);
    std::string junk(3000, '\xA5');
    f.write(junk.data(), std::streamsize(junk.size()));
  }

  EXPECT_EQ(getDword(HKEY_LOCAL_MACHINE, L"Software\\Before", L"v").rc, ERROR_REGISTRY_CORRUPT);
  EXPECT_EQ(getDword(HKEY_CLASSES_ROOT, L"Kept", L"v").rc, ERROR_REGISTRY_CORRUPT);
  // The current user's hive is untouched.
  EXPECT_EQ(setDword(HKEY_CURRENT_USER, L"Software\\Fine", L"v", 7), ERROR_SUCCESS);
  EXPECT_EQ(getDword(HKEY_CURRENT_USER, L"Software\\Fine", L"v"), 7u);

  // The bad files were renamed, every byte kept, and the hives start afresh.
  int setAside = 0;
  for (const auto& e : fs::directory_iterator(dir)) {
    std::string name = e.path().filename().string();
    if (name.rfind("HKLM.db.corrupt-", 0) == 0 && name.find("-wal") == std::string::npos &&
        name.find("-shm") == std::string::npos) {
      EXPECT_EQ(KvdTest::readBytes(e.path()), garbage);
      ++setAside;
    }
    if (name.rfind("HKCR.db.corrupt-", 0) == 0 && name.find("-wal") == std::string::npos &&
        name.find("-shm") == std::string::npos)
      ++setAside;
  }
  EXPECT_EQ(setAside, 2);
  EXPECT_EQ(getDword(HKEY_LOCAL_MACHINE, L"Software\\Before", L"v").rc, ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(setDword(HKEY_LOCAL_MACHINE, L"Software\\After", L"v", 2), ERROR_SUCCESS);
  EXPECT_EQ(getDword(HKEY_LOCAL_MACHINE, L"Software\\After", L"v"), 2u);
}

TEST(RegistryPosix, HiveFileTheUserMayNotWriteRefusesWrites) {
  fs::path dir = KvdTest::scratchDir("readonly");
  ::chmod(dir.c_str(), 0755);
  HiveDirScope scope(dir.string());
  ASSERT_EQ(setDword(HKEY_LOCAL_MACHINE, L"Software\\Locked", L"v", 9), ERROR_SUCCESS);
  Store::resetForTesting();  // the last connection closes: everything is in the main file
  std::string file = Store::hiveFilePath(Store::HiveId::LocalMachine);
  ASSERT_EQ(::chmod(file.c_str(), 0444), 0);

  // root may write any file, so the check runs in a child that drops to "nobody".
  std::string out;
  ASSERT_EQ(run({"readonly", "Software\\Locked", "v", geteuid() == 0 ? "1" : "0"}, &out), 0) << out;
  EXPECT_NE(out.find("read 0 9\n"), std::string::npos) << out;
  EXPECT_NE(out.find("setThroughReadHandle 5\n"), std::string::npos) << out;
  EXPECT_NE(out.find("openForWrite 5\n"), std::string::npos) << out;
  EXPECT_NE(out.find("create 5\n"), std::string::npos) << out;
  ::chmod(file.c_str(), 0644);
  EXPECT_EQ(getDword(HKEY_LOCAL_MACHINE, L"Software\\Locked", L"v"), 9u);
}

TEST(RegistryPosix, MachineHiveWithoutAFolderReadsEmptyAndRefusesWrites) {
  fs::path dir = KvdTest::scratchDir("nofolder");
  std::ofstream(dir / "file") << "a file where the folder should be";
  HiveDirScope scope((dir / "file" / "registry").string());
  HKEY h;
  ASSERT_EQ(P::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"", 0, KEY_READ, &h), ERROR_SUCCESS);
  DWORD subs = 9;
  EXPECT_EQ(P::RegQueryInfoKeyW(h, nullptr, nullptr, nullptr, &subs, nullptr, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(subs, 0u);
  P::RegCloseKey(h);
  EXPECT_EQ(P::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, KEY_READ, &h), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(P::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"", 0, KEY_ALL_ACCESS, &h), ERROR_ACCESS_DENIED);
  EXPECT_EQ(P::RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"Software", 0, nullptr, 0, KEY_READ, nullptr, &h, nullptr),
            ERROR_ACCESS_DENIED);
  DWORD v = 1;
  EXPECT_EQ(P::RegSetValueExW(HKEY_LOCAL_MACHINE, L"v", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), 4),
            ERROR_ACCESS_DENIED);
}

TEST(RegistryPosix, CachedReadsSeeEveryChangeAnotherProcessMakes) {
  const std::wstring key = L"Software\\Cached";
  ASSERT_EQ(setDword(HKEY_CURRENT_USER, key, L"v", 1), ERROR_SUCCESS);
  ASSERT_EQ(setDword(HKEY_CURRENT_USER, key, L"gone", 5), ERROR_SUCCESS);
  HKEY held;
  ASSERT_EQ(P::RegOpenKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, KEY_READ, &held), ERROR_SUCCESS);
  // Each read twice: the second comes from the caches.
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(queryDword(held, L"v"), 1u);
    ASSERT_EQ(queryDword(held, L"gone"), 5u);
    EXPECT_EQ(queryDword(held, L"later").rc, ERROR_FILE_NOT_FOUND);
    ASSERT_EQ(getDword(HKEY_CURRENT_USER, key, L"v"), 1u);
  }
  auto before = counters(Store::HiveId::CurrentUser);
  EXPECT_EQ(before.first, before.second);

  ASSERT_EQ(run({"set", "Software\\Cached", "v", "2"}), 0);
  auto after = counters(Store::HiveId::CurrentUser);
  EXPECT_EQ(after.first, after.second);
  EXPECT_GT(after.first, before.first);
  ASSERT_EQ(queryDword(held, L"v"), 2u);
  ASSERT_EQ(getDword(HKEY_CURRENT_USER, key, L"v"), 2u);

  // A value this process saw missing appears; one it saw present goes.
  ASSERT_EQ(run({"set", "Software\\Cached", "later", "7"}), 0);
  ASSERT_EQ(queryDword(held, L"later"), 7u);
  ASSERT_EQ(run({"deletevalue", "Software\\Cached", "gone"}), 0);
  EXPECT_EQ(queryDword(held, L"gone").rc, ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(getDword(HKEY_CURRENT_USER, key, L"gone").rc, ERROR_FILE_NOT_FOUND);

  // The key is deleted with its values and made again under the same path: the old handle is
  // dead, the path leads to the new key, and none of the old values come back.
  ASSERT_EQ(run({"delete", "Software\\Cached"}), 0);
  EXPECT_EQ(queryDword(held, L"v").rc, ERROR_KEY_DELETED);
  HKEY h;
  EXPECT_EQ(P::RegOpenKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, KEY_READ, &h), ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(run({"set", "Software\\Cached", "v", "3"}), 0);
  EXPECT_EQ(queryDword(held, L"v").rc, ERROR_KEY_DELETED);
  ASSERT_EQ(getDword(HKEY_CURRENT_USER, key, L"v"), 3u);
  EXPECT_EQ(getDword(HKEY_CURRENT_USER, key, L"gone").rc, ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(getDword(HKEY_CURRENT_USER, key, L"later").rc, ERROR_FILE_NOT_FOUND);
  P::RegCloseKey(held);
}

TEST(RegistryPosix, WriterKilledMidWriteLeavesReadersOnSQLiteUntilTheNextWrite) {
  for (std::string point : {"begun", "committed"}) {
    SCOPED_TRACE(point);
    const std::wstring key = L"Software\\KilledMid\\" + std::wstring(point.begin(), point.end());
    const std::string narrowKey = "Software\\KilledMid\\" + point;
    ASSERT_EQ(setDword(HKEY_CURRENT_USER, key, L"v", 1), ERROR_SUCCESS);
    ASSERT_EQ(getDword(HKEY_CURRENT_USER, key, L"v"), 1u);
    ASSERT_EQ(getDword(HKEY_CURRENT_USER, key, L"v"), 1u);
    auto before = counters(Store::HiveId::CurrentUser);
    ASSERT_EQ(before.first, before.second);

    ASSERT_EQ(run({"killset", narrowKey, "v", "2", point}), 128 + SIGKILL);
    auto killed = counters(Store::HiveId::CurrentUser);
    EXPECT_EQ(killed.first, before.first + 1);
    EXPECT_EQ(killed.second, before.second);  // the write was never closed

    // A committed write is visible though never closed; an uncommitted one is not.
    DWORD expected = point == "committed" ? 2 : 1;
    for (int i = 0; i < 3; ++i) {
      ASSERT_EQ(getDword(HKEY_CURRENT_USER, key, L"v"), expected);
    }
    // So does another process.
    std::string out;
    EXPECT_EQ(run({"read", narrowKey, "2"}, &out), 0) << out;

    // The next writer closes the dead one's write and announces its own.
    ASSERT_EQ(setDword(HKEY_CURRENT_USER, key, L"w", 9), ERROR_SUCCESS);
    auto repaired = counters(Store::HiveId::CurrentUser);
    EXPECT_EQ(repaired.first, repaired.second);
    EXPECT_EQ(repaired.first, killed.first + 1);
    for (int i = 0; i < 2; ++i) {
      ASSERT_EQ(getDword(HKEY_CURRENT_USER, key, L"v"), expected);
      ASSERT_EQ(getDword(HKEY_CURRENT_USER, key, L"w"), 9u);
    }
    // Caches are trusted again, and still give way to the next foreign write.
    ASSERT_EQ(run({"set", narrowKey, "v", "4"}), 0);
    ASSERT_EQ(getDword(HKEY_CURRENT_USER, key, L"v"), 4u);
  }
  EXPECT_EQ(integrityCheck(Store::hiveFilePath(Store::HiveId::CurrentUser)), "ok");
}

TEST(RegistryPosix, OwnWritesFromAnotherThreadAreNeverHiddenByTheCache) {
  const std::wstring key = L"Software\\Threads";
  ASSERT_EQ(setDword(HKEY_CURRENT_USER, key, L"v", 0), ERROR_SUCCESS);
  HKEY shared;
  ASSERT_EQ(P::RegOpenKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, KEY_ALL_ACCESS, &shared), ERROR_SUCCESS);
  constexpr DWORD kRounds = 120;
  std::atomic<DWORD> setV{0}, setW{0}, deletedW{0};
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (DWORD i = 1; i <= kRounds; ++i) {
      EXPECT_EQ(P::RegSetValueExW(shared, L"v", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&i), 4), ERROR_SUCCESS);
      setV.store(i);
      EXPECT_EQ(P::RegSetValueExW(shared, L"w", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&i), 4), ERROR_SUCCESS);
      setW.store(i);
      EXPECT_EQ(P::RegDeleteValueW(shared, L"w"), ERROR_SUCCESS);
      deletedW.store(i);
    }
    done.store(true);
  });
  int reads = 0;
  for (bool last = false; !last; ++reads) {
    last = done.load();
    DWORD d = deletedW.load(), s = setW.load(), p = setV.load();
    HKEY h;
    ASSERT_EQ(P::RegOpenKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, KEY_READ, &h), ERROR_SUCCESS);
    const Read v = queryDword(reads % 2 ? h : shared, L"v");
    ASSERT_EQ(v.rc, ERROR_SUCCESS);
    EXPECT_GE(v.value, p);
    const Read w = queryDword(reads % 2 ? shared : h, L"w");
    if (w.rc == ERROR_SUCCESS) {
      EXPECT_GE(w.value, s);  // never a value older than one already set
      EXPECT_GT(w.value, d);  // never the value already deleted
    } else {
      EXPECT_EQ(w.rc, ERROR_FILE_NOT_FOUND);
    }
    P::RegCloseKey(h);
  }
  writer.join();
  EXPECT_EQ(queryDword(shared, L"w").rc, ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(queryDword(shared, L"v"), kRounds);
  EXPECT_GT(reads, 1);
  P::RegCloseKey(shared);
}

TEST(RegistryPosix, ValueCacheStaysBoundedOverManyValues) {
  fs::path dir = KvdTest::scratchDir("manyvalues");
  HiveDirScope scope(dir.string());
  HKEY k;
  ASSERT_EQ(P::RegCreateKeyExW(HKEY_CURRENT_USER, L"Many", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &k, nullptr),
            ERROR_SUCCESS);
  // Many small values and some large ones, put in one transaction by a connection of our own.
  const size_t kSmall = Store::kValueCacheMaxEntries + 1500;
  const size_t kLarge = 2 * Store::kValueCacheMaxBytes / Store::kValueCacheMaxValueBytes + 10;
  {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(Store::hiveFilePath(Store::HiveId::CurrentUser).c_str(), &db), SQLITE_OK);
    sqlite3_busy_timeout(db, 10000);
    ASSERT_EQ(sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_stmt* ins = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db,
                                 "INSERT INTO vals(key,name,folded,type,data) SELECT id,?1,?2,?3,?4 FROM keys"
                                 " WHERE parent=1 AND folded=?5",
                                 -1, &ins, nullptr),
              SQLITE_OK);
    std::string keyFold = foldedBe("Many");
    auto insert = [&](const std::string& name, int type, const std::string& data) {
      std::string n = le(name), f = foldedBe(name);
      sqlite3_bind_blob(ins, 1, n.data(), int(n.size()), SQLITE_TRANSIENT);
      sqlite3_bind_blob(ins, 2, f.data(), int(f.size()), SQLITE_TRANSIENT);
      sqlite3_bind_int(ins, 3, type);
      sqlite3_bind_blob(ins, 4, data.data(), int(data.size()), SQLITE_TRANSIENT);
      sqlite3_bind_blob(ins, 5, keyFold.data(), int(keyFold.size()), SQLITE_TRANSIENT);
      EXPECT_EQ(sqlite3_step(ins), SQLITE_DONE);
      EXPECT_EQ(sqlite3_changes(db), 1);
      sqlite3_reset(ins);
    };
    for (size_t i = 0; i < kSmall; ++i) {
      uint32_t d = uint32_t(i);
      insert("s" + std::to_string(i), REG_DWORD, std::string(reinterpret_cast<const char*>(&d), 4));
    }
    for (size_t i = 0; i < kLarge; ++i)
      insert("l" + std::to_string(i), REG_BINARY, std::string(Store::kValueCacheMaxValueBytes - 100, char('a' + i % 26)));
    insert("huge", REG_BINARY, std::string(Store::kValueCacheMaxValueBytes * 3, 'h'));
    sqlite3_finalize(ins);
    ASSERT_EQ(sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
  }
  P::RegCloseKey(k);
  Store::resetForTesting();  // that connection did not announce its write: start as a new process would
  ASSERT_EQ(P::RegOpenKeyExW(HKEY_CURRENT_USER, L"Many", 0, KEY_READ, &k), ERROR_SUCCESS);

  std::vector<char> buf(Store::kValueCacheMaxValueBytes * 3);
  for (int pass = 0; pass < 2; ++pass) {
    for (size_t i = 0; i < kSmall; ++i) {
      ASSERT_EQ(queryDword(k, (L"s" + std::to_wstring(i)).c_str()), DWORD(i));
    }
    for (size_t i = 0; i < kLarge; ++i) {
      DWORD cb = DWORD(buf.size());
      ASSERT_EQ(P::RegQueryValueExW(k, (L"l" + std::to_wstring(i)).c_str(), nullptr, nullptr,
                                    reinterpret_cast<LPBYTE>(buf.data()), &cb),
                ERROR_SUCCESS);
      ASSERT_EQ(cb, DWORD(Store::kValueCacheMaxValueBytes - 100));
      EXPECT_EQ(buf[cb - 1], char('a' + i % 26));
    }
    DWORD cb = DWORD(buf.size());
    ASSERT_EQ(P::RegQueryValueExW(k, L"huge", nullptr, nullptr, reinterpret_cast<LPBYTE>(buf.data()), &cb),
              ERROR_SUCCESS);
    EXPECT_EQ(cb, DWORD(buf.size()));
    Store::CacheStats stats = Store::cacheStatsForTesting(Store::HiveId::CurrentUser);
    EXPECT_LE(stats.values, Store::kValueCacheMaxEntries);
    EXPECT_LE(stats.valueBytes, Store::kValueCacheMaxBytes);
    EXPECT_GT(stats.values, 0u);
  }
  P::RegCloseKey(k);
}

TEST(RegistryPosix, WritersThatCannotMoveTheCountersFallBackOrAreRefused) {
  fs::path dir = KvdTest::scratchDir("counters");
  ::chmod(dir.c_str(), 0755);
  HiveDirScope scope(dir.string());
  const std::wstring key = L"Software\\Counters";
  ASSERT_EQ(setDword(HKEY_CURRENT_USER, key, L"v", 1), ERROR_SUCCESS);
  std::string file = Store::hiveFilePath(Store::HiveId::CurrentUser);
  for (const char* suffix : {"", "-wal", "-shm"}) ASSERT_EQ(::chmod((file + suffix).c_str(), 0666), 0) << suffix;

  // No counter file, and the folder does not let the writer make one: it writes all the same,
  // since nobody can be trusting counters that do not exist. (Our own connection stays open, so
  // the -wal and -shm files stay.)
  ASSERT_EQ(::unlink((file + "-gen").c_str()), 0);
  ASSERT_EQ(::chmod(dir.c_str(), 0555), 0);
  std::string out;
  EXPECT_EQ(run({"asnobody", "set", "Software\\Counters", "v", "2"}, &out), 0) << out;
  ASSERT_EQ(::chmod(dir.c_str(), 0755), 0);
  EXPECT_FALSE(fs::exists(file + "-gen"));
  Store::resetForTesting();  // our mapping was of the file we removed
  ASSERT_EQ(getDword(HKEY_CURRENT_USER, key, L"v"), 2u);
  ASSERT_TRUE(fs::exists(file + "-gen"));  // made again with the hive's mode
  EXPECT_EQ(fs::status(file + "-gen").permissions() & fs::perms::all, fs::perms(0666));

  // A counter file the writer may not update: the write is refused, nothing changes.
  ASSERT_EQ(::chmod((file + "-gen").c_str(), 0444), 0);
  EXPECT_EQ(run({"asnobody", "set", "Software\\Counters", "v", "3"}, &out), 2) << out;
  EXPECT_NE(out.find("ERR set 5"), std::string::npos) << out;
  ASSERT_EQ(getDword(HKEY_CURRENT_USER, key, L"v"), 2u);
  ::chmod((file + "-gen").c_str(), 0644);
}

}  // namespace
