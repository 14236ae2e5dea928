#include "kvdutu/platform/os/module.h"

#include <dirent.h>
#include <dlfcn.h>
#include <limits.h>
#include <link.h>
#include <unistd.h>

#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/posix/text_internal.h"

namespace KvdUtils::Platform {

namespace {

std::string executableDir() {
  char buf[PATH_MAX];
  ssize_t n = ::readlink("/proc/self/exe", buf, sizeof(buf) - 1);
  if (n <= 0) return {};
  buf[n] = 0;
  std::string path(buf);
  auto slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

bool endsWithNoCase(const std::string& s, const char* suffix) {
  size_t n = std::strlen(suffix);
  return s.size() >= n && ::strcasecmp(s.c_str() + s.size() - n, suffix) == 0;
}

// The file names, in the order they are tried, for a module name as Windows code gives it.
std::vector<std::string> candidates(const std::wstring& wname) {
  std::string name = detail::toUtf8(wname);
  for (char& c : name)
    if (c == '\\') c = '/';
  std::vector<std::string> out;
  if (name.find('/') != std::string::npos) {
    out.push_back(name);
    if (endsWithNoCase(name, ".dll")) {
      std::string stem = name.substr(0, name.size() - 4);
      auto slash = stem.rfind('/');
      out.push_back(stem.substr(0, slash + 1) + "lib" + stem.substr(slash + 1) + ".so");
      out.push_back(stem + ".so");
    }
    return out;
  }
  std::vector<std::string> bare;
  if (endsWithNoCase(name, ".dll")) {
    std::string stem = name.substr(0, name.size() - 4);
    bare = {"lib" + stem + ".so", stem + ".so"};
  } else {
    bare = {name};
  }
  std::string dir = executableDir();
  if (!dir.empty())
    for (auto& b : bare) out.push_back(dir + "/" + b);
  for (auto& b : bare) out.push_back(b);  // the loader's own search path
  return out;
}

// Windows module names ignore case: a file in a folder matches whatever the case of its name.
std::string findNoCase(const std::string& path) {
  if (::access(path.c_str(), F_OK) == 0) return path;
  auto slash = path.rfind('/');
  std::string dir = slash == 0 ? "/" : path.substr(0, slash);
  std::string leaf = path.substr(slash + 1);
  std::string found;
  if (DIR* d = ::opendir(dir.c_str())) {
    while (struct dirent* e = ::readdir(d)) {
      if (::strcasecmp(e->d_name, leaf.c_str()) == 0) {
        found = (dir == "/" ? "" : dir) + "/" + e->d_name;
        break;
      }
    }
    ::closedir(d);
  }
  return found;
}

void* openFirst(const std::wstring& name, int mode) {
  for (const std::string& candidate : candidates(name)) {
    std::string file = candidate;
    if (file.find('/') != std::string::npos) {
      file = findNoCase(file);
      if (file.empty()) continue;
    }
    if (void* h = ::dlopen(file.c_str(), mode)) return h;
  }
  return nullptr;
}

struct AddressSearch {
  uintptr_t address;
  bool found;
  bool isMain;
  std::string name;
};

int findObject(struct dl_phdr_info* info, size_t, void* data) {
  auto* search = static_cast<AddressSearch*>(data);
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const auto& ph = info->dlpi_phdr[i];
    if (ph.p_type != PT_LOAD) continue;
    uintptr_t start = info->dlpi_addr + ph.p_vaddr;
    if (search->address >= start && search->address < start + ph.p_memsz) {
      search->found = true;
      // The main program is reported first, with an empty name.
      search->isMain = info->dlpi_name == nullptr || info->dlpi_name[0] == 0;
      search->name = search->isMain ? std::string() : info->dlpi_name;
      return 1;
    }
  }
  return 0;
}

}  // namespace

HMODULE GetModuleHandleW(LPCWSTR moduleName) {
  if (moduleName == nullptr) return reinterpret_cast<HMODULE>(::dlopen(nullptr, RTLD_LAZY));
  void* h = openFirst(moduleName, RTLD_LAZY | RTLD_NOLOAD);
  if (!h) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  // RTLD_NOLOAD took a reference; GetModuleHandleW does not keep one.
  ::dlclose(h);
  return reinterpret_cast<HMODULE>(h);
}

BOOL GetModuleHandleExW(DWORD flags, LPCWSTR moduleNameOrAddress, HMODULE* module) {
  if (module == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  *module = nullptr;
  const bool keepCount = (flags & GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT) != 0;
  void* h = nullptr;
  if (flags & GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) {
    AddressSearch search{reinterpret_cast<uintptr_t>(moduleNameOrAddress), false, false, {}};
    ::dl_iterate_phdr(findObject, &search);
    if (!search.found) {
      SetLastError(ERROR_MOD_NOT_FOUND);
      return FALSE;
    }
    h = ::dlopen(search.isMain ? nullptr : search.name.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  } else if (moduleNameOrAddress == nullptr) {
    h = ::dlopen(nullptr, RTLD_LAZY);
  } else {
    h = openFirst(moduleNameOrAddress, RTLD_LAZY | RTLD_NOLOAD);
  }
  if (!h) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return FALSE;
  }
  if (keepCount) ::dlclose(h);
  *module = reinterpret_cast<HMODULE>(h);
  return TRUE;
}

HMODULE LoadLibraryExW(LPCWSTR fileName, HANDLE, DWORD) {
  if (fileName == nullptr || *fileName == 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  void* h = openFirst(fileName, RTLD_NOW | RTLD_LOCAL);
  if (!h) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  return reinterpret_cast<HMODULE>(h);
}

HMODULE LoadLibraryW(LPCWSTR fileName) { return LoadLibraryExW(fileName, nullptr, 0); }

BOOL FreeLibrary(HMODULE module) {
  if (module == nullptr || ::dlclose(reinterpret_cast<void*>(module)) != 0) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  return TRUE;
}

FARPROC GetProcAddress(HMODULE module, LPCSTR procName) {
  if (module == nullptr || procName == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  ::dlerror();
  void* sym = ::dlsym(reinterpret_cast<void*>(module), procName);
  if (sym == nullptr) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  return reinterpret_cast<FARPROC>(sym);
}

DWORD GetModuleFileNameW(HMODULE module, LPWSTR fileName, DWORD size) {
  std::string path;
  if (module == nullptr || module == reinterpret_cast<HMODULE>(::dlopen(nullptr, RTLD_LAZY | RTLD_NOLOAD))) {
    char buf[PATH_MAX];
    ssize_t n = ::readlink("/proc/self/exe", buf, sizeof(buf) - 1);
    if (n > 0) path.assign(buf, static_cast<size_t>(n));
  } else {
    struct link_map* map = nullptr;
    if (::dlinfo(reinterpret_cast<void*>(module), RTLD_DI_LINKMAP, &map) == 0 && map && map->l_name) {
      char resolved[PATH_MAX];
      path = ::realpath(map->l_name, resolved) ? resolved : map->l_name;
    }
  }
  if (path.empty()) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return 0;
  }
  std::wstring wide = detail::fromUtf8(path);
  if (fileName == nullptr || size == 0) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  if (wide.size() + 1 > size) {
    std::wmemcpy(fileName, wide.data(), size - 1);
    fileName[size - 1] = 0;
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
  }
  std::wmemcpy(fileName, wide.data(), wide.size() + 1);
  SetLastError(ERROR_SUCCESS);
  return static_cast<DWORD>(wide.size());
}

}  // namespace KvdUtils::Platform
