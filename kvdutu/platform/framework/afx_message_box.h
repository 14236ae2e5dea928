// AfxMessageBox: the framework's message box for the application, shown through
// KvdUtils::Platform::MessageBoxW (so a responder, when installed, answers it).
#pragma once

#include "kvdutu/platform/framework/cstring.h"
#include "kvdutu/platform/os/message_box.h"
#include "kvdutu/platform/win_types.h"

// A box of type nType with the text; a box without an icon gets the icon the framework gives
// its type (exclamation for OK boxes, question mark for yes/no boxes). Returns the answer.
KVDUTU_API int AfxMessageBox(LPCWSTR lpszText, UINT nType = MB_OK, UINT nIDHelp = 0);
// The same with string resource nIDPrompt as the text; nIDHelp (UINT)-1 means nIDPrompt.
KVDUTU_API int AfxMessageBox(UINT nIDPrompt, UINT nType = MB_OK, UINT nIDHelp = (UINT)-1);

namespace KvdUtils::Framework {
// The caption of the framework's boxes, the application's name once the application object has
// set it; empty (the default) leaves the system's own caption, "Error".
KVDUTU_API void SetMessageBoxCaption(LPCWSTR caption);
KVDUTU_API CString GetMessageBoxCaption();
}  // namespace KvdUtils::Framework
