#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "dms_platform.h"
#include "dms_string.h"
#include "dms_timer.h"
#include "log_capture.h"
#include "timer_barrier.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const char* kStopLine = "[DMSAppTimer::StopThread]Stop DMSAppTimerTask thread\n";

void* asParam(void* p) { return p; }

template <typename T>
T* fromParam(unsigned long param) {
  return reinterpret_cast<T*>(static_cast<uintptr_t>(param));
}

// Polls `done` until it holds or `limit` passes.
template <typename Predicate>
bool waitFor(Predicate done, milliseconds limit = milliseconds(5000)) {
  Clock::time_point end = Clock::now() + limit;
  while (!done()) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(milliseconds(2));
  }
  return true;
}

// What the callbacks saw, filled on the timer thread.
class Recorder {
 public:
  struct Call {
    unsigned long handle;
    bool expired;
    Clock::time_point at;
    std::string threadName;
  };

  static void callback(unsigned long handle, unsigned long param, bool expired) {
    char name[17] = {};
    prctl(PR_GET_NAME, name, 0, 0, 0);
    Recorder* self = fromParam<Recorder>(param);
    std::lock_guard<std::mutex> lock(self->mutex_);
    self->calls_.push_back({handle, expired, Clock::now(), name});
  }

  std::vector<Call> calls() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
  }
  size_t count() const { return calls().size(); }
  std::vector<unsigned long> handles() const {
    std::vector<unsigned long> out;
    for (const Call& call : calls()) out.push_back(call.handle);
    return out;
  }
  size_t countOf(unsigned long handle) const {
    size_t n = 0;
    for (const Call& call : calls())
      if (call.handle == handle) ++n;
    return n;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Call> calls_;
};

// A callback that holds the timer thread until released, so that a test can
// make many timers run out before the next poll.
class Gate {
 public:
  static void callback(unsigned long /*handle*/, unsigned long param, bool /*expired*/) {
    Gate* self = fromParam<Gate>(param);
    std::unique_lock<std::mutex> lock(self->mutex_);
    self->entered_ = true;
    self->changed_.notify_all();
    self->changed_.wait_for(lock, std::chrono::seconds(10), [self] { return self->released_; });
    self->left_ = true;
    self->changed_.notify_all();
  }
  // A test that fails early still lets the held callback go before the gate
  // goes away.
  ~Gate() {
    release();
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(15), [this] { return !entered_ || left_; });
  }
  bool waitEntered() {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(5), [this] { return entered_; });
  }
  void release() {
    std::lock_guard<std::mutex> lock(mutex_);
    released_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool entered_ = false;
  bool released_ = false;
  bool left_ = false;
};

// Holds the timer thread inside a callback until the returned gate opens.
std::unique_ptr<Gate> blockTimerThread() {
  auto gate = std::make_unique<Gate>();
  unsigned long handle = DMSAppCreateTimer(nullptr);
  EXPECT_NE(0u, handle);
  EXPECT_EQ(1, DMSAppStartTimer(handle, 1, &Gate::callback, asParam(gate.get())));
  EXPECT_TRUE(gate->waitEntered());
  return gate;
}

bool exists(unsigned long handle) {
  std::unique_ptr<DMSAppString> name(DMSAppTimer::GetInstance()->NUVGetTimerNameFromHandle(handle));
  return name != nullptr;
}

unsigned long createNamed(const char* text) {
  DMSAppString name(text);
  return DMSAppCreateTimer(&name);
}

// Every test gets a fresh service and thread.
class Timers : public ::testing::Test {
 protected:
  void SetUp() override { DMSAppTimer::GetInstance(); }
  void TearDown() override {
    DMSAppStopTimerThread();
    DMSAppTimer::DestroyInstance();
  }
  Recorder recorder_;
};

