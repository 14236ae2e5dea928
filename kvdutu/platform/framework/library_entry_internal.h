#pragma once

#include "kvdutu/platform/win_types.h"

namespace KvdUtils::Platform::detail {

// Step 3 of the load: the extension module record, its library object, the instance handle.
void libraryMainRoutine(HMODULE instance);
// Registers the library as an extension module of the framework (module_state.cpp).
void runExtensionModuleStart(HMODULE instance);

}  // namespace KvdUtils::Platform::detail
