// Two switches shared between the host modules through the library. The library never reads them;
// their exported names and initial values are the whole contract.
#pragma once

#include "kvdutu/platform/export.h"

extern "C" {
KVDUTU_API extern int su_CaptureDataForDTD;  // 0 at load
KVDUTU_API extern int su_PinDrawingViews;    // 1 at load
}
