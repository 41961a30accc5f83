#include "fakes/fake_clock.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "support/patience.h"

namespace {

constexpr auto PATIENCE = std::chrono::seconds(30);

}  // namespace

FakeClock::FakeClock(std::int64_t startTime) : time(startTime) {
  Clock::replace(this);
}

FakeClock::~FakeClock() {
  free();
  Clock::replace(nullptr);
}

std::int64_t FakeClock::now() const {
  const LockGuard lock(mutex);
  return time;
}

void FakeClock::sleep(std::int64_t microseconds) {
  if (!sleepOnTestsTime(microseconds)) {
    std::this_thread::yield();
  }
}

bool FakeClock::sleepOnTestsTime(std::int64_t microseconds) {
  const LockGuard lock(mutex);
  if (freed) {
    return false;
  }
  if (microseconds <= 0) {
    return true;
  }
  const auto self = sleepers.insert(sleepers.end(), Sleeper{.wakeTime = time + microseconds});
  changed.notifyAll();
  while (!self->awake) {
    changed.wait(mutex);
  }
  sleepers.erase(self);
  return true;
}

void FakeClock::advance(std::int64_t microseconds) {
  const LockGuard lock(mutex);
  time += microseconds;
  wakeSleepers();
}

void FakeClock::set(std::int64_t newTime) {
  const LockGuard lock(mutex);
  time = newTime;
}

// A thread that is due but has not run yet no longer counts as asleep.
bool FakeClock::waitForSleepers(int count) {
  const LockGuard lock(mutex);
  const auto areAsleep = [this, count] {
    return std::count_if(sleepers.begin(), sleepers.end(),
                         [](const Sleeper& sleeper) { return !sleeper.awake; }) >= count;
  };
  return waitUntil(areAsleep, changed, mutex, PATIENCE);
}

bool FakeClock::advanceAndSettle(std::int64_t microseconds, int count) {
  advance(microseconds);
  return waitForSleepers(count);
}

void FakeClock::free() {
  const LockGuard lock(mutex);
  freed = true;
  wakeSleepers();
}

void FakeClock::wakeSleepers() {
  for (Sleeper& sleeper : sleepers) {
    sleeper.awake = sleeper.awake || freed || sleeper.wakeTime <= time;
  }
  changed.notifyAll();
}
