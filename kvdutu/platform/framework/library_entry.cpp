// The load steps of the library: the raw entry hook before any static object of the library is
// built, the static objects in their rows, then the main routine, which records the module's
// instance handle. On Windows the main routine is DllMain, which the runtime calls after the
// static constructors; elsewhere it is the last static constructor of the library.
#include "kvdutu/platform/framework/init_order_internal.h"
#include "kvdutu/platform/framework/library_entry_internal.h"
#include "kvdutu/platform/os/module.h"

namespace KvdUtils::Platform {

namespace {
HMODULE g_instance = nullptr;
}

HMODULE LibraryModuleHandle() { return g_instance; }

namespace detail {

void libraryMainRoutine(HMODULE instance) {
  runExtensionModuleStart(instance);
  g_instance = instance;
}

}  // namespace detail
}  // namespace KvdUtils::Platform

#if defined(_WIN32)

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  // Only process attach does anything; detach leaves termination to the runtime's destructors.
  if (reason == DLL_PROCESS_ATTACH) KvdUtils::Platform::detail::libraryMainRoutine(instance);
  return TRUE;
}

#else

namespace {
struct MainRoutine {
  MainRoutine() {
    HMODULE self = nullptr;
    KvdUtils::Platform::GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<LPCWSTR>(&KvdUtils::Platform::LibraryModuleHandle), &self);
    KvdUtils::Platform::detail::libraryMainRoutine(self);
  }
};
// Unprioritised, in the file that links last: built after every other static object of the
// library, class registrations included.
MainRoutine g_mainRoutine;
}  // namespace

#endif
