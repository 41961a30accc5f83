#ifndef DEVICE_BRIDGE_MOTION_TRACE_H
#define DEVICE_BRIDGE_MOTION_TRACE_H

#include <cstdint>
#include <optional>
#include <vector>

namespace device::bridge {

// How one axis of a head moved, from where it was said to be at some moments. Times are
// microseconds of any clock, growing; places have the unit that the head speaks in. Arithmetic
// only.
class MotionTrace {
 public:
  // least: a change that counts as one.
  explicit MotionTrace(double least) : least(least) {}

  // A place at a moment; one that is no later than the last counts for nothing.
  void add(std::int64_t time, double place);

  bool isEmpty() const { return samples.empty(); }

  // The last place; 0 before the first.
  double place() const { return samples.empty() ? 0 : samples.back().place; }

  // When it was first seen to have left the place in which it was at a moment; nothing as long as
  // it has not.
  std::optional<std::int64_t> leftAfter(std::int64_t moment) const;

  // How far it has come from where it was at a moment.
  double wayFrom(std::int64_t moment) const;

  // Units a second between the moment at which it was seen to move and another one; 0 for no
  // motion.
  double speedBetween(std::int64_t moment, std::int64_t end) const;

  // Units a second in the middle half of the way from where it was at a moment to the last place; 0
  // where that was not seen.
  double steadySpeed(std::int64_t moment) const;

  // The least change that was seen: no finer than that are its places told. 0 for no motion.
  double finest() const;

  // Since when it has been where it is; nothing before the first place.
  std::optional<std::int64_t> stillSince() const;

 private:
  struct Sample {
    std::int64_t time = 0;
    double place = 0;
  };
  // The last one that is not later than a moment, or the first.
  const Sample* at(std::int64_t moment) const;

  double least;
  std::vector<Sample> samples;
};

}  // namespace device::bridge

#endif
