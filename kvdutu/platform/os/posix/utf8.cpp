#include "kvdutu/platform/os/posix/text_internal.h"
#include "kvdutu/platform/os/text.h"

namespace KvdUtils::Platform::detail {

std::string toUtf8(std::wstring_view text) {
  if (text.empty()) return {};
  const int n = static_cast<int>(text.size());
  int bytes = WideCharToMultiByte(CP_UTF8, 0, text.data(), n, nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), n, out.data(), bytes, nullptr, nullptr);
  return out;
}

std::wstring fromUtf8(std::string_view text) {
  if (text.empty()) return {};
  const int n = static_cast<int>(text.size());
  int chars = MultiByteToWideChar(CP_UTF8, 0, text.data(), n, nullptr, 0);
  std::wstring out(static_cast<size_t>(chars), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), n, out.data(), chars);
  return out;
}

}  // namespace KvdUtils::Platform::detail
