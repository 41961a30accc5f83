#include "following/axis_identification.h"

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "following/units.h"

namespace following {

namespace {

// ---- The staircase ----

// Signs alternate, so that the axis stays near where it was.
constexpr Staircase::Step ALL_STEPS[] = {{0, 0.6},   {100, 0.9}, {-60, 0.8}, {35, 0.8},
                                         {-20, 0.8}, {12, 0.9},  {-10, 0.9}, {6, 0.9},
                                         {-4, 0.9},  {3, 0.9},   {-2, 0.9},  {0, 0.7}};

// ---- The record as the fit sees it: seconds, levels by number ----

struct Event {
  double time;
  std::size_t level;  // into the levels; NO_LEVEL stands
  double sign;
};

constexpr std::size_t NO_LEVEL = static_cast<std::size_t>(-1);

struct Difference {
  std::size_t from;
  std::size_t to;
  double way;     // deg, measured
  double weight;  // 1 / deg
};

constexpr double LONGEST_DIFFERENCE = 0.42;  // s
constexpr double SHORTEST_DIFFERENCE = 0.18;
constexpr double SLOWEST_DIFFERENCE = 1.0;  // where no value is nearer
constexpr double STATUS_DEVIATION = 0.05;   // deg
constexpr double WAY_DEVIATION = 0.02;      // of the way

constexpr std::size_t LEAST_DIFFERENCES = 20;
constexpr std::size_t LEAST_LEVELS = 3;

int rounded(int percent, int step) {
  return (std::abs(percent) + step / 2) / step * step * (percent < 0 ? -1 : 1);
}

// The record with commands rounded to a step.
struct Trace {
  Trace(const AxisRecord& record, int step);

  double secondsOf(std::int64_t time) const { return secondsBetween(origin, time); }
  std::size_t levelOf(int percent) const;