TEST_F(Timers, HandlesCountOneTwoThreeAndAreNeverReused) {
  EXPECT_EQ(1u, createNamed("a"));
  EXPECT_EQ(2u, createNamed("b"));
  EXPECT_EQ(3u, createNamed("c"));
  EXPECT_EQ(1, DMSAppDeleteTimer(3));
  EXPECT_EQ(4u, createNamed("d"));
  EXPECT_EQ(5u, DMSAppCreateTimer(nullptr));
}

TEST_F(Timers, NameFromHandleIsANewCopy) {
  DMSAppString name("transfer");
  unsigned long handle = DMSAppCreateTimer(&name);
  name.Copy("changed");
  DMSAppString* first = DMSAppTimer::GetInstance()->NUVGetTimerNameFromHandle(handle);
  DMSAppString* second = DMSAppTimer::GetInstance()->NUVGetTimerNameFromHandle(handle);
  ASSERT_NE(nullptr, first);
  ASSERT_NE(nullptr, second);
  EXPECT_NE(first, second);
  EXPECT_NE(first->ReadString(), second->ReadString());
  EXPECT_STREQ("transfer", first->ReadString());
  delete first;
  EXPECT_STREQ("transfer", second->ReadString());
  delete second;
}

TEST_F(Timers, NameFromUnknownHandleOrUnnamedTimerIsNull) {
  EXPECT_EQ(nullptr, DMSAppTimer::GetInstance()->NUVGetTimerNameFromHandle(99));
  unsigned long handle = DMSAppCreateTimer(nullptr);
  ASSERT_NE(0u, handle);
  EXPECT_EQ(nullptr, DMSAppTimer::GetInstance()->NUVGetTimerNameFromHandle(handle));
}

TEST_F(Timers, HandleFromTimerNameIsNeverFound) {
  DMSAppString name("known");
  ASSERT_NE(0u, DMSAppCreateTimer(&name));
  EXPECT_EQ(0u, DMSAppTimer::GetInstance()->GetTimerHandleFromTimerName(&name));
  EXPECT_EQ(0u, DMSAppTimer::GetInstance()->GetTimerHandleFromTimerName(nullptr));
}

TEST_F(Timers, StartWithNullCallbackIsRefusedAndLogged) {
  unsigned long handle = createNamed("t");
  LogCapture log;
  EXPECT_EQ(0, DMSAppStartTimer(handle, 10, nullptr, nullptr));
  EXPECT_TRUE(log.has("Timer: NUVStartTimer: callback or timeout is invalid"));
  ASSERT_TRUE(timer_barrier::passBeyond(20));
  EXPECT_TRUE(exists(handle));  // never armed, so still there
}

TEST_F(Timers, StartOnUnknownHandleReturnsOneAndDoesNothing) {
  EXPECT_EQ(1, DMSAppStartTimer(77, 1, &Recorder::callback, asParam(&recorder_)));
  ASSERT_TRUE(timer_barrier::passBeyond(20));
  EXPECT_EQ(0u, recorder_.count());
}

TEST_F(Timers, DeleteReturnsOneForKnownAndUnknownHandles) {
  unsigned long handle = createNamed("t");
  EXPECT_EQ(1, DMSAppDeleteTimer(handle));
  EXPECT_FALSE(exists(handle));
  EXPECT_EQ(1, DMSAppDeleteTimer(handle));
  EXPECT_EQ(1, DMSAppDeleteTimer(12345));
}

TEST_F(Timers, CallbackGetsHandleParamAndFalseOnTheDMSAppTimerThread) {
  unsigned long handle = createNamed("t");
  ASSERT_EQ(1, DMSAppStartTimer(handle, 5, &Recorder::callback, asParam(&recorder_)));
  ASSERT_TRUE(waitFor([&] { return recorder_.count() == 1; }));
  Recorder::Call call = recorder_.calls()[0];
  EXPECT_EQ(handle, call.handle);
  EXPECT_FALSE(call.expired);
  EXPECT_EQ("DMSAppTimer", call.threadName);
}

