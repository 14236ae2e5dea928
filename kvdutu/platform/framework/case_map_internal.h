// The fixed, locale-independent simple case mapping that CString uses on every platform, so that
// MakeUpper, MakeLower and CompareNoCase give the same results on Linux and Windows.
#pragma once

namespace KvdUtils::Platform {

// One code point to its simple upper/lower case; code points outside the BMP are unchanged.
unsigned SimpleUpperCase(unsigned c);
unsigned SimpleLowerCase(unsigned c);

}  // namespace KvdUtils::Platform