  std::int64_t origin;
  std::vector<int> percents;  // rising, of the levels
  std::vector<Event> events;
  std::vector<double> times;  // of the samples
  std::vector<double> values;
  std::vector<Difference> differences;
  double staircase;  // s
};

Trace::Trace(const AxisRecord& record, int step)
    : origin(record.commands().front().time),
      staircase(secondsOf(std::max(record.staircaseBegin(), origin))) {
  for (const AxisRecord::Command& command : record.commands()) {
    const int percent = std::abs(rounded(command.percent, step));
    if (percent != 0) {
      percents.push_back(percent);
    }
  }
  std::ranges::sort(percents);
  percents.erase(std::unique(percents.begin(), percents.end()), percents.end());
  for (const AxisRecord::Command& command : record.commands()) {
    const int percent = rounded(command.percent, step);
    const Event event{secondsOf(command.time), levelOf(std::abs(percent)),
                      percent < 0 ? -1.0 : 1.0};
    if (events.empty() || events.back().level != event.level || events.back().sign != event.sign) {
      events.push_back(event);
    }
  }
  for (const AxisRecord::Sample& sample : record.samples()) {
    times.push_back(secondsOf(sample.time));
    values.push_back(sample.degrees);
  }
  std::size_t oldest = 0;
  for (std::size_t i = 0; i < times.size(); ++i) {
    while (times[i] - times[oldest] > LONGEST_DIFFERENCE) {
      ++oldest;
    }
    // A slow axis may need longer from one value to the next.
    const bool isSlow = oldest == i && i > 0 && times[i] - times[i - 1] < SLOWEST_DIFFERENCE;
    const std::size_t from = isSlow ? i - 1 : oldest;
    if (times[i] - times[from] >= SHORTEST_DIFFERENCE) {
      const double way = values[i] - values[from];
      differences.push_back(
          {from, i, way, 1.0 / (STATUS_DEVIATION + WAY_DEVIATION * std::abs(way))});
    }
  }
}

std::size_t Trace::levelOf(int percent) const {
  const auto place = std::ranges::lower_bound(percents, percent);
  return percent == 0 ? NO_LEVEL : static_cast<std::size_t>(place - percents.begin());
}

// ---- The model run along a record ----

// Logarithms of the dead time, the acceleration and the speed of each level; then, where they are
// fitted, what each command took longer than the dead time, in units of JITTER.
using Unknowns = Eigen::VectorXd;
constexpr Eigen::Index DEAD_TIME = 0;
constexpr Eigen::Index ACCELERATION = 1;
constexpr Eigen::Index FIRST_SPEED_OF_LEVEL = 2;
constexpr double JITTER = 0.03;  // s, the deviation of one command's way
// Those of the staircase and some periods of the relay: the time that the fit takes is bounded.
constexpr std::size_t MOST_DELAYS = 48;

std::size_t delaysOf(const Trace& trace) {
  return std::min(trace.events.size(), MOST_DELAYS);
}

void simulate(const Trace& trace, const Unknowns& unknowns, std::vector<double>& modelled) {
  const double deadTime = std::exp(unknowns(DEAD_TIME));
  const double acceleration = std::exp(unknowns(ACCELERATION));
  const auto levels = static_cast<Eigen::Index>(trace.percents.size());
  const Eigen::ArrayXd speeds = unknowns.segment(FIRST_SPEED_OF_LEVEL, levels).array().exp();
  // Those of the last commands.
  const Eigen::Index delays = unknowns.size() - FIRST_SPEED_OF_LEVEL - levels;
  const Eigen::Index before = static_cast<Eigen::Index>(trace.events.size()) - delays;
  const auto due = [&](std::size_t number) {
    const Eigen::Index index = static_cast<Eigen::Index>(number) - before;
    const double longer =
        index >= 0 ? JITTER * unknowns(FIRST_SPEED_OF_LEVEL + levels + index) : 0.0;
    return trace.events[number].time + deadTime + longer;
  };
  AxisMotion motion;
  double time = 0.0;
  double wanted = 0.0;
  std::size_t number = 0;
  for (std::size_t i = 0; i < trace.times.size(); ++i) {
    for (; number < trace.events.size() && due(number) <= trace.times[i]; ++number) {
      const Event& event = trace.events[number];
      motion.advance(std::max(due(number) - time, 0.0), wanted, acceleration);
      time = std::max(due(number), time);
      wanted = event.level == NO_LEVEL
                   ? 0.0
                   : event.sign * speeds(static_cast<Eigen::Index>(event.level));
    }
    motion.advance(std::max(trace.times[i] - time, 0.0), wanted, acceleration);
    time = std::max(trace.times[i], time);
    modelled[i] = motion.position;
  }
}

// ---- The fit ----

constexpr int ROUNDS = 40;
constexpr double DERIVATIVE_STEP = 0.01;
constexpr double FIRST_DAMPING = 0.01;
constexpr double DAMPING_FACTOR = 5.0;
constexpr double LARGEST_STEP = 0.3;
constexpr double NEGLIGIBLE_STEP = 1e-7;
constexpr double LEAST_CURVATURE = 1e-12;
constexpr double LEAST_NOISE = 0.5;  // of the expected deviation

class Fit {
 public:
  // With what each command took longer, or one dead time for all.
  explicit Fit(const Trace& trace, bool withDelays = false)
      : trace(trace),
        modelled(trace.times.size()),
        residuals(static_cast<Eigen::Index>(trace.differences.size() +
                                            (withDelays ? delaysOf(trace) : 0))),
        shifted(residuals.size()) {}

  // How well each unknown is told by the record: its deviation, if what is left is noise.
  Eigen::VectorXd deviations(const Unknowns& unknowns);

  // What is left of the ways, as a share of them (root mean squares).
  double unexplained(const Unknowns& unknowns);

  // Improves the unknowns; the sum of squares at the end.
  double improve(Unknowns& unknowns);

 private:
  void evaluate(const Unknowns& unknowns, Eigen::VectorXd& into);
  void differentiate(const Unknowns& unknowns);

