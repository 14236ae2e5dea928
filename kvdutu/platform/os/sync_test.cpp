// Conformance of the synchronisation layer: the same cases run against the POSIX emulation and,
// under Wine, against the real Win32 objects.
#include "kvdutu/platform/framework/sync.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "kvdutu/platform/os/error.h"
#include "kvdutu/platform/os/handle.h"
#include "kvdutu/platform/os/sync.h"
#include "kvdutu/platform/os/thread.h"
#include "support/win32_expect.h"

namespace P = KvdUtils::Platform;

TEST(SyncEvent, AutoResetReleasesOneWaitThenCloses) {
  HANDLE e = P::CreateEventW(nullptr, FALSE, TRUE, nullptr);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(P::WaitForSingleObject(e, 0), WAIT_OBJECT_0);
  EXPECT_EQ(P::WaitForSingleObject(e, 0), WAIT_TIMEOUT);  // consumed by the first wait
  EXPECT_TRUE(P::SetEvent(e));
  EXPECT_EQ(P::WaitForSingleObject(e, 10), WAIT_OBJECT_0);
  EXPECT_TRUE(P::CloseHandle(e));
}

TEST(SyncEvent, ManualResetStaysSignalledUntilReset) {
  HANDLE e = P::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  EXPECT_EQ(P::WaitForSingleObject(e, 0), WAIT_TIMEOUT);
  P::SetEvent(e);
  EXPECT_EQ(P::WaitForSingleObject(e, 0), WAIT_OBJECT_0);
  EXPECT_EQ(P::WaitForSingleObject(e, 0), WAIT_OBJECT_0);
  P::ResetEvent(e);
  EXPECT_EQ(P::WaitForSingleObject(e, 0), WAIT_TIMEOUT);
  P::CloseHandle(e);
}

TEST(SyncEvent, WakesAWaiterOnAnotherThread) {
  HANDLE e = P::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  std::atomic<DWORD> result{0xDEAD};
  std::thread waiter([&] { result = P::WaitForSingleObject(e, INFINITE); });
  P::Sleep(20);
  P::SetEvent(e);
  waiter.join();
  EXPECT_EQ(result.load(), WAIT_OBJECT_0);
  P::CloseHandle(e);
}

