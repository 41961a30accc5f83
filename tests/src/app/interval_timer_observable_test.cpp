#include "app/interval_timer_observable.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "base/mutex.h"
#include "fakes/fake_clock.h"
#include "fakes/log_capture.h"

namespace {

constexpr int TICK = 10'000;

constexpr const char* TWICE = "Cannot initialize the IntervalTimerObservable twice\n";
constexpr const char* NOT_REGISTERED =
    "Cannot register an observer if the IntervalTimerObservable is not running\n";
constexpr const char* NOT_UNREGISTERED =
    "Cannot unregister an observer if the IntervalTimerObservable is not running\n";
constexpr const char* NOT_DEINITIALIZED =
    "Cannot deinitialize the IntervalTimerObservable if it has not been initialized\n";

// Who was called, in order.
class Calls {
 public:
  void add(std::int32_t id) {
    const LockGuard lock(mutex);
    ids.push_back(id);
  }

  std::vector<std::int32_t> get() const {
    const LockGuard lock(mutex);
    return ids;
  }

  int count() const { return static_cast<int>(get().size()); }

 private:
  mutable Mutex mutex;  // guards ids
  std::vector<std::int32_t> ids;
};

using Ids = std::vector<std::int32_t>;

// The service on time that stands still between passes.
class IntervalTimerObservableTest : public testing::Test {
 protected:
  void SetUp() override {
    IntervalTimerObservable::initialize(TICK);
    ASSERT_TRUE(clock.waitForSleepers(1));
  }

  void TearDown() override {
    clock.free();
    IntervalTimerObservable::deinitialize();
  }

  // Registers an observer that records its calls.
  std::int32_t record(std::int64_t period) {
    return IntervalTimerObservable::registerObserver([this](std::int32_t id) { calls.add(id); },
                                                     period);
  }

  // One pass of the service.
  void pass(std::int64_t microseconds = TICK) { ASSERT_TRUE(clock.advanceAndSettle(microseconds)); }

