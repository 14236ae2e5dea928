// Long strings in the registry. A string whose size with terminator reaches 2048 bytes is kept as
// a run of REG_SZ chunk values named after the value with the chunk number and "+" (N0+, N1+ ...),
// each at most 1015 characters; the plain value N does not exist beside its chunks.
//
// The number of chunks for L characters is (2L + 2032) / 2030. That is one more than needed when
// L modulo 1015 is 0 or 1014, and the last piece is then written twice: such a string reads back
// with its tail doubled. Stored settings depend on this, and it is kept.
#pragma once

#include "kvdutu/platform/framework/cstring.h"
#include "kvdutu/platform/win_types.h"

// The name of chunk n of valueName.
KVDUTU_API CString longStringChunkName(const CString& valueName, int n);
// The number of chunks a string of `length` UTF-16 units is written as.
KVDUTU_API int longStringChunkCount(int length);

// Appends chunk 0, 1, ... of valueName to out (which is not emptied first) up to the first chunk
// that is missing or no REG_SZ. 1 if at least one chunk was read; 0 for a null key.
KVDUTU_API int readLongString(CString& out, HKEY key, const CString& valueName);
// Deletes the plain value and every chunk, then writes text in chunks. 0 if a write fails; the
// chunks written before it stay.
KVDUTU_API int writeLongString(HKEY key, const CString& valueName, const CString& text);
// Deletes N0+, N1+ ... up to the first that cannot be deleted; chunks behind a gap stay.
KVDUTU_API void deleteLongStringChunks(const CString& valueName, HKEY key);
