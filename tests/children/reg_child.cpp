// A second process for the registry tests. Every mode works in HKEY_CURRENT_USER (HKLM for
// "readonly") of the hive folder it inherits, prints one line per result and exits non-zero when
// an operation failed unexpectedly.
//   write <key> <prefix> <count>   sets DWORD <prefix><i> = i, printing "i" after each success
//   read <key> <rounds>            enumerates and reads the key's values over and over
//   set <key> <name> <value>       sets one DWORD
//   killset <key> <name> <value> <begun|committed>
//                                  sets one DWORD and is killed (SIGKILL) mid-write: after the
//                                  write was announced in the hive's change counters, before or
//                                  after its COMMIT (POSIX only)
//   deletevalue <key> <name>       deletes one value
//   delete <key>                   deletes a key without subkeys
//   readonly <key> <name> <nobody> reads HKLM, then tries to write it (as "nobody" when asked)
//   asnobody <mode> <args...>      runs the mode as "nobody" when started as root (POSIX only)
#include <cstdio>
#include <cstdlib>
#include <string>

#include "kvdutu/platform/os/registry.h"

#if !defined(_WIN32)
#include <signal.h>
#include <unistd.h>

#include <cstring>

#include "kvdutu/platform/os/posix/registry_store_internal.h"
#endif

namespace P = KvdUtils::Platform;

namespace {

std::wstring widen(const char* s) {
  std::wstring w;
  for (; *s; ++s) w.push_back(wchar_t(static_cast<unsigned char>(*s)));
  return w;
}

int fail(const char* what, LONG rc) {
  std::printf("ERR %s %ld\n", what, long(rc));
  std::fflush(stdout);
  return 2;
}

// Opens a key of HKEY_CURRENT_USER for writing, making it when it is missing.
LONG create(const std::wstring& key, HKEY* h) {
  return P::RegCreateKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, h, nullptr);
}

LONG setDword(HKEY h, const std::wstring& name, DWORD v) {
  return P::RegSetValueExW(h, name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&v), sizeof v);
}

int write(const std::wstring& key, const std::wstring& prefix, int count) {
  HKEY h;
  if (LONG rc = create(key, &h)) return fail("create", rc);
  for (int i = 0; i < count; ++i) {
    if (LONG rc = setDword(h, prefix + std::to_wstring(i), DWORD(i))) return fail("set", rc);
    std::printf("%d\n", i);
    std::fflush(stdout);
  }
  P::RegCloseKey(h);
  return 0;
}

int read(const std::wstring& key, int rounds) {
  for (int r = 0; r < rounds; ++r) {
    HKEY h;
    LONG rc = P::RegOpenKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, KEY_READ, &h);
    if (rc == ERROR_FILE_NOT_FOUND) continue;
    if (rc) return fail("open", rc);
    for (DWORD i = 0;; ++i) {
      wchar_t name[64];
      DWORD cch = 64, type = 0, v = 0, cb = sizeof v;
      rc = P::RegEnumValueW(h, i, name, &cch, nullptr, &type, reinterpret_cast<LPBYTE>(&v), &cb);
      if (rc == ERROR_NO_MORE_ITEMS) break;
      if (rc) return fail("enum", rc);
      cb = sizeof v;
      rc = P::RegQueryValueExW(h, name, nullptr, &type, reinterpret_cast<LPBYTE>(&v), &cb);
      if (rc) return fail("query", rc);
    }
    P::RegCloseKey(h);
  }
  std::printf("read ok\n");
  return 0;
}

int readonly(const std::wstring& key, const std::wstring& name, bool asNobody) {
#if !defined(_WIN32)
  if (asNobody && geteuid() == 0) {
    if (setgid(65534) != 0 || setuid(65534) != 0) return fail("setuid", -1);
  }
#endif
  HKEY h;
  DWORD v = 0, cb = sizeof v;
  LONG rc = P::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &h);
  if (rc == ERROR_SUCCESS) {
    rc = P::RegQueryValueExW(h, name.c_str(), nullptr, nullptr, reinterpret_cast<LPBYTE>(&v), &cb);
    std::printf("setThroughReadHandle %ld\n", long(setDword(h, name, v)));
    P::RegCloseKey(h);
  }
  std::printf("read %ld %lu\n", long(rc), static_cast<unsigned long>(v));
  std::printf("openForWrite %ld\n", long(P::RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_ALL_ACCESS, &h)));
  std::wstring sub = key + L"\\new";
  std::printf("create %ld\n", long(P::RegCreateKeyExW(HKEY_LOCAL_MACHINE, sub.c_str(), 0, nullptr, 0, KEY_READ,
                                                      nullptr, &h, nullptr)));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
#if !defined(_WIN32)
  // "asnobody <mode> ...": the mode runs as user "nobody" when started as root.
  if (argc > 1 && std::strcmp(argv[1], "asnobody") == 0) {
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) return fail("setuid", -1);
    ++argv;
    --argc;
  }
#endif
  if (argc < 3) return 64;
  std::string mode = argv[1];
  std::wstring key = widen(argv[2]);
#if !defined(_WIN32)
  if (mode == "killset" && argc == 6) {
    static bool afterCommit = std::strcmp(argv[5], "committed") == 0;
    KvdUtils::Platform::RegistryStore::setWriteHookForTesting([](KvdUtils::Platform::RegistryStore::WritePoint p) {
      if ((p == KvdUtils::Platform::RegistryStore::WritePoint::Committed) == afterCommit) raise(SIGKILL);
    });
    mode = "set";
    argc = 5;
  }
#endif
  if (mode == "deletevalue" && argc == 4) {
    HKEY h;
    if (LONG rc = P::RegOpenKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, KEY_ALL_ACCESS, &h)) return fail("open", rc);
    LONG rc = P::RegDeleteValueW(h, widen(argv[3]).c_str());
    P::RegCloseKey(h);
    return rc ? fail("deletevalue", rc) : 0;
  }
  if (mode == "write" && argc == 5) return write(key, widen(argv[3]), std::atoi(argv[4]));
  if (mode == "read" && argc == 4) return read(key, std::atoi(argv[3]));
  if (mode == "set" && argc == 5) {
    HKEY h;
    if (LONG rc = create(key, &h)) return fail("create", rc);
    LONG rc = setDword(h, widen(argv[3]), DWORD(std::strtoul(argv[4], nullptr, 10)));
    P::RegCloseKey(h);
    return rc ? fail("set", rc) : 0;
  }
  if (mode == "delete") {
    LONG rc = P::RegDeleteKeyW(HKEY_CURRENT_USER, key.c_str());
    return rc ? fail("delete", rc) : 0;
  }
  if (mode == "readonly" && argc == 5) return readonly(key, widen(argv[3]), argv[4][0] == '1');
  return 64;
}
