#include "scene/mote_utils.h"

#include <gtest/gtest.h>

#include <string>

#include "fakes/log_capture.h"
#include "scene/scene_properties.h"

namespace {

const API_Version OLD("1.0");
const API_Version NEW("1.1");

TEST(MoteUtils, PropertiesAreTheBitsOfTheMask) {
  EXPECT_EQ(1, SCENE_BOUNDING_BOX);
  EXPECT_EQ(2, SCENE_POLYGON);
  EXPECT_EQ(4, SCENE_VELOCITY);
  EXPECT_EQ(8, SCENE_CONFIDENCE);
}

TEST(MoteUtils, OldVersionSupportsAllButConfidence) {
  const LogCapture log;
  for (int mask = 0; mask < 16; ++mask) {
    EXPECT_EQ(mask < 8, MoteUtils::areCapabilitiesSupported(OLD, mask)) << mask;
    EXPECT_EQ(mask % 8, MoteUtils::removeUnsupportedCapabilites(OLD, mask)) << mask;
  }
  EXPECT_TRUE(log.lines().empty());
}

TEST(MoteUtils, NewVersionSupportsAll) {
  const LogCapture log;
  for (int mask = 0; mask < 16; ++mask) {
    EXPECT_TRUE(MoteUtils::areCapabilitiesSupported(NEW, mask)) << mask;
    EXPECT_EQ(mask, MoteUtils::removeUnsupportedCapabilites(NEW, mask)) << mask;
  }
  EXPECT_TRUE(log.lines().empty());
}

TEST(MoteUtils, NoVersionSupportsWhatDoesNotExist) {
  EXPECT_FALSE(MoteUtils::areCapabilitiesSupported(NEW, 16));
  EXPECT_EQ(15, MoteUtils::removeUnsupportedCapabilites(NEW, 31));
}

TEST(MoteUtils, TheDaemonsMaskLosesConfidenceWithTheOldVersion) {
  EXPECT_EQ(6, MoteUtils::removeUnsupportedCapabilites(OLD, 14));
  EXPECT_EQ(14, MoteUtils::removeUnsupportedCapabilites(NEW, 14));
}

TEST(MoteUtils, UnknownVersionIsLoggedAndTreatedAsTheNewest) {
  for (const char* text : {"1.2", "2.0", "0.9"}) {
    const API_Version version(text);
    const LogCapture log;
    EXPECT_TRUE(MoteUtils::areCapabilitiesSupported(version, 15));
    const std::string message =
        std::string("Cannon find the capabilities for version ") + text + "\n";
    EXPECT_EQ(1, log.count(message));
    EXPECT_EQ(15, MoteUtils::removeUnsupportedCapabilites(version, 31));
    EXPECT_EQ(2, log.count(message));
  }
}

}  // namespace
