#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "dms_mutex.h"
#include "dms_platform.h"
#include "dms_string.h"
#include "failing_allocations.h"
#include "log_capture.h"

TEST(DMSAppMutex, CreateWithoutNameLogsAndStillMakesOne) {
  LogCapture log;
  pthread_mutex_t* m = DMSAppCreateMutex(nullptr);
  ASSERT_NE(m, nullptr);
  EXPECT_TRUE(log.has("[DMSAppMutex::CreatingMutex] No Mutex Name given", 2));
  EXPECT_EQ(DMSAppDeleteMutex(m), 1);
}

TEST(DMSAppMutex, LockedTwiceBySameThreadNeedsTwoUnlocks) {
  DMSAppString name("Recursive");
  pthread_mutex_t* m = DMSAppCreateMutex(&name);
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(DMSAppAcquireMutex(m), 1);
  EXPECT_EQ(DMSAppAcquireMutex(m), 1);  // no deadlock
  EXPECT_EQ(DMSAppReleaseMutex(m), 1);
  // Still held once: another thread cannot take it.
  std::atomic<int> otherGot{-1};
  std::thread([&] { otherGot = pthread_mutex_trylock(m) == 0 ? 1 : 0; }).join();
  EXPECT_EQ(otherGot.load(), 0);
  EXPECT_EQ(DMSAppReleaseMutex(m), 1);
  std::thread([&] {
    otherGot = pthread_mutex_trylock(m) == 0 ? 1 : 0;
    if (otherGot == 1) pthread_mutex_unlock(m);
  }).join();
  EXPECT_EQ(otherGot.load(), 1);
  EXPECT_EQ(DMSAppDeleteMutex(m), 1);
}

TEST(DMSAppMutex, DeleteOfLockedMutexFailsAndKeepsIt) {
  DMSAppString name("Locked");
  pthread_mutex_t* m = DMSAppCreateMutex(&name);
  ASSERT_NE(m, nullptr);
  ASSERT_EQ(DMSAppAcquireMutex(m), 1);
  EXPECT_EQ(DMSAppDeleteMutex(m), 0);
  // Still allocated and usable.
  EXPECT_EQ(DMSAppReleaseMutex(m), 1);
  EXPECT_EQ(DMSAppDeleteMutex(m), 1);
}

TEST(DMSAppMutex, NullMutexIsRefused) {
  EXPECT_EQ(DMSAppAcquireMutex(nullptr), 0);
  EXPECT_EQ(DMSAppReleaseMutex(nullptr), 0);
  EXPECT_EQ(DMSAppDeleteMutex(nullptr), 0);
}

TEST(DMSAppMutex, GuardsACounterAcrossThreads) {
  DMSAppString name("Counter");
  pthread_mutex_t* m = DMSAppCreateMutex(&name);
  ASSERT_NE(m, nullptr);
  long counter = 0;
  auto work = [&] {
    for (int i = 0; i < 10000; ++i) {
      DMSAppMutexLock lock(m);
      ++counter;
    }
  };
  std::thread a(work), b(work);
  a.join();
  b.join();
  EXPECT_EQ(counter, 20000);
  EXPECT_EQ(DMSAppDeleteMutex(m), 1);
}

TEST(DMSAppMutex, ServiceCanBeDestroyedAndRecreated) {
  DMSAppMutex* first = DMSAppMutex::GetInstance();
  ASSERT_NE(first, nullptr);
  DMSAppMutex::DestroyInstance();
  DMSAppString name("After");
  pthread_mutex_t* m = DMSAppCreateMutex(&name);  // recreated on first use
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(DMSAppAcquireMutex(m), 1);
  EXPECT_EQ(DMSAppAcquireMutex(m), 1);
  EXPECT_EQ(DMSAppReleaseMutex(m), 1);
  EXPECT_EQ(DMSAppReleaseMutex(m), 1);
  EXPECT_EQ(DMSAppDeleteMutex(m), 1);
}

// The service is made on first use; without memory for it, creating a mutex
// fails with null instead of throwing into the C caller.
TEST(DMSAppMutex, AllocationFailureWhileMakingTheServiceGivesNull) {
  DMSAppMutex::DestroyInstance();
  DMSAppString name("Later");
  const int points = failing_allocations::sweep(
      [&] {
        pthread_mutex_t* m = DMSAppCreateMutex(&name);
        const bool made = m != nullptr;
        if (made) DMSAppDeleteMutex(m);
        return made;
      },
      [](bool made, bool failed) { EXPECT_TRUE(made || failed); });
  EXPECT_GT(points, 0);
}
