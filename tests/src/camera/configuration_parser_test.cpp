#include "camera/configuration_parser.h"

#include <gtest/gtest.h>
#include <jansson.h>
#include <syslog.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "addon/libs/vigil_pack_lib/factory/tracker_default_config_creator.h"
#include "base/json_text.h"
#include "config/persistent.h"
#include "src/addon/profiles.h"
#include "src/events/wrapper_test_base.h"
#include "support/temporary_folder.h"
#include "tracker/tracker_guard_factory.h"

namespace {

// A configuration document; empty members are left out.
struct Document {
  std::string cameras = R"([{"id":1,"active":true,"rotation":0}])";
  std::string profiles = "[]";

  std::string text() const {
    std::string params;
    if (!cameras.empty()) {
      params += "\"cameras\":" + cameras;
    }
    if (!profiles.empty()) {
      params += (params.empty() ? "" : ",") + ("\"profiles\":" + profiles);
    }
    return R"({"apiVersion":"1.0","method":"setConfiguration","params":{)" + params + "}}";
  }
};

std::string cameraText(int id, int rotation = 0, bool active = true) {
  return "{\"id\":" + std::to_string(id) + ",\"active\":" + (active ? "true" : "false") +
         ",\"rotation\":" + std::to_string(rotation) + "}";
}

std::string profileText(int uid, int camera, int priority = 1) {
  Profile profile;
  profile.uid = std::to_string(uid);
  profile.camera = std::to_string(camera);
  profile.priority = std::to_string(priority);
  return profile.text();
}

std::string listOf(const std::vector<std::string>& elements) {
  std::string list;
  for (const std::string& element : elements) {
    list += (list.empty() ? "" : ",") + element;
  }
  return "[" + list + "]";
}

class ConfigurationParserTest : public InitializedWrapperTest {
 protected:
  ConfigurationParserTest() {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    Persistent::setPathForTest(folder.path("settings.json"));
  }
  ~ConfigurationParserTest() override { clock.free(); }

  int parse(const std::string& text) {
    log.clear();
    const int status = parser.parse(text, boundaries);
    EXPECT_EQ(static_cast<int>(parser.status()), status);
    return status;
  }

  int parse(const std::string& cameras, const std::string& profiles) {
    return parse(Document{.cameras = cameras, .profiles = profiles}.text());
  }

  // Whether the message, alone or with a line feed, was logged as an error.
  static bool isLogged(const std::string& message) {
    return LogCapture::count(LOG_ERR, message) + LogCapture::count(LOG_ERR, message + "\n") == 1;
  }

  static void setCameraCount(int count) {
    FakeParameters::set("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration", "yes");
    FakeParameters::set("root.ImageSource.NbrOfSources", std::to_string(count));
  }

  // What createConfigurations makes: "camera/rotation: uid uid".
  std::vector<std::string> configurations() {
    std::vector<std::string> texts;
    const CameraConfigurationContainer container = parser.createConfigurations();
    for (const CameraConfiguration& configuration : container.getConfigurations()) {
      std::string text = std::to_string(configuration.cameraNbr) + "/" +
                         std::to_string(configuration.rotation) + ":";
      for (const auto& guard : configuration.guards) {
        text += " " + std::to_string(guard->getUid());
      }
      texts.push_back(text);
    }
    clock.free();
    return texts;
  }

