// The small process-wide identity of the hosting application.
#pragma once

#include "kvdutu/platform/framework/cstring.h"

// Replaces the internal application name, which the application data folder functions append
// behind the product folder.
KVDUTU_API void su_setAppNameInternalForUtils(const CString& name);
KVDUTU_API const CString& su_getAppNameInternalForUtils();

KVDUTU_API int ut_isBackCompEnabled();  // always 0
KVDUTU_API int ut_isMultiCAD();         // always 0
KVDUTU_API int ut_isModelExample();     // the save-as-example flag
KVDUTU_API void setSaveModelAsExample(int flag);
