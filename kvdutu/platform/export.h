// Export control. The library is built with hidden default visibility; KVDUTU_API marks what
// belongs to its exported interface (functions, classes and the two exported variables).
#pragma once

#if defined(_WIN32)
#  if defined(KVDUTU_BUILDING)
#    define KVDUTU_API __declspec(dllexport)
#  else
#    define KVDUTU_API __declspec(dllimport)
#  endif
#else
#  define KVDUTU_API __attribute__((visibility("default")))
#endif

// Class templates whose instantiations the library exports: on ELF the template itself must be
// visible, or members defined in the class stay local to the library and unoptimised callers
// cannot link; on Windows the explicit instantiation carries dllexport/dllimport instead.
#if defined(_WIN32)
#  define KVDUTU_TEMPLATE_API
#else
#  define KVDUTU_TEMPLATE_API __attribute__((visibility("default")))
#endif

// Functions that the system exports under plain, undecorated names.
#define KVDUTU_C_API extern "C" KVDUTU_API
