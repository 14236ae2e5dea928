// Interface exchange between the application and the model module.
#include <gtest/gtest.h>

#include "kvdutu/frame/app_model_talk.h"
#include "kvdutu/platform/os/module.h"

namespace P = KvdUtils::Platform;
using namespace KvdUtils::appModelTalk;

namespace {
class ModelApp : public KvdModelAppInterface_c {};
class AppModel : public KvdAppModelInterface_c {};
}  // namespace

TEST(AppModelTalk, StoresTheLastPointerWithoutChecks) {
  EXPECT_EQ(getModelAppInterface(), nullptr);
  ModelApp a, b;
  setModelAppInterface(&a);
  setModelAppInterface(&b);
  EXPECT_EQ(getModelAppInterface(), &b);
  setModelAppInterface(nullptr);
  EXPECT_EQ(getModelAppInterface(), nullptr);
}

TEST(AppModelTalk, LoadUnicodeModuleStoresTheNameEvenWhenTheModuleIsMissing) {
  CString fileName(L"untouched?");
  EXPECT_EQ(loadUnicodeModule(L"kvdno_such", fileName, 0), nullptr);
  EXPECT_EQ(fileName, CString(L"kvdno_suchu.dll"));
}

// One test for the whole life of the model module in the process: its load registers it once.
TEST(AppModelTalk, GettingTheAppModelInterfaceLoadsTheModelModuleWhichRegistersItself) {
  ASSERT_EQ(P::GetModuleHandleW(L"kvdmodu.dll"), nullptr) << "the model module must not be loaded yet";
  KvdAppModelInterface_c* fromLibrary = getAppModelInterface();
  HMODULE model = P::GetModuleHandleW(L"kvdmodu.dll");
  ASSERT_NE(model, nullptr);
  auto registered = reinterpret_cast<KvdAppModelInterface_c* (*)()>(P::GetProcAddress(model, "kvdmoduTestInterface"));
  ASSERT_NE(registered, nullptr);
  EXPECT_EQ(fromLibrary, registered());

  // Already loaded: the same handle, the name stored, no second registration.
  CString fileName;
  EXPECT_EQ(loadUnicodeModule(L"kvdmod", fileName, 0), model);
  EXPECT_EQ(fileName, CString(L"kvdmodu.dll"));
  AppModel replacement;
  setAppModelInterface(&replacement);
  EXPECT_EQ(getAppModelInterface(), &replacement);  // the last call wins; no reload re-registers
  setAppModelInterface(nullptr);
  EXPECT_EQ(getAppModelInterface(), nullptr);
}