TEST(SyncEvent, NamedEventIsSharedAndSaysItExisted) {
  const wchar_t* name = L"kvdutu-test-event-shared";
  HANDLE a = P::CreateEventW(nullptr, TRUE, FALSE, name);
  ASSERT_NE(a, nullptr);
  EXPECT_NE(P::GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  HANDLE b = P::CreateEventW(nullptr, TRUE, FALSE, name);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(P::GetLastError(), static_cast<DWORD>(ERROR_ALREADY_EXISTS));
  HANDLE c = P::OpenEventW(EVENT_ALL_ACCESS, FALSE, name);
  ASSERT_NE(c, nullptr);
  P::SetEvent(a);
  EXPECT_EQ(P::WaitForSingleObject(b, 0), WAIT_OBJECT_0);
  EXPECT_EQ(P::WaitForSingleObject(c, 0), WAIT_OBJECT_0);
  P::CloseHandle(a);
  P::CloseHandle(b);
  P::CloseHandle(c);
  // With the last handle gone the name is free again.
  EXPECT_EQ(P::OpenEventW(EVENT_ALL_ACCESS, FALSE, name), nullptr);
}

TEST(SyncSemaphore, CountsAndRefusesToPassItsMaximum) {
  HANDLE s = P::CreateSemaphoreW(nullptr, 1, 2, nullptr);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(P::WaitForSingleObject(s, 0), WAIT_OBJECT_0);
  EXPECT_EQ(P::WaitForSingleObject(s, 0), WAIT_TIMEOUT);
  LONG previous = -1;
  EXPECT_TRUE(P::ReleaseSemaphore(s, 2, &previous));
  EXPECT_EQ(previous, 0);
  previous = -7;
  EXPECT_REFUSED(P::ReleaseSemaphore(s, 1, &previous), ERROR_TOO_MANY_POSTS);  // 2 + 1 > 2
  EXPECT_EQ(previous, -7);  // untouched on failure
  EXPECT_EQ(P::WaitForSingleObject(s, 0), WAIT_OBJECT_0);
  EXPECT_EQ(P::WaitForSingleObject(s, 0), WAIT_OBJECT_0);
  EXPECT_EQ(P::WaitForSingleObject(s, 0), WAIT_TIMEOUT);
  P::CloseHandle(s);
}

TEST(SyncSemaphore, BadCountsAreRefused) {
  EXPECT_EQ(P::CreateSemaphoreW(nullptr, 3, 2, nullptr), nullptr);
  EXPECT_EQ(P::GetLastError(), static_cast<DWORD>(ERROR_INVALID_PARAMETER));
  EXPECT_EQ(P::CreateSemaphoreW(nullptr, 0, 0, nullptr), nullptr);
  EXPECT_EQ(P::CreateSemaphoreW(nullptr, -1, 2, nullptr), nullptr);
}

TEST(SyncHandles, InvalidHandlesFailCleanly) {
  HANDLE bogus = reinterpret_cast<HANDLE>(static_cast<uintptr_t>(0x7FFFF0));
  EXPECT_EQ(P::WaitForSingleObject(bogus, 0), WAIT_FAILED);
  EXPECT_REFUSED(P::SetEvent(bogus), ERROR_INVALID_HANDLE);
  HANDLE e = P::CreateEventW(nullptr, FALSE, FALSE, nullptr);
  EXPECT_TRUE(P::CloseHandle(e));
  EXPECT_FALSE(P::SetEvent(e));  // closed
}

TEST(SyncWaitMultiple, AnyReturnsTheFirstSignalledAndAllNeedsEvery) {
  HANDLE a = P::CreateEventW(nullptr, TRUE, FALSE, nullptr);
  HANDLE b = P::CreateEventW(nullptr, TRUE, TRUE, nullptr);
  HANDLE both[2] = {a, b};
  EXPECT_EQ(P::WaitForMultipleObjects(2, both, FALSE, 0), WAIT_OBJECT_0 + 1);
  EXPECT_EQ(P::WaitForMultipleObjects(2, both, TRUE, 0), WAIT_TIMEOUT);
  P::SetEvent(a);
  EXPECT_EQ(P::WaitForMultipleObjects(2, both, TRUE, 0), WAIT_OBJECT_0);
  EXPECT_EQ(P::WaitForMultipleObjects(2, both, FALSE, 0), WAIT_OBJECT_0);  // lowest index wins
  P::CloseHandle(a);
  P::CloseHandle(b);
}

TEST(SyncCriticalSection, IsRecursiveAndExcludesOtherThreads) {
  CRITICAL_SECTION cs;
  P::InitializeCriticalSection(&cs);
  P::EnterCriticalSection(&cs);
  EXPECT_TRUE(P::TryEnterCriticalSection(&cs));  // same thread: recursion
  std::atomic<int> other{-1};
  std::thread t([&] {
    other = P::TryEnterCriticalSection(&cs);
    if (other) P::LeaveCriticalSection(&cs);
  });
  t.join();
  EXPECT_EQ(other.load(), 0);
  P::LeaveCriticalSection(&cs);
  P::LeaveCriticalSection(&cs);
  std::thread t2([&] {
    other = P::TryEnterCriticalSection(&cs);
    if (other) P::LeaveCriticalSection(&cs);
  });
  t2.join();
  EXPECT_NE(other.load(), 0);
  P::DeleteCriticalSection(&cs);
}

TEST(SyncFramework, SingleLockGuardsACountAcrossThreads) {
  CCriticalSection section;
  long counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        CSingleLock lock(&section, TRUE);
        EXPECT_TRUE(lock.IsLocked());
        ++counter;
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(counter, 8000);
}

TEST(SyncFramework, SemaphoreLimitsHoldersAndSingleLockReleasesOnScopeEnd) {
  CSemaphore limit(2, 2);
  {
    CSingleLock first(&limit, TRUE);
    CSingleLock second(&limit, TRUE);
    CSingleLock third(&limit);
    EXPECT_FALSE(third.Lock(0));
    EXPECT_FALSE(third.IsLocked());
    EXPECT_TRUE(second.Unlock());
    EXPECT_TRUE(third.Lock(0));
  }
  CSingleLock again1(&limit, TRUE), again2(&limit, TRUE);
  EXPECT_TRUE(again1.IsLocked());
  EXPECT_TRUE(again2.IsLocked());
}

TEST(SyncFramework, EventObjectWaitsThroughLock) {
  CEvent ready(FALSE, TRUE);
  EXPECT_FALSE(ready.Lock(0));
  ready.SetEvent();
  EXPECT_TRUE(ready.Lock(0));
  EXPECT_TRUE(ready.Lock(0));  // manual reset
  ready.ResetEvent();
  EXPECT_FALSE(ready.Lock(0));
}

TEST(SyncThread, IdsAreDistinctPerThreadAndStable) {
  DWORD mine = P::GetCurrentThreadId();
  EXPECT_EQ(mine, P::GetCurrentThreadId());
  DWORD theirs = 0;
  std::thread t([&] { theirs = P::GetCurrentThreadId(); });
  t.join();
  EXPECT_NE(theirs, 0u);
  EXPECT_NE(theirs, mine);
  EXPECT_NE(P::GetCurrentProcessId(), 0u);
}
