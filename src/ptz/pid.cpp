#include "ptz/pid.h"

#include <syslog.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>
#include <tuple>
#include <utility>

#include "app/clock.h"
#include "base/units.h"

namespace {

constexpr double AUTOTUNE_TIME_LIMIT = 25.0;  // seconds
constexpr unsigned ANALYZED_PERIODS = 10;
constexpr double ALLOWED_SPREAD = 0.25;  // of the mean
constexpr double HYSTERESIS_DIVISOR = 10.0;
constexpr double EXTREME_START = 9999.9;

// As the devices clamp: the upper limit is looked at first.
double limit(double value, double low, double high) {
  if (value > high) {
    return high;
  }
  return value < low ? low : value;
}

// Mean and population deviation.
template <typename Projection>
std::pair<double, double> statistics(std::span<const std::unique_ptr<Pid::AutotunePeriod>> periods,
                                     Projection value) {
  const auto n = static_cast<double>(periods.size());
  double sum = 0.0;
  for (const auto& period : periods) {
    sum += value(*period);
  }
  const double mean = sum / n;
  double squares = 0.0;
  for (const auto& period : periods) {
    const double deviation = value(*period) - mean;
    squares += deviation * deviation;
  }
  return {mean, std::sqrt(squares / n)};
}

}  // namespace

Pid::Pid(ControlType type, double kp, double ki, double kd, double gainScale, double outputLow,
         double outputHigh, double errorDeadband, double outputDeadband)
    : controlType(type),
      kp(kp),
      ki(ki),
      kd(kd),
      gainScale(gainScale),
      outputLow(outputLow),
      outputHigh(outputHigh),
      errorDeadband(errorDeadband),
      outputDeadband(outputDeadband) {}

void Pid::activate() {
  if (active) {
    return;
  }
  active = true;
  reset();
}

void Pid::inactivate() {
  active = false;
}

void Pid::reset() {
  lastError = 0.0;
  integral = 0.0;
  lastUpdateTime = 0;
}

void Pid::update(double error) {
  const std::int64_t now = utils::monotonicTime();
  const double p = limit(error * kp, outputLow, outputHigh);
  double sum = p;
  if (lastUpdateTime != 0) {
    const double dt = units::toSeconds(now - lastUpdateTime);
    const double de = error - lastError;
    // Always adds half the magnitude of the change, whatever its sign; in single precision.
    const float halfChange = std::fabs(static_cast<float>(de)) * 0.5F;
    const double candidate = integral + ki * (error + static_cast<double>(halfChange)) * dt;
    // Anti-windup: the integral may only use the room that the proportional part leaves.
    integral = candidate > outputHigh - p ? outputHigh - p : std::max(candidate, outputLow - p);
    const double d = kd * de / dt;
    sum = integral + p + d;
  }
  outputValue = limit(sum, outputLow, outputHigh);
  lastUpdateTime = now;
  lastError = error;
}

double Pid::output() const {
  if (!active || !enabled) {
    return 0.0;
  }
  if (std::abs(lastError) >= errorDeadband) {
    return outputValue;
  }
  return std::abs(outputValue) < outputDeadband ? 0.0 : outputValue;
}

bool Pid::isSettled() const {
  return std::abs(lastError) < errorDeadband && std::abs(outputValue) < outputDeadband;
}

void Pid::setPid(double newKp, double newKi, double newKd) {
  kp = newKp;
  ki = newKi;
  kd = newKd;
}

void Pid::getPid(double& outKp, double& outKi, double& outKd) const {
  outKp = kp;
  outKi = ki;
  outKd = kd;
}

void Pid::getAutotunePid(double& outKp, double& outKi, double& outKd) const {
  outKp = autotuneKp;
  outKi = autotuneKi;
  outKd = autotuneKd;
}

void Pid::autotuneStart(double setpoint, double amplitude) {
  autoTuneClear();
  autotuneStartTime = utils::monotonicTime();
  autotuned = false;
  relayAmplitude = amplitude;
  relaySetpoint = setpoint;
}

