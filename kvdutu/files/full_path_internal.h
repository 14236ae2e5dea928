// The two rules that every reader of a location shares: what counts as a web location and where
// the last separator stands. Other file helpers of the library ask the same questions.
#pragma once

#include "kvdutu/platform/framework/cstring.h"

namespace KvdUtils::File::Detail {

// The first four characters are "http" in any case; a shorter text is no web location.
bool isWebLocation(const CString& path);

// The last '/' of a web location; on any other path the last '\' or '/', whichever lies further
// right. -1 when there is none.
int lastSeparator(const CString& path);

}  // namespace KvdUtils::File::Detail
