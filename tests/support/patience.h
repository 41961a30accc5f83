// Waiting (really) for what another thread does.
#ifndef TESTS_SUPPORT_PATIENCE_H
#define TESTS_SUPPORT_PATIENCE_H

#include <chrono>

#include "base/mutex.h"

// Waits until it holds, for which it is asked again after each change, with the mutex held. False
// when the time is over before.
template <typename Holds>
bool waitUntil(const Holds& holds, Condition& changed, Mutex& mutex,
               std::chrono::milliseconds patience) REQUIRES(mutex) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + patience;
  while (!holds()) {
    const Clock::duration left = end - Clock::now();
    if (left <= Clock::duration::zero()) {
      return false;
    }
    changed.waitFor(mutex, std::chrono::ceil<std::chrono::milliseconds>(left));
  }
  return true;
}

#endif
