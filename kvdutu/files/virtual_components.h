// Folders for the files of virtual components: one folder per component under "VC~~" in the
// process's own temporary folder (kvx<pid>), so that another process's components are not ours.
#pragma once

#include "kvdutu/platform/export.h"
#include "kvdutu/platform/framework/cstring.h"

// 1 when the path lies anywhere under this process's "VC~~" folder, without regard to case.
KVDUTU_API int su_isVirtualCompPath(CString path);

// The folder of one component, without a trailing '\'. The name is trimmed on the right (white
// space, then dots, then white space). When the folder's whole path would pass 86 characters, the
// name is replaced by its decimal hash (h = h * 33 + c over the UTF-16 units, unsigned 32 bits),
// so a long temporary folder turns shorter names into hashes too. With doNotCreate zero the
// folders are made; when "VC~~" cannot be made, "VC~~\" itself comes back. Empty without a
// temporary folder.
KVDUTU_API CString su_getOrCreateVirtualCompFolder(CString componentName, int doNotCreate);

// A file path in the component's folder, which is made; empty when the folder is.
KVDUTU_API CString su_createVirtualCompFilePath(CString componentName, CString fileName);
