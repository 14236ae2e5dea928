#include "kvdutu/platform/framework/module_state.h"

#include <algorithm>
#include <mutex>

#include "kvdutu/platform/framework/init_order_internal.h"
#include "kvdutu/platform/framework/library_entry_internal.h"
#include "kvdutu/platform/framework/module_state_internal.h"
#include "kvdutu/platform/os/module.h"
#include "kvdutu/platform/os/thread.h"

namespace {

std::mutex& stateLock() {
  static std::mutex* m = new std::mutex;
  return *m;
}

DWORD g_mainThreadId = 0;

}  // namespace

AFX_MODULE_STATE* AfxGetModuleState() {
  // Built at first use (the raw entry hook, before any other static object of the library) and
  // never destroyed: class records of other modules may unregister at process end.
  static AFX_MODULE_STATE* state = new AFX_MODULE_STATE;
  return state;
}

AFX_MODULE_STATE* AfxGetAppModuleState() { return AfxGetModuleState(); }

namespace KvdUtils::Framework::detail {

void moduleStateClassRegistered(CRuntimeClass* pClass) {
  AFX_MODULE_STATE* state = AfxGetModuleState();
  std::lock_guard<std::mutex> lock(stateLock());
  state->m_classList.push_back(pClass);
}

void rawEntryHook() {
  AFX_MODULE_STATE* state = AfxGetModuleState();
  std::lock_guard<std::mutex> lock(stateLock());
  state->m_classInit = std::move(state->m_classList);
  state->m_factoryInit = std::move(state->m_factoryList);
  state->m_classList.clear();
  state->m_factoryList.clear();
  state->m_collecting = true;
}

}  // namespace KvdUtils::Framework::detail

BOOL AfxInitExtensionModule(AFX_EXTENSION_MODULE& record, HMODULE module) {
  if (module == nullptr) return FALSE;
  AFX_MODULE_STATE* state = AfxGetModuleState();
  std::lock_guard<std::mutex> lock(stateLock());
  if (!record.bInitialized) {
    record.classes = std::move(state->m_classList);
    record.factories = std::move(state->m_factoryList);
    record.hModule = module;
    record.hResource = module;
    record.bInitialized = TRUE;
  }
  state->m_classList = std::move(state->m_classInit);
  state->m_factoryList = std::move(state->m_factoryInit);
  state->m_classInit.clear();
  state->m_factoryInit.clear();
  state->m_collecting = false;
  return TRUE;
}

CDynLinkLibrary::CDynLinkLibrary(AFX_EXTENSION_MODULE& record, BOOL system)
    : m_hModule(record.hModule), m_hResource(record.hResource), m_classList(record.classes), m_bSystem(system) {
  AFX_MODULE_STATE* state = AfxGetModuleState();
  std::lock_guard<std::mutex> lock(stateLock());
  state->m_libraryList.insert(state->m_libraryList.begin(), this);
}

CDynLinkLibrary::~CDynLinkLibrary() {
  AFX_MODULE_STATE* state = AfxGetModuleState();
  std::lock_guard<std::mutex> lock(stateLock());
  auto& libs = state->m_libraryList;
  libs.erase(std::remove(libs.begin(), libs.end(), this), libs.end());
}

HMODULE AfxFindClassModule(const CRuntimeClass* pClass) {
  AFX_MODULE_STATE* state = AfxGetModuleState();
  std::lock_guard<std::mutex> lock(stateLock());
  for (CDynLinkLibrary* lib : state->m_libraryList) {
    if (std::find(lib->m_classList.begin(), lib->m_classList.end(), pClass) != lib->m_classList.end())
      return lib->m_hModule;
  }
  return nullptr;
}

// ---- The application object ------------------------------------------------------------------------

CWinThread::CWinThread() : m_nThreadID(KvdUtils::Platform::GetCurrentThreadId()), m_hThread(nullptr) {}
CWinThread::~CWinThread() = default;

CWinApp::CWinApp(LPCWSTR appName)
    : m_pszAppName(appName),
      m_pszRegistryKey(nullptr),
      m_pszProfileName(appName),
      m_hInstance(KvdUtils::Platform::GetModuleHandleW(nullptr)) {
  AFX_MODULE_STATE* state = AfxGetModuleState();
  state->m_pCurrentWinApp = this;
  state->m_hCurrentInstanceHandle = m_hInstance;
  state->m_hCurrentResourceHandle = m_hInstance;
  state->m_lpszCurrentAppName = appName;
  g_mainThreadId = m_nThreadID;
}

CWinApp::~CWinApp() {
  AFX_MODULE_STATE* state = AfxGetModuleState();
  if (state->m_pCurrentWinApp == this) {
    state->m_pCurrentWinApp = nullptr;
    state->m_lpszCurrentAppName = nullptr;
    g_mainThreadId = 0;
  }
}

CWinApp* AfxGetApp() { return AfxGetModuleState()->m_pCurrentWinApp; }
HINSTANCE AfxGetInstanceHandle() { return AfxGetModuleState()->m_hCurrentInstanceHandle; }
HINSTANCE AfxGetResourceHandle() { return AfxGetModuleState()->m_hCurrentResourceHandle; }
DWORD AfxGetMainThreadId() { return g_mainThreadId; }

// ---- The library's own load -------------------------------------------------------------------------

namespace {

AFX_EXTENSION_MODULE& libraryRecord() {
  static AFX_EXTENSION_MODULE* record = new AFX_EXTENSION_MODULE;
  return *record;
}

// Step 1, before every other static object of the library.
struct RawEntryHook {
  RawEntryHook() { KvdUtils::Framework::detail::rawEntryHook(); }
};
__attribute__((init_priority(KVDUTU_INIT_PRIORITY_RAW_HOOK))) RawEntryHook g_rawEntryHook;

}  // namespace

namespace KvdUtils::Framework {
const AFX_EXTENSION_MODULE& LibraryExtensionModule() { return libraryRecord(); }
}  // namespace KvdUtils::Framework

namespace KvdUtils::Platform::detail {

// Step 3's framework half. A failure of either part leaves the library loaded with no extension
// record; nothing is reported.
void runExtensionModuleStart(HMODULE instance) {
  AfxInitExtensionModule(libraryRecord(), instance);
  new (std::nothrow) CDynLinkLibrary(libraryRecord());
  AFX_MODULE_STATE* state = AfxGetModuleState();
  if (state->m_hCurrentInstanceHandle == nullptr) {
    // The library is the first framework module in the process: until the host's application
    // object says otherwise, resources come from here.
    state->m_hCurrentResourceHandle = instance;
  }
}

}  // namespace KvdUtils::Platform::detail
