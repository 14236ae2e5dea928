// The example host: a small application that loads kvdutu and walks the start-run-stop sequence of
// a host, printing what it does at each step.
#include <kvdutu/kvdutu.h>

#include <cstdio>
#include <string>

namespace P = KvdUtils::Platform;

namespace {

void step(const char* title) { std::printf("\n== %s\n", title); }

std::string narrow(const CString& text) { return std::string(CStringA(text).GetString()); }

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

  step("Stop");
  P::CoUninitialize();
  std::printf("the host ends; only the library's static destructors run at unload\n");
  return 0;
}
