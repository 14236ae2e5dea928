#include "kvdutu/frame/app_model_talk.h"

#include "kvdutu/platform/os/module.h"

KvdAppModelInterface_c::~KvdAppModelInterface_c() = default;
KvdModelAppInterface_c::~KvdModelAppInterface_c() = default;

namespace KvdUtils::appModelTalk {

namespace {
KvdAppModelInterface_c* g_appModel = nullptr;
KvdModelAppInterface_c* g_modelApp = nullptr;
}  // namespace

void setAppModelInterface(KvdAppModelInterface_c* ami) { g_appModel = ami; }
void setModelAppInterface(KvdModelAppInterface_c* mai) { g_modelApp = mai; }
KvdModelAppInterface_c* getModelAppInterface() { return g_modelApp; }

KvdAppModelInterface_c* getAppModelInterface() {
  CString fileName;
  loadUnicodeModule(L"kvdmod", fileName, 0);  // the result does not matter: see the header
  return g_appModel;
}

HMODULE loadUnicodeModule(const wchar_t* baseName, CString& fileName, unsigned flags) {
  CString name(baseName);
  name += L"u.dll";
  HMODULE module = KvdUtils::Platform::GetModuleHandleW(name);
  if (module == nullptr) module = KvdUtils::Platform::LoadLibraryExW(name, nullptr, flags);
  fileName = name;
  return module;
}

}  // namespace KvdUtils::appModelTalk
