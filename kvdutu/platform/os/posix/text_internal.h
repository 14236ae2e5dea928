// UTF-8 and wchar_t (UTF-32) conversion for the POSIX layer, where the system code page is UTF-8.
// Invalid input becomes U+FFFD; nothing here depends on the locale.
#pragma once

#include <string>
#include <string_view>

namespace KvdUtils::Platform::detail {

std::string toUtf8(std::wstring_view text);
std::wstring fromUtf8(std::string_view text);

}  // namespace KvdUtils::Platform::detail
