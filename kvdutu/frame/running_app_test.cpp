// Finding the running application of a process through the running object table.
#include <gtest/gtest.h>

#include "kvdutu/frame/running_app.h"
#include "kvdutu/platform/os/com.h"
#include "support/fake_dispatch.h"

namespace P = KvdUtils::Platform;

namespace {

class RunningApp : public ::testing::Test {
 protected:
  void SetUp() override {
    P::CoInitialize(nullptr);
    ASSERT_EQ(P::GetRunningObjectTable(0, &rot_), S_OK);
  }
  void TearDown() override {
    rot_->Release();
    P::CoUninitialize();
  }
  DWORD registerAs(IUnknown* object, const wchar_t* item) {
    IMoniker* name = nullptr;
    EXPECT_EQ(P::CreateItemMoniker(nullptr, item, &name), S_OK);
    DWORD cookie = 0;
    EXPECT_TRUE(SUCCEEDED(rot_->Register(0, object, name, &cookie)));
    name->Release();
    return cookie;
  }
  IRunningObjectTable* rot_ = nullptr;
};

}  // namespace

TEST_F(RunningApp, FindsTheObjectRegisteredForTheProcessAndKeepsTheLookUpReference) {
  KvdTest::FakeDispatch app;
  DWORD cookie = registerAs(static_cast<IDispatch*>(&app), L"Korvalinde_PID_4242");
  IDispatch* found = GetKorvalindeObjByPID(4242);
  ASSERT_EQ(found, static_cast<IDispatch*>(&app));
  EXPECT_EQ(GetKorvalindeObjByPID(4243), nullptr);  // a process with nothing registered
  EXPECT_EQ(GetKorvalindeObjByPID(-4242), nullptr);
  found->Release();
  rot_->Revoke(cookie);
  // Ours and the one that the table's look-up returned, which is deliberately not released.
  EXPECT_EQ(app.refs.load(), 2u);
}

TEST_F(RunningApp, AnObjectWithoutIDispatchGivesNull) {
  KvdTest::FakeDispatch plain;
  plain.refuseDispatch = true;
  DWORD cookie = registerAs(static_cast<IDispatch*>(&plain), L"Korvalinde_PID_77");
  EXPECT_EQ(GetKorvalindeObjByPID(77), nullptr);
  rot_->Revoke(cookie);
  EXPECT_EQ(plain.refs.load(), 2u);
}
