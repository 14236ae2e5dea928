// Construction order of the library's static objects. Every process-wide static object of the
// library is defined with KVDUTU_INIT_ROW(n), where n is its row in the load order, so that the
// order holds whichever file owns the object. Within one row, objects of one file are built in the
// order of their definitions; a row's objects never depend on a later row.
#pragma once

// GCC and clang order prioritised static objects across translation units by priority, on ELF and
// on PE alike; values up to 100 are the runtime's own.
#define KVDUTU_INIT_PRIORITY_RAW_HOOK 101
#define KVDUTU_INIT_PRIORITY_ROW(n) (1000 + 10 * (n))
#define KVDUTU_INIT_ROW(n) __attribute__((init_priority(KVDUTU_INIT_PRIORITY_ROW(n))))
