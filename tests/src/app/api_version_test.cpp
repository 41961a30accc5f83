#include "app/api_version.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <utility>

#include "fakes/log_capture.h"

namespace {

std::string complaintAbout(const std::string& text) {
  return "unsupported format on version " + text + ", it should be major.minor\n";
}

TEST(ApiVersionTest, DefaultIsInvalid) {
  const API_Version version;
  EXPECT_FALSE(version.isValid());
  EXPECT_EQ(version.getMajor(), 0);
  EXPECT_EQ(version.getMinor(), 0);
  EXPECT_EQ(version.toString(), "");
}

TEST(ApiVersionTest, ReadsMajorAndMinor) {
  const LogCapture log;
  const API_Version version("2.15");
  EXPECT_TRUE(version.isValid());
  EXPECT_EQ(version.getMajor(), 2);
  EXPECT_EQ(version.getMinor(), 15);
  EXPECT_EQ(version.toString(), "2.15");
  EXPECT_TRUE(log.lines().empty());
}

TEST(ApiVersionTest, ReadsZeros) {
  const API_Version version("0.0");
  EXPECT_TRUE(version.isValid());
  EXPECT_EQ(version.getMajor(), 0);
  EXPECT_EQ(version.getMinor(), 0);
}

TEST(ApiVersionTest, ReadsTheLargestNumbers) {
  const API_Version version("2147483647.2147483647");
  EXPECT_TRUE(version.isValid());
  EXPECT_EQ(version.getMajor(), 2147483647);
  EXPECT_EQ(version.getMinor(), 2147483647);
}

class ApiVersionFormatTest : public testing::TestWithParam<std::string> {};

TEST_P(ApiVersionFormatTest, AnyOtherFormIsLoggedAndInvalid) {
  const LogCapture log;
  const API_Version version(GetParam());
  EXPECT_FALSE(version.isValid());
  EXPECT_EQ(log.count(complaintAbout(GetParam())), 1);
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST_P(ApiVersionFormatTest, AnyOtherFormLeavesTheNumbersAlone) {
  const LogCapture log;
  std::int32_t major = 7;
  std::int32_t minor = 8;
  EXPECT_FALSE(API_Version::convertVersionStrToInts(GetParam(), major, minor));
  EXPECT_EQ(major, 7);
  EXPECT_EQ(minor, 8);
  EXPECT_EQ(log.count(complaintAbout(GetParam())), 1);
}

INSTANTIATE_TEST_SUITE_P(Forms, ApiVersionFormatTest,
                         testing::Values("1", "", ".", "1.", ".1", "a.b", "1.b", "a.1", "1.2.3",
                                         "1,2", "1..2", "v1.0", "1.0beta", "99999999999.0",
                                         "1.99999999999", "2.15.", "%s.%n"));

TEST(ApiVersionTest, ConvertsATextToNumbers) {
  std::int32_t major = 0;
  std::int32_t minor = 0;
  EXPECT_TRUE(API_Version::convertVersionStrToInts("12.34", major, minor));
  EXPECT_EQ(major, 12);
  EXPECT_EQ(minor, 34);
}

TEST(ApiVersionTest, MajorIsComparedFirst) {
  EXPECT_LT(API_Version("1.9"), API_Version("2.0"));
  EXPECT_FALSE(API_Version("2.0") < API_Version("1.9"));
}

TEST(ApiVersionTest, MinorIsComparedAsANumber) {
  EXPECT_LT(API_Version("2.9"), API_Version("2.15"));
  EXPECT_FALSE(API_Version("2.15") < API_Version("2.9"));
}

TEST(ApiVersionTest, EqualityIsThatOfTheNumbers) {
  EXPECT_EQ(API_Version("1.0"), API_Version("1.0"));
  EXPECT_EQ(API_Version("1.0"), API_Version("1.00"));
  EXPECT_FALSE(API_Version("1.0") == API_Version("1.1"));
  EXPECT_FALSE(API_Version("1.0") == API_Version("2.0"));
}

TEST(ApiVersionTest, InvalidComparesAsZero) {
  EXPECT_LT(API_Version(), API_Version("0.1"));
  EXPECT_LT(API_Version("nonsense"), API_Version("2.15"));
  EXPECT_LE(API_Version(), API_Version("0.0"));
}

TEST(ApiVersionTest, OrdersLikePairsOfNumbers) {
  std::mt19937 random(640);
  std::uniform_int_distribution<int> number(0, 3);
  for (int round = 0; round < 500; ++round) {
    const std::pair a(number(random), number(random));
    const std::pair b(number(random), number(random));
    const API_Version first(std::to_string(a.first) + "." + std::to_string(a.second));
    const API_Version second(std::to_string(b.first) + "." + std::to_string(b.second));
    EXPECT_EQ(first == second, a == b);
    EXPECT_EQ(first < second, a < b);
    EXPECT_EQ(first <= second, a <= b);
  }
}

}  // namespace
