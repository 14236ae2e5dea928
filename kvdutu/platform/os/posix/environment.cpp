// The environment, the computer's name and the process id on POSIX.
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <deque>
#include <map>
#include <mutex>
#include <string>

#include "kvdutu/platform/os/environment.h"
#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/posix/env_internal.h"
#include "kvdutu/platform/os/posix/path_internal.h"
#include "kvdutu/platform/os/posix/text_internal.h"

extern char** environ;

namespace KvdUtils::Platform {
namespace detail {
namespace {

std::mutex& envMutex() {
  static std::mutex* m = new std::mutex;
  return *m;
}

bool equalNoCase(const std::wstring& a, const std::wstring& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::towupper(a[i]) != std::towupper(b[i])) return false;
  return true;
}

// The name under which a variable is set: the exact name first, else one that differs in case.
bool findName(const std::wstring& name, std::string& actual, std::string& value) {
  const std::string exact = toUtf8(name);
  if (const char* v = std::getenv(exact.c_str())) {
    actual = exact;
    value = v;
    return true;
  }
  for (char** e = environ; e && *e; ++e) {
    const char* eq = std::strchr(*e, '=');
    if (!eq) continue;
    std::string n(*e, static_cast<size_t>(eq - *e));
    if (equalNoCase(fromUtf8(n), name)) {
      actual = n;
      value = eq + 1;
      return true;
    }
  }
  return false;
}

}  // namespace

bool environmentValue(const std::wstring& name, std::wstring& value) {
  std::lock_guard<std::mutex> lock(envMutex());
  std::string actual, raw;
  if (!findName(name, actual, raw)) return false;
  value = fromUtf8(raw);
  return true;
}

}  // namespace detail

using namespace detail;

DWORD GetEnvironmentVariableW(LPCWSTR lpName, LPWSTR lpBuffer, DWORD nSize) {
  std::wstring value;
  if (!lpName || !environmentValue(lpName, value)) {
    SetLastError(ERROR_ENVVAR_NOT_FOUND);
    return 0;
  }
  return copyOut(value, lpBuffer, nSize);
}

BOOL SetEnvironmentVariableW(LPCWSTR lpName, LPCWSTR lpValue) {
  if (!lpName || !*lpName || std::wstring(lpName).find(L'=') != std::wstring::npos) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  std::lock_guard<std::mutex> lock(envMutex());
  std::string actual, old;
  if (!findName(lpName, actual, old)) actual = toUtf8(lpName);
  int r = lpValue ? ::setenv(actual.c_str(), toUtf8(lpValue).c_str(), 1) : ::unsetenv(actual.c_str());
  if (r != 0) {
    SetLastError(Win32ErrorFromErrno(errno));
    return FALSE;
  }
  return TRUE;
}

wchar_t* _wgetenv(const wchar_t* varname) {
  if (!varname) return nullptr;
  std::wstring value;
  if (!environmentValue(varname, value)) return nullptr;
  // The texts handed out are kept for the life of the process: a caller may hold one while
  // another thread changes the variable.
  static std::mutex* m = new std::mutex;
  static auto* kept = new std::map<std::wstring, std::deque<std::wstring>>;
  std::lock_guard<std::mutex> lock(*m);
  std::wstring key(varname);
  for (auto& c : key) c = static_cast<wchar_t>(std::towupper(c));
  auto& versions = (*kept)[key];
  if (versions.empty() || versions.back() != value) versions.push_back(value);
  return versions.back().data();
}

BOOL GetComputerNameW(LPWSTR lpBuffer, LPDWORD nSize) {
  if (!nSize) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  char host[256] = {};
  if (::gethostname(host, sizeof host - 1) != 0) {
    SetLastError(Win32ErrorFromErrno(errno));
    return FALSE;
  }
  std::string h(host);
  h = h.substr(0, h.find('.'));
  std::wstring name = fromUtf8(h);
  for (auto& c : name) c = static_cast<wchar_t>(std::towupper(c));
  if (!lpBuffer || *nSize < name.size() + 1) {
    *nSize = static_cast<DWORD>(name.size() + 1);
    SetLastError(ERROR_BUFFER_OVERFLOW);
    return FALSE;
  }
  copyOut(name, lpBuffer, *nSize);
  *nSize = static_cast<DWORD>(name.size());
  return TRUE;
}

int _getpid() { return static_cast<int>(::getpid()); }

}  // namespace KvdUtils::Platform
