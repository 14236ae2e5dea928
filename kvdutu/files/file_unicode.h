// su_IsFileUnicode: whether a file begins with a UTF-16 byte order mark, in either byte order.
#pragma once

#include "kvdutu/platform/export.h"
#include "kvdutu/platform/framework/file.h"

// 1 when the first two bytes are FF FE or FE FF, else 0 (also for a file shorter than two bytes
// and for a null file). The file stands at its beginning afterwards, whatever the answer; errors
// of the file class pass through as its exceptions, after that seek back has been tried.
KVDUTU_API int su_IsFileUnicode(CFile* file);
