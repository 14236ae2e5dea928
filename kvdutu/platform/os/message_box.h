// Message boxes. The framework's error reports and AfxMessageBox end here.
//
// A responder, when installed, answers every box on both platforms (tests and hosts with their
// own toolkit install one). Without one, Windows shows the real box; POSIX has no desktop of its
// own and answers at once with the box's default button, as a user pressing Enter would.
#pragma once

#include "kvdutu/platform/win_types.h"

#include <functional>

#if !defined(_WIN32)
// Buttons
#ifndef MB_OK
#define MB_OK 0x00000000u
#define MB_OKCANCEL 0x00000001u
#define MB_ABORTRETRYIGNORE 0x00000002u
#define MB_YESNOCANCEL 0x00000003u
#define MB_YESNO 0x00000004u
#define MB_RETRYCANCEL 0x00000005u
#define MB_CANCELTRYCONTINUE 0x00000006u
// Icons
#define MB_ICONHAND 0x00000010u
#define MB_ICONQUESTION 0x00000020u
#define MB_ICONEXCLAMATION 0x00000030u
#define MB_ICONASTERISK 0x00000040u
#define MB_USERICON 0x00000080u
#define MB_ICONWARNING MB_ICONEXCLAMATION
#define MB_ICONERROR MB_ICONHAND
#define MB_ICONINFORMATION MB_ICONASTERISK
#define MB_ICONSTOP MB_ICONHAND
// Default button
#define MB_DEFBUTTON1 0x00000000u
#define MB_DEFBUTTON2 0x00000100u
#define MB_DEFBUTTON3 0x00000200u
#define MB_DEFBUTTON4 0x00000300u
// Modality and other flags
#define MB_APPLMODAL 0x00000000u
#define MB_SYSTEMMODAL 0x00001000u
#define MB_TASKMODAL 0x00002000u
#define MB_HELP 0x00004000u
#define MB_NOFOCUS 0x00008000u
#define MB_SETFOREGROUND 0x00010000u
#define MB_DEFAULT_DESKTOP_ONLY 0x00020000u
#define MB_TOPMOST 0x00040000u
#define MB_RIGHT 0x00080000u
#define MB_RTLREADING 0x00100000u
#define MB_SERVICE_NOTIFICATION 0x00200000u
#define MB_TYPEMASK 0x0000000Fu
#define MB_ICONMASK 0x000000F0u
#define MB_DEFMASK 0x00000F00u
#define MB_MODEMASK 0x00003000u
#define MB_MISCMASK 0x0000C000u
#endif
// Answers
#ifndef IDOK
#define IDOK 1
#define IDCANCEL 2
#define IDABORT 3
#define IDRETRY 4
#define IDIGNORE 5
#define IDYES 6
#define IDNO 7
#define IDCLOSE 8
#define IDHELP 9
#define IDTRYAGAIN 10
#define IDCONTINUE 11
#endif
#endif  // !_WIN32

namespace KvdUtils::Platform {

using MessageBoxResponder = std::function<int(HWND, const wchar_t*, const wchar_t*, UINT)>;

// Installs the responder (an empty function removes it) and returns the previous one.
KVDUTU_API MessageBoxResponder SetMessageBoxResponder(MessageBoxResponder responder);

// The answer that pressing Enter gives for a box of this type: its default button.
KVDUTU_API int MessageBoxDefaultAnswer(UINT uType);

KVDUTU_API int MessageBoxW(HWND hWnd, LPCWSTR lpText, LPCWSTR lpCaption, UINT uType);

}  // namespace KvdUtils::Platform
