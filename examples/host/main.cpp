// The example host: a small application that loads kvdutu and walks the start-run-stop sequence of
// a host, printing what it does at each step.
#include <kvdutu/kvdutu.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace P = KvdUtils::Platform;

namespace {

void step(const char* title) { std::printf("\n== %s\n", title); }

std::string narrow(const CString& text) { return std::string(CStringA(text).GetString()); }

// The demo keeps its settings in a registry folder of its own (on POSIX the hives are files there),
// beside the build's programs, unless the caller chose one. Must happen before the first registry call.
void useDemoRegistry() {
  if (const char* chosen = std::getenv("KVDUTU_REGISTRY_DIR"); chosen && *chosen) return;
  const std::filesystem::path folder =
      std::filesystem::path(GetKvDirectory().GetString()).parent_path() / "demo-registry";
  std::error_code ec;
  std::filesystem::create_directories(folder, ec);
#if defined(_WIN32)
  _putenv_s("KVDUTU_REGISTRY_DIR", folder.string().c_str());
#else
  setenv("KVDUTU_REGISTRY_DIR", folder.string().c_str(), 1);
#endif
}

// The demo's files lie in a folder of their own beside the build's programs, made afresh each run;
// it is also the "temporary folder" the library's backup and recovery folders go in.
std::filesystem::path freshDemoFiles() {
  const std::filesystem::path folder =
      std::filesystem::path(GetKvDirectory().GetString()).parent_path() / "demo-files";
  std::error_code ec;
  std::filesystem::remove_all(folder, ec);
  std::filesystem::create_directories(folder / "designs", ec);
  std::filesystem::create_directories(folder / "temp", ec);
  return folder;
}

// Paths are printed below the demo folder, which stands in front as "<demo>".
std::string shown(const CString& path, const std::filesystem::path& demo) {
  std::string text = narrow(path);
  const std::string prefix = demo.string();
  if (text.compare(0, prefix.size(), prefix) == 0) text = "<demo>" + text.substr(prefix.size());
  return text;
}

// Written through the library's file class, which takes the Windows-form paths that the library
// hands out.
void saveDesign(const CString& file, const std::string& revision) {
  CFile out;
  if (!out.Open(file, CFile::modeCreate | CFile::modeWrite)) return;
  out.Write(revision.data(), static_cast<UINT>(revision.size()));
  out.Close();
}

// Each file of the folder with the revision it holds, in name order.
void listFolder(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> files;
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ec))
    if (entry.is_regular_file()) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    char revision[32] = {};
    if (std::FILE* f = std::fopen(file.string().c_str(), "rb")) {
      std::fread(revision, 1, sizeof revision - 1, f);
      std::fclose(f);
    }
    std::printf("  %-34s %s\n", file.filename().string().c_str(), revision);
  }
}

// A value straight into a hive, as an installer or an older release left it.
void presetValue(HKEY hive, const wchar_t* path, const wchar_t* name, DWORD value) {
  HKEY key = nullptr;
  if (P::RegCreateKeyExW(hive, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr) != ERROR_SUCCESS) {
    std::printf("cannot prepare %s\n", narrow(CString(path)).c_str());
    return;
  }
  P::RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value), sizeof(value));
  P::RegCloseKey(key);
}

// The host's application object, registered in the running object table as a running
// application is, so that other processes' tools can find it by process id.
class HostAutomation : public IDispatch {
 public:
  STDMETHOD(QueryInterface)(REFIID riid, void** object) override {
    if (object == nullptr) return E_POINTER;
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IDispatch)) {
      *object = static_cast<IDispatch*>(this);
      AddRef();
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  STDMETHOD_(ULONG, AddRef)() override { return ++refs; }
  STDMETHOD_(ULONG, Release)() override { return --refs; }
  STDMETHOD(GetTypeInfoCount)(UINT* count) override {
    if (count) *count = 0;
    return S_OK;
  }
  STDMETHOD(GetTypeInfo)(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHOD(GetIDsOfNames)(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return DISP_E_UNKNOWNNAME; }
  STDMETHOD(Invoke)(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
    return DISP_E_MEMBERNOTFOUND;
  }
  ULONG refs = 1;
};

class HostApp : public CWinApp {
 public:
  HostApp() : CWinApp(L"KvdutuHost") {}
};

}  // namespace

