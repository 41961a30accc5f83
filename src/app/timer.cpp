#include "app/timer.h"

Timer::Timer(std::int64_t duration) : duration(duration) {}

void Timer::start(std::int64_t now) {
  if (!running) {
    restart(now);
  }
}

void Timer::restart(std::int64_t now) {
  startTime = now;
  running = true;
}

void Timer::stop() {
  running = false;
}

bool Timer::reachedEnd(std::int64_t now) const {
  return running && now - startTime > duration;
}
