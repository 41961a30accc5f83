// A head that is not known beforehand: limits of speed and acceleration, dead times with jitter,
// steps, play of the gears, a status that is old and coarse. In steps of 5 ms; all chance is
// seeded.
#ifndef TESTS_FOLLOWING_SIMULATED_HEAD_H
#define TESTS_FOLLOWING_SIMULATED_HEAD_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <deque>
#include <random>

#include "base/units.h"

namespace simulation {

constexpr std::int64_t STEP = 5'000;     // microseconds
constexpr std::int64_t PERIOD = 50'000;  // of the controller

class Random {
 public:
  explicit Random(std::uint64_t seed) : engine(seed) {}

  double uniform(double low, double high) {
    return low + (high - low) * static_cast<double>(engine() >> 11) * 0x1p-53;
  }
  bool chance(double probability) { return uniform(0.0, 1.0) < probability; }
  double sign() { return chance(0.5) ? 1.0 : -1.0; }
  double normal() {
    const double radius = std::sqrt(-2.0 * std::log(uniform(1e-300, 1.0)));
    return radius * std::cos(uniform(0.0, 6.283185307179586));
  }

 private:
  std::mt19937_64 engine;
};

inline double roundTo(double value, double step) {
  return step > 0.0 ? std::round(value / step) * step : value;
}

struct HeadKind {
  double fullSpeed = 100.0;     // deg/s
  double acceleration = 300.0;  // deg/s2
  double latency = 0.05;        // s, of commands
  double latencyJitter = 0.0;   // s, to each side
  double speedStep = 0.0;       // percent; 0: none
  double deadZone = 0.0;        // percent
  double curve = 1.0;           // exponent of speed over command
  double play = 0.0;            // deg
  double statusAge = 0.0;       // s
  double statusPeriod = 0.005;  // s
  double statusStep = 0.0;      // deg
  double zoomCurve = 1.0;       // exponent of magnification over position

  double speedAt(double percent) const {
    double size = std::abs(percent);
    if (size < deadZone) {
      return 0.0;
    }
    size = std::min(roundTo(size, speedStep), 100.0);
    return std::copysign(fullSpeed * std::pow(size / 100.0, curve), percent);
  }
};

// One axis; microseconds, degrees.
class SimulatedAxis {
 public:
  SimulatedAxis(const HeadKind& kind, double position, double lowest, double highest)
      : kind(kind), motor(position), lowest(lowest), highest(highest), output(position) {}

  void setSpeed(double speed) { wanted = speed; }

  void advance() {
    const double dt = units::toSeconds(STEP);
    const double before = velocity;
    const double change = kind.acceleration * dt;
    velocity += std::clamp(wanted - velocity, -change, change);
    motor += (before + velocity) / 2.0 * dt;
    if (motor < lowest || motor > highest) {
      motor = std::clamp(motor, lowest, highest);
      velocity = 0.0;
    }
    const double moved = std::clamp(output, motor - kind.play / 2.0, motor + kind.play / 2.0);
    outputVelocity = (moved - output) / dt;
    output = moved;
  }

  double position() const { return output; }
  double getVelocity() const { return outputVelocity; }

 private:
  HeadKind kind;
  double motor;
  double lowest;
  double highest;
  double output;
  double velocity = 0.0;
  double wanted = 0.0;
  double outputVelocity = 0.0;
};

class SimulatedHead {
 public:
  static constexpr double MAX_FIELD = 63.4;  // deg
  static constexpr double MIN_FIELD = 2.5;
  static constexpr double ZOOM_TRAVEL = 3.0;  // s

  SimulatedHead(const HeadKind& kind, std::uint64_t seed, double pan, double tilt)
      : kind(kind),
        random(seed),
        pan(kind, pan, -1e9, 1e9),
        tilt(kind, tilt, -90.0, 20.0),
        phase(static_cast<std::int64_t>(random.uniform(0.0, kind.statusPeriod) * 1e6)) {
    sample();
    readable = samples.front();
    samples.clear();
  }