int main() {
  useDemoRegistry();
  step("Load: the library is in the process");
  wchar_t path[1024] = {0};
  P::GetModuleFileNameW(P::LibraryModuleHandle(), path, 1024);
  std::printf("library module: %s\n", narrow(CString(path)).c_str());
  std::printf("exported switches: su_PinDrawingViews=%d su_CaptureDataForDTD=%d\n", su_PinDrawingViews,
              su_CaptureDataForDTD);
  int rows[64];
  int n = KvdUtils::Frame::GetStaticConstructionOrder(rows, 64);
  std::printf("static rows built in order:");
  for (int i = 0; i < n && i < 64; ++i) std::printf(" %d", rows[i]);
  std::printf("\n");
  const AFX_EXTENSION_MODULE& record = KvdUtils::Framework::LibraryExtensionModule();
  std::printf("extension module record: initialised=%d, %zu library classes\n", record.bInitialized,
              record.classes.size());

  step("Start: the host's application object and identity");
  HostApp app;
  std::printf("application object: %s, main thread %lu\n", AfxGetApp() == &app ? "current" : "missing",
              static_cast<unsigned long>(AfxGetMainThreadId()));
  su_setAppNameInternalForUtils(CString(L"Korvalinde Demo"));
  std::printf("internal application name: %s\n", narrow(su_getAppNameInternalForUtils()).c_str());
  setSaveModelAsExample(1);
  std::printf("ut_isModelExample()=%d ut_isBackCompEnabled()=%d ut_isMultiCAD()=%d\n", ut_isModelExample(),
              ut_isBackCompEnabled(), ut_isMultiCAD());

  step("Start: set the version key");
  // An older release left its branch for this user, and the installer a machine-wide default.
  presetValue(HKEY_CURRENT_USER, L"Software\\Korvalinde\\Korvalinde 2012\\Demo", L"Grid spacing", 25);
  presetValue(HKEY_LOCAL_MACHINE, L"Software\\Korvalinde\\Korvalinde 2013\\Demo", L"Licence seats", 12);
  std::printf("product key: %s\n", narrow(KvdUtils::Registry::getCurrKorvalindeRegRootKey()).c_str());
  setCurrKorvalindeRegSubKey(L"Korvalinde 2013");
  std::printf("current key: %s\n", narrow(externalGetCurrKorvalindeRegSubKey()).c_str());
  std::printf("previous key: %s (older version found: %d)\n", narrow(externalGetPrevKorvalindeRegSubKey()).c_str(),
              externalCheckPrevKorvalindeRegSubKey());

  step("Start: the model module registers its interface when first asked for");
  KvdAppModelInterface_c* model = KvdUtils::appModelTalk::getAppModelInterface();
  std::printf("getAppModelInterface(): %s\n", model ? "registered by kvdmodu.dll" : "no model module here (null)");

  step("Run: a running application is found by its process id");
  P::CoInitialize(nullptr);
  HostAutomation automation;
  IRunningObjectTable* rot = nullptr;
  IMoniker* moniker = nullptr;
  DWORD cookie = 0;
  CString item;
  item.Format(L"Korvalinde_PID_%d", static_cast<int>(P::GetCurrentProcessId()));
  P::GetRunningObjectTable(0, &rot);
  P::CreateItemMoniker(nullptr, item, &moniker);
  rot->Register(0, &automation, moniker, &cookie);
  std::printf("registered \"%s\"\n", narrow(item).c_str());
  {
    smartDispatch found(GetKorvalindeObjByPID(static_cast<long>(P::GetCurrentProcessId())));
    std::printf("GetKorvalindeObjByPID(own pid): %s\n", found.get() == &automation ? "this host" : "not found");
  }
  smartDispatch none(GetKorvalindeObjByPID(1));
  std::printf("GetKorvalindeObjByPID(1): %s\n", none.get() ? "found?" : "null, as nothing registered it");
  rot->Revoke(cookie);
  moniker->Release();
  rot->Release();

  step("Run: one API call with nested scopes");
  {
    apiErrorMessageHandler outer(1);
    {
      apiErrorMessageHandler inner;
      inner.SetErrorMessage(5);
      EmbeddedTest embedded;
      std::printf("inner scope: error %ld, embedded=%d, display mode for ui mode 3: %ld\n", inner.GetErrorMessage(),
                  EmbeddedTest::IsEmbedded() ? 1 : 0, GetApiDisplayModeFromUiMode(1, 3));
    }
    std::printf("outer scope still sees error %ld\n", outer.GetErrorMessage());
  }
  apiErrorMessageHandler after;
  std::printf("after the call: error %ld\n", after.GetErrorMessage());

  step("Run: text follows the Microsoft runtime's formatting rules on every platform");
  CString text;
  text.Format(L"%s has %d parts, %hs, pointer %p", L"Assembly", 12, "narrow text", static_cast<void*>(nullptr));
  std::printf("%s\n", narrow(text).c_str());

  step("Run: settings");
  {
    int copies = 3;
    double scale = 0.1;
    CString folder(L"Designs");
    CString notes(L'n', 1500);  // long enough to be kept in chunks
    regSetUserValue(L"Demo", L"Backup Copies", &copies);
    regSetUserValue(L"Demo", L"Scale", &scale);
    regSetUserValue(L"Demo", L"Folder", folder);
    regSetUserValue(L"Demo", L"Notes", notes);
    int readCopies = 0;
    double readScale = 0;
    CString readFolder;
    CString readNotes;
    const int foundCopies = regGetUserValue(L"Demo", L"Backup Copies", &readCopies);
    const int foundScale = regGetUserValue(L"Demo", L"Scale", &readScale);
    const int foundFolder = regGetUserValue(L"Demo", L"Folder", readFolder);
    const int foundNotes = regGetUserValue(L"Demo", L"Notes", readNotes);
    std::printf("int: %d (found %d)\n", readCopies, foundCopies);
    std::printf("double: %.15g (found %d)\n", readScale, foundScale);
    std::printf("string: %s (found %d)\n", narrow(readFolder).c_str(), foundFolder);
    std::printf("long string: %d characters in chunks (found %d)\n", readNotes.GetLength(), foundNotes);
  }
  {
    int spacing = 10;  // the caller's default
    int found = regGetUserValue(L"Demo", L"Grid spacing", &spacing);
    std::printf("Grid spacing, only in the 2012 branch: %d (found %d)\n", spacing, found);
    spacing = 10;
    CString unused;
    found = regGetUserValue(L"Demo", L"Grid spacing", valueTypeInt, unused, &spacing, nullptr, 0, 1, nullptr, 0, 0, 0, 0);
    std::printf("the same without the previous version: %d (found %d)\n", spacing, found);
    int seats = 1;
    found = regGetUserValue(L"Demo", L"Licence seats", &seats);
    std::printf("Licence seats, only in the machine hive: %d (found %d)\n", seats, found);
    CString log;
    regGetUserValuesLog(L"Demo", log);
    std::printf("values log (long text left out of this print):\n");
    for (int start = 0; start >= 0 && start < log.GetLength();) {
      int end = log.Find(L'\n', start);
      if (end < 0) end = log.GetLength();
      CString line = log.Mid(start, end - start);
      std::printf("  %s\n", narrow(line.GetLength() > 60 ? line.Left(60) + L"..." : line).c_str());
      start = end + 1;
    }
  }

  step("Run: rotating backups of a design file");
  const std::filesystem::path demo = freshDemoFiles();
  P::SetEnvironmentVariableW(L"temp", (demo / "temp").wstring().c_str());
  // The host's own texts: the backup prefix with its insertion place, the backup folder's name
  // (joined straight behind the temporary folder) and the recovery prefix.
  P::RegisterStringResource(10122, L"Backup %sof ");
  P::RegisterStringResource(12256, L"\\KvdBackups");
  P::RegisterStringResource(12298, L"~KVDREC~");
  {
    int copies = 3;
    int besideTheFile = 0;
    CString systemChooses;  // empty: filled in with the default folder at the first backup
    regSetUserValue(L"General", L"Backup Copies", &copies);
    regSetUserValue(L"General", L"Backup to original path", &besideTheFile);
    regSetUserValue(L"General", L"Backup directory", systemChooses);
    const std::filesystem::path design = demo / "designs" / "bracket.KVDPRT";
    const CString designPath(design.wstring().c_str());
    for (int revision = 1; revision <= 5; ++revision) {
      saveDesign(designPath, "revision " + std::to_string(revision));
      std::printf("saved revision %d, su_CreateBackupOfFile: %d\n", revision, su_CreateBackupOfFile(designPath));
    }
    CString folder;
    regGetUserValue(L"General", L"Backup directory", folder);
    std::printf("\"Backup directory\" as the library filled it in: %s\n", shown(folder, demo).c_str());
    std::printf("three copies kept, copy 1 the youngest:\n");
    listFolder(demo / "temp" / "KvdBackups");

    wchar_t resolved[MAX_PATH + 1] = {};
    su_ResolveToBackupFile(designPath, resolved);
    std::printf("su_ResolveToBackupFile, no unnumbered copy beside the file: %s\n", shown(resolved, demo).c_str());
    copies = 1;
    besideTheFile = 1;
    regSetUserValue(L"General", L"Backup Copies", &copies);
    regSetUserValue(L"General", L"Backup to original path", &besideTheFile);
    su_CreateBackupOfFile(designPath);
    su_ResolveToBackupFile(designPath, resolved);
    std::printf("one copy beside the file, then resolved: %s\n", shown(resolved, demo).c_str());

    step("Run: recovery after a crash");
    std::printf("auto-save folder: %s\n", shown(su_CreateAutoDirectory(CString()), demo).c_str());
    const CString recovery = suAutoRecoveryResolver_c::getRecoveryName(designPath);
    std::printf("recovery name: %s (same for any folder: %s)\n", shown(recovery, demo).c_str(),
                recovery == suAutoRecoveryResolver_c::getRecoveryName(L"D:\\elsewhere\\bracket.KVDPRT") ? "yes" : "no");
    std::printf("its original's name: %s; isABackupFile: %d\n",
                narrow(suAutoRecoveryResolver_c::getAliasName(recovery)).c_str(),
                suAutoRecoveryResolver_c::isABackupFile(recovery));
    saveDesign(recovery, "auto-saved before the crash");
    std::printf("not recovering, the design opens as: %s\n",
                shown(suAutoRecoveryResolver_c::resolveFileNameWhileRecovery(designPath), demo).c_str());
    am_SetRecoveringCrashFiles(1);
    std::printf("recovering crash files, it opens as:  %s\n",
                shown(suAutoRecoveryResolver_c::resolveFileNameWhileRecovery(designPath), demo).c_str());
    am_SetRecoveringCrashFiles(0);

    step("Run: virtual component folders in the process's own temporary folder");
    const CString bracket = su_createVirtualCompFilePath(L"Bracket . ", L"Bracket.KVDPRT");
    std::printf("file of component \"Bracket . \": %s\n", shown(bracket, demo).c_str());
    std::printf("a long component name is named by its hash: %s\n",
                shown(su_getOrCreateVirtualCompFolder(CString(L'w', 120), 0), demo).c_str());
    std::printf("su_isVirtualCompPath: own %d, the design %d\n", su_isVirtualCompPath(bracket),
                su_isVirtualCompPath(designPath));
  }

  step("Stop");
  P::CoUninitialize();
  std::printf("the host ends; only the library's static destructors run at unload\n");
  return 0;
}