  const Trace& trace;
  std::vector<double> modelled;
  Eigen::VectorXd residuals;  // of the differences, then of the delays
  Eigen::VectorXd shifted;
  Eigen::MatrixXd jacobian;
};

void Fit::evaluate(const Unknowns& unknowns, Eigen::VectorXd& into) {
  simulate(trace, unknowns, modelled);
  const auto differences = static_cast<Eigen::Index>(trace.differences.size());
  into.tail(into.size() - differences) = unknowns.tail(into.size() - differences);
  for (Eigen::Index i = 0; i < differences; ++i) {
    const Difference& difference = trace.differences[static_cast<std::size_t>(i)];
    into(i) = (difference.way - (modelled[difference.to] - modelled[difference.from])) *
              difference.weight;
  }
}

void Fit::differentiate(const Unknowns& unknowns) {
  jacobian.resize(residuals.size(), unknowns.size());
  Unknowns other = unknowns;
  for (Eigen::Index k = 0; k < unknowns.size(); ++k) {
    other(k) = unknowns(k) + DERIVATIVE_STEP;
    evaluate(other, shifted);
    jacobian.col(k) = (shifted - residuals) / DERIVATIVE_STEP;
    other(k) = unknowns(k);
  }
}

double Fit::improve(Unknowns& unknowns) {
  evaluate(unknowns, residuals);
  double best = residuals.squaredNorm();
  double damping = FIRST_DAMPING;
  bool isDerived = false;
  Eigen::MatrixXd curvature;
  Eigen::VectorXd slope;
  for (int round = 0; round < ROUNDS; ++round) {
    if (!isDerived) {
      differentiate(unknowns);
      curvature.noalias() = jacobian.transpose() * jacobian;
      slope.noalias() = jacobian.transpose() * residuals;
      isDerived = true;
    }
    Eigen::MatrixXd damped = curvature;
    damped.diagonal() += damping * curvature.diagonal() +
                         Eigen::VectorXd::Constant(curvature.rows(), LEAST_CURVATURE);
    const Eigen::VectorXd step =
        (-damped.ldlt().solve(slope)).cwiseMax(-LARGEST_STEP).cwiseMin(LARGEST_STEP);
    if (!step.allFinite()) {
      break;
    }
    const Unknowns candidate = unknowns + step;
    evaluate(candidate, shifted);
    const double found = shifted.squaredNorm();
    if (found < best) {
      unknowns = candidate;
      residuals.swap(shifted);
      best = found;
      damping /= DAMPING_FACTOR;
      isDerived = false;
    } else {
      damping *= DAMPING_FACTOR;
    }
    if (step.cwiseAbs().maxCoeff() < NEGLIGIBLE_STEP) {
      break;
    }
  }
  return best;
}

Eigen::VectorXd Fit::deviations(const Unknowns& unknowns) {
  evaluate(unknowns, residuals);
  const double noise = std::max(residuals.squaredNorm() / static_cast<double>(residuals.size()),
                                squared(LEAST_NOISE));
  differentiate(unknowns);
  return (noise / (jacobian.colwise().squaredNorm().array().transpose() + LEAST_CURVATURE)).sqrt();
}

double Fit::unexplained(const Unknowns& unknowns) {
  evaluate(unknowns, residuals);
  double left = 0.0;
  double ways = 0.0;
  for (std::size_t i = 0; i < trace.differences.size(); ++i) {
    left += squared(residuals(static_cast<Eigen::Index>(i)) / trace.differences[i].weight);
    ways += squared(trace.differences[i].way);
  }
  return std::sqrt(left / ways);
}

// ---- Where the fit starts ----

constexpr double USUAL_PERIOD = 1.0;  // s, of a relay that was not run
constexpr double DEAD_TIME_STARTS[] = {0.25, 0.5, 0.75, 1.0};
constexpr double ACCELERATION_STARTS[] = {1.0, 3.0, 8.0};
constexpr double SLOPE_QUANTILE = 0.6;
constexpr double LEAST_SPEED_START = 0.02;  // deg/s
constexpr double LEAST_DEAD_TIME_START = 0.01;

// An integrator with dead time oscillates at four times its dead time.
std::optional<double> relayPeriod(const Trace& trace) {
  double first = 0.0;
  double last = 0.0;
  int turns = 0;
  for (std::size_t i = 1; i < trace.events.size() && trace.events[i].time < trace.staircase; ++i) {
    const Event& event = trace.events[i];
    const Event& before = trace.events[i - 1];
    if (event.level == NO_LEVEL || before.level == NO_LEVEL || event.sign == before.sign) {
      continue;
    }
    if (turns == 0) {
      first = event.time;
    }
    last = event.time;
    ++turns;
  }
  return turns < 3 ? std::nullopt : std::optional(2.0 * (last - first) / (turns - 1));
}

// Where there was no relay: from the first command that moves to the first motion.
std::optional<double> firstDelay(const Trace& trace) {
  constexpr double MOTION = 0.3;  // deg
  const auto moving =
      std::ranges::find_if(trace.events, [](const Event& each) { return each.level != NO_LEVEL; });
  if (moving == trace.events.end()) {
    return std::nullopt;
  }
  double from = trace.values.front();
  for (std::size_t i = 0; i < trace.times.size(); ++i) {
    if (trace.times[i] <= moving->time) {
      from = trace.values[i];
    } else if (std::abs(trace.values[i] - from) > MOTION) {
      return trace.times[i] - moving->time;
    }
  }
  return std::nullopt;
}

double quantile(std::vector<double>& values, double share) {
  const auto place =
      values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), place, values.end());
  return *place;
}

