#include "fakes/fake_clock.h"

#include <algorithm>
#include <chrono>
#include <thread>

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
  const std::lock_guard lock(mutex);
  return time;
}

void FakeClock::sleep(std::int64_t microseconds) {
  std::unique_lock lock(mutex);
  if (freed) {
    lock.unlock();
    std::this_thread::yield();
    return;
  }
  if (microseconds <= 0) {
    return;
  }
  const auto self = sleepers.insert(sleepers.end(), Sleeper{.wakeTime = time + microseconds});
  changed.notify_all();
  changed.wait(lock, [self] { return self->awake; });
  sleepers.erase(self);
}

void FakeClock::advance(std::int64_t microseconds) {
  const std::lock_guard lock(mutex);
  time += microseconds;
  wakeSleepers();
}

void FakeClock::set(std::int64_t newTime) {
  const std::lock_guard lock(mutex);
  time = newTime;
}

// A thread that is due but has not run yet no longer counts as asleep.
bool FakeClock::waitForSleepers(int count) {
  std::unique_lock lock(mutex);
  return changed.wait_for(lock, PATIENCE, [this, count] {
    return std::count_if(sleepers.begin(), sleepers.end(),
                         [](const Sleeper& sleeper) { return !sleeper.awake; }) >= count;
  });
}

bool FakeClock::advanceAndSettle(std::int64_t microseconds, int count) {
  advance(microseconds);
  return waitForSleepers(count);
}

void FakeClock::free() {
  const std::lock_guard lock(mutex);
  freed = true;
  wakeSleepers();
}

void FakeClock::wakeSleepers() {
  for (Sleeper& sleeper : sleepers) {
    sleeper.awake = sleeper.awake || freed || sleeper.wakeTime <= time;
  }
  changed.notify_all();
}
