#include "score/tuning.h"

#include <cstdio>

namespace device {

namespace {

constexpr const char* IDENTIFIED = "The head answers after ";
constexpr const char* NOT_IDENTIFIED = "The head could not be identified";
constexpr const char* NOT_RECORDED = "Identifying the head: attempt 3 of 3 failed";

}  // namespace

void TuningWatch::state(double time, std::string_view name) {
  const bool tunes = name == "autotuning";
  if (tunes && !since) {
    ++sum.count;
    since = time;
  } else if (!tunes && since) {
    sum.seconds += time - *since;
    since.reset();
  }
}

void TuningWatch::logLine(const std::string& text) {
  if (text.starts_with(IDENTIFIED)) {
    sum.identified = true;
    return;
  }
  if (text.starts_with(NOT_IDENTIFIED) || text.starts_with(NOT_RECORDED)) {
    sum.identified = false;
    return;
  }
  int attempt = 0;
  int most = 0;
  int length = 0;
  const int read =
      std::sscanf(text.c_str(), "Autotuning: attempt %d of %d %n", &attempt, &most, &length);
  if (read != 2 || length == 0) {
    return;
  }
  const std::string rest = text.substr(static_cast<std::size_t>(length));
  if (rest.starts_with("failed")) {
    ++sum.attempts;
    ++sum.failedAttempts;
    if (attempt >= most) {
      ++sum.unsuccessful;
      sum.succeeded = false;
    }
    return;
  }
  Gains pan{};
  Gains tilt{};
  if (std::sscanf(rest.c_str(), "succeeded, gains of pan %lf %lf %lf, of tilt %lf %lf %lf", &pan[0],
                  &pan[1], &pan[2], &tilt[0], &tilt[1], &tilt[2]) == 6) {
    ++sum.attempts;
    sum.succeeded = true;
    sum.panGains = pan;
    sum.tiltGains = tilt;
  }
}

TuningFigures TuningWatch::figures(double time) const {
  TuningFigures figures = sum;
  if (since) {
    figures.seconds += time - *since;
  }
  return figures;
}

}  // namespace device