TEST_F(Timers, TimersFireInOrderOfExpiry) {
  unsigned long slow = createNamed("slow");
  unsigned long fast = createNamed("fast");
  unsigned long middle = createNamed("middle");
  ASSERT_EQ(1, DMSAppStartTimer(slow, 400, &Recorder::callback, asParam(&recorder_)));
  ASSERT_EQ(1, DMSAppStartTimer(fast, 100, &Recorder::callback, asParam(&recorder_)));
  ASSERT_EQ(1, DMSAppStartTimer(middle, 250, &Recorder::callback, asParam(&recorder_)));
  ASSERT_TRUE(waitFor([&] { return recorder_.count() == 3; }));
  EXPECT_EQ((std::vector<unsigned long>{fast, middle, slow}), recorder_.handles());
}

TEST_F(Timers, ZeroMsStartNeverFiresAndLeavesTheTimerToItsOwner) {
  unsigned long handle = createNamed("zero");
  EXPECT_EQ(1, DMSAppStartTimer(handle, 0, &Recorder::callback, asParam(&recorder_)));
  ASSERT_TRUE(timer_barrier::passBeyond(50));
  EXPECT_EQ(0u, recorder_.count());
  EXPECT_TRUE(exists(handle));
  EXPECT_EQ(1, DMSAppDeleteTimer(handle));
  EXPECT_FALSE(exists(handle));
}

TEST_F(Timers, TimerOf1500MsFiresOnceAfterItsTimeAndIsThenGone) {
  unsigned long handle = createNamed("t");
  Clock::time_point started = Clock::now();
  ASSERT_EQ(1, DMSAppStartTimer(handle, 1500, &Recorder::callback, asParam(&recorder_)));
  ASSERT_TRUE(waitFor([&] { return recorder_.count() == 1; }, milliseconds(5000)));
  auto elapsed =
      std::chrono::duration_cast<milliseconds>(recorder_.calls()[0].at - started).count();
  EXPECT_GE(elapsed, 1500);
  EXPECT_LE(elapsed, 4500);  // generous: emulated and loaded machines are slow
  // The record goes once the callback has returned.
  EXPECT_TRUE(waitFor([&] { return !exists(handle); }, milliseconds(2000)));

  // The handle is gone: a new start is accepted but nothing happens.
  EXPECT_EQ(1, DMSAppStartTimer(handle, 10, &Recorder::callback, asParam(&recorder_)));
  ASSERT_TRUE(timer_barrier::passBeyond(50));
  EXPECT_EQ(1u, recorder_.count());
}

TEST_F(Timers, StartOfARunningTimerRearmsIt) {
  unsigned long handle = createNamed("t");
  ASSERT_EQ(1, DMSAppStartTimer(handle, 400, &Recorder::callback, asParam(&recorder_)));
  Clock::time_point rearmed = Clock::now();
  ASSERT_EQ(1, DMSAppStartTimer(handle, 1000, &Recorder::callback, asParam(&recorder_)));
  ASSERT_TRUE(timer_barrier::passBeyond(600));  // beyond the first arming's 400 ms
  EXPECT_EQ(0u, recorder_.count());
  ASSERT_TRUE(waitFor([&] { return recorder_.count() == 1; }));
  auto elapsed =
      std::chrono::duration_cast<milliseconds>(recorder_.calls()[0].at - rearmed).count();
  EXPECT_GE(elapsed, 1000);
  ASSERT_TRUE(timer_barrier::passBeyond(50));
  EXPECT_EQ(1u, recorder_.count());
}

TEST_F(Timers, StartWithZeroMsDisarmsARunningTimer) {
  unsigned long handle = createNamed("t");
  ASSERT_EQ(1, DMSAppStartTimer(handle, 500, &Recorder::callback, asParam(&recorder_)));
  ASSERT_EQ(1, DMSAppStartTimer(handle, 0, &Recorder::callback, asParam(&recorder_)));
  ASSERT_TRUE(timer_barrier::passBeyond(600));  // beyond the 500 ms it was armed for
  EXPECT_EQ(0u, recorder_.count());
  EXPECT_TRUE(exists(handle));
}

