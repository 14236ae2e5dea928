// Translation of the user interface's display mode into the automation interface's.
#pragma once

#include "kvdutu/platform/export.h"

// uiMode 0..3 and 6 have an API counterpart; everything else, negative values included, is -1.
KVDUTU_API long GetApiDisplayModeFromUiMode(const int& flag, const long& uiMode);
