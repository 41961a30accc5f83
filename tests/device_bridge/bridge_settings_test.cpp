#include "bridge/bridge_settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jansson.h>
#include <sys/stat.h>

#include <fstream>
#include <functional>
#include <string>

#include "base/json_auto_ptr.h"
#include "bridge/told_parameters.h"
#include "support/source_folder.h"
#include "support/temporary_folder.h"

namespace device::bridge {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr char HEAD[] = R"("head": {"address": "http://a/", "field_angles": [2.5, 63.4]})";
constexpr char CAMERA[] =
    R"({"address": "http://b/", "horizontal_fov": 27, "vertical_fov": 15.4, "pan": 10})";

std::string whole(const std::string& more = "") {
  return std::string("{") + HEAD + R"(, "cameras": [)" + CAMERA + "]" + more + "}";
}

std::string complaintOf(const std::string& json) {
  try {
    settingsOf(json, "cameras.json");
    return "";
  } catch (const SettingsError& error) {
    return error.what();
  }
}

TEST(BridgeSettingsTest, LeastSettingsAreAHeadAndACamera) {
  const BridgeSettings settings = settingsOf(whole(), "cameras.json");
  EXPECT_EQ("http://a/", settings.head.address.device);
  EXPECT_DOUBLE_EQ(63.4, settings.head.told.fieldAngles.high);
  EXPECT_DOUBLE_EQ(10, settings.cameras.at(0).pan);
  EXPECT_DOUBLE_EQ(0.5, settings.cameras[0].wishes.likelihood);
  EXPECT_EQ("predictive", settings.following);
}

TEST(BridgeSettingsTest, WhatIsNotSetUpIsMissing) {
  EXPECT_EQ("The head is not set up", settingsOf("{}", "cameras.json").whatIsMissing());
  EXPECT_EQ("No camera is set up",
            settingsOf(std::string("{") + HEAD + "}", "cameras.json").whatIsMissing());
  EXPECT_EQ("", settingsOf(whole(), "cameras.json").whatIsMissing());
}

TEST(BridgeSettingsTest, OnlyWhatTheApplicationIsToldMakesADifferenceToIt) {
  const BridgeSettings settings = settingsOf(whole(), "cameras.json");
  BridgeSettings other = settings;
  other.cameras[0].address.device = "http://c/";
  other.head.told.invertPanSpeed = true;
  other.head.believesMoves = false;
  EXPECT_TRUE(isToldAlike(settings, other));
  other.cameras[0].distortion = 0.02;
  EXPECT_FALSE(isToldAlike(settings, other));
  EXPECT_EQ("0.020000", parametersOf(other, false).at("root.PTZ.RemoteCenter.C1.Distortion"));
  EXPECT_FALSE(parametersOf(settings, false).contains("root.PTZ.RemoteCenter.C1.Distortion"));
  other = settings;
  other.head.told.fieldAngles.low = 3;
  EXPECT_FALSE(isToldAlike(settings, other));
  other = settings;
  other.cameras[0].horizontalFov = 30;
  EXPECT_FALSE(isToldAlike(settings, other));
}

// It reads the limits at its start.
TEST(BridgeSettingsTest, WhereTheHeadStopsMakesADifferenceToTheApplication) {
  const BridgeSettings settings = settingsOf(whole(), "cameras.json");
  const auto isAlikeWith = [&](const auto& change) {
    BridgeSettings other = settings;
    change(other.head.told);
    return isToldAlike(settings, other);
  };
  EXPECT_FALSE(isAlikeWith([](HeadTold& told) { told.panEnds = Range{-100, 100}; }));
  EXPECT_FALSE(isAlikeWith([](HeadTold& told) { told.tiltEnds = Range{-80, 10}; }));
  EXPECT_FALSE(isAlikeWith([](HeadTold& told) { told.invertPan = true; }));
  EXPECT_FALSE(isAlikeWith([](HeadTold& told) { told.invertTilt = true; }));
}

// It reads the way of following as it runs.
TEST(BridgeSettingsTest, WayOfFollowingMakesADifferenceOnlyWhereACameraStandsBesideTheHead) {
  BridgeSettings settings = settingsOf(whole(), "cameras.json");
  BridgeSettings other = settings;
  other.following = "specified";
  EXPECT_TRUE(isToldAlike(settings, other));
  EXPECT_TRUE(isToldAlike(other, settings));
  other.mastHeight = 7;
  EXPECT_FALSE(isToldAlike(settings, other));
  settings.cameras[0].offsetX = 0.5;
  other = settings;
  other.following = "specified";
  EXPECT_FALSE(isToldAlike(settings, other));
  EXPECT_FALSE(isToldAlike(other, settings));
}

TEST(BridgeSettingsTest, FaultsAreToldWithTheirPlace) {
  EXPECT_THAT(complaintOf("{"), HasSubstr("cameras.json, line 1"));
  EXPECT_THAT(complaintOf(std::string("{") + HEAD + R"(, "cameras": {}})"),
              HasSubstr("cameras has to be a list"));
  EXPECT_THAT(complaintOf(whole(R"(, "mast_hight": 3)")), HasSubstr("mast_hight is not known"));
  EXPECT_THAT(complaintOf(whole(R"(, "mast_height": 0)")), HasSubstr("from 0.5 to 200"));
  EXPECT_THAT(complaintOf(whole(R"(, "following": "blind")")), HasSubstr("following"));
  EXPECT_THAT(complaintOf(R"({"head": {"address": "http://a/"}})"), HasSubstr("head.field_angles"));
  EXPECT_THAT(complaintOf(R"({"head": {"address": 3}})"), HasSubstr("head.address"));
  EXPECT_THAT(complaintOf(std::string("{") + HEAD + R"(, "cameras": [{}]})"),
              HasSubstr("cameras[0].address is missing"));
  EXPECT_THAT(complaintOf(R"({"head": {"address": "http://a/", "field_angles": [2, 60],
                             "zoom_table": [[0, 60], [0.5, 70]]}})"),
              HasSubstr("zoom_table"));
}

TEST(BridgeSettingsTest, AddressWithAPasswordIsRefusedAndNotRepeated) {
  const std::string complaint =
      complaintOf(R"({"head": {"address": "http://anna:secret@a/", "field_angles": [2.5, 63.4]}})");
  EXPECT_THAT(complaint, HasSubstr("head.address has no user and no password"));
  EXPECT_THAT(complaint, Not(HasSubstr("secret")));
}

TEST(BridgeSettingsTest, PageIsToldTheWholeCalibration) {
  BridgeSettings settings = settingsOf(whole(), "cameras.json");
  settings.cameras[0].roll = -2;
  settings.cameras[0].distortion = 0.02;
  settings.cameras[0].offsetX = 0.5;
  settings.cameras[0].offsetY = -0.25;
  const JsonAutoPtr json(json_loads(modelJsonOf(settings, "Head").c_str(), 0, nullptr));
  const json_t* channel = json_array_get(json_object_get(json.get(), "channels"), 0);
  const auto number = [channel](const char* key) {
    return json_real_value(json_object_get(channel, key));
  };
  EXPECT_DOUBLE_EQ(10, number("pan"));
  EXPECT_DOUBLE_EQ(-2, number("roll"));
  EXPECT_DOUBLE_EQ(0.02, number("distortion"));
  EXPECT_DOUBLE_EQ(0.5, number("offset_x_m"));
  EXPECT_DOUBLE_EQ(-0.25, number("offset_y_m"));
}

TEST(BridgeSettingsTest, ApplicationIsToldWhatItAsksADeviceFor) {
  const auto parameters = parametersOf(
      settingsOf(whole(R"(, "mast_height": 7.5, "parameters": {"ImageSource.I0.Name": "Gate"})"),
                 "cameras.json"),
      false);
  EXPECT_EQ("1", parameters.at("root.ImageSource.NbrOfSources"));
  EXPECT_EQ("16:9", parameters.at("root.ImageSource.I0.Sensor.AspectRatio"));
  EXPECT_EQ("10.0000", parameters.at("root.PTZ.RemoteCenter.C1.Pan"));
  EXPECT_EQ("7.500", parameters.at("root.SentrelVideo.MastHeight"));
  EXPECT_EQ("Gate", parameters.at("root.ImageSource.I0.Name"));
  EXPECT_EQ("2.14", parameters.at("root.Properties.EmbeddedDevelopment.Version"));
}

TEST(BridgeSettingsTest, OffsetIsToldOnceAndToWhoeverStandsOnTheGroundByIt) {
  BridgeSettings settings = settingsOf(whole(R"(, "mast_height": 7.5)"), "cameras.json");
  settings.cameras[0].offsetX = 0.5;
  settings.cameras[0].offsetY = -0.25;
  const auto predictive = parametersOf(settings, false);
  EXPECT_EQ("0.500", predictive.at("root.SentrelVideo.Overview.C1.OffsetX"));
  EXPECT_EQ("-0.250", predictive.at("root.SentrelVideo.Overview.C1.OffsetY"));
  EXPECT_FALSE(predictive.contains("root.PTZ.RemoteCenter.C1.OffsetX"));
  settings.following = "specified";
  const auto specified = parametersOf(settings, false);
  EXPECT_FALSE(specified.contains("root.SentrelVideo.Overview.C1.OffsetX"));
  EXPECT_EQ("0.500", specified.at("root.PTZ.RemoteCenter.C1.OffsetX"));
  EXPECT_EQ("-0.250", specified.at("root.PTZ.RemoteCenter.C1.OffsetY"));
  EXPECT_EQ("6.600", specified.at("root.PTZ.RemoteCenter.C1.Height")) << "above people's middles";
  EXPECT_EQ("6.600", specified.at("root.PTZ.RemoteCenter.C1.HeadHeight"));
}

// What the schema lists at a place, each given a value of no type that any has.
void expectKnown(json_t* part, const std::string& place,
                 const std::function<std::string(const std::string& key)>& settingsWith) {
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(json_object_get(part, "properties"), key, value) {
    EXPECT_THAT(complaintOf(settingsWith(std::string("\"") + key + "\": null")),
                AllOf(HasSubstr(place + key + " "), Not(HasSubstr("is not known"))));
  }
}

TEST(BridgeSettingsTest, EverythingThatTheSchemaListsIsRead) {
  const auto file = sourceFolder() / "device" / "bridge" / "settings.schema.json";
  const JsonAutoPtr schema(json_load_file(file.c_str(), 0, nullptr));
  ASSERT_NE(nullptr, schema.get());
  json_t* properties = json_object_get(schema.get(), "properties");
  json_t* head = json_object_get(properties, "head");
  json_t* camera = json_object_get(json_object_get(properties, "cameras"), "items");
  ASSERT_LT(10U, json_object_size(json_object_get(head, "properties")));
  ASSERT_LT(10U, json_object_size(json_object_get(camera, "properties")));
  expectKnown(schema.get(), "", [](const std::string& wrong) {
    const std::string name = wrong.substr(1, wrong.find('"', 1) - 1);
    return name == "head"      ? "{" + wrong + "}"
           : name == "cameras" ? std::string("{") + HEAD + ", " + wrong + "}"
                               : whole(", " + wrong);
  });
  expectKnown(head, "head.", [](const std::string& wrong) {
    const std::string others = R"("address": "http://a/", "field_angles": [2, 60])";
    const bool isOther = others.find(wrong.substr(0, wrong.find(':'))) != std::string::npos;
    return "{\"head\": {" +
           (!isOther                                     ? others + ", "
            : wrong.find("address") == std::string::npos ? R"("address": "http://a/", )"
                                                         : std::string()) +
           wrong + "}}";
  });
  expectKnown(camera, "cameras[0].", [](const std::string& wrong) {
    std::string item;
    for (const char* other :
         {R"("address": "http://b/")", R"("horizontal_fov": 27)", R"("vertical_fov": 15.4)"}) {
      const bool isSame = wrong.substr(0, wrong.find(':')) ==
                          std::string(other).substr(0, std::string(other).find(':'));
      item += isSame ? "" : std::string(other) + ", ";
    }
    return std::string("{") + HEAD + R"(, "cameras": [{)" + item + wrong + "}]}";
  });
}

class CredentialsTest : public testing::Test {
 protected:
  std::string write(const std::string& text, mode_t mode) {
    const std::string path = folder / "credentials.json";
    std::ofstream(path) << text;
    chmod(path.c_str(), mode);
    return path;
  }

  std::string complaintOf(const std::string& path) {
    try {
      readCredentials(path);
      return "";
    } catch (const SettingsError& error) {
      return error.what();
    }
  }

  TemporaryFolder folder;
};

constexpr char GOOD[] = R"({"gate": {"user": "anna", "password": "secret word"}})";

TEST_F(CredentialsTest, FileOfTheOwnerAloneIsRead) {
  const Credentials credentials = readCredentials(write(GOOD, 0600));
  EXPECT_EQ("secret word", loginOf(credentials, "gate").password);
  EXPECT_EQ("", loginOf(credentials, "").user);
  EXPECT_THROW(loginOf(credentials, "door"), SettingsError);
}

TEST_F(CredentialsTest, FileThatOthersCanReadIsRefused) {
  for (const mode_t mode : {0640U, 0604U, 0620U}) {
    EXPECT_THAT(complaintOf(write(GOOD, mode)), HasSubstr("mode 0600"));
  }
}

TEST_F(CredentialsTest, FaultsAreToldWithoutAWordOfTheFile) {
  for (const char* text : {R"({"gate": {"user": "anna", "password": "secret word")",
                           R"({"gate": {"password": "secret word"}})", R"(["secret word"])"}) {
    const std::string words = complaintOf(write(text, 0600));
    EXPECT_NE("", words);
    EXPECT_THAT(words, Not(HasSubstr("secret")));
  }
}

}  // namespace
}  // namespace device::bridge
