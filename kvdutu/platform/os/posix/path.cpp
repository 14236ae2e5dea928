// Windows-form paths on POSIX: the drive table, mapping, full path names and the current folder.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cwctype>
#include <mutex>
#include <vector>

#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/file.h"
#include "kvdutu/platform/os/posix/path_internal.h"
#include "kvdutu/platform/os/posix/text_internal.h"

namespace KvdUtils::Platform {
namespace detail {

namespace {

bool isSep(wchar_t c) { return c == L'\\' || c == L'/'; }

bool isDriveLetter(wchar_t c) { return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z'); }

bool hasDrive(const std::wstring& p) { return p.size() >= 2 && isDriveLetter(p[0]) && p[1] == L':'; }

bool isUnc(const std::wstring& p) { return p.size() >= 2 && p[0] == L'\\' && p[1] == L'\\'; }

bool equalNoCase(const std::wstring& a, const std::wstring& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (std::towupper(a[i]) != std::towupper(b[i])) return false;
  return true;
}

std::wstring trim(const std::wstring& s) {
  size_t b = 0, e = s.size();
  while (b < e && std::iswspace(s[b])) ++b;
  while (e > b && std::iswspace(s[e - 1])) --e;
  return s.substr(b, e - b);
}

// Strips trailing separators, keeping a lone root.
std::wstring stripTrailingSeps(std::wstring s) {
  while (s.size() > 1 && isSep(s.back())) s.pop_back();
  return s;
}

struct TableEntry {
  std::wstring key;     // "C" or "\\server\share"
  std::wstring target;  // native folder or "\\server\share"
};

// Read on every use: the table is small, and tests and hosts change it at run time.
std::vector<TableEntry> readTable() {
  std::vector<TableEntry> table;
  const char* env = std::getenv("KVDUTU_DRIVES");
  if (!env) return table;
  std::wstring all = fromUtf8(env);
  size_t pos = 0;
  while (pos <= all.size()) {
    size_t end = all.find(L';', pos);
    if (end == std::wstring::npos) end = all.size();
    std::wstring item = all.substr(pos, end - pos);
    pos = end + 1;
    size_t eq = item.find(L'=');
    if (eq == std::wstring::npos) continue;
    std::wstring key = trim(item.substr(0, eq));
    std::wstring target = stripTrailingSeps(trim(item.substr(eq + 1)));
    if (key.size() == 2 && key[1] == L':') key.pop_back();
    if (key.empty() || target.empty()) continue;
    if (key.size() == 1 && !isDriveLetter(key[0])) continue;
    if (key.size() > 1) {
      if (!isUnc(key)) continue;
      key = stripTrailingSeps(key);
      for (auto& c : key) if (c == L'/') c = L'\\';
    }
    table.push_back({key, target});
  }
  return table;
}

bool lookupKey(const std::wstring& key, std::wstring& target) {
  for (const auto& e : readTable()) {
    if (equalNoCase(e.key, key)) {
      target = e.target;
      return true;
    }
  }
  return false;
}

// Splits `\\server\share\rest` into its share key and the rest (with its leading separator).
bool splitUnc(const std::wstring& p, std::wstring& share, std::wstring& rest) {
  size_t serverEnd = 2;
  while (serverEnd < p.size() && !isSep(p[serverEnd])) ++serverEnd;
  if (serverEnd == 2 || serverEnd >= p.size()) return false;
  size_t shareEnd = serverEnd + 1;
  while (shareEnd < p.size() && !isSep(p[shareEnd])) ++shareEnd;
  if (shareEnd == serverEnd + 1) return false;
  share = L"\\\\" + p.substr(2, serverEnd - 2) + L"\\" + p.substr(serverEnd + 1, shareEnd - serverEnd - 1);
  rest = p.substr(shareEnd);
  return true;
}

// `.` and `..` resolved by name below a root that they cannot leave; separators become `sep`.
// A trailing separator is kept.
std::wstring normalizeBelowRoot(const std::wstring& rest, wchar_t sep) {
  std::vector<std::wstring> parts;
  size_t i = 0;
  while (i < rest.size()) {
    while (i < rest.size() && isSep(rest[i])) ++i;
    size_t j = i;
    while (j < rest.size() && !isSep(rest[j])) ++j;
    if (j > i) {
      std::wstring part = rest.substr(i, j - i);
      if (part == L"..") {
        if (!parts.empty()) parts.pop_back();
      } else if (part != L".") {
        parts.push_back(part);
      }
    }
    i = j;
  }
  std::wstring out;
  for (const auto& part : parts) {
    out += sep;
    out += part;
  }
  if (!parts.empty() && !rest.empty() && isSep(rest.back())) {
    const std::wstring& last = parts.back();
    (void)last;
    // "a\." and "a\.." end in a name, not in a separator; only a real trailing separator stays.
    size_t k = rest.size();
    while (k > 0 && isSep(rest[k - 1])) --k;
    size_t s = k;
    while (s > 0 && !isSep(rest[s - 1])) --s;
    std::wstring lastWritten = rest.substr(s, k - s);
    if (lastWritten != L"." && lastWritten != L"..") out += sep;
  }
  return out;
}

std::string joinNative(const std::wstring& folder, const std::wstring& rest) {
  std::wstring r = normalizeBelowRoot(rest, L'/');
  std::wstring base = folder;
  for (auto& c : base) if (c == L'\\') c = L'/';
  if (base == L"/") return toUtf8(r.empty() ? L"/" : r);
  if (r.empty()) return toUtf8(base);
  return toUtf8(base + r);
}

// The native folder that a share stands for.
bool shareFolder(const std::wstring& share, std::wstring& folder, DWORD& error) {
  if (!lookupKey(share, folder) || isUnc(folder)) {
    error = ERROR_BAD_NETPATH;
    return false;
  }
  return true;
}

// The current folder as the process last set it in drive or share form, and the native folder
// that it was then.
std::mutex g_cwdMutex;
std::wstring g_cwdWindows;
std::string g_cwdNative;

std::string nativeCwd() {
  std::vector<char> buf(PATH_MAX);
  for (;;) {
    if (::getcwd(buf.data(), buf.size())) return std::string(buf.data());
    if (errno != ERANGE) return std::string();
    buf.resize(buf.size() * 2);
  }
}

std::wstring currentDirectory() {
  std::string native = nativeCwd();
  std::lock_guard<std::mutex> lock(g_cwdMutex);
  if (!g_cwdWindows.empty() && native == g_cwdNative) return g_cwdWindows;
  return fromUtf8(native);
}

}  // namespace

bool isWindowsForm(const std::wstring& path) { return hasDrive(path) || isUnc(path); }

bool lookupDrive(wchar_t letter, std::wstring& target) {
  return lookupKey(std::wstring(1, static_cast<wchar_t>(std::towupper(letter))), target);
}

bool toNativePath(LPCWSTR path, std::string& native, DWORD& error, unsigned flags) {
  if (!path || !*path) {
    error = ERROR_PATH_NOT_FOUND;
    return false;
  }
  std::wstring p(path);
  // The long-path prefixes name the same paths.
  if (p.rfind(L"\\\\?\\UNC\\", 0) == 0) {
    p = L"\\\\" + p.substr(8);
  } else if (p.rfind(L"\\\\?\\", 0) == 0) {
    p = p.substr(4);
  } else if (p.rfind(L"\\\\.\\", 0) == 0) {
    error = ERROR_PATH_NOT_FOUND;  // devices have no stand-in here
    return false;
  }
  const bool nativeForm = !p.empty() && p[0] == L'/';
  for (size_t i = 0; i < p.size(); ++i) {
    wchar_t c = p[i];
    bool bad = (c > 0 && c < 32) || c == L'<' || c == L'>' || c == L'"' || c == L'|';
    if ((c == L'*' || c == L'?') && !(flags & kMapAllowWildcards)) bad = true;
    // A colon belongs only to a drive; native names may hold one.
    if (c == L':' && !nativeForm && !(i == 1 && isDriveLetter(p[0]))) bad = true;
    if (bad) {
      error = ERROR_INVALID_NAME;
      return false;
    }
  }
  if (hasDrive(p)) {
    std::wstring target;
    if (!lookupDrive(p[0], target)) {
      error = ERROR_PATH_NOT_FOUND;
      return false;
    }
    std::wstring rest = p.substr(2);
    if (isUnc(target)) {
      // A drive may stand for a folder below a share's root: "\\srv\share\sub".
      std::wstring share, below, folder;
      if (!splitUnc(target + L"\\", share, below)) {
        error = ERROR_BAD_NETPATH;
        return false;
      }
      if (!shareFolder(share, folder, error)) return false;
      native = joinNative(folder + stripTrailingSeps(below == L"\\" ? std::wstring() : below), rest);
      return true;
    }
    native = joinNative(target, rest);
    return true;
  }
  if (isUnc(p)) {
    std::wstring share, rest, folder;
    if (!splitUnc(p, share, rest)) {
      error = ERROR_BAD_NETPATH;
      return false;
    }
    if (!shareFolder(share, folder, error)) return false;
    native = joinNative(folder, rest);
    return true;
  }
  for (auto& c : p) if (c == L'\\') c = L'/';
  native = toUtf8(p);
  return true;
}

DWORD fileError(int err, const std::string& native) {
  switch (err) {
    case ENOENT: {
      struct stat st;
      std::string parent = parentOf(native);
      if (::stat(parent.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return ERROR_PATH_NOT_FOUND;
      return ERROR_FILE_NOT_FOUND;
    }
    case EFBIG:
    case EDQUOT: return ERROR_DISK_FULL;
    case ELOOP: return 1921;  // ERROR_CANT_RESOLVE_FILENAME: a loop of symbolic links
    default: return Win32ErrorFromErrno(err);
  }
}

std::string parentOf(const std::string& native) {
  std::string p = native;
  while (p.size() > 1 && p.back() == '/') p.pop_back();
  size_t slash = p.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return p.substr(0, slash);
}

std::wstring fullPathName(const std::wstring& input) {
  std::wstring p = input;
  if (p.rfind(L"\\\\?\\", 0) == 0) return p;
  if (hasDrive(p)) {
    std::wstring drive = std::wstring(1, p[0]) + L":";
    std::wstring rest = p.substr(2);
    if (rest.empty() || !isSep(rest[0])) {
      // Drive-relative: against the current folder when it lies on that drive.
      std::wstring cwd = currentDirectory();
      if (hasDrive(cwd) && std::towupper(cwd[0]) == std::towupper(p[0])) rest = cwd.substr(2) + L"\\" + rest;
      else rest = L"\\" + rest;
    }
    std::wstring r = normalizeBelowRoot(rest, L'\\');
    return drive + (r.empty() ? L"\\" : r);
  }
  if (isUnc(p)) {
    std::wstring share, rest;
    if (!splitUnc(p, share, rest)) {
      std::wstring out = p;
      for (auto& c : out) if (c == L'/') c = L'\\';
      return out;
    }
    return share + normalizeBelowRoot(rest, L'\\');
  }
  if (!p.empty() && p[0] == L'/') {
    std::wstring r = normalizeBelowRoot(p, L'/');
    return r.empty() ? L"/" : r;
  }
  std::wstring cwd = currentDirectory();
  if (!p.empty() && p[0] == L'\\') {
    // Rooted without a drive: the root of the current drive, or the native root.
    if (hasDrive(cwd)) return fullPathName(cwd.substr(0, 2) + p);
    std::wstring r = normalizeBelowRoot(p, L'/');
    return r.empty() ? L"/" : r;
  }
  if (isWindowsForm(cwd)) return fullPathName(stripTrailingSeps(cwd) + L"\\" + p);
  std::wstring r = normalizeBelowRoot(cwd + L"/" + p, L'/');
  return r.empty() ? L"/" : r;
}

DWORD attributesOf(const struct stat& st, const std::string& name) {
  DWORD a = 0;
  if (S_ISDIR(st.st_mode)) a |= FILE_ATTRIBUTE_DIRECTORY;
  else a |= FILE_ATTRIBUTE_ARCHIVE;
  if (isReadOnlyMode(st.st_mode)) a |= FILE_ATTRIBUTE_READONLY;
  size_t slash = name.find_last_of('/');
  std::string base = slash == std::string::npos ? name : name.substr(slash + 1);
  if (base.size() > 1 && base[0] == '.' && base != "..") a |= FILE_ATTRIBUTE_HIDDEN;
  return a;
}

bool isReadOnlyMode(mode_t mode) { return (mode & 0222) == 0; }

namespace {
constexpr long long kEpochDifference100ns = 116444736000000000LL;
}

FILETIME fileTimeFrom(const struct timespec& ts) {
  long long t = static_cast<long long>(ts.tv_sec) * 10000000LL + ts.tv_nsec / 100 + kEpochDifference100ns;
  if (t < 0) t = 0;
  FILETIME ft;
  ft.dwLowDateTime = static_cast<DWORD>(static_cast<unsigned long long>(t) & 0xFFFFFFFFu);
  ft.dwHighDateTime = static_cast<DWORD>(static_cast<unsigned long long>(t) >> 32);
  return ft;
}

struct timespec timespecFrom(const FILETIME& ft) {
  long long t = static_cast<long long>((static_cast<unsigned long long>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime);
  t -= kEpochDifference100ns;
  struct timespec ts;
  ts.tv_sec = static_cast<time_t>(t / 10000000LL);
  long long rem = t % 10000000LL;
  if (rem < 0) {
    rem += 10000000LL;
    ts.tv_sec -= 1;
  }
  ts.tv_nsec = static_cast<long>(rem * 100);
  return ts;
}

FILETIME creationTimeOf(const std::string& native, const struct stat& st) {
#if defined(STATX_BTIME)
  struct statx sx;
  if (::statx(AT_FDCWD, native.c_str(), 0, STATX_BTIME, &sx) == 0 && (sx.stx_mask & STATX_BTIME)) {
    struct timespec ts{static_cast<time_t>(sx.stx_btime.tv_sec), static_cast<long>(sx.stx_btime.tv_nsec)};
    return fileTimeFrom(ts);
  }
#endif
  return fileTimeFrom(st.st_ctim);
}

DWORD copyOut(const std::wstring& text, LPWSTR buffer, DWORD size) {
  if (!buffer || size < text.size() + 1) return static_cast<DWORD>(text.size() + 1);
  text.copy(buffer, text.size());
  buffer[text.size()] = L'\0';
  return static_cast<DWORD>(text.size());
}

}  // namespace detail

using namespace detail;

DWORD GetFullPathNameW(LPCWSTR lpFileName, DWORD nBufferLength, LPWSTR lpBuffer, LPWSTR* lpFilePart) {
  if (!lpFileName || !*lpFileName) {
    SetLastError(ERROR_INVALID_NAME);
    return 0;
  }
  std::wstring full = fullPathName(lpFileName);
  DWORD r = copyOut(full, lpBuffer, nBufferLength);
  if (lpFilePart && r < nBufferLength && lpBuffer) {
    size_t cut = full.find_last_of(L"\\/");
    *lpFilePart = (cut == std::wstring::npos || cut + 1 == full.size()) ? nullptr : lpBuffer + cut + 1;
  }
  return r;
}

DWORD GetCurrentDirectoryW(DWORD nBufferLength, LPWSTR lpBuffer) {
  std::wstring cwd = currentDirectory();
  if (cwd.empty()) {
    SetLastError(Win32ErrorFromErrno(errno));
    return 0;
  }
  return copyOut(cwd, lpBuffer, nBufferLength);
}

BOOL SetCurrentDirectoryW(LPCWSTR lpPathName) {
  if (!lpPathName || !*lpPathName) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  std::wstring full = fullPathName(lpPathName);
  std::string native;
  DWORD error = 0;
  if (!toNativePath(full.c_str(), native, error)) {
    SetLastError(error);
    return FALSE;
  }
  struct stat st;
  if (::stat(native.c_str(), &st) == 0 && !S_ISDIR(st.st_mode)) {
    SetLastError(ERROR_DIRECTORY);
    return FALSE;
  }
  if (::chdir(native.c_str()) != 0) {
    SetLastError(fileError(errno, native));
    return FALSE;
  }
  std::lock_guard<std::mutex> lock(g_cwdMutex);
  if (isWindowsForm(full)) {
    // Windows keeps "C:\" for a drive root and no trailing separator otherwise.
    std::wstring kept = stripTrailingSeps(full);
    if (kept.size() == 2 && kept[1] == L':') kept += L'\\';
    g_cwdWindows = kept;
    g_cwdNative = nativeCwd();
  } else {
    g_cwdWindows.clear();
    g_cwdNative.clear();
  }
  return TRUE;
}

DWORD GetLongPathNameW(LPCWSTR lpszShortPath, LPWSTR lpszLongPath, DWORD cchBuffer) {
  if (!lpszShortPath) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  std::string native;
  DWORD error = 0;
  if (!toNativePath(lpszShortPath, native, error)) {
    SetLastError(error);
    return 0;
  }
  struct stat st;
  if (::stat(native.c_str(), &st) != 0) {
    SetLastError(fileError(errno, native));
    return 0;
  }
  // The buffers may be the same: copy first.
  std::wstring text(lpszShortPath);
  return copyOut(text, lpszLongPath, cchBuffer);
}

}  // namespace KvdUtils::Platform
