// Checking a Win32-style call that must fail: it gives its failure result (FALSE or 0, or
// INVALID_HANDLE_VALUE for a file handle) and leaves the expected last error. The last error is
// cleared before the call, so that one left over from an earlier call cannot pass.
#pragma once

#include <gtest/gtest.h>

#include "kvdutu/platform/os/error.h"

namespace KvdTest {

inline ::testing::AssertionResult failedWith(bool failed, DWORD error) {
  const DWORD last = KvdUtils::Platform::GetLastError();
  if (failed && last == error) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << (failed ? "failed" : "succeeded") << " with last error " << last
                                       << " where " << error << " was expected";
}
inline ::testing::AssertionResult refused(int result, DWORD error) { return failedWith(result == 0, error); }
inline ::testing::AssertionResult refused(bool result, DWORD error) { return failedWith(!result, error); }
inline ::testing::AssertionResult refused(HANDLE result, DWORD error) {
  return failedWith(result == INVALID_HANDLE_VALUE, error);
}
// Results whose failure value is another (INVALID_FILE_ATTRIBUTES, a null handle...) are compared
// by the caller and passed as a bool.
template <class T>
::testing::AssertionResult refused(T result, DWORD error) = delete;

}  // namespace KvdTest

#define EXPECT_REFUSED(call, error)                           \
  do {                                                        \
    KvdUtils::Platform::SetLastError(0);                      \
    EXPECT_TRUE(KvdTest::refused((call), DWORD(error)));      \
  } while (0)
