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

namespace simulation {

constexpr std::int64_t STEP = 5'000;     // microseconds
constexpr std::int64_t PERIOD = 50'000;  // of the controller

class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}

  double uniform(double low, double high) {
    return low + (high - low) * static_cast<double>(engine_() >> 11) * 0x1p-53;
  }
  bool chance(double probability) { return uniform(0.0, 1.0) < probability; }
  double sign() { return chance(0.5) ? 1.0 : -1.0; }
  double normal() {
    const double radius = std::sqrt(-2.0 * std::log(uniform(1e-300, 1.0)));
    return radius * std::cos(uniform(0.0, 6.283185307179586));
  }

 private:
  std::mt19937_64 engine_;
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
    if (size < deadZone) return 0.0;
    size = std::min(roundTo(size, speedStep), 100.0);
    return std::copysign(fullSpeed * std::pow(size / 100.0, curve), percent);
  }
};

// One axis; microseconds, degrees.
class SimulatedAxis {
 public:
  SimulatedAxis(const HeadKind& kind, double position, double lowest, double highest)
      : kind_(kind), motor_(position), lowest_(lowest), highest_(highest), output_(position) {}

  void setSpeed(double speed) { wanted_ = speed; }

  void advance() {
    const double dt = static_cast<double>(STEP) / 1e6;
    const double before = velocity_;
    const double change = kind_.acceleration * dt;
    velocity_ += std::clamp(wanted_ - velocity_, -change, change);
    motor_ += (before + velocity_) / 2.0 * dt;
    if (motor_ < lowest_ || motor_ > highest_) {
      motor_ = std::clamp(motor_, lowest_, highest_);
      velocity_ = 0.0;
    }
    const double moved = std::clamp(output_, motor_ - kind_.play / 2.0, motor_ + kind_.play / 2.0);
    outputVelocity_ = (moved - output_) / dt;
    output_ = moved;
  }

  double position() const { return output_; }
  double velocity() const { return outputVelocity_; }

 private:
  HeadKind kind_;
  double motor_;
  double lowest_;
  double highest_;
  double output_;
  double velocity_ = 0.0;
  double wanted_ = 0.0;
  double outputVelocity_ = 0.0;
};

class SimulatedHead {
 public:
  static constexpr double MAX_FIELD = 63.4;  // deg
  static constexpr double MIN_FIELD = 2.5;
  static constexpr double ZOOM_TRAVEL = 3.0;  // s

  SimulatedHead(const HeadKind& kind, std::uint64_t seed, double pan, double tilt)
      : kind_(kind),
        random_(seed),
        pan_(kind, pan, -1e9, 1e9),
        tilt_(kind, tilt, -90.0, 20.0),
        phase_(static_cast<std::int64_t>(random_.uniform(0.0, kind.statusPeriod) * 1e6)) {
    sample();
    readable_ = samples_.front();
    samples_.clear();
  }

  void command(std::int64_t now, double pan, double tilt) {
    commands_.push_back({arrival(now), pan, tilt, false});
  }
  // 0 widest to 1.
  void zoom(std::int64_t now, double position) {
    commands_.push_back({arrival(now), position, 0.0, true});
  }

  // Until a time, a multiple of the step.
  void advanceTo(std::int64_t time) {
    while (now_ < time) step();
  }

  // From a command to the first reading that shows its effect, on average: seconds. The reading
  // waits for the controller's next step.
  double deadTime() const {
    const auto period = std::max(static_cast<std::int64_t>(kind_.statusPeriod * 1e6), STEP);
    const auto age = static_cast<std::int64_t>(kind_.statusAge * 1e6);
    double wait = 0.0;
    constexpr int SAMPLES = 200;
    for (int i = 1; i <= SAMPLES; ++i) {
      std::int64_t sampled = i * period - phase_;
      sampled += (STEP - sampled % STEP) % STEP;
      wait += static_cast<double>((PERIOD - (sampled + age) % PERIOD) % PERIOD) / 1e6 / SAMPLES;
    }
    // The next reading after a sample of a fast status shows a later sample already.
    const double repeated = std::max(static_cast<double>(PERIOD - period), 0.0) / 2e6;
    return kind_.latency + kind_.statusAge + wait - repeated;
  }

  double statusPan() const { return readable_.pan; }
  double statusTilt() const { return readable_.tilt; }

  double pan() const { return pan_.position(); }
  double tilt() const { return tilt_.position(); }
  double panVelocity() const { return pan_.velocity(); }
  double tiltVelocity() const { return tilt_.velocity(); }
  double magnification() const {
    return 1.0 + (MAX_FIELD / MIN_FIELD - 1.0) * std::pow(zoom_, kind_.zoomCurve);
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
    const double delay = kind_.latency + random_.uniform(-kind_.latencyJitter, kind_.latencyJitter);
    lastArrival_ = std::max(lastArrival_, now + static_cast<std::int64_t>(delay * 1e6));
    return lastArrival_;
  }

  void step() {
    for (; !commands_.empty() && commands_.front().due <= now_; commands_.pop_front()) {
      take(commands_.front());
    }
    if (now_ - lastSpeed_ > 1'000'000) {
      pan_.setSpeed(0.0);
      tilt_.setSpeed(0.0);
    }
    pan_.advance();
    tilt_.advance();
    const double reach = static_cast<double>(STEP) / 1e6 / ZOOM_TRAVEL;
    zoom_ += std::clamp(wantedZoom_ - zoom_, -reach, reach);
    now_ += STEP;
    const auto period = std::max(static_cast<std::int64_t>(kind_.statusPeriod * 1e6), STEP);
    if ((now_ + phase_) % period < STEP) sample();
    for (; !samples_.empty() && samples_.front().readable <= now_; samples_.pop_front()) {
      readable_ = samples_.front();
    }
  }

  void take(const Command& command) {
    if (command.isZoom) {
      wantedZoom_ = std::clamp(command.pan, 0.0, 1.0);
      return;
    }
    pan_.setSpeed(kind_.speedAt(command.pan));
    tilt_.setSpeed(kind_.speedAt(command.tilt));
    lastSpeed_ = now_;
  }

  void sample() {
    const double turned = std::remainder(pan_.position(), 360.0);
    samples_.push_back({now_ + static_cast<std::int64_t>(kind_.statusAge * 1e6),
                        roundTo(turned, kind_.statusStep),
                        roundTo(tilt_.position(), kind_.statusStep)});
  }

  HeadKind kind_;
  Random random_;
  SimulatedAxis pan_;
  SimulatedAxis tilt_;
  std::int64_t phase_;
  double zoom_ = 0.0;
  double wantedZoom_ = 0.0;
  std::int64_t now_ = 0;
  std::int64_t lastArrival_ = 0;
  std::int64_t lastSpeed_ = 0;
  std::deque<Command> commands_;
  std::deque<Sample> samples_;
  Sample readable_{};
};

}  // namespace simulation

#endif
