#include "bridge/motion_trace.h"

#include <algorithm>
#include <cmath>

#include "base/units.h"

namespace device::bridge {

void MotionTrace::add(std::int64_t time, double place) {
  if (samples.empty() || time > samples.back().time) {
    samples.push_back({time, place});
  }
}

std::optional<std::int64_t> MotionTrace::leftAfter(std::int64_t moment) const {
  const Sample* start = at(moment);
  for (const Sample& sample : samples) {
    if (sample.time > moment && std::abs(sample.place - start->place) > least) {
      return sample.time;
    }
  }
  return std::nullopt;
}

double MotionTrace::wayFrom(std::int64_t moment) const {
  const Sample* start = at(moment);
  return start != nullptr ? samples.back().place - start->place : 0;
}

double MotionTrace::speedBetween(std::int64_t moment, std::int64_t end) const {
  const auto left = leftAfter(moment);
  const Sample* last = at(end);
  if (!left || last->time <= *left) {
    return 0;
  }
  const Sample* first = at(*left);
  return (last->place - first->place) / units::toSeconds(last->time - first->time);
}

double MotionTrace::steadySpeed(std::int64_t moment) const {
  const Sample* start = at(moment);
  if (start == nullptr || std::abs(wayFrom(moment)) <= least) {
    return 0;
  }
  const double way = wayFrom(moment);
  const auto reached = [&](double share) {
    return std::ranges::find_if(samples, [&](const Sample& sample) {
      return sample.time > moment && (sample.place - start->place) / way >= share;
    });
  };
  const auto first = reached(0.25);
  const auto last = reached(0.75);
  if (first == samples.end() || last == samples.end() || last->time <= first->time) {
    return 0;
  }
  return (last->place - first->place) / units::toSeconds(last->time - first->time);
}

double MotionTrace::finest() const {
  double least = 0;
  for (std::size_t i = 1; i < samples.size(); ++i) {
    const double change = std::abs(samples[i].place - samples[i - 1].place);
    least = change > 0 && (least == 0 || change < least) ? change : least;
  }
  return least;
}

std::optional<std::int64_t> MotionTrace::stillSince() const {
  if (samples.empty()) {
    return std::nullopt;
  }
  std::int64_t since = samples.back().time;
  for (auto sample = samples.rbegin(); sample != samples.rend(); ++sample) {
    if (std::abs(sample->place - samples.back().place) > least) {
      break;
    }
    since = sample->time;
  }
  return since;
}

const MotionTrace::Sample* MotionTrace::at(std::int64_t moment) const {
  if (samples.empty()) {
    return nullptr;
  }
  const auto later = std::ranges::upper_bound(samples, moment, {}, &Sample::time);
  return later == samples.begin() ? &samples.front() : &*(later - 1);
}

}  // namespace device::bridge
