// The environment as the Win32 operations read it (names without regard to case).
#pragma once

#include <string>

namespace KvdUtils::Platform::detail {

bool environmentValue(const std::wstring& name, std::wstring& value);

}  // namespace KvdUtils::Platform::detail