TEST_F(Timers, DeleteBeforeExpiryPreventsFiring) {
  unsigned long handle = createNamed("t");
  ASSERT_EQ(1, DMSAppStartTimer(handle, 300, &Recorder::callback, asParam(&recorder_)));
  EXPECT_EQ(1, DMSAppDeleteTimer(handle));
  ASSERT_TRUE(timer_barrier::passBeyond(400));  // beyond the 300 ms it was armed for
  EXPECT_EQ(0u, recorder_.count());
}

struct DeleteOther {
  Recorder* recorder;
  unsigned long victim;
};

void deleteOtherThenRecord(unsigned long handle, unsigned long param, bool expired) {
  DeleteOther* self = fromParam<DeleteOther>(param);
  DMSAppDeleteTimer(self->victim);
  Recorder::callback(
      handle, static_cast<unsigned long>(reinterpret_cast<uintptr_t>(self->recorder)), expired);
}

TEST_F(Timers, DeletingFromAnotherCallbackPreventsFiringInTheSamePoll) {
  std::unique_ptr<Gate> gate = blockTimerThread();
  unsigned long killer = createNamed("killer");
  unsigned long victim = createNamed("victim");
  DeleteOther action = {&recorder_, victim};
  ASSERT_EQ(1, DMSAppStartTimer(killer, 1, &deleteOtherThenRecord, asParam(&action)));
  ASSERT_EQ(1, DMSAppStartTimer(victim, 1, &Recorder::callback, asParam(&recorder_)));
  std::this_thread::sleep_for(milliseconds(50));  // both run out while the thread is held
  gate->release();
  ASSERT_TRUE(waitFor([&] { return recorder_.count() >= 1; }));
  ASSERT_TRUE(timer_barrier::passBeyond(20));
  EXPECT_EQ((std::vector<unsigned long>{killer}), recorder_.handles());
  EXPECT_FALSE(exists(victim));
}

TEST_F(Timers, MoreThan128ExpiriesInOnePollAllFireOnceInListOrder) {
  constexpr int kTimers = 300;
  std::unique_ptr<Gate> gate = blockTimerThread();
  std::vector<unsigned long> handles;
  for (int i = 0; i < kTimers; ++i) {
    handles.push_back(DMSAppCreateTimer(nullptr));
    ASSERT_NE(0u, handles.back());
  }
  for (unsigned long handle : handles) {
    ASSERT_EQ(1, DMSAppStartTimer(handle, 1, &Recorder::callback, asParam(&recorder_)));
  }
  std::this_thread::sleep_for(milliseconds(50));
  gate->release();
  ASSERT_TRUE(waitFor([&] { return recorder_.count() >= kTimers; }));
  for (unsigned long handle : handles)
    EXPECT_TRUE(waitFor([&] { return !exists(handle); }, milliseconds(2000)));
  EXPECT_EQ(handles, recorder_.handles());  // each once, in list order
}

struct Chain {
  Recorder* recorder;
  int remaining;
};

void restartFromCallback(unsigned long handle, unsigned long param, bool expired) {
  Chain* chain = fromParam<Chain>(param);
  Recorder::callback(
      handle, static_cast<unsigned long>(reinterpret_cast<uintptr_t>(chain->recorder)), expired);
  if (--chain->remaining > 0) {
    unsigned long next = DMSAppCreateTimer(nullptr);
    DMSAppStartTimer(next, 5, &restartFromCallback, chain);
  }
}

TEST_F(Timers, CallbackMayCreateAndStartTheNextTimer) {
  Chain chain = {&recorder_, 3};
  unsigned long first = DMSAppCreateTimer(nullptr);
  ASSERT_EQ(1, DMSAppStartTimer(first, 5, &restartFromCallback, asParam(&chain)));
  ASSERT_TRUE(waitFor([&] { return recorder_.count() == 3; }));
  EXPECT_EQ((std::vector<unsigned long>{first, first + 1, first + 2}), recorder_.handles());
}

