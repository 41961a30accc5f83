#include "fuzz/input.h"

#include <algorithm>
#include <bit>

namespace fuzz {

std::uint8_t Input::byte() {
  if (bytes.empty()) {
    return 0;
  }
  const std::uint8_t last = bytes.back();
  bytes = bytes.first(bytes.size() - 1);
  return last;
}

std::uint64_t Input::bits(int count) {
  std::uint64_t value = 0;
  for (int i = 0; i < count; i += 8) {
    value = value << 8 | byte();
  }
  return value;
}

std::int16_t Input::word() {
  return static_cast<std::int16_t>(bits(16));
}

std::int32_t Input::number() {
  return static_cast<std::int32_t>(bits(32));
}

std::int64_t Input::longNumber() {
  return static_cast<std::int64_t>(bits(64));
}

double Input::real(double scale) {
  const double usual = static_cast<double>(word()) / 32768.0 * scale;
  return byte() < 250 ? usual : std::bit_cast<double>(static_cast<std::uint64_t>(longNumber()));
}

int Input::between(int low, int high) {
  return low + byte() % (high - low + 1);
}

std::span<const std::uint8_t> Input::take(std::size_t count) {
  const auto taken = bytes.first(std::min(count, bytes.size()));
  bytes = bytes.subspan(taken.size());
  return taken;
}

std::string Input::text() {
  const auto all = rest();
  return {all.begin(), all.end()};
}

}  // namespace fuzz
