#include "kvdutu/platform/framework/afx_message_box.h"

#include "kvdutu/platform/framework/exceptions.h"

#include <mutex>

namespace KvdUtils::Framework {

namespace {
std::mutex g_captionLock;
CString& captionSlot() {
  static CString* caption = new CString;
  return *caption;
}
}  // namespace

void SetMessageBoxCaption(LPCWSTR caption) {
  std::lock_guard<std::mutex> guard(g_captionLock);
  captionSlot() = caption ? caption : L"";
}

CString GetMessageBoxCaption() {
  std::lock_guard<std::mutex> guard(g_captionLock);
  return captionSlot();
}

}  // namespace KvdUtils::Framework

int AfxMessageBox(LPCWSTR lpszText, UINT nType, UINT /*nIDHelp*/) {
  if ((nType & MB_ICONMASK) == 0) {
    switch (nType & MB_TYPEMASK) {
      case MB_OK:
      case MB_OKCANCEL: nType |= MB_ICONEXCLAMATION; break;
      case MB_YESNO:
      case MB_YESNOCANCEL: nType |= MB_ICONQUESTION; break;
      default: break;
    }
  }
  const CString caption = KvdUtils::Framework::GetMessageBoxCaption();
  return KvdUtils::Platform::MessageBoxW(nullptr, lpszText, caption.IsEmpty() ? nullptr : caption.GetString(),
                                         nType);
}

int AfxMessageBox(UINT nIDPrompt, UINT nType, UINT nIDHelp) {
  const CString text = KvdUtils::Framework::LoadFrameworkString(nIDPrompt);
  if (nIDHelp == (UINT)-1) nIDHelp = nIDPrompt;
  return AfxMessageBox(text.GetString(), nType, nIDHelp);
}
