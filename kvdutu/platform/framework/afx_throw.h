// The framework's invalid-argument exception, raised by a bad index into a framework string or
// array. Nothing in the library catches it.
#pragma once

#include "kvdutu/platform/export.h"

[[noreturn]] KVDUTU_API void AfxThrowInvalidArgException();
