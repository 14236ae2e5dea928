// Numeric helpers shared with the host modules: prime sizes for hash tables, the sentinel of a
// time that was not set, and the packing of two longs into 64 bits.
#pragma once

#include <cstdint>

#include "kvdutu/platform/export.h"


KVDUTU_API int ut_GetPrimeNumber(int i);     // the high table at i % 38
KVDUTU_API int ut_GetLowPrimeNumber(int i);  // the low table at i % 38
// The first prime of the high table greater than n; past the table, the last entry times 4 plus 1
// in 32-bit arithmetic, which wraps.
KVDUTU_API int ut_AskHashTableInitializer(int n);

KVDUTU_API int64_t ut_getUnsetTime();         // thirty days in seconds
KVDUTU_API int ut_isUnsetTime(int64_t t);     // within a day of the sentinel; negative times are not

// `high` shifted left by 31 in 32-bit arithmetic, `low` ORed in, sign-extended to 64 bits: only
// the lowest bit of `high` survives, so the two conversions are not inverse for large values.
KVDUTU_API uint64_t ConvertLongToULongLong(long low, long high);
// Bits 31..62 to *high, the low 31 bits to *low; returns 1.
KVDUTU_API int ConvertULongLongToLong(uint64_t value, long* low, long* high);
