// The running object table, item monikers, GUID text and BSTR: the same cases against the POSIX
// in-process COM and, under Wine, the real component object services.
#include <gtest/gtest.h>

#include <cwchar>

#include "kvdutu/platform/os/com.h"
#include "support/fake_dispatch.h"

namespace P = KvdUtils::Platform;

namespace {
class ComTest : public ::testing::Test {
 protected:
  void SetUp() override { P::CoInitialize(nullptr); }
  void TearDown() override { P::CoUninitialize(); }
};
}  // namespace

TEST_F(ComTest, RegisteredObjectIsFoundByAnEqualItemMonikerUntilRevoked) {
  IRunningObjectTable* rot = nullptr;
  ASSERT_EQ(P::GetRunningObjectTable(0, &rot), S_OK);
  ASSERT_NE(rot, nullptr);
  IMoniker* name = nullptr;
  ASSERT_EQ(P::CreateItemMoniker(nullptr, L"Kvd_Test_Item_7", &name), S_OK);
  KvdTest::FakeDispatch object;
  DWORD cookie = 0;
  ASSERT_TRUE(SUCCEEDED(rot->Register(0, &object, name, &cookie)));
  EXPECT_GE(object.refs.load(), 2u);  // the table holds a reference

  IMoniker* same = nullptr;
  ASSERT_EQ(P::CreateItemMoniker(nullptr, L"Kvd_Test_Item_7", &same), S_OK);
  IUnknown* found = nullptr;
  ASSERT_EQ(rot->GetObject(same, &found), S_OK);
  EXPECT_EQ(found, static_cast<IUnknown*>(static_cast<IDispatch*>(&object)));
  found->Release();
  EXPECT_EQ(rot->IsRunning(same), S_OK);

  IMoniker* other = nullptr;
  ASSERT_EQ(P::CreateItemMoniker(nullptr, L"Kvd_Test_Item_8", &other), S_OK);
  found = reinterpret_cast<IUnknown*>(0x1);
  EXPECT_TRUE(FAILED(rot->GetObject(other, &found)));
  EXPECT_EQ(rot->IsRunning(other), S_FALSE);

  // Revoking drops every reference the table took, however many that was.
  EXPECT_EQ(rot->Revoke(cookie), S_OK);
  EXPECT_EQ(object.refs.load(), 1u);
  EXPECT_TRUE(FAILED(rot->GetObject(same, &found)));
  EXPECT_TRUE(FAILED(rot->Revoke(cookie)));
  other->Release();
  same->Release();
  name->Release();
  rot->Release();
}

TEST_F(ComTest, ItemMonikerDisplayNameIsTheItemBehindItsDelimiter) {
  IMoniker* m = nullptr;
  ASSERT_EQ(P::CreateItemMoniker(nullptr, L"Korvalinde_PID_12", &m), S_OK);
  LPOLESTR text = nullptr;
  IBindCtx* ctx = nullptr;
#if defined(_WIN32)
  ASSERT_EQ(CreateBindCtx(0, &ctx), S_OK);  // Windows wants a bind context here
#endif
  ASSERT_EQ(m->GetDisplayName(ctx, nullptr, &text), S_OK);
  EXPECT_STREQ(text, L"Korvalinde_PID_12");  // a null delimiter adds nothing
  P::CoTaskMemFree(text);
  IMoniker* bang = nullptr;
  ASSERT_EQ(P::CreateItemMoniker(L"!", L"Korvalinde_PID_12", &bang), S_OK);
  ASSERT_EQ(bang->GetDisplayName(ctx, nullptr, &text), S_OK);
  EXPECT_STREQ(text, L"!Korvalinde_PID_12");
  bang->Release();
  P::CoTaskMemFree(text);
#if defined(_WIN32)
  ctx->Release();
#endif
  m->Release();
}

TEST_F(ComTest, GuidTextRoundTripsAndMalformedTextIsRefused) {
  const GUID g = {0x12345678, 0x9ABC, 0xDEF0, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
  wchar_t text[39];
  ASSERT_EQ(P::StringFromGUID2(g, text, 39), 39);
  EXPECT_STREQ(text, L"{12345678-9ABC-DEF0-0123-456789ABCDEF}");
  EXPECT_EQ(P::StringFromGUID2(g, text, 38), 0);  // too small
  CLSID back{};
  ASSERT_EQ(P::CLSIDFromString(L"{12345678-9abc-def0-0123-456789abcdef}", &back), S_OK);
  EXPECT_TRUE(IsEqualGUID(back, g));
  for (const wchar_t* bad : {L"12345678-9ABC-DEF0-0123-456789ABCDEF", L"{12345678-9ABC-DEF0-0123-456789ABCDE}",
                             L"{12345678-9ABC-DEF0-0123-456789ABCDEFF}", L"{1234567G-9ABC-DEF0-0123-456789ABCDEF}"}) {
    EXPECT_TRUE(FAILED(P::CLSIDFromString(bad, &back))) << bad;
  }
}

TEST_F(ComTest, BstrKeepsItsLengthIncludingEmbeddedNul) {
  const wchar_t raw[] = {L'a', 0, L'b'};
  BSTR s = P::SysAllocStringLen(raw, 3);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(P::SysStringLen(s), 3u);
  EXPECT_EQ(s[2], L'b');
  EXPECT_EQ(s[3], 0);
  P::SysFreeString(s);
  BSTR t = P::SysAllocString(L"hello");
  EXPECT_EQ(P::SysStringLen(t), 5u);
  P::SysFreeString(t);
  EXPECT_EQ(P::SysAllocString(nullptr), nullptr);
  EXPECT_EQ(P::SysStringLen(nullptr), 0u);
  P::SysFreeString(nullptr);  // harmless
}

TEST_F(ComTest, VariantClearReleasesWhatItHolds) {
  KvdTest::FakeDispatch object;
  VARIANT v;
  P::VariantInit(&v);
  EXPECT_EQ(v.vt, VT_EMPTY);
  v.vt = VT_DISPATCH;
  v.pdispVal = &object;
  object.AddRef();
  EXPECT_EQ(P::VariantClear(&v), S_OK);
  EXPECT_EQ(object.refs.load(), 1u);
  EXPECT_EQ(v.vt, VT_EMPTY);
}
