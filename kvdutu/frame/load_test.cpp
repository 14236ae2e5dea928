// What the load of the library leaves behind: the order of its static objects, the module state
// with the library's extension record, the instance handle, and the exported names.
#include <gtest/gtest.h>

#include <vector>

#include "kvdutu/frame/exported_switches.h"
#include "kvdutu/frame/running_app.h"
#include "kvdutu/frame/static_rows.h"
#include "kvdutu/platform/containers/su_object.h"
#include "kvdutu/platform/framework/module_state.h"
#include "kvdutu/platform/os/module.h"
#include "kvdutu/platform/os/thread.h"
#include "support/fake_dispatch.h"

namespace P = KvdUtils::Platform;

TEST(LibraryLoad, StaticRowsWereBuiltInTheirOrder) {
  int rows[64];
  int n = KvdUtils::Frame::GetStaticConstructionOrder(rows, 64);
  ASSERT_GE(n, 2);
  ASSERT_LE(n, 64);
  std::vector<int> built(rows, rows + n);
  for (int i = 1; i < n; ++i) EXPECT_LE(built[i - 1], built[i]) << "row " << built[i] << " built after " << built[i - 1];
  // Among them the version keys of the settings (5), the application identity (7) and the automation module (13).
  for (int row : {5, 7, 13}) EXPECT_NE(std::find(built.begin(), built.end(), row), built.end()) << row;
}

TEST(LibraryLoad, LibraryClassesResolveToTheLibraryModule) {
  const AFX_EXTENSION_MODULE& record = KvdUtils::Framework::LibraryExtensionModule();
  EXPECT_TRUE(record.bInitialized);
  EXPECT_EQ(record.hModule, P::LibraryModuleHandle());
  EXPECT_FALSE(record.classes.empty());
  EXPECT_EQ(AfxFindClassModule(RUNTIME_CLASS(su_CObject)), P::LibraryModuleHandle());
  // The module state's own lists were given back after the load.
  AFX_MODULE_STATE* state = AfxGetModuleState();
  EXPECT_FALSE(state->m_collecting);
  EXPECT_TRUE(state->m_classInit.empty());
  ASSERT_FALSE(state->m_libraryList.empty());
  EXPECT_EQ(state->m_libraryList.back()->m_hModule, P::LibraryModuleHandle());
}

namespace {
class HostOnlyClass : public CObject {
  DECLARE_DYNAMIC(HostOnlyClass)
};
IMPLEMENT_DYNAMIC(HostOnlyClass, CObject)
}  // namespace

TEST(LibraryLoad, ClassesOfTheHostDoNotResolveToTheLibrary) {
  EXPECT_EQ(AfxFindClassModule(RUNTIME_CLASS(HostOnlyClass)), nullptr);
  EXPECT_EQ(CRuntimeClass::FromName("HostOnlyClass"), RUNTIME_CLASS(HostOnlyClass));
}

TEST(LibraryLoad, ApplicationObjectNamesTheMainThread) {
  EXPECT_EQ(AfxGetApp(), nullptr);
  EXPECT_EQ(AfxGetMainThreadId(), 0u);
  {
    CWinApp app(L"KvdTestHost");
    EXPECT_EQ(AfxGetApp(), &app);
    EXPECT_EQ(AfxGetMainThreadId(), P::GetCurrentThreadId());
    EXPECT_EQ(AfxGetInstanceHandle(), P::GetModuleHandleW(nullptr));
    EXPECT_STREQ(AfxGetModuleState()->m_lpszCurrentAppName, L"KvdTestHost");
  }
  EXPECT_EQ(AfxGetApp(), nullptr);
}

TEST(LibraryLoad, RunningApplicationLookUpIsExportedUnderItsPlainName) {
  FARPROC byName = P::GetProcAddress(P::LibraryModuleHandle(), "_GetKorvalindeObjByPID");
  ASSERT_NE(byName, nullptr);
  EXPECT_EQ(reinterpret_cast<void*>(byName), reinterpret_cast<void*>(&GetKorvalindeObjByPID));
}

TEST(LibraryLoad, ExportedSwitchesAreDataOfTheLibrary) {
  auto* pin = reinterpret_cast<int*>(P::GetProcAddress(P::LibraryModuleHandle(), "su_PinDrawingViews"));
  auto* capture = reinterpret_cast<int*>(P::GetProcAddress(P::LibraryModuleHandle(), "su_CaptureDataForDTD"));
  ASSERT_NE(pin, nullptr);
  ASSERT_NE(capture, nullptr);
  // The same values through the names the header declares.
  EXPECT_EQ(*pin, 1);
  EXPECT_EQ(su_PinDrawingViews, 1);
  EXPECT_EQ(*capture, 0);
  EXPECT_EQ(su_CaptureDataForDTD, 0);
}