// deg/s between the outer samples of a time; none when there are fewer than two.
std::optional<double> slopeWithin(const Trace& trace, double from, double to) {
  const auto low = std::ranges::lower_bound(trace.times, from);
  const auto high = std::ranges::upper_bound(trace.times, to);
  if (high - low < 2) {
    return std::nullopt;
  }
  const auto first = static_cast<std::size_t>(low - trace.times.begin());
  const auto last = static_cast<std::size_t>(high - trace.times.begin()) - 1;
  const double seconds = trace.times[last] - trace.times[first];
  return seconds > 0.0 ? std::optional((trace.values[last] - trace.values[first]) / seconds)
                       : std::nullopt;
}

std::optional<double> speedInRelay(const Trace& trace) {
  std::vector<double> slopes;
  for (std::size_t i = 2; i < trace.times.size() && trace.times[i] < trace.staircase; ++i) {
    const double seconds = trace.times[i] - trace.times[i - 2];
    slopes.push_back(std::abs(trace.values[i] - trace.values[i - 2]) / seconds);
  }
  return slopes.size() < 5 ? std::nullopt : std::optional(quantile(slopes, SLOPE_QUANTILE));
}

// The slope within the last half of the level's step in the staircase.
std::optional<double> speedInStaircase(const Trace& trace, std::size_t level, double deadTime) {
  for (std::size_t i = 0; i + 1 < trace.events.size(); ++i) {
    const Event& event = trace.events[i];
    if (event.level == level && event.time >= trace.staircase) {
      const double end = trace.events[i + 1].time;
      const double middle = (event.time + end) / 2.0;
      const auto slope = slopeWithin(trace, middle + deadTime, end + deadTime);
      return slope ? std::optional(event.sign * *slope) : std::nullopt;
    }
  }
  return std::nullopt;
}

Unknowns startAt(const Trace& trace, double deadTime, double share, double relaySpeed) {
  const auto levels = static_cast<Eigen::Index>(trace.percents.size());
  Unknowns start(FIRST_SPEED_OF_LEVEL + levels);
  start(DEAD_TIME) = std::log(deadTime);
  start(ACCELERATION) = std::log(share * relaySpeed / (RELAY_PERCENT / 100.0));
  for (Eigen::Index i = 0; i < levels; ++i) {
    const auto level = static_cast<std::size_t>(i);
    const double proportional = relaySpeed * trace.percents[level] / RELAY_PERCENT;
    const double speed = speedInStaircase(trace, level, deadTime).value_or(proportional);
    start(FIRST_SPEED_OF_LEVEL + i) = std::log(std::max(speed, LEAST_SPEED_START));
  }
  return start;
}

struct Fitted {
  Unknowns unknowns;
  double cost = std::numeric_limits<double>::infinity();

  double speedOf(const Trace& trace, int percent) const {
    const std::size_t level = trace.levelOf(percent);
    const bool isKnown = level < trace.percents.size() && trace.percents[level] == percent;
    return isKnown ? std::exp(unknowns(FIRST_SPEED_OF_LEVEL + static_cast<Eigen::Index>(level)))
                   : 0.0;
  }
};

Fitted fit(const Trace& trace) {
  const std::optional<double> period = relayPeriod(trace);
  const double longest = period ? *period / 4.0 : firstDelay(trace).value_or(USUAL_PERIOD / 4.0);
  const std::size_t relayLevel = trace.levelOf(RELAY_PERCENT);
  Fitted best;
  Fit fit(trace);
  for (const double deadTimeShare : DEAD_TIME_STARTS) {
    const double deadTime = std::max(deadTimeShare * longest, LEAST_DEAD_TIME_START);
    const std::optional<double> inRelay = speedInRelay(trace);
    const std::optional<double> measured =
        inRelay ? inRelay : speedInStaircase(trace, relayLevel, deadTime);
    const double relaySpeed = std::max(measured.value_or(LEAST_SPEED_START), LEAST_SPEED_START);
    for (const double accelerationShare : ACCELERATION_STARTS) {
      Unknowns unknowns = startAt(trace, deadTime, accelerationShare, relaySpeed);
      const double cost = fit.improve(unknowns);
      if (cost < best.cost) {
        best = {unknowns, cost};
      }
    }
  }
  return best;
}

