#include "kvdutu/frame/exported_switches.h"

// Constant-initialised data: the values are in place before any code of any module runs.
int su_CaptureDataForDTD = 0;
int su_PinDrawingViews = 1;