TEST_F(Timers, StopThreadLogsOnceAndReturnsOne) {
  LogCapture log;
  EXPECT_EQ(1, DMSAppStopTimerThread());
  EXPECT_EQ(1u, log.count(kStopLine));
  EXPECT_EQ(1, DMSAppStopTimerThread());  // already stopped: no second line
  EXPECT_EQ(1, DMSAppTimer::GetInstance()->StopThread());
  EXPECT_EQ(1u, log.count(kStopLine));
}

TEST_F(Timers, HelperStopFunctionStopsTheThread) {
  LogCapture log;
  EXPECT_EQ(1, DMSAppHelperStopDMSAppTimerThread());
  EXPECT_TRUE(log.has(kStopLine));
}

TEST_F(Timers, NothingFiresAfterTheThreadIsStopped) {
  ASSERT_EQ(1, DMSAppStopTimerThread());
  unsigned long handle = createNamed("t");
  ASSERT_EQ(1, DMSAppStartTimer(handle, 5, &Recorder::callback, asParam(&recorder_)));
  std::this_thread::sleep_for(milliseconds(200));
  EXPECT_EQ(0u, recorder_.count());
}

int stopResultFromCallback = -1;
void stopFromCallback(unsigned long /*handle*/, unsigned long /*param*/, bool /*expired*/) {
  stopResultFromCallback = DMSAppStopTimerThread();
}

TEST_F(Timers, StopFromInsideACallbackEndsTheThreadSafely) {
  LogCapture log;
  stopResultFromCallback = -1;
  unsigned long stopper = DMSAppCreateTimer(nullptr);
  ASSERT_EQ(1, DMSAppStartTimer(stopper, 1, &stopFromCallback, nullptr));
  ASSERT_TRUE(waitFor([&] { return log.has(kStopLine); }));
  unsigned long later = DMSAppCreateTimer(nullptr);
  ASSERT_EQ(1, DMSAppStartTimer(later, 1, &Recorder::callback, asParam(&recorder_)));
  std::this_thread::sleep_for(milliseconds(200));
  EXPECT_EQ(0u, recorder_.count());
  EXPECT_EQ(1, DMSAppStopTimerThread());  // joins the finished thread
  EXPECT_EQ(1u, log.count(kStopLine));
  // The callback's own result is read only after the thread was joined.
  EXPECT_EQ(1, stopResultFromCallback);
}

TEST_F(Timers, DestroyWhileTheThreadRunsStopsItFirst) {
  unsigned long pending = createNamed("pending");
  ASSERT_EQ(1, DMSAppStartTimer(pending, 60000, &Recorder::callback, asParam(&recorder_)));
  {
    LogCapture log;
    DMSAppTimer::DestroyInstance();
    EXPECT_TRUE(log.has(kStopLine));
  }
  // A new service starts counting again and knows nothing of the old timers.
  EXPECT_FALSE(exists(pending));
  EXPECT_EQ(1u, DMSAppCreateTimer(nullptr));
  EXPECT_EQ(0u, recorder_.count());
}

TEST_F(Timers, StopWithoutAServiceReturnsOneAndCreatesNone) {
  DMSAppTimer::DestroyInstance();
  LogCapture log;
  EXPECT_EQ(1, DMSAppStopTimerThread());
  EXPECT_FALSE(log.has(kStopLine));
  EXPECT_EQ(1u, DMSAppCreateTimer(nullptr));  // a fresh service, not a leftover
}

TEST_F(Timers, AlarmSignalIsAbsorbedAndTheHandlerStaysInstalled) {
  ASSERT_EQ(0, raise(SIGALRM));
  struct sigaction current = {};
  ASSERT_EQ(0, sigaction(SIGALRM, nullptr, &current));
  EXPECT_EQ(&DMSAppALARMhandler, current.sa_handler);
}

}  // namespace
