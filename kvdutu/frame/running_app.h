// Finding a running application by its process identifier, through the running object table.
#pragma once

#include "kvdutu/platform/os/com.h"

// The object that the application with this process id registered under the item moniker
// "Korvalinde_PID_<pid>", as IDispatch (the caller owns the reference), or null. Exported under the
// plain name "_GetKorvalindeObjByPID".
extern "C" KVDUTU_API IDispatch* GetKorvalindeObjByPID(long processId) __asm__("_GetKorvalindeObjByPID");