  void command(std::int64_t now, double pan, double tilt) {
    commands.push_back({arrival(now), pan, tilt, false});
  }
  // 0 widest to 1.
  void zoomTo(std::int64_t now, double position) {
    commands.push_back({arrival(now), position, 0.0, true});
  }

  // Until a time, a multiple of the step.
  void advanceTo(std::int64_t time) {
    while (now < time) {
      step();
    }
  }

  // From a command to the first reading that shows its effect, on average: seconds. The reading
  // waits for the controller's next step.
  double deadTime() const {
    const auto period = std::max(units::truncatedFromSeconds(kind.statusPeriod), STEP);
    const auto age = units::truncatedFromSeconds(kind.statusAge);
    double wait = 0.0;
    constexpr int SAMPLES = 200;
    for (int i = 1; i <= SAMPLES; ++i) {
      std::int64_t sampled = i * period - phase;
      sampled += (STEP - sampled % STEP) % STEP;
      wait += static_cast<double>((PERIOD - (sampled + age) % PERIOD) % PERIOD) / 1e6 / SAMPLES;
    }
    // The next reading after a sample of a fast status shows a later sample already.
    const double repeated = std::max(static_cast<double>(PERIOD - period), 0.0) / 2e6;
    return kind.latency + kind.statusAge + wait - repeated;
  }

  double statusPan() const { return readable.pan; }
  double statusTilt() const { return readable.tilt; }

  double getPan() const { return pan.position(); }
  double getTilt() const { return tilt.position(); }
  double panVelocity() const { return pan.getVelocity(); }
  double tiltVelocity() const { return tilt.getVelocity(); }
  double magnification() const {
    return 1.0 + (MAX_FIELD / MIN_FIELD - 1.0) * std::pow(zoom, kind.zoomCurve);
  }

 private:
  struct Command {
    std::int64_t due;
    double pan;
    double tilt;
    bool isZoom;
  };
  struct Sample {
    std::int64_t readable;
    double pan;
    double tilt;
  };

  // The order of commands is kept.
  std::int64_t arrival(std::int64_t now) {
    const double delay = kind.latency + random.uniform(-kind.latencyJitter, kind.latencyJitter);
    lastArrival = std::max(lastArrival, now + units::truncatedFromSeconds(delay));
    return lastArrival;
  }

  void step() {
    for (; !commands.empty() && commands.front().due <= now; commands.pop_front()) {
      take(commands.front());
    }
    if (now - lastSpeed > 1'000'000) {
      pan.setSpeed(0.0);
      tilt.setSpeed(0.0);
    }
    pan.advance();
    tilt.advance();
    const double reach = units::toSeconds(STEP) / ZOOM_TRAVEL;
    zoom += std::clamp(wantedZoom - zoom, -reach, reach);
    now += STEP;
    const auto period = std::max(units::truncatedFromSeconds(kind.statusPeriod), STEP);
    if ((now + phase) % period < STEP) {
      sample();
    }
    for (; !samples.empty() && samples.front().readable <= now; samples.pop_front()) {
      readable = samples.front();
    }
  }

  void take(const Command& command) {
    if (command.isZoom) {
      wantedZoom = std::clamp(command.pan, 0.0, 1.0);
      return;
    }
    pan.setSpeed(kind.speedAt(command.pan));
    tilt.setSpeed(kind.speedAt(command.tilt));
    lastSpeed = now;
  }

  void sample() {
    const double turned = std::remainder(pan.position(), 360.0);
    samples.push_back({now + units::truncatedFromSeconds(kind.statusAge),
                       roundTo(turned, kind.statusStep),
                       roundTo(tilt.position(), kind.statusStep)});
  }

  HeadKind kind;
  Random random;
  SimulatedAxis pan;
  SimulatedAxis tilt;
  std::int64_t phase;
  double zoom = 0.0;
  double wantedZoom = 0.0;
  std::int64_t now = 0;
  std::int64_t lastArrival = 0;
  std::int64_t lastSpeed = 0;
  std::deque<Command> commands;
  std::deque<Sample> samples;
  Sample readable{};
};

}  // namespace simulation

#endif
