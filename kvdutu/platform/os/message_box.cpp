// One implementation for both platforms: the responder slot is the same everywhere, only the
// answer without a responder differs.
#include "kvdutu/platform/os/message_box.h"

#include <mutex>

namespace KvdUtils::Platform {

namespace {
std::mutex g_responderLock;
MessageBoxResponder& responderSlot() {
  static MessageBoxResponder* slot = new MessageBoxResponder;  // outlives every static user
  return *slot;
}
}  // namespace

MessageBoxResponder SetMessageBoxResponder(MessageBoxResponder responder) {
  std::lock_guard<std::mutex> guard(g_responderLock);
  MessageBoxResponder previous = std::move(responderSlot());
  responderSlot() = std::move(responder);
  return previous;
}

int MessageBoxDefaultAnswer(UINT uType) {
  int buttons[4] = {IDOK, 0, 0, 0};
  int count = 1;
  switch (uType & MB_TYPEMASK) {
    case MB_OKCANCEL: buttons[0] = IDOK, buttons[1] = IDCANCEL, count = 2; break;
    case MB_ABORTRETRYIGNORE: buttons[0] = IDABORT, buttons[1] = IDRETRY, buttons[2] = IDIGNORE, count = 3; break;
    case MB_YESNOCANCEL: buttons[0] = IDYES, buttons[1] = IDNO, buttons[2] = IDCANCEL, count = 3; break;
    case MB_YESNO: buttons[0] = IDYES, buttons[1] = IDNO, count = 2; break;
    case MB_RETRYCANCEL: buttons[0] = IDRETRY, buttons[1] = IDCANCEL, count = 2; break;
    case MB_CANCELTRYCONTINUE: buttons[0] = IDCANCEL, buttons[1] = IDTRYAGAIN, buttons[2] = IDCONTINUE, count = 3; break;
    default: break;
  }
  if (uType & MB_HELP) buttons[count++] = IDHELP;
  const unsigned index = (uType & MB_DEFMASK) >> 8;
  // A default beyond the last button falls back to the first, as the system box does.
  return index < static_cast<unsigned>(count) ? buttons[index] : buttons[0];
}

int MessageBoxW(HWND hWnd, LPCWSTR lpText, LPCWSTR lpCaption, UINT uType) {
  MessageBoxResponder responder;
  {
    std::lock_guard<std::mutex> guard(g_responderLock);
    responder = responderSlot();
  }
  if (responder) return responder(hWnd, lpText ? lpText : L"", lpCaption ? lpCaption : L"Error", uType);
#if defined(_WIN32)
  return ::MessageBoxW(hWnd, lpText, lpCaption, uType);
#else
  return MessageBoxDefaultAnswer(uType);
#endif
}

}  // namespace KvdUtils::Platform
