// The framework's module state: the current application object with its main thread, the
// instance handle, and the lists of classes and of extension libraries through which a class
// record resolves to the module that registered it.
//
// The library is an extension module of the framework. Its load runs in three steps: a raw entry
// hook that parks the module state's class and factory lists in two save slots and empties them,
// so that what the library's static constructors register collects apart; the static
// constructors; and the main routine, which moves what collected into the library's extension
// module record (AfxInitExtensionModule), restores the parked lists, and links a CDynLinkLibrary
// for the record into the state's list of libraries.
#pragma once

#include <vector>

#include "kvdutu/platform/framework/object.h"
#include "kvdutu/platform/win_types.h"

class CWinApp;
class CDynLinkLibrary;

// One process-wide state: the library serves one application per process.
struct KVDUTU_API AFX_MODULE_STATE {
  CWinApp* m_pCurrentWinApp = nullptr;
  HINSTANCE m_hCurrentInstanceHandle = nullptr;
  HINSTANCE m_hCurrentResourceHandle = nullptr;
  LPCWSTR m_lpszCurrentAppName = nullptr;

  // Classes registered while the state collects (between the raw hook and the main routine,
  // the library's own), and the state's factories; the two save slots hold the lists as they
  // were when the raw hook parked them.
  std::vector<CRuntimeClass*> m_classList;
  std::vector<void*> m_factoryList;
  std::vector<CRuntimeClass*> m_classInit;
  std::vector<void*> m_factoryInit;
  bool m_collecting = false;

  // Extension libraries, most recently linked first.
  std::vector<CDynLinkLibrary*> m_libraryList;
};

KVDUTU_API AFX_MODULE_STATE* AfxGetModuleState();
KVDUTU_API AFX_MODULE_STATE* AfxGetAppModuleState();

struct KVDUTU_API AFX_EXTENSION_MODULE {
  BOOL bInitialized = FALSE;
  HMODULE hModule = nullptr;
  HMODULE hResource = nullptr;
  std::vector<CRuntimeClass*> classes;  // the module's shared classes
  std::vector<void*> factories;
};

// Takes the classes and factories that collected in the module state into `state`, restores the
// state's parked lists, and records the module handle. Returns FALSE only for a null module.
KVDUTU_API BOOL AfxInitExtensionModule(AFX_EXTENSION_MODULE& state, HMODULE module);

// Links an extension module's classes into the module state, so that they resolve to it.
class KVDUTU_API CDynLinkLibrary {
 public:
  explicit CDynLinkLibrary(AFX_EXTENSION_MODULE& state, BOOL system = FALSE);
  virtual ~CDynLinkLibrary();
  CDynLinkLibrary(const CDynLinkLibrary&) = delete;
  CDynLinkLibrary& operator=(const CDynLinkLibrary&) = delete;

  HMODULE m_hModule;
  HMODULE m_hResource;
  std::vector<CRuntimeClass*> m_classList;
  BOOL m_bSystem;
};

// The module whose extension library registered this class record, or null when no extension
// library holds it (a class of the application itself).
KVDUTU_API HMODULE AfxFindClassModule(const CRuntimeClass* pClass);

// The application object: one per process, built by the host. Its constructor makes it the
// current application of the module state and records the constructing thread as the main thread.
class KVDUTU_API CWinThread : public CObject {
 public:
  CWinThread();
  ~CWinThread() override;
  DWORD m_nThreadID;
  HANDLE m_hThread;
};

class KVDUTU_API CWinApp : public CWinThread {
 public:
  explicit CWinApp(LPCWSTR appName = nullptr);
  ~CWinApp() override;

  LPCWSTR m_pszAppName;
  LPCWSTR m_pszRegistryKey;
  LPCWSTR m_pszProfileName;
  HINSTANCE m_hInstance;
};

KVDUTU_API CWinApp* AfxGetApp();
KVDUTU_API HINSTANCE AfxGetInstanceHandle();
KVDUTU_API HINSTANCE AfxGetResourceHandle();
// The main thread: the thread that built the application object (0 before there is one).
KVDUTU_API DWORD AfxGetMainThreadId();

namespace KvdUtils::Framework {
// The library's own extension module record, as its load filled it.
KVDUTU_API const AFX_EXTENSION_MODULE& LibraryExtensionModule();
}  // namespace KvdUtils::Framework
