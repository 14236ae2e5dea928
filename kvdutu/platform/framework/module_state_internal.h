#pragma once

#include "kvdutu/platform/framework/object.h"

namespace KvdUtils::Framework::detail {

// A class record was registered; a module state that is collecting keeps it in its class list.
void moduleStateClassRegistered(CRuntimeClass* pClass);
// Step 1 of the load: park the class and factory lists in the save slots and empty them.
void rawEntryHook();

}  // namespace KvdUtils::Framework::detail