// Commands do not all take the same time: with a delay for each the speeds are not taken for what
// is the link's.
void refine(const Trace& trace, Fitted& fitted) {
  const auto delays = static_cast<Eigen::Index>(delaysOf(trace));
  Unknowns unknowns = Unknowns::Zero(fitted.unknowns.size() + delays);
  unknowns.head(fitted.unknowns.size()) = fitted.unknowns;
  fitted.cost = Fit(trace, true).improve(unknowns);
  fitted.unknowns = unknowns;
}

// None when no start gives a number.
std::optional<Fitted> fitWithDelays(const Trace& trace) {
  Fitted fitted = fit(trace);
  if (!std::isfinite(fitted.cost)) {
    return std::nullopt;
  }
  refine(trace, fitted);
  return fitted;
}

// ---- What the fit says ----

constexpr double STEPPED_SCORE = 0.7;
constexpr double LARGEST_DEVIATION = 0.25;  // of a speed's logarithm
constexpr int COARSE_STEP = 5;              // percent
constexpr double LARGEST_UNEXPLAINED = 0.25;

// About 1.3 for a head that acts on every percent and is linear, more for a curved one; 0 for one
// that acts in steps of five.
double finenessOf(const Trace& trace, const Fitted& fitted) {
  double score = 0.0;
  for (const auto& [high, low] : {std::pair(12, 10), std::pair(6, 4), std::pair(6, 3)}) {
    const double above = fitted.speedOf(trace, high);
    const double below = fitted.speedOf(trace, low);
    if (!(above > 0.0) || !(below > 0.0)) {
      return std::numeric_limits<double>::infinity();
    }
    score += std::log(above / below);
  }
  return score;
}

// Without the levels that the record does not tell: too slow for its steps.
SpeedCurve curveOf(const Trace& trace, const Fitted& fitted, int step) {
  const Eigen::VectorXd deviations = Fit(trace, true).deviations(fitted.unknowns);
  std::vector<SpeedLevel> levels;
  for (std::size_t i = 0; i < trace.percents.size(); ++i) {
    if (deviations(FIRST_SPEED_OF_LEVEL + static_cast<Eigen::Index>(i)) < LARGEST_DEVIATION) {
      levels.push_back({trace.percents[i], fitted.speedOf(trace, trace.percents[i])});
    }
  }
  return {levels, step};
}

Refusal judge(const AxisIdentification& identified) {
  if (!std::isfinite(identified.unexplained) || identified.unexplained > LARGEST_UNEXPLAINED) {
    return Refusal::misfit;
  }
  if (identified.model.curve.levels().size() < LEAST_LEVELS) {
    return Refusal::noMotion;
  }
  return identified.model.isPlausible() ? Refusal::none : Refusal::outOfRange;
}

AxisIdentification refused(Refusal refusal) {
  AxisIdentification identified;
  identified.refusal = refusal;
  return identified;
}

}  // namespace

// ---- Staircase ----

Staircase::Staircase() : kept(std::begin(ALL_STEPS), std::end(ALL_STEPS)) {}

Staircase::Staircase(double speedAtRelay, double room) {
  for (const Step& step : ALL_STEPS) {
    const double speed = speedAtRelay * std::abs(step.percent) / RELAY_PERCENT;
    if (step.percent == 0 || speed * step.seconds <= room) {
      kept.push_back(step);
    }
  }
}

std::optional<int> Staircase::command(double seconds) const {
  for (const Step& step : kept) {
    if (seconds < step.seconds) {
      return step.percent;
    }
    seconds -= step.seconds;
  }
  return std::nullopt;
}

double Staircase::duration() const {
  double sum = 0.0;
  for (const Step& step : kept) {
    sum += step.seconds;
  }
  return sum;
}

// ---- AxisRecord ----

AxisRecord::AxisRecord() {
  given.reserve(MOST_COMMANDS);
  read.reserve(MOST_SAMPLES);
}

