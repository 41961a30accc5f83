#include "score/configured_areas.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace device {
namespace {

// Five metres up, 30 degrees down, 90 degrees wide: the middle of its picture lies 8.66 m ahead.
OverviewCamera camera(double pan = 0, int rotation = 0) {
  return OverviewCamera({.position = {0, 0, 5},
                         .pan = pan,
                         .tilt = -30,
                         .sensorWidth = 1920,
                         .sensorHeight = 1080,
                         .horizontalFov = 90,
                         .rotation = rotation,
                         .distortion = {}});
}

std::string configuration(const std::string& profiles,
                          const std::string& cameras = R"({"id": 1, "active": true})") {
  return R"({"apiVersion": "1.0", "data": {"cameras": [)" + cameras + R"(], "profiles": [)" +
         profiles + "]}}";
}

std::string profile(const std::string& include, const std::string& filters = "", int camera = 1) {
  return R"({"uid": 1, "camera": )" + std::to_string(camera) +
         R"(, "triggers": [{"type": "includeArea", "data": )" + include + R"(}], "filters": [)" +
         filters + "]}";
}

const std::string MIDDLE = "[[-0.2, -0.2], [-0.2, 0.2], [0.2, 0.2], [0.2, -0.2]]";
const std::string RIGHT = "[[0, -1], [0, 1], [1, 1], [1, -1]]";

ConfiguredAreas areasOf(const std::string& text, const std::vector<OverviewCamera>& cameras) {
  return {text, cameras};
}

TEST(ConfiguredAreasTest, WithoutAConfigurationNobodyCounts) {
  EXPECT_FALSE(ConfiguredAreas().contains({0, 8.66}));
}

TEST(ConfiguredAreasTest, WhoStandsInTheIncludeAreaCounts) {
  const ConfiguredAreas areas = areasOf(configuration(profile(MIDDLE)), {camera()});
  EXPECT_TRUE(areas.contains({0, 8.66}));
  // The area's right edge is at a fifth of tan(45 degrees), 10 m along the axis: 2 m.
  EXPECT_TRUE(areas.contains({1.99, 8.66}));
  EXPECT_FALSE(areas.contains({2.01, 8.66}));
  EXPECT_FALSE(areas.contains({0, -8.66})) << "behind the camera";
}

TEST(ConfiguredAreasTest, WhoStandsInAnExcludeAreaDoesNotCount) {
  const std::string exclude = R"({"type": "excludeArea", "data": )" + RIGHT + "}";
  const ConfiguredAreas areas = areasOf(configuration(profile(MIDDLE, exclude)), {camera()});
  EXPECT_TRUE(areas.contains({-1, 8.66}));
  EXPECT_FALSE(areas.contains({1, 8.66}));
}

TEST(ConfiguredAreasTest, ExcludeAreaIsThatOfItsOwnProfile) {
  const std::string exclude = R"({"type": "excludeArea", "data": )" + RIGHT + "}";
  const ConfiguredAreas areas =
      areasOf(configuration(profile(MIDDLE, exclude) + ", " + profile(RIGHT)), {camera()});
  EXPECT_TRUE(areas.contains({1, 8.66}));
}

TEST(ConfiguredAreasTest, AreaIsThatOfItsProfilesCamera) {
  const std::string cameras = R"({"id": 1, "active": true}, {"id": 2, "active": true})";
  const ConfiguredAreas areas =
      areasOf(configuration(profile(MIDDLE, "", 2), cameras), {camera(), camera(90)});
  EXPECT_TRUE(areas.contains({8.66, 0}));
  EXPECT_FALSE(areas.contains({0, 8.66}));
}

TEST(ConfiguredAreasTest, CameraThatIsOffHasNoAreas) {
  const std::string off = R"({"id": 1, "active": false})";
  EXPECT_FALSE(areasOf(configuration(profile(MIDDLE), off), {camera()}).contains({0, 8.66}));
  EXPECT_FALSE(areasOf(configuration(profile(MIDDLE), ""), {camera()}).contains({0, 8.66}));
}

TEST(ConfiguredAreasTest, ProfileOfAChannelThatThereIsNotIsPassedOver) {
  const std::string cameras = R"({"id": 2, "active": true})";
  EXPECT_TRUE(areasOf(configuration(profile(MIDDLE, "", 2), cameras), {camera()}).empty());
}

TEST(ConfiguredAreasTest, AreaOfATurnedSensorIsInTheSensorsCoordinates) {
  // What is to the right of the upright picture is at the top of a sensor turned by 90 degrees.
  const std::string top = "[[-1, 0], [-1, 1], [1, 1], [1, 0]]";
  const ConfiguredAreas areas = areasOf(configuration(profile(top)), {camera(0, 90)});
  EXPECT_TRUE(areas.contains({1, 8.66}));
  EXPECT_FALSE(areas.contains({-1, 8.66}));
}

TEST(ConfiguredAreasTest, ConfigurationIsAlsoTakenAsItIsSet) {
  const std::string text =
      R"({"method": "setConfiguration", "params": {"cameras": [{"id": 1, "active": true}],
          "profiles": [)" +
      profile(MIDDLE) + "]}}";
  EXPECT_TRUE(areasOf(text, {camera()}).contains({0, 8.66}));
}

TEST(ConfiguredAreasTest, WhatIsNoConfigurationIsRefused) {
  for (const std::string text :
       {"", "[]", R"({"error": {"code": "1000"}})", R"({"data": {"cameras": []}})"}) {
    EXPECT_THROW(areasOf(text, {camera()}), std::runtime_error) << text;
  }
  EXPECT_THROW(areasOf(configuration(profile("[[0, 0], [1, 1]]")), {camera()}), std::runtime_error);
  EXPECT_THROW(areasOf(configuration(profile(R"([[0, 0], [1, 1], ["a", 0]])")), {camera()}),
               std::runtime_error);
}

}  // namespace
}  // namespace device
