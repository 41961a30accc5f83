#ifndef FUZZ_INPUT_H
#define FUZZ_INPUT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace fuzz {

// One input of a target: text or data at its front, and numbers that say what to do with it, which
// are taken from its end, so that a text can be read and written as it is. Where the input ends,
// numbers are 0 and texts short.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : bytes(data, size) {}

  bool isEmpty() const { return bytes.empty(); }

  // From the end.
  std::uint8_t byte();
  bool flag() { return (byte() & 1) != 0; }
  std::int16_t word();
  std::int32_t number();
  std::int64_t longNumber();

  // From low to high, both included, of at most 256 values.
  int between(int low, int high);

  // Mostly within the scale to both sides of 0, now and then any number there is, or none.
  double real(double scale);

  // From the front, at most so many bytes.
  std::span<const std::uint8_t> take(std::size_t count);

  // Whatever is left.
  std::span<const std::uint8_t> rest() { return take(bytes.size()); }
  std::string text();

 private:
  std::uint64_t bits(int count);

  std::span<const std::uint8_t> bytes;
};

}  // namespace fuzz

#endif
