#include "events/event_names.h"

#include <gtest/gtest.h>

namespace {

TEST(EventNamesTest, AProfilesEventNamesCameraAndUid) {
  EXPECT_EQ(utils::generateEventName(1, 7), "Camera1Profile7");
  EXPECT_EQ(utils::generateEventName(12, 345), "Camera12Profile345");
}

TEST(EventNamesTest, ACamerasAggregateEventIsAny) {
  EXPECT_EQ(utils::generateAnyEventName(4), "Camera4ProfileANY");
}

TEST(EventNamesTest, TheDevicesAggregateEventIsAnyCamera) {
  EXPECT_EQ(utils::generateGlobalAnyEventName(), "CameraANY");
}

TEST(EventNamesTest, TheNiceNameHasItsSuffixInBrackets) {
  EXPECT_EQ(utils::generateEventNiceName("SentrelVideo", "Profile 1"), "SentrelVideo (Profile 1)");
}

TEST(EventNamesTest, WithoutASuffixTheNiceNameStandsAlone) {
  EXPECT_EQ(utils::generateEventNiceName("SentrelVideo", ""), "SentrelVideo");
}

TEST(EventNamesTest, TheLookupKeyIsTheEventsName) {
  EXPECT_EQ(utils::generateEventLookupKey("Camera1Profile7"), "Camera1Profile7");
}

}  // namespace
