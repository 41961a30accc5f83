#include "base/big_endian.h"

#include <gtest/gtest.h>

#include <array>

namespace {

TEST(BigEndianTest, TheHighestByteIsTheFirst) {
  EXPECT_EQ(fromBigEndian(std::array<std::uint8_t, 4>{0x12, 0x34, 0x56, 0x78}), 0x12345678U);
  EXPECT_EQ(fromBigEndian(std::array<std::uint8_t, 4>{0xff, 0, 0, 0x80}), 0xff000080U);
}

TEST(BigEndianTest, WritesWhatItReads) {
  EXPECT_EQ(toBigEndian(std::uint32_t{0x12345678}),
            (std::array<std::uint8_t, 4>{0x12, 0x34, 0x56, 0x78}));
  EXPECT_EQ(toBigEndian(std::uint64_t{0xfedcba9876543210}),
            (std::array<std::uint8_t, 8>{0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10}));
}

}  // namespace
