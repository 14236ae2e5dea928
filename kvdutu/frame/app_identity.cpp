#include "kvdutu/frame/app_identity.h"

#include "kvdutu/frame/static_rows_internal.h"

namespace {
int g_saveModelAsExample = 0;
}

// Row 7 of the load order.
KVDUTU_INIT_ROW(7) static CString g_appNameInternal;
KVDUTU_STATIC_ROW_BUILT(7);

void su_setAppNameInternalForUtils(const CString& name) { g_appNameInternal = name; }
const CString& su_getAppNameInternalForUtils() { return g_appNameInternal; }

int ut_isBackCompEnabled() { return 0; }
int ut_isMultiCAD() { return 0; }
int ut_isModelExample() { return g_saveModelAsExample; }
void setSaveModelAsExample(int flag) { g_saveModelAsExample = flag; }
