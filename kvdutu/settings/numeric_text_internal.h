// Doubles as the settings store keeps them: decimal text, converted with the numeric category
// of the locale set to "C" so that the separator is always a point. The category is put back to
// what setting it returned, which is "C" itself: after the first conversion it stays "C" for the
// process. No lock guards the process-wide locale.
#pragma once

#include "kvdutu/platform/framework/cstring.h"

namespace KvdUtils::Registry {

// The text "%.15g" gives.
CString formatRegDouble(double value);
// Scans text with "%lf"; text that is no number leaves *value as it was.
void scanRegDouble(const wchar_t* text, double* value);

}  // namespace KvdUtils::Registry
