#include "kvdutu/settings/numeric_text_internal.h"

#include <clocale>
#include <cwchar>
#include <string>

namespace KvdUtils::Registry {

namespace {

// Sets the numeric category to "C" for one conversion and, at the end, to the string that call
// returned, as the system does: that string is "C", so the category is never restored.
class NumericLocaleC {
 public:
  NumericLocaleC() {
#if defined(_WIN32)
    const wchar_t* returned = _wsetlocale(LC_NUMERIC, L"C");
    if (returned) restore_ = returned;
#else
    const char* returned = std::setlocale(LC_NUMERIC, "C");
    if (returned) restore_ = returned;
#endif
  }
  ~NumericLocaleC() {
#if defined(_WIN32)
    if (!restore_.empty()) _wsetlocale(LC_NUMERIC, restore_.c_str());
#else
    if (!restore_.empty()) std::setlocale(LC_NUMERIC, restore_.c_str());
#endif
  }
  NumericLocaleC(const NumericLocaleC&) = delete;
  NumericLocaleC& operator=(const NumericLocaleC&) = delete;

 private:
#if defined(_WIN32)
  std::wstring restore_;
#else
  std::string restore_;
#endif
};

}  // namespace

CString formatRegDouble(double value) {
  NumericLocaleC c;
  CString text;
  text.Format(L"%.15g", value);
  return text;
}

void scanRegDouble(const wchar_t* text, double* value) {
  if (text == nullptr || value == nullptr) return;
  NumericLocaleC c;
  double scanned = 0;
  if (std::swscanf(text, L"%lf", &scanned) == 1) *value = scanned;
}

}  // namespace KvdUtils::Registry
