// Stands in for the model module in tests: like the real one, it registers its application-to-model
// interface with the library while it loads.
#include "kvdutu/frame/app_model_talk.h"

namespace {
class TestAppModel : public KvdAppModelInterface_c {};
TestAppModel g_appModel;
struct RegisterOnLoad {
  RegisterOnLoad() { KvdUtils::appModelTalk::setAppModelInterface(&g_appModel); }
} g_registerOnLoad;
}  // namespace

#if defined(_WIN32)
extern "C" __declspec(dllexport)
#else
extern "C" __attribute__((visibility("default")))
#endif
KvdAppModelInterface_c* kvdmoduTestInterface() {
  return &g_appModel;
}
