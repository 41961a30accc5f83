#include "addon/libs/vigil_pack_lib/factory/default_config_creator.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "addon/libs/vigil_pack_lib/factory/tracker_default_config_creator.h"
#include "base/json_text.h"
#include "src/config/json_memory.h"
#include "src/events/wrapper_test_base.h"

namespace {

// The profile of a camera, without what is special to the application.
std::string profileText(int number, const std::string& more = "") {
  return R"({"uid": )" + std::to_string(number) + R"(, "camera": )" + std::to_string(number) +
         R"(, "name": "Profile 1",
     "triggers": [{"type": "includeArea",
                   "data": [[-0.97, -0.97], [-0.97, 0.97], [0.97, 0.97], [0.97, -0.97]]}],
     "filters": [{"active": true, "data": [5, 5], "type": "sizePercentage"},
                 {"active": true, "data": 1, "type": "timeShortLivedLimit"},
                 {"active": true, "data": 5, "type": "distanceSwayingObject"}],
     "perspective": [])" +
         more + "}";
}

std::string documentText(const std::string& cameras, const std::string& profiles) {
  return R"({"apiVersion": "1.0", "context": "", "method": "setConfiguration",
            "params": {"cameras": [)" +
         cameras + R"(], "profiles": [)" + profiles + R"(], "configurationStatus": 0}})";
}

constexpr const char* ACTIVE_CAMERA = R"({"id": 1, "active": true, "rotation": 0})";

// What kind of device it is is read once for the process: each test asks in a process of its own,
// as ctest runs them.
class DefaultConfigCreatorTest : public InitializedWrapperTest {
 protected:
  static void setCameras(int count) {
    FakeParameters::set("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration", "yes");
    FakeParameters::set("root.ImageSource.NbrOfSources", std::to_string(count));
  }

  static void expectDocument(const JsonAutoPtr& document, const std::string& text) {
    json_error_t error;
    const JsonAutoPtr expected(json_loads(text.c_str(), 0, &error));
    ASSERT_TRUE(expected) << error.text << " in " << text;
    ASSERT_TRUE(document);
    EXPECT_TRUE(json_equal(document.get(), expected.get()))
        << toText(document.get(), JSON_SORT_KEYS);
  }

  const DefaultValues defaults{};
};

TEST_F(DefaultConfigCreatorTest, AOneChannelDeviceHasOneActiveCameraAndOneProfile) {
  expectDocument(DefaultConfigCreator(false).create(defaults, "1.0"),
                 documentText(ACTIVE_CAMERA, profileText(1)));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(DefaultConfigCreatorTest, TheTrackersProfilesHaveAPriority) {
  expectDocument(TrackerDefaultConfigCreator(false).create(defaults, "1.0"),
                 documentText(ACTIVE_CAMERA, profileText(1, R"(, "priority": 1)")));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(DefaultConfigCreatorTest, OnDemandProfilesHaveAnEmptyListOfPresets) {
  expectDocument(DefaultConfigCreator(true).create(defaults, "1.0"),
                 documentText(ACTIVE_CAMERA, profileText(1, R"(, "presets": [])")));
}

TEST_F(DefaultConfigCreatorTest, TheTrackersProfilesMayHavePresetsToo) {
  expectDocument(TrackerDefaultConfigCreator(true).create(defaults, "1.0"),
                 documentText(ACTIVE_CAMERA, profileText(1, R"(, "presets": [], "priority": 1)")));
}

TEST_F(DefaultConfigCreatorTest, TheVersionIsTheGivenOne) {
  const JsonAutoPtr document = DefaultConfigCreator(false).create(defaults, "3.7");
  EXPECT_STREQ(json_string_value(json_object_get(document.get(), "apiVersion")), "3.7");
}

TEST_F(DefaultConfigCreatorTest, OfSeveralCamerasTheFirstIsActiveAndEachHasAProfile) {
  setCameras(3);
  expectDocument(DefaultConfigCreator(false).create(defaults, "1.0"),
                 documentText(R"({"id": 1, "active": true, "rotation": 0},
                                 {"id": 2, "active": false, "rotation": 0},
                                 {"id": 3, "active": false, "rotation": 0})",
                              profileText(1) + "," + profileText(2) + "," + profileText(3)));
}

TEST_F(DefaultConfigCreatorTest, OfTheSpecialModelOnlyTheSecondCameraIsActive) {
  setCameras(2);
  FakeParameters::set("root.Brand.ProdNbr", "MX-Z9901-E");
  expectDocument(DefaultConfigCreator(false).create(defaults, "1.0"),
                 documentText(R"({"id": 1, "active": false, "rotation": 0},
                                 {"id": 2, "active": true, "rotation": 0})",
                              profileText(1) + "," + profileText(2)));
}

TEST_F(DefaultConfigCreatorTest, ADeviceThatTellsNoCamerasHasNone) {
  FakeParameters::set("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration", "yes");
  expectDocument(DefaultConfigCreator(false).create(defaults, "1.0"), documentText("", ""));
}

TEST_F(DefaultConfigCreatorTest, ProfilesTakeTheDefaultsOfTheApplication) {
  DefaultValues other;
  other.sizePercentWidth = 11;
  other.sizePercentHeight = 12;
  other.sizePercentActive = false;
  other.shortLived = 3;
  other.shortLivedActive = false;
  other.swayingPercent = 13;
  other.swayingActive = false;
  other.includeArea = {-0.5, 0.25, -0.75, 0.125};
  expectDocument(DefaultConfigCreator(false).create(other, "1.0"),
                 documentText(ACTIVE_CAMERA,
                              R"({"uid": 1, "camera": 1, "name": "Profile 1",
     "triggers": [{"type": "includeArea",
                   "data": [[-0.5, -0.75], [-0.5, 0.125], [0.25, 0.125], [0.25, -0.75]]}],
     "filters": [{"active": false, "data": [11, 12], "type": "sizePercentage"},
                 {"active": false, "data": 3, "type": "timeShortLivedLimit"},
                 {"active": false, "data": 13, "type": "distanceSwayingObject"}],
     "perspective": []})"));
}

// Every possible shortage of memory: the creator never throws, and says what is missing.
TEST_F(DefaultConfigCreatorTest, StepsThatFailAreLogged) {
  const std::set<std::string> known{
      "Cannot create a camera",
      "Cannot add a camera to the array",
      "Cannot pack the configuration status",
      "Cannot add the cameras to the default configuration",
      "Cannot add the profiles to the default configuration",
      "Cannot add the configuration status to the default configuration",
      "Cannot create the header for the default configuration",
      "Cannot add the parameters to the default configuration",
      "Cannot create the default triggers array",
      "Cannot create the default filters array",
      "Cannot add the filters to the profile",
      "Cannot add the triggers to the profile",
      "Cannot create the default presets array",
      "Cannot add the presets array to the profile",
      "Cannot create the default perspective array",
      "Cannot add the perspective array to the profile",
      "Cannot create priority information for a default profile",
      "Cannot update the profile with property information"};
  std::set<std::string> heard;
  bool ranOut = true;
  for (int allocations = 0; ranOut; ++allocations) {
    log.clear();
    {
      const JsonMemory memory(allocations);
      const JsonAutoPtr document = TrackerDefaultConfigCreator(true).create(defaults, "1.0");
      ranOut = JsonMemory::ranOut();
    }
    EXPECT_EQ(log.lines().empty(), !ranOut) << allocations;
    for (const LogLine& line : log.lines()) {
      heard.insert(line.text.substr(0, line.text.find('\n')));
    }
  }
  for (const char* message :
       {"Cannot create a camera", "Cannot pack the configuration status",
        "Cannot create the header for the default configuration",
        "Cannot create the default triggers array", "Cannot create the default filters array",
        "Cannot create the default presets array", "Cannot create the default perspective array",
        "Cannot create priority information for a default profile",
        "Cannot update the profile with property information"}) {
    EXPECT_TRUE(heard.contains(message)) << message;
  }
  for (const std::string& message : heard) {
    EXPECT_TRUE(known.contains(message)) << message;
  }
}

}  // namespace
