// The host's string table. Registered texts come first on every platform; on Windows a number that
// is not registered is looked up in the module's own string table.
#include "kvdutu/platform/os/resources.h"

#include "kvdutu/platform/os/error.h"

#include <map>
#include <mutex>
#include <string>

namespace KvdUtils::Platform {

namespace {

std::mutex& TableLock() {
  static std::mutex m;
  return m;
}
std::map<UINT, std::wstring>& Table() {
  static std::map<UINT, std::wstring> table;
  return table;
}

}  // namespace

void RegisterStringResource(UINT id, const wchar_t* text) {
  std::lock_guard<std::mutex> lock(TableLock());
  if (!text || !*text)
    Table().erase(id);
  else
    Table()[id] = text;
}

void UnregisterStringResource(UINT id) {
  std::lock_guard<std::mutex> lock(TableLock());
  Table().erase(id);
}

void ClearStringResources() {
  std::lock_guard<std::mutex> lock(TableLock());
  Table().clear();
}

int LoadStringW(HINSTANCE hInstance, UINT uID, LPWSTR lpBuffer, int cchBufferMax) {
  if (!lpBuffer || cchBufferMax <= 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  {
    std::lock_guard<std::mutex> lock(TableLock());
    auto it = Table().find(uID);
    if (it != Table().end()) {
      const std::wstring& text = it->second;
      int n = static_cast<int>(text.size());
      if (n > cchBufferMax - 1) n = cchBufferMax - 1;
      text.copy(lpBuffer, static_cast<size_t>(n));
      lpBuffer[n] = 0;
      return n;
    }
  }
#if defined(_WIN32)
  return ::LoadStringW(hInstance, uID, lpBuffer, cchBufferMax);
#else
  lpBuffer[0] = 0;
  SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
  return 0;
#endif
}

}  // namespace KvdUtils::Platform
