#include "onvif/time_text.h"

#include <gtest/gtest.h>

namespace device::onvif {
namespace {

constexpr std::int64_t SECOND = 1000000;

TEST(TimeTextTest, DurationsAreRead) {
  EXPECT_EQ(SECOND, readDuration("PT1S"));
  EXPECT_EQ(SECOND / 2, readDuration("PT0.5S"));
  EXPECT_EQ(60 * SECOND, readDuration("PT1M"));
  EXPECT_EQ((2 * 3600 + 3 * 60 + 4) * SECOND, readDuration("PT2H3M4S"));
  EXPECT_EQ((86400 + 3600) * SECOND, readDuration("P1DT1H"));
  EXPECT_EQ(30 * 86400 * SECOND, readDuration("P1M"));
  EXPECT_EQ(365 * 86400 * SECOND, readDuration("P1Y"));
  EXPECT_EQ(-SECOND, readDuration("-PT1S"));
  EXPECT_EQ(0, readDuration("PT0S"));
}

TEST(TimeTextTest, WhatIsNoDurationIsRefused) {
  for (const char* text : {"",
                           "P",
                           "PT",
                           "T1S",
                           "1S",
                           "PT1",
                           "PTS",
                           "PT1S1M",
                           "PT1S2S",
                           "P1S",
                           "PT1D",
                           "PT1SX",
                           "PT-1S",
                           "P1DT",
                           "PT1e3S",
                           "PTinfS",
                           "PT1.2.3S",
                           "P200Y",
                           "PT99999999999999999999S",
                           "--PT1S",
                           "+PT1S",
                           " PT1S"}) {
    EXPECT_FALSE(readDuration(text)) << text;
  }
}

TEST(TimeTextTest, DurationsAreWritten) {
  EXPECT_EQ("PT1S", durationText(SECOND));
  EXPECT_EQ("PT0.1S", durationText(SECOND / 10));
  EXPECT_EQ("PT60S", durationText(60 * SECOND));
}

// 2026-01-01 is 56 years after 1970 with 14 leap days: 20454 days.
TEST(TimeTextTest, MomentsAreReadInAnyZone) {
  constexpr std::int64_t NOON = (20454 * 86400LL + 12 * 3600) * SECOND;
  EXPECT_EQ(NOON, readDateTime("2026-01-01T12:00:00Z"));
  EXPECT_EQ(NOON, readDateTime("2026-01-01T12:00:00"));
  EXPECT_EQ(NOON + 123000, readDateTime("2026-01-01T12:00:00.123Z"));
  EXPECT_EQ(NOON, readDateTime("2026-01-01T14:00:00+02:00"));
  EXPECT_EQ("2026-01-01T12:00:00.123Z", dateTimeText(NOON + 123456));
}

TEST(TimeTextTest, WhatIsNoMomentIsRefused) {
  for (const char* text : {"", "now", "2026-01-01", "2026-13-01T00:00:00Z", "12:00:00Z"}) {
    EXPECT_FALSE(readDateTime(text)) << text;
  }
}

}  // namespace
}  // namespace device::onvif