  const LogCapture log;
  FakeClock clock;
  Calls calls;
};

TEST(IntervalTimerObservableMisuseTest, RegisteringBeforeInitializeReturnsMinusOneAndLogs) {
  const LogCapture log;
  EXPECT_EQ(IntervalTimerObservable::registerObserver([](std::int32_t) {}, 1), -1);
  EXPECT_EQ(log.count(LOG_WARNING, NOT_REGISTERED), 1);
}

TEST(IntervalTimerObservableMisuseTest, UnregisteringBeforeInitializeLogs) {
  const LogCapture log;
  IntervalTimerObservable::unregisterObserver(0);
  EXPECT_EQ(log.count(LOG_WARNING, NOT_UNREGISTERED), 1);
}

TEST(IntervalTimerObservableMisuseTest, UnregisteringMinusOneDoesNothingAndLogsNothing) {
  const LogCapture log;
  IntervalTimerObservable::unregisterObserver(-1);
  EXPECT_TRUE(log.lines().empty());
}

TEST(IntervalTimerObservableMisuseTest, DeinitializingBeforeInitializeLogs) {
  const LogCapture log;
  IntervalTimerObservable::deinitialize();
  EXPECT_EQ(log.count(LOG_WARNING, NOT_DEINITIALIZED), 1);
}

TEST_F(IntervalTimerObservableTest, UnregisteringMinusOneWhileRunningDoesNothing) {
  const std::int32_t id = record(TICK);
  pass();
  IntervalTimerObservable::unregisterObserver(-1);
  pass();
  EXPECT_EQ(calls.get(), (Ids{id, id}));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(IntervalTimerObservableTest, UnregisteringAnUnknownIdDoesNothing) {
  const std::int32_t id = record(TICK);
  pass();
  IntervalTimerObservable::unregisterObserver(77);
  pass();
  EXPECT_EQ(calls.get(), (Ids{id, id}));
}

TEST_F(IntervalTimerObservableTest, InitializingTwiceLogsAndChangesNothing) {
  IntervalTimerObservable::initialize(1);
  EXPECT_EQ(log.count(LOG_WARNING, TWICE), 1);
  record(0);
  clock.advance(TICK - 1);  // a tick of 1 would have made a pass by now
  EXPECT_EQ(calls.count(), 0);
  pass(1);
  EXPECT_EQ(calls.count(), 1);
}

TEST_F(IntervalTimerObservableTest, SleepsOneTickBetweenPasses) {
  record(0);
  clock.advance(TICK - 1);
  EXPECT_EQ(calls.count(), 0);
  pass(1);
  EXPECT_EQ(calls.count(), 1);
  clock.advance(TICK - 1);
  EXPECT_EQ(calls.count(), 1);
  pass(1);
  EXPECT_EQ(calls.count(), 2);
}

TEST_F(IntervalTimerObservableTest, IdsCountUpFromZero) {
  EXPECT_EQ(record(TICK), 0);
  EXPECT_EQ(record(TICK), 1);
  pass();
  EXPECT_EQ(record(TICK), 2);
}

TEST_F(IntervalTimerObservableTest, CallsNoEarlierThanOnePeriodAfterRegistration) {
  record(2 * TICK + 1);
  pass();
  pass();
  EXPECT_EQ(calls.count(), 0);
  pass();
  EXPECT_EQ(calls.count(), 1);
}

TEST_F(IntervalTimerObservableTest, CallsWhenExactlyDue) {
  record(2 * TICK);
  pass();
  EXPECT_EQ(calls.count(), 0);
  pass();
  EXPECT_EQ(calls.count(), 1);
}

TEST_F(IntervalTimerObservableTest, CallsAgainEachPeriod) {
  const std::int32_t fast = record(TICK);
  const std::int32_t slow = record(3 * TICK);
  for (int i = 0; i < 6; ++i) {
    pass();
  }
  EXPECT_EQ(calls.get(), (Ids{fast, fast, fast, slow, fast, fast, fast, slow}));
}

TEST_F(IntervalTimerObservableTest, APassThatFallsBehindDoesNotNotifyTwice) {
  record(TICK);
  pass(20 * TICK);
  EXPECT_EQ(calls.count(), 1);
}

TEST_F(IntervalTimerObservableTest, CallsInOrderOfRegistration) {
  const Ids ids{record(TICK), record(TICK), record(TICK)};
  pass();
  EXPECT_EQ(calls.get(), ids);
}

TEST_F(IntervalTimerObservableTest, RemovalKeepsTheOrderOfTheOthers) {
  const std::int32_t first = record(TICK);
  const std::int32_t second = record(TICK);
  const std::int32_t third = record(TICK);
  const std::int32_t fourth = record(TICK);
  pass();
  IntervalTimerObservable::unregisterObserver(second);
  pass();
  EXPECT_EQ(calls.get(), (Ids{first, second, third, fourth, first, third, fourth}));
}

TEST_F(IntervalTimerObservableTest, TimeIsReadOnceForTheWholePass) {
  IntervalTimerObservable::registerObserver([this](std::int32_t) { clock.set(clock.now() + TICK); },
                                            TICK);
  const std::int32_t later = record(TICK + 1);
  pass();
  EXPECT_EQ(calls.count(), 0);
  pass();
  EXPECT_EQ(calls.get(), Ids{later});
}

TEST_F(IntervalTimerObservableTest, AnUnregisteredObserverIsNotCalledAgain) {
  const std::int32_t id = record(TICK);
  pass();
  IntervalTimerObservable::unregisterObserver(id);
  pass();
  pass();
  EXPECT_EQ(calls.count(), 1);
}

TEST_F(IntervalTimerObservableTest, AnUnregisteredObserverIsFreed) {
  auto resource = std::make_shared<int>(1);
  const std::weak_ptr<int> alive = resource;
  const std::int32_t id =
      IntervalTimerObservable::registerObserver([resource](std::int32_t) { (void)resource; }, TICK);
  resource.reset();
  pass();
  EXPECT_FALSE(alive.expired());
  IntervalTimerObservable::unregisterObserver(id);
  EXPECT_FALSE(alive.expired());
  pass();
  EXPECT_TRUE(alive.expired());
}

TEST_F(IntervalTimerObservableTest, RemovalIsAppliedBeforeAdditionInTheSamePass) {
  const std::int32_t old = record(TICK);
  pass();
  IntervalTimerObservable::unregisterObserver(old);
  IntervalTimerObservable::unregisterObserver(old + 1);  // the id that the next one receives
  const std::int32_t fresh = record(TICK);
  EXPECT_EQ(fresh, old + 1);
  pass();
  pass();
  EXPECT_EQ(calls.get(), (Ids{old, fresh, fresh}));
}

TEST_F(IntervalTimerObservableTest, UnregisteringBeforeTheFirstPassHasNoEffect) {
  const std::int32_t id = record(TICK);
  IntervalTimerObservable::unregisterObserver(id);
  pass();
  pass();
  EXPECT_EQ(calls.get(), (Ids{id, id}));
}

TEST_F(IntervalTimerObservableTest, AfterTheOnlyObserverIsRemovedTheNextReceivesZeroAgain) {
  EXPECT_EQ(record(TICK), 0);
  EXPECT_EQ(record(TICK), 1);
  pass();
  IntervalTimerObservable::unregisterObserver(0);
  IntervalTimerObservable::unregisterObserver(1);
  pass();
  EXPECT_EQ(record(TICK), 0);
}

TEST_F(IntervalTimerObservableTest, TheNextIdFollowsTheLastActiveObserver) {
  record(TICK);
  record(TICK);
  const std::int32_t third = record(TICK);
  pass();
  IntervalTimerObservable::unregisterObserver(third);
  pass();
  EXPECT_EQ(record(TICK), third);
}

TEST_F(IntervalTimerObservableTest, RemovingAnOlderObserverDoesNotLowerTheNextId) {
  const std::int32_t first = record(TICK);
  record(TICK);
  pass();
  IntervalTimerObservable::unregisterObserver(first);
  pass();
  EXPECT_EQ(record(TICK), 2);
}

TEST_F(IntervalTimerObservableTest, RegistrationInACallbackTakesEffectAtTheNextPass) {
  bool registered = false;
  IntervalTimerObservable::registerObserver(
      [&](std::int32_t) {
        if (!registered) {
          registered = true;
          record(0);
        }
      },
      TICK);
  pass();
  EXPECT_EQ(calls.count(), 0);
  pass();
  EXPECT_EQ(calls.count(), 1);
}

TEST_F(IntervalTimerObservableTest, UnregistrationInACallbackTakesEffectAtTheNextPass) {
  std::int32_t victim = -1;
  IntervalTimerObservable::registerObserver(
      [&victim](std::int32_t) { IntervalTimerObservable::unregisterObserver(victim); }, TICK);
  victim = record(TICK);
  pass();
  EXPECT_EQ(calls.count(), 1);
  pass();
  EXPECT_EQ(calls.count(), 1);
}

TEST_F(IntervalTimerObservableTest, ACallbackMayUnregisterItself) {
  int count = 0;
  IntervalTimerObservable::registerObserver(
      [&count](std::int32_t id) {
        ++count;
        IntervalTimerObservable::unregisterObserver(id);
      },
      TICK);
  pass();
  pass();
  pass();
  EXPECT_EQ(count, 1);
}

TEST_F(IntervalTimerObservableTest, CallbacksRunWithoutTheLockHeld) {
  std::int32_t registered = -2;
  IntervalTimerObservable::registerObserver(
      [&](std::int32_t) {
        std::thread other([&] {
          registered = IntervalTimerObservable::registerObserver([](std::int32_t) {}, 1'000'000);
        });
        other.join();
      },
      TICK);
  pass();
  EXPECT_GE(registered, 0);
}

TEST_F(IntervalTimerObservableTest, CallbacksRunOnOneThreadOfTheService) {
  std::vector<std::thread::id> threads;
  for (int i = 0; i < 2; ++i) {
    IntervalTimerObservable::registerObserver(
        [&threads](std::int32_t) { threads.push_back(std::this_thread::get_id()); }, TICK);
  }
  pass();
  pass();
  ASSERT_EQ(threads.size(), 4U);
  for (const std::thread::id id : threads) {
    EXPECT_EQ(id, threads.front());
    EXPECT_NE(id, std::this_thread::get_id());
  }
}

TEST_F(IntervalTimerObservableTest, ManyThreadsMayRegister) {
  constexpr int THREADS = 4;
  constexpr int EACH = 50;
  std::vector<std::thread> threads;
  for (int i = 0; i < THREADS; ++i) {
    threads.emplace_back([this] {
      for (int k = 0; k < EACH; ++k) {
        record(TICK);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  pass();
  Ids expected(THREADS * EACH);
  for (int i = 0; i < THREADS * EACH; ++i) {
    expected[i] = i;
  }
  EXPECT_EQ(calls.get(), expected);
}

// Without the fixture's own end of the service.
class IntervalTimerObservableEndTest : public testing::Test {
 protected:
  IntervalTimerObservableEndTest() {
    IntervalTimerObservable::initialize(TICK);
    EXPECT_TRUE(clock.waitForSleepers(1));
  }

  // Ends the service while its thread sleeps; the time that then passes makes everything due.
  void deinitializeDuringTheSleep() {
    std::thread ending([] { IntervalTimerObservable::deinitialize(); });
    while (IntervalTimerObservable::registerObserver([](std::int32_t) {}, 1) != -1) {
      std::this_thread::yield();
    }
    clock.advance(TICK);
    ending.join();
  }

  const LogCapture log;
  FakeClock clock;
};

TEST_F(IntervalTimerObservableEndTest, PendingObserversAreFreedWithoutBeingCalled) {
  auto count = std::make_shared<int>(0);
  IntervalTimerObservable::registerObserver([count](std::int32_t) { ++*count; }, 1);
  deinitializeDuringTheSleep();
  EXPECT_EQ(*count, 0);
  EXPECT_EQ(count.use_count(), 1);
}

TEST_F(IntervalTimerObservableEndTest, ActiveObserversAreFreedWithoutBeingCalledAgain) {
  auto count = std::make_shared<int>(0);
  IntervalTimerObservable::registerObserver([count](std::int32_t) { ++*count; }, TICK);
  ASSERT_TRUE(clock.advanceAndSettle(TICK));
  deinitializeDuringTheSleep();
  EXPECT_EQ(*count, 1);
  EXPECT_EQ(count.use_count(), 1);
}

TEST_F(IntervalTimerObservableEndTest, MayBeInitializedAgain) {
  int before = 0;
  IntervalTimerObservable::registerObserver([&before](std::int32_t) { ++before; }, TICK);
  deinitializeDuringTheSleep();
  log.clear();

  IntervalTimerObservable::initialize(TICK);
  ASSERT_TRUE(clock.waitForSleepers(1));
  int after = 0;
  EXPECT_EQ(IntervalTimerObservable::registerObserver([&after](std::int32_t) { ++after; }, TICK),
            0);
  ASSERT_TRUE(clock.advanceAndSettle(TICK));
  EXPECT_EQ(before, 0);
  EXPECT_EQ(after, 1);
  deinitializeDuringTheSleep();
  EXPECT_EQ(log.count(TWICE), 0);
  EXPECT_EQ(log.count(NOT_DEINITIALIZED), 0);
}

TEST_F(IntervalTimerObservableEndTest, DeinitializingTwiceLogs) {
  deinitializeDuringTheSleep();
  IntervalTimerObservable::deinitialize();
  EXPECT_EQ(log.count(LOG_WARNING, NOT_DEINITIALIZED), 1);
}

}  // namespace
