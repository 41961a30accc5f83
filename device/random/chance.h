#ifndef DEVICE_RANDOM_CHANCE_H
#define DEVICE_RANDOM_CHANCE_H

#include <cstdint>
#include <random>
#include <string_view>

namespace device {

// The chance in one thing of the world. It depends on the run's seed and on what it is for, so that
// one imperfection more or less leaves the others' chance as it is. What cannot vary draws nothing.
class Chance {
 public:
  Chance(std::uint64_t seed, std::string_view purpose);

  // Evenly distributed; low when high is not above it.
  double between(double low, double high);

  // Normally distributed around 0; 0 for a deviation of 0.
  double normal(double deviation);

  // True with a probability of 0 to 1.
  bool happens(double probability);

  // 1 or -1, each every other time.
  double sign();

 private:
  std::mt19937_64 random;
};

// A seed for a part of the world.
std::uint64_t seedFor(std::uint64_t seed, std::string_view purpose);

// The chance of one of many things, always the same for the same number: what of it is asked for
// first or never changes nothing. 0 to 1, evenly distributed.
double evenOf(std::uint64_t seed, std::string_view purpose, std::int64_t number);

// The same, normally distributed around 0 with a deviation of 1.
double normalOf(std::uint64_t seed, std::string_view purpose, std::int64_t number);

}  // namespace device

#endif
