#include "kvdutu/platform/framework/library_entry_internal.h"
namespace KvdUtils::Platform::detail {
void runExtensionModuleStart(HMODULE) {}
}
