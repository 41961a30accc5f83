#include "scene/tracking_object_external_data.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <cstdint>
#include <limits>
#include <string>

#include "fakes/log_capture.h"
#include "src/scene/object_data.h"

namespace {

const std::string MISSING = "Could not find stored data for key key\n";

TEST(TrackingObjectExternalData, KeepsValuesOfFourKinds) {
  const LogCapture log;
  SumData data(0);
  data.insert("bool", true);
  data.insert("int", std::int32_t{-7});
  data.insert("point", Point{3, -4});
  data.insert("time", std::numeric_limits<std::int64_t>::max());
  EXPECT_TRUE(data.getBool("bool"));
  EXPECT_EQ(-7, data.getInt("int"));
  EXPECT_EQ((Point{3, -4}), data.getPoint("point"));
  EXPECT_EQ(std::numeric_limits<std::int64_t>::max(), data.getTimeVal("time", 5));
  EXPECT_TRUE(log.lines().empty());
}

TEST(TrackingObjectExternalData, KeepsTheKindsApart) {
  const LogCapture log;
  SumData data(0);
  data.insert("key", true);
  data.insert("key", std::int32_t{2});
  data.insert("key", Point{3, 3});
  data.insert("key", std::int64_t{4});
  EXPECT_TRUE(data.getBool("key"));
  EXPECT_EQ(2, data.getInt("key"));
  EXPECT_EQ((Point{3, 3}), data.getPoint("key"));
  EXPECT_EQ(4, data.getTimeVal("key", 0));
  EXPECT_TRUE(log.lines().empty());
}

TEST(TrackingObjectExternalData, InsertReplacesTheValueOfTheKey) {
  SumData data(0);
  data.insert("bool", true);
  data.insert("bool", false);
  data.insert("int", std::int32_t{1});
  data.insert("int", std::int32_t{2});
  data.insert("point", Point{1, 1});
  data.insert("point", Point{2, 2});
  data.insert("time", std::int64_t{1});
  data.insert("time", std::int64_t{2});
  EXPECT_FALSE(data.getBool("bool"));
  EXPECT_EQ(2, data.getInt("int"));
  EXPECT_EQ((Point{2, 2}), data.getPoint("point"));
  EXPECT_EQ(2, data.getTimeVal("time", 0));
}

TEST(TrackingObjectExternalData, MissingBoolIsLoggedAndFalse) {
  const LogCapture log;
  EXPECT_FALSE(SumData(0).getBool("key"));
  EXPECT_EQ(1, log.count(LOG_ERR, MISSING));
}

TEST(TrackingObjectExternalData, MissingIntIsLoggedAndZero) {
  const LogCapture log;
  EXPECT_EQ(0, SumData(0).getInt("key"));
  EXPECT_EQ(1, log.count(LOG_ERR, MISSING));
}

TEST(TrackingObjectExternalData, MissingPointIsLoggedAndTheOrigin) {
  const LogCapture log;
  EXPECT_EQ((Point{0, 0}), SumData(0).getPoint("key"));
  EXPECT_EQ(1, log.count(LOG_ERR, MISSING));
}

TEST(TrackingObjectExternalData, MissingTimeIsLoggedAndTheDefaultGiven) {
  const LogCapture log;
  EXPECT_EQ(-1, SumData(0).getTimeVal("key", -1));
  EXPECT_EQ(1, log.count(LOG_ERR, MISSING));
  EXPECT_EQ(1u, log.lines().size());
}

TEST(TrackingObjectExternalData, MissingKeysAreNotCreatedByAsking) {
  SumData data(0);
  data.getInt("key");
  const LogCapture log;
  data.getInt("key");
  EXPECT_EQ(1, log.count(LOG_ERR, MISSING));
}

TEST(TrackingObjectExternalData, DebugPrintLogsTheValues) {
  SumData data(4711);
  const LogCapture log;
  data.debugPrint();
  std::string logged;
  for (const LogLine& line : log.lines()) {
    logged += line.text;
  }
  EXPECT_NE(std::string::npos, logged.find("sum"));
  EXPECT_NE(std::string::npos, logged.find("4711"));
}

}  // namespace
