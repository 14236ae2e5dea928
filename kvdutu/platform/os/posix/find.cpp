// Folder searches on POSIX: a snapshot of the matching entries, taken at FindFirstFileW.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cwctype>
#include <memory>
#include <vector>

#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/file.h"
#include "kvdutu/platform/os/find.h"
#include "kvdutu/platform/os/posix/handles_internal.h"
#include "kvdutu/platform/os/posix/path_internal.h"
#include "kvdutu/platform/os/posix/text_internal.h"

namespace KvdUtils::Platform {
namespace detail {
namespace {

// The Windows search turns the pattern into its DOS wildcards before matching: `?` matches one
// character but never a dot and nothing at the end of the name; `.` before a wildcard or at the
// end also matches the end of the name; `*` before a dot cannot pass the name's last dot.
constexpr wchar_t kDosQm = 0xF001, kDosDot = 0xF002, kDosStar = 0xF003;

std::wstring dosPattern(const std::wstring& p) {
  std::wstring out = p;
  for (size_t i = 0; i < p.size(); ++i) {
    wchar_t next = i + 1 < p.size() ? p[i + 1] : L'\0';
    if (p[i] == L'?') out[i] = kDosQm;
    else if (p[i] == L'.' && (next == L'?' || next == L'*' || next == L'\0')) out[i] = kDosDot;
    else if (p[i] == L'*' && next == L'.') out[i] = kDosStar;
  }
  return out;
}

bool matchAt(const std::wstring& e, size_t ei, const std::wstring& n, size_t ni, size_t lastDot) {
  while (ei < e.size()) {
    wchar_t c = e[ei];
    if (c == L'*') {
      for (size_t k = ni; k <= n.size(); ++k)
        if (matchAt(e, ei + 1, n, k, lastDot)) return true;
      return false;
    }
    if (c == kDosStar) {
      for (size_t k = ni; k <= n.size(); ++k) {
        if (matchAt(e, ei + 1, n, k, lastDot)) return true;
        if (k == lastDot) return false;  // the last dot is not the star's to take
      }
      return false;
    }
    if (c == kDosQm) {
      if (ni < n.size() && n[ni] != L'.') {
        ++ei;
        ++ni;
        continue;
      }
      while (ei < e.size() && e[ei] == kDosQm) ++ei;
      continue;
    }
    if (c == kDosDot) {
      if (ni == n.size()) {
        ++ei;
        continue;
      }
      if (n[ni] != L'.') return false;
      ++ei;
      ++ni;
      continue;
    }
    if (ni >= n.size() || std::towupper(n[ni]) != std::towupper(c)) return false;
    ++ei;
    ++ni;
  }
  return ni == n.size();
}

bool matches(const std::wstring& dos, const std::wstring& name) {
  size_t lastDot = name.rfind(L'.');
  return matchAt(dos, 0, name, 0, lastDot == std::wstring::npos ? name.size() + 1 : lastDot);
}

struct FindObject : KernelObject {
  std::vector<WIN32_FIND_DATAW> entries;
  size_t next = 0;
};

bool fillEntry(int dirFd, const std::string& nativeName, const std::wstring& name, WIN32_FIND_DATAW& out,
               const std::string& fullNative) {
  struct stat st;
  if (::fstatat(dirFd, nativeName.c_str(), &st, 0) != 0 &&
      ::fstatat(dirFd, nativeName.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0)
    return false;
  out = WIN32_FIND_DATAW{};
  out.dwFileAttributes = attributesOf(st, nativeName == "." || nativeName == ".." ? std::string("x") : nativeName);
  out.ftCreationTime = creationTimeOf(fullNative, st);
  out.ftLastAccessTime = fileTimeFrom(st.st_atim);
  out.ftLastWriteTime = fileTimeFrom(st.st_mtim);
  const uint64_t size = S_ISDIR(st.st_mode) ? 0 : static_cast<uint64_t>(st.st_size);
  out.nFileSizeHigh = static_cast<DWORD>(size >> 32);
  out.nFileSizeLow = static_cast<DWORD>(size & 0xFFFFFFFFu);
  name.copy(out.cFileName, name.size());
  out.cFileName[name.size()] = L'\0';
  return true;
}

bool hasWildcard(const std::string& s) { return s.find_first_of("*?") != std::string::npos; }

}  // namespace
}  // namespace detail

using namespace detail;

HANDLE FindFirstFileW(LPCWSTR lpFileName, LPWIN32_FIND_DATAW lpFindFileData) {
  std::string native;
  DWORD error = 0;
  if (!toNativePath(lpFileName, native, error, kMapAllowWildcards)) {
    SetLastError(error);
    return INVALID_HANDLE_VALUE;
  }
  if (!lpFindFileData) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return INVALID_HANDLE_VALUE;
  }
  size_t slash = native.rfind('/');
  std::string folder = slash == std::string::npos ? std::string(".") : native.substr(0, slash == 0 ? 1 : slash);
  std::string pattern = slash == std::string::npos ? native : native.substr(slash + 1);
  if (hasWildcard(folder)) {
    SetLastError(ERROR_INVALID_NAME);
    return INVALID_HANDLE_VALUE;
  }
  int dirFd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dirFd < 0) {
    SetLastError(errno == EACCES ? DWORD(ERROR_ACCESS_DENIED) : DWORD(ERROR_PATH_NOT_FOUND));
    return INVALID_HANDLE_VALUE;
  }
  auto object = std::make_shared<FindObject>();
  if (!pattern.empty() && !hasWildcard(pattern)) {
    WIN32_FIND_DATAW entry;
    std::wstring name = fromUtf8(pattern);
    if (name.size() < MAX_PATH && fillEntry(dirFd, pattern, name, entry, native)) object->entries.push_back(entry);
  } else if (!pattern.empty()) {
    const std::wstring dos = dosPattern(fromUtf8(pattern));
    int listFd = ::dup(dirFd);
    DIR* dir = listFd >= 0 ? ::fdopendir(listFd) : nullptr;
    if (dir) {
      while (struct dirent* d = ::readdir(dir)) {
        std::string nativeName(d->d_name);
        std::wstring name = fromUtf8(nativeName);
        if (name.size() >= MAX_PATH || !matches(dos, name)) continue;
        WIN32_FIND_DATAW entry;
        if (fillEntry(dirFd, nativeName, name, entry, folder + "/" + nativeName)) object->entries.push_back(entry);
      }
      ::closedir(dir);
    } else if (listFd >= 0) {
      ::close(listFd);
    }
    auto rank = [](const WIN32_FIND_DATAW& e) {
      std::wstring n(e.cFileName);
      return n == L"." ? 0 : n == L".." ? 1 : 2;
    };
    std::sort(object->entries.begin(), object->entries.end(), [&](const WIN32_FIND_DATAW& a, const WIN32_FIND_DATAW& b) {
      int ra = rank(a), rb = rank(b);
      if (ra != rb) return ra < rb;
      std::wstring na(a.cFileName), nb(b.cFileName);
      for (auto& c : na) c = static_cast<wchar_t>(std::towupper(c));
      for (auto& c : nb) c = static_cast<wchar_t>(std::towupper(c));
      if (na != nb) return na < nb;
      return std::wstring(a.cFileName) < std::wstring(b.cFileName);
    });
  }
  ::close(dirFd);
  if (object->entries.empty()) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  *lpFindFileData = object->entries[0];
  object->next = 1;
  SetLastError(ERROR_SUCCESS);
  return insertHandle(object);
}

BOOL FindNextFileW(HANDLE hFindFile, LPWIN32_FIND_DATAW lpFindFileData) {
  auto object = lookupHandleAs<FindObject>(hFindFile);
  if (!object) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  if (object->next >= object->entries.size()) {
    SetLastError(ERROR_NO_MORE_FILES);
    return FALSE;
  }
  if (!lpFindFileData) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  *lpFindFileData = object->entries[object->next++];
  return TRUE;
}

BOOL FindClose(HANDLE hFindFile) {
  if (!lookupHandleAs<FindObject>(hFindFile) || !removeHandle(hFindFile)) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  return TRUE;
}

}  // namespace KvdUtils::Platform
