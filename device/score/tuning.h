#ifndef DEVICE_SCORE_TUNING_H
#define DEVICE_SCORE_TUNING_H

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace device {

using Gains = std::array<double, 3>;  // proportional, integral, derivative

// How the head was tuned in a run.
struct TuningFigures {
  int count = 0;       // how often the tracker began to tune
  double seconds = 0;  // in the state "autotuning", all of them together
  int attempts = 0;    // of all tunings
  int failedAttempts = 0;
  int unsuccessful = 0;           // tunings given up after their last attempt
  std::optional<bool> succeeded;  // the last one that came to an end; empty without one
  std::optional<Gains> panGains;  // of the last success
  std::optional<Gains> tiltGains;
  // Whether the head's dead time and speeds were found out, the last time that was tried; empty
  // where following goes without.
  std::optional<bool> identified;

  // Whether the head is steered by what was learned of it, in the way in which it is followed.
  bool isHeadKnown() const { return identified.value_or(panGains.has_value()); }
};

// Learns it from the tracker's states and from what the application logs.
class TuningWatch {
 public:
  // Any state, at a time in seconds that never decreases; repetitions are ignored.
  void state(double time, std::string_view name);

  // A line of the application's log. One that is not about tuning is ignored.
  void logLine(const std::string& text);

  // As of a time.
  TuningFigures figures(double time) const;

 private:
  TuningFigures sum;
  std::optional<double> since;  // while it tunes
};

}  // namespace device

#endif
