#include "random/chance.h"

namespace device {

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

}  // namespace device