  TemporaryFolder folder;
  DataBoundaries boundaries;
  ConfigurationParser<TrackerGuardFactory> parser;
};

using Texts = std::vector<std::string>;

TEST_F(ConfigurationParserTest, ReadsADocument) {
  EXPECT_EQ(parse(listOf({cameraText(1, 90)}), listOf({profileText(5, 1), profileText(6, 1)})), 0);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(configurations(), Texts({"1/90: 5 6"}));
}

TEST_F(ConfigurationParserTest, AProfileKeepsItsPriority) {
  ASSERT_EQ(parse(listOf({cameraText(1)}), listOf({profileText(5, 1, 8)})), 0);
  const CameraConfigurationContainer container = parser.createConfigurations();
  clock.free();
  EXPECT_EQ(container.getConfigurations().at(0).guards.at(0)->getPriority(), 8);
}

TEST_F(ConfigurationParserTest, ParsingAloneDeclaresNothing) {
  ASSERT_EQ(parse(listOf({cameraText(1)}), listOf({profileText(5, 1)})), 0);
  EXPECT_TRUE(activeTopics().empty());
  EXPECT_FALSE(configurations().empty());
  EXPECT_FALSE(activeTopics().empty());
}

TEST_F(ConfigurationParserTest, OneDocumentGivesGuardsAsOftenAsAsked) {
  ASSERT_EQ(parse(listOf({cameraText(1)}), listOf({profileText(5, 1)})), 0);
  EXPECT_EQ(configurations(), configurations());
}

// ---- The document ----

TEST_F(ConfigurationParserTest, ATextThatIsNoJsonIsRefused) {
  for (const char* text : {"", "{", "no json", "{\"params\":}"}) {
    json_error_t error;
    ASSERT_EQ(json_loads(text, 0, &error), nullptr);
    EXPECT_EQ(parse(text), 2) << text;
    EXPECT_TRUE(isLogged(std::string("Unable to decode Json: ") + error.text)) << text;
  }
}

TEST_F(ConfigurationParserTest, ParamsMustBeThere) {
  EXPECT_EQ(parse(R"({"method":"setConfiguration"})"), 4);
  EXPECT_TRUE(isLogged("Could not get 'params': "));
}

TEST_F(ConfigurationParserTest, NoVersionIsChecked) {
  EXPECT_EQ(parse(R"({"apiVersion":"99.9","params":{"cameras":[)" + cameraText(1) +
                  R"(],"profiles":[]}})"),
            0);
}

// ---- Cameras ----

TEST_F(ConfigurationParserTest, CamerasMustBeThere) {
  EXPECT_EQ(parse("", "[]"), 4);
  EXPECT_TRUE(isLogged("Could not get 'cameras': "));
  EXPECT_EQ(parse("[]", "[]"), 4);
  EXPECT_TRUE(isLogged("No cameras found"));
}

TEST_F(ConfigurationParserTest, MoreCamerasThanTheDeviceHasAreRefused) {
  EXPECT_EQ(parse(listOf({cameraText(1), cameraText(0)}), "[]"), 8);
  EXPECT_TRUE(isLogged("The configuration contains more cameras than device supports"));
}

TEST_F(ConfigurationParserTest, ADeviceWithSeveralCamerasMayConfigureThemAll) {
  setCameraCount(3);
  EXPECT_EQ(parse(listOf({cameraText(1), cameraText(2), cameraText(3)}), "[]"), 0);
  EXPECT_EQ(parse(listOf({cameraText(1), cameraText(2), cameraText(3), cameraText(0)}), "[]"), 8);
}

TEST_F(ConfigurationParserTest, ACameraMustBeWhole) {
  for (const char* camera :
       {"{}", "1", R"({"active":true,"id":1})", R"({"active":true,"rotation":0})",
        R"({"id":1,"rotation":0})", R"({"active":1,"id":1,"rotation":0})",
        R"({"active":true,"id":"1","rotation":0})", R"({"active":true,"id":1,"rotation":0.5})"}) {
    EXPECT_EQ(parse(listOf({camera}), "[]"), 4) << camera;
    EXPECT_TRUE(isLogged("Could not unpack data for the camera")) << camera;
  }
}

TEST_F(ConfigurationParserTest, RotationsAreQuarterTurns) {
  for (const int rotation : {0, 90, 180, 270}) {
    EXPECT_EQ(parse(listOf({cameraText(1, rotation)}), "[]"), 0) << rotation;
  }
  for (const int rotation : {1, 45, 89, 360, -90}) {
    EXPECT_EQ(parse(listOf({cameraText(1, rotation)}), "[]"), 8) << rotation;
    EXPECT_TRUE(isLogged("Invalid rotation parameter in configuration file")) << rotation;
  }
}

TEST_F(ConfigurationParserTest, TheRotationIsCheckedBeforeTheId) {
  EXPECT_EQ(parse(listOf({cameraText(7, 45)}), "[]"), 8);
  EXPECT_TRUE(isLogged("Invalid rotation parameter in configuration file"));
}

TEST_F(ConfigurationParserTest, IdsAreThoseOfTheDevicesCamerasOrZero) {
  setCameraCount(2);
  for (const int id : {0, 1, 2}) {
    EXPECT_EQ(parse(listOf({cameraText(id)}), "[]"), 0) << id;
  }
  for (const int id : {-1, 3, 1000}) {
    EXPECT_EQ(parse(listOf({cameraText(id)}), "[]"), 8) << id;
    EXPECT_TRUE(isLogged("Invalid camera id parameter in configuration file")) << id;
  }
}

TEST_F(ConfigurationParserTest, ACameraNumberedZeroIsConfigured) {
  ASSERT_EQ(parse(listOf({cameraText(0)}), listOf({profileText(5, 0)})), 0);
  EXPECT_EQ(configurations(), Texts({"0/0: 5"}));
}

TEST_F(ConfigurationParserTest, DuplicateCamerasAreRefused) {
  setCameraCount(2);
  EXPECT_EQ(parse(listOf({cameraText(2), cameraText(2, 90)}), "[]"), 16);
  EXPECT_TRUE(isLogged("Duplicate cameras found"));
}

// ---- Profiles ----

TEST_F(ConfigurationParserTest, ProfilesMustBeThere) {
  EXPECT_EQ(parse(listOf({cameraText(1)}), ""), 4);
  EXPECT_TRUE(isLogged("Could not get 'profiles': "));
}

TEST_F(ConfigurationParserTest, AProfileNeedsItsCamera) {
  Profile profile;
  profile.camera = "";
  EXPECT_EQ(parse(listOf({cameraText(1)}), listOf({profile.text()})), 4);
  EXPECT_TRUE(isLogged("Missing camera id paramter"));
  EXPECT_EQ(parse(listOf({cameraText(1)}), "[3]"), 4);
}

TEST_F(ConfigurationParserTest, AProfileOfAnUnknownCameraIsRefused) {
  EXPECT_EQ(parse(listOf({cameraText(1)}), listOf({profileText(5, 2)})), 16);
  EXPECT_TRUE(isLogged("Found invalid rotation for a camera"));
}

TEST_F(ConfigurationParserTest, WhatIsWrongWithAProfileIsTold) {
  Profile profile;
  profile.name = "\"\"";
  EXPECT_EQ(parse(listOf({cameraText(1)}), listOf({profile.text()})), 8);
  EXPECT_TRUE(isLogged("The name of the profile is not valid"));
  profile = Profile();
  profile.priority = "";
  EXPECT_EQ(parse(listOf({cameraText(1)}), listOf({profile.text()})), 4);
  EXPECT_TRUE(isLogged("Could not unpack data for the guard"));
}

TEST_F(ConfigurationParserTest, TheFirstFailureIsTold) {
  Profile nameless;
  nameless.name = "\"\"";
  Profile withoutTriggers;
  withoutTriggers.triggers = "[]";
  EXPECT_EQ(parse(listOf({cameraText(1)}), listOf({withoutTriggers.text(), nameless.text()})), 16);
  EXPECT_TRUE(isLogged("Could not find any triggers"));
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(ConfigurationParserTest, ProfilesWithTheSameUidAreRefused) {
  setCameraCount(2);
  const std::string cameras = listOf({cameraText(1), cameraText(2)});
  EXPECT_EQ(parse(cameras, listOf({profileText(5, 1), profileText(6, 1), profileText(5, 2)})), 16);
  EXPECT_TRUE(isLogged("Found profiles with the same uid"));
}

TEST_F(ConfigurationParserTest, AFixedCameraHasAtMostThreeProfiles) {
  const std::string cameras = listOf({cameraText(1)});
  Texts profiles;
  for (int uid = 1; uid <= 3; ++uid) {
    profiles.push_back(profileText(uid, 1));
  }
  EXPECT_EQ(parse(cameras, listOf(profiles)), 0);
  profiles.push_back(profileText(4, 1));
  EXPECT_EQ(parse(cameras, listOf(profiles)), 16);
  EXPECT_TRUE(isLogged("A camera has too many profiles attached to it"));
}

TEST_F(ConfigurationParserTest, ProfilesWithTheSameUidAreToldBeforeThatThereAreTooMany) {
  const Texts profiles(4, profileText(5, 1));
  EXPECT_EQ(parse(listOf({cameraText(1)}), listOf(profiles)), 16);
  EXPECT_TRUE(isLogged("Found profiles with the same uid"));
}

TEST_F(ConfigurationParserTest, AMechanicalHeadHasAtMostTenProfiles) {
  FakeParameters::set("root.Properties.PTZ.PTZ", "yes");
  const std::string cameras = listOf({cameraText(1)});
  Texts profiles;
  for (int uid = 1; uid <= 10; ++uid) {
    profiles.push_back(profileText(uid, 1));
  }
  EXPECT_EQ(parse(cameras, listOf(profiles)), 0);
  profiles.push_back(profileText(11, 1));
  EXPECT_EQ(parse(cameras, listOf(profiles)), 16);
}

TEST_F(ConfigurationParserTest, EachOfSeveralCamerasHasAtMostThreeProfiles) {
  setCameraCount(2);
  const std::string cameras = listOf({cameraText(1), cameraText(2)});
  Texts profiles;
  for (int uid = 1; uid <= 6; ++uid) {
    profiles.push_back(profileText(uid, 1 + uid % 2));
  }
  EXPECT_EQ(parse(cameras, listOf(profiles)), 0);
  profiles.push_back(profileText(7, 2));
  EXPECT_EQ(parse(cameras, listOf(profiles)), 16);
}

TEST_F(ConfigurationParserTest, TheLimitsOfTheProfilesAreThoseHandedIn) {
  boundaries.swayingPercentMax = 6;
  Profile profile;
  profile.filters = R"([{"type":"distanceSwayingObject","data":7,"active":true}])";
  EXPECT_EQ(parse(listOf({cameraText(1)}), listOf({profile.text()})), 8);
}

// ---- Configurations ----

TEST_F(ConfigurationParserTest, EveryActiveCameraHasAConfigurationWithItsProfiles) {
  setCameraCount(3);
  ASSERT_EQ(parse(listOf({cameraText(3, 270), cameraText(1), cameraText(2, 180)}),
                  listOf({profileText(5, 1), profileText(6, 3), profileText(7, 1)})),
            0);
  Texts made = configurations();
  std::sort(made.begin(), made.end());
  EXPECT_EQ(made, Texts({"1/0: 5 7", "2/180:", "3/270: 6"}));
}

TEST_F(ConfigurationParserTest, InactiveCamerasHaveNone) {
  setCameraCount(2);
  ASSERT_EQ(parse(listOf({cameraText(1, 0, false), cameraText(2)}),
                  listOf({profileText(5, 1), profileText(6, 2)})),
            0);
  EXPECT_EQ(configurations(), Texts({"2/0: 6"}));
}

TEST_F(ConfigurationParserTest, ProfilesOfInactiveCamerasAreCheckedAllTheSame) {
  Profile profile;
  profile.name = "\"\"";
  EXPECT_EQ(parse(listOf({cameraText(1, 0, false)}), listOf({profile.text()})), 8);
}

TEST_F(ConfigurationParserTest, NothingOfARefusedDocumentIsKept) {
  ASSERT_EQ(parse(listOf({cameraText(1)}), listOf({profileText(5, 1)})), 0);
  EXPECT_NE(parse(listOf({cameraText(1)}), listOf({profileText(6, 1), profileText(6, 1)})), 0);
  EXPECT_TRUE(configurations().empty());
}

TEST_F(ConfigurationParserTest, ADocumentReplacesTheOneBefore) {
  ASSERT_EQ(parse(listOf({cameraText(1)}), listOf({profileText(5, 1)})), 0);
  ASSERT_EQ(parse(listOf({cameraText(1, 90)}), listOf({profileText(6, 1)})), 0);
  EXPECT_EQ(configurations(), Texts({"1/90: 6"}));
}

TEST_F(ConfigurationParserTest, ClearingDropsEverything) {
  ASSERT_EQ(parse(listOf({cameraText(1)}), listOf({profileText(5, 1)})), 0);
  parser.clear();
  EXPECT_TRUE(configurations().empty());
}

TEST_F(ConfigurationParserTest, TheDefaultDocumentIsAccepted) {
  for (const bool withPresets : {false, true}) {
    const TrackerDefaultConfigCreator creator(withPresets);
    const JsonAutoPtr document = creator.create(DefaultValues(), "1.0");
    EXPECT_EQ(parse(toText(document.get(), JSON_COMPACT)), 0);
  }
  EXPECT_EQ(configurations(), Texts({"1/0: 1"}));
}

TEST_F(ConfigurationParserTest, OfTheDefaultDocumentOnlyTheActiveCameraIsConfigured) {
  setCameraCount(4);
  const TrackerDefaultConfigCreator creator(false);
  const JsonAutoPtr document = creator.create(DefaultValues(), "1.0");
  EXPECT_EQ(parse(toText(document.get(), JSON_COMPACT)), 0);
  EXPECT_EQ(configurations(), Texts({"1/0: 1"}));
}

}  // namespace
