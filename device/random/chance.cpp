#include "random/chance.h"

#include <cmath>
#include <numbers>

namespace device {
namespace {

// The finaliser of SplitMix64 (G. L. Steele, D. Lea, C. H. Flood, 2014).
std::uint64_t mixed(std::uint64_t bits) {
  bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9u;
  bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EBu;
  return bits ^ (bits >> 31);
}

}  // namespace

Chance::Chance(std::uint64_t seed, std::string_view purpose) : random(seedFor(seed, purpose)) {}

double Chance::between(double low, double high) {
  if (!(high > low)) {
    return low;
  }
  return std::uniform_real_distribution<double>(low, high)(random);
}

double Chance::normal(double deviation) {
  if (deviation == 0) {
    return 0;
  }
  return std::normal_distribution<double>(0, deviation)(random);
}

bool Chance::happens(double probability) {
  if (probability <= 0 || probability >= 1) {
    return probability >= 1;
  }
  return between(0, 1) < probability;
}

double Chance::sign() {
  return happens(0.5) ? 1 : -1;
}

// FNV-1a over the purpose; the generator's own seeding mixes the bits.
std::uint64_t seedFor(std::uint64_t seed, std::string_view purpose) {
  std::uint64_t hash = 14695981039346656037u ^ (seed * 0x9E3779B97F4A7C15u);
  for (const char letter : purpose) {
    hash = (hash ^ static_cast<unsigned char>(letter)) * 1099511628211u;
  }
  return hash;
}

double evenOf(std::uint64_t seed, std::string_view purpose, std::int64_t number) {
  const std::uint64_t bits = mixed(mixed(seedFor(seed, purpose)) +
                                   static_cast<std::uint64_t>(number) * 0x9E3779B97F4A7C15u);
  return static_cast<double>(bits >> 11) * 0x1p-53;
}

// Of two even ones (G. E. P. Box, M. E. Muller, 1958).
double normalOf(std::uint64_t seed, std::string_view purpose, std::int64_t number) {
  const double length = 1 - evenOf(seed, purpose, 2 * number);
  const double turn = evenOf(seed, purpose, 2 * number + 1);
  return std::sqrt(-2 * std::log(length)) * std::cos(2 * std::numbers::pi * turn);
}

}  // namespace device
