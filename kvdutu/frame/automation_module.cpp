// Row 13 of the load order: the framework's automation module object. It counts the locks that
// automation clients hold on the module and has no behaviour of its own beyond that.
#include <atomic>

#include "kvdutu/frame/static_rows_internal.h"

namespace {
class AutomationModule {
 public:
  long Lock() { return ++locks_; }
  long Unlock() { return --locks_; }
  long GetLockCount() const { return locks_; }

 private:
  std::atomic<long> locks_{0};
};
}  // namespace

KVDUTU_INIT_ROW(13) static AutomationModule g_automationModule;
KVDUTU_STATIC_ROW_BUILT(13);
