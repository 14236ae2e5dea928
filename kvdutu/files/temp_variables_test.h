// Sets "temp" and "tmp" through the system's environment for one scope (nullptr: unset) and puts
// the old values back; the library reads them through the same calls.
#pragma once

#include <string>

#include "kvdutu/platform/os/environment.h"

namespace KvdFilesTest {

class TempVariables {
 public:
  TempVariables(const wchar_t* temp, const wchar_t* tmp) {
    save(L"temp", m_temp, m_hadTemp);
    save(L"tmp", m_tmp, m_hadTmp);
    KvdUtils::Platform::SetEnvironmentVariableW(L"temp", temp);
    KvdUtils::Platform::SetEnvironmentVariableW(L"tmp", tmp);
  }
  ~TempVariables() {
    KvdUtils::Platform::SetEnvironmentVariableW(L"temp", m_hadTemp ? m_temp.c_str() : nullptr);
    KvdUtils::Platform::SetEnvironmentVariableW(L"tmp", m_hadTmp ? m_tmp.c_str() : nullptr);
  }
  TempVariables(const TempVariables&) = delete;
  TempVariables& operator=(const TempVariables&) = delete;

 private:
  static void save(const wchar_t* name, std::wstring& value, bool& had) {
    wchar_t buffer[4096] = {};
    const DWORD n = KvdUtils::Platform::GetEnvironmentVariableW(name, buffer, 4096);
    had = n > 0 && n < 4096;
    if (had) value = buffer;
  }
  std::wstring m_temp, m_tmp;
  bool m_hadTemp = false, m_hadTmp = false;
};

}  // namespace KvdFilesTest
