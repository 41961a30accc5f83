#ifndef TESTS_FAKES_FAKE_CLOCK_H
#define TESTS_FAKES_FAKE_CLOCK_H

#include <cstdint>
#include <list>

#include "app/clock.h"
#include "base/mutex.h"

// Time that a test owns: it stands still until advance() is called, and threads of the daemon that
// sleep wait for it. Replaces the machine's clock for its own life. Make it before, and destroy it
// after, every object whose threads sleep.
class FakeClock : public Clock {
 public:
  explicit FakeClock(std::int64_t startTime = 1'000'000'000);
  ~FakeClock() override;

  std::int64_t now() const override;

  // Blocks the calling thread until time has been advanced that far (or free() was called).
  void sleep(std::int64_t microseconds) override;

  // Moves time on; sleepers whose time has come go on.
  void advance(std::int64_t microseconds);

  // Moves time without waking anybody up.
  void set(std::int64_t time);

  // Waits (really) until that many threads are blocked in sleep(); false after 30 s.
  bool waitForSleepers(int count);

  // Advances in one step and waits until that many threads are asleep again.
  bool advanceAndSettle(std::int64_t microseconds, int sleepers = 1);

  // From now on nobody is blocked: sleeps return at once. For tearing down objects with threads.
  void free();

 private:
  struct Sleeper {
    std::int64_t wakeTime;
    bool awake = false;
  };

  // False when nobody is blocked any more.
  bool sleepOnTestsTime(std::int64_t microseconds);

  void wakeSleepers();

  mutable Mutex mutex;  // guards all below
  Condition changed;
  std::int64_t time;
  std::list<Sleeper> sleepers;
  bool freed = false;
};

#endif
