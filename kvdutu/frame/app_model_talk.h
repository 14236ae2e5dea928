// Hand-over of interfaces between the application module and the model module.
#pragma once

#include "kvdutu/platform/framework/cstring.h"
#include "kvdutu/platform/win_types.h"

// The two interfaces are defined by the application and the model modules; this library only
// stores the pointers and calls nothing through them.
class KVDUTU_API KvdAppModelInterface_c {
 public:
  virtual ~KvdAppModelInterface_c();
};

class KVDUTU_API KvdModelAppInterface_c {
 public:
  virtual ~KvdModelAppInterface_c();
};

namespace KvdUtils::appModelTalk {

// Store the pointer; no check, the last call wins.
KVDUTU_API void setAppModelInterface(KvdAppModelInterface_c* ami);
KVDUTU_API void setModelAppInterface(KvdModelAppInterface_c* mai);
KVDUTU_API KvdModelAppInterface_c* getModelAppInterface();
// Makes sure that the model module ("kvdmodu.dll") is in the process first, because the model
// module registers its interface while it loads; then returns the stored pointer.
KVDUTU_API KvdAppModelInterface_c* getAppModelInterface();

// Builds "<baseName>u.dll", returns the handle of that module if it is loaded, else loads it
// with `flags`; the file name is stored in fileName either way. The module is never unloaded.
KVDUTU_API HMODULE loadUnicodeModule(const wchar_t* baseName, CString& fileName, unsigned flags);

}  // namespace KvdUtils::appModelTalk
