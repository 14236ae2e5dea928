// Stand-in for the framework's invalid-argument exception; replaced when the exception classes land.
#include "kvdutu/platform/framework/afx_throw.h"

#include <stdexcept>

void AfxThrowInvalidArgException() { throw std::invalid_argument("invalid argument"); }
