// A module that tests load by its Windows name ("kvdtestmodule.dll"). It exports one function and
// counts how often its static initialisation ran.
#include "kvdutu/platform/export.h"

namespace {
int g_loads = 0;
struct CountLoad {
  CountLoad() { ++g_loads; }
} g_countLoad;
}  // namespace

#if defined(_WIN32)
#define TEST_MODULE_API extern "C" __declspec(dllexport)
#else
#define TEST_MODULE_API extern "C" __attribute__((visibility("default")))
#endif

TEST_MODULE_API int kvdTestModuleLoads() { return g_loads; }
TEST_MODULE_API int kvdTestModuleAnswer(int x) { return x * 2 + 1; }
