// Numbers as they pass over sockets: the highest byte first.
#ifndef BASE_BIG_ENDIAN_H
#define BASE_BIG_ENDIAN_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

// Of the four bytes at the front.
constexpr std::uint32_t fromBigEndian(std::span<const std::uint8_t> bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
         std::uint32_t{bytes[2]} << 8 | std::uint32_t{bytes[3]};
}

template <typename Unsigned>
constexpr std::array<std::uint8_t, sizeof(Unsigned)> toBigEndian(Unsigned number) {
  std::array<std::uint8_t, sizeof(Unsigned)> bytes{};
  for (std::size_t i = bytes.size(); i > 0; --i) {
    bytes[i - 1] = static_cast<std::uint8_t>(number);
    number >>= 8;
  }
  return bytes;
}

#endif