bool Pid::autotuneRun(double value, double& relayOutput) {
  if (autotuneStartTime == 0) {
    return true;
  }
  const std::int64_t now = utils::monotonicTime();
  if (units::toSeconds(now - autotuneStartTime) > AUTOTUNE_TIME_LIMIT) {
    return true;
  }
  relayOutput = relaySetpoint < value ? -relayAmplitude : relayAmplitude;
  samples.push_back({value, now});

  double meanAmplitude = 0.0;
  double meanPeriod = 0.0;
  double sdAmplitude = 0.0;
  double sdPeriod = 0.0;
  if (analyzeAutotunePeriods(getAutotunePeriods(), ANALYZED_PERIODS, meanAmplitude, meanPeriod,
                             sdAmplitude, sdPeriod) &&
      meanAmplitude * ALLOWED_SPREAD > sdAmplitude && meanPeriod * ALLOWED_SPREAD > sdPeriod) {
    setAutotuneValues(meanAmplitude, meanPeriod);
    autotuned = true;
  }
  return autotuned;
}

void Pid::autoTuneClear() {
  samples.clear();
}

Pid::AutotunePeriods Pid::getAutotunePeriods() const {
  AutotunePeriods periods;
  if (samples.empty()) {
    return periods;
  }
  double min = EXTREME_START;
  double max = -EXTREME_START;
  for (const AutotuneSample& sample : samples) {
    min = std::min(min, sample.value);
    max = std::max(max, sample.value);
  }
  const double band = std::abs(max - min) / HYSTERESIS_DIVISOR;
  const double mid = (max + min) / 2.0;
  const auto isAbove = [upper = mid + band](const auto& sample) { return sample.value > upper; };
  const auto isBelow = [lower = mid - band](const auto& sample) { return sample.value < lower; };

  auto previousRise = samples.end();
  auto from = samples.begin();
  while (true) {
    const auto rise = std::find_if(from, samples.end(), isAbove);
    if (rise == samples.end()) {
      return periods;
    }
    if (previousRise != samples.end()) {
      auto period = std::make_unique<AutotunePeriod>(AutotunePeriod{
          EXTREME_START, -EXTREME_START, units::toSeconds(rise->time - previousRise->time)});
      for (auto sample = previousRise; sample != rise; ++sample) {
        period->min = std::min(period->min, sample->value);
        period->max = std::max(period->max, sample->value);
      }
      periods.push_back(std::move(period));
    }
    const auto fall = std::find_if(rise + 1, samples.end(), isBelow);
    if (fall == samples.end() || fall + 1 == samples.end()) {
      return periods;
    }
    previousRise = rise;
    from = fall + 1;
  }
}

bool Pid::analyzeAutotunePeriods(AutotunePeriods periods, unsigned n, double& meanAmplitude,
                                 double& meanPeriod, double& sdAmplitude, double& sdPeriod) {
  if (periods.size() < std::size_t{n} + 2) {
    return false;
  }
  const auto last = std::span<const std::unique_ptr<AutotunePeriod>>(periods).last(n);
  std::tie(meanAmplitude, sdAmplitude) =
      statistics(last, [](const AutotunePeriod& period) { return period.max - period.min; });
  std::tie(meanPeriod, sdPeriod) =
      statistics(last, [](const AutotunePeriod& period) { return period.period; });
  return true;
}

void Pid::setAutotuneValues(double amplitude, double period) {
  ultimateGain = (4.0 * relayAmplitude) / (amplitude * std::numbers::pi * 0.5) / gainScale;
  ultimatePeriod = period;
  switch (controlType) {
    case ControlType::P:
      autotuneKp = 0.5 * ultimateGain;
      autotuneKi = 0.0;
      autotuneKd = 0.0;
      break;
    case ControlType::PI:
      autotuneKp = 0.45 * ultimateGain;
      autotuneKi = 0.54 * ultimateGain / ultimatePeriod;
      autotuneKd = 0.0;
      break;
    default:
      // Integral and derivative gain depend on the period alone.
      autotuneKp = 0.2 * ultimateGain;
      autotuneKi = 0.25 * ultimatePeriod;
      autotuneKd = ultimatePeriod / 6.0;
  }
}

void Pid::printAutotuneDebug(const std::string& name) const {
  if (autotuned) {
    return;
  }
  syslog(LOG_INFO, "%s: autotune failed!", name.c_str());
  for (const AutotuneSample& sample : samples) {
    syslog(LOG_INFO, "value:%f time:%ld", sample.value, static_cast<long>(sample.time));
  }
}