void AxisRecord::addCommand(std::int64_t time, int percent) {
  if (!given.empty() && time < given.back().time) {
    sound = false;
    return;
  }
  if (!given.empty() && percent == given.back().percent) {
    return;
  }
  if (given.size() == MOST_COMMANDS) {
    sound = false;
    return;
  }
  given.push_back({time, percent});
}

void AxisRecord::beginStaircase(std::int64_t time) {
  staircase = time;
}

void AxisRecord::addStatus(std::int64_t time, double degrees) {
  if (!std::isfinite(degrees) || time < lastStatus) {
    sound = false;
    return;
  }
  lastStatus = time;
  if (read.empty()) {
    read.push_back({time, degrees});
    return;
  }
  const double way = wrapped(degrees - read.back().degrees);
  if (way == 0.0 || time == read.back().time) {
    return;
  }
  if (read.size() == MOST_SAMPLES) {
    sound = false;
    return;
  }
  read.push_back({time, read.back().degrees + way});
}

void AxisRecord::clear() {
  *this = AxisRecord();
}

// ---- identify ----

AxisIdentification identify(const AxisRecord& record) {
  if (!record.isSound()) {
    return refused(Refusal::unsound);
  }
  if (record.commands().empty() || record.samples().empty()) {
    return refused(Refusal::tooShort);
  }
  Trace trace(record, 1);
  if (trace.percents.size() < LEAST_LEVELS) {
    return refused(Refusal::tooShort);
  }
  if (trace.differences.size() < LEAST_DIFFERENCES) {
    return refused(Refusal::noMotion);
  }
  int step = 1;
  std::optional<Fitted> fitted = fitWithDelays(trace);
  if (fitted && finenessOf(trace, *fitted) < STEPPED_SCORE) {
    step = COARSE_STEP;
    trace = Trace(record, step);
    fitted = fitWithDelays(trace);
  }
  if (!fitted) {
    return refused(Refusal::misfit);
  }
  AxisIdentification identified;
  identified.model.deadTime = std::exp(fitted->unknowns(DEAD_TIME));
  identified.model.acceleration = std::exp(fitted->unknowns(ACCELERATION));
  identified.model.curve = curveOf(trace, *fitted, step);
  identified.misfit = std::sqrt(fitted->cost / static_cast<double>(trace.differences.size()));
  identified.unexplained = Fit(trace, true).unexplained(fitted->unknowns);
  identified.refusal = judge(identified);
  return identified;
}

std::optional<double> speedInRelay(const AxisRecord& record) {
  return record.commands().empty() ? std::nullopt : speedInRelay(Trace(record, 1));
}

namespace {

SpeedCurve continuedLike(const SpeedCurve& curve, const SpeedCurve& shape) {
  std::vector<SpeedLevel> levels(curve.levels().begin(), curve.levels().end());
  const int last = levels.back().percent;
  const double scale = curve.fastest() / shape.speed(last);
  if (!std::isfinite(scale)) {
    return curve;
  }
  for (const SpeedLevel& level : shape.levels()) {
    if (level.percent > last) {
      levels.push_back({level.percent, level.speed * scale});
    }
  }
  return {levels, curve.step()};
}

bool isMuchWorse(const AxisIdentification& tilt, const AxisIdentification& pan) {
  constexpr double MUCH = 2.0;
  // Below these a record is explained, and the ratio of two means nothing.
  constexpr double SMALL_MISFIT = 0.3;
  constexpr double SMALL_SHARE = 0.01;
  return tilt.misfit > MUCH * std::max(pan.misfit, SMALL_MISFIT) ||
         tilt.unexplained > MUCH * std::max(pan.unexplained, SMALL_SHARE);
}

}  // namespace

HeadIdentification identifyHead(const AxisRecord& pan, const AxisRecord& tilt) {
  HeadIdentification head{identify(pan), identify(tilt)};
  if (!head.pan.isBelieved()) {
    return head;
  }
  head.isTiltPans = !head.tilt.isBelieved() || isMuchWorse(head.tilt, head.pan);
  if (head.isTiltPans) {
    head.tilt = head.pan;
  } else {
    head.tilt.model.curve = continuedLike(head.tilt.model.curve, head.pan.model.curve);
  }
  return head;
}

}  // namespace following
