#include "onvif_server/ptz_operations.h"

#include <gtest/gtest.h>

#include <cmath>

#include "device_onvif/call.h"
#include "onvif/namespaces.h"

namespace device::onvif {
namespace {

constexpr std::int64_t SECOND = 1000000;
constexpr char HEAD[] = "<ProfileToken>head</ProfileToken>";

HeadSetup headOfTheTest() {
  HeadSetup setup;
  setup.pan = {.speed = 100, .acceleration = 400, .low = -180, .high = 180, .endless = true};
  setup.tilt = {.speed = 100, .acceleration = 400, .low = -90, .high = 10};
  setup.zoomSpeed = 1000;
  setup.minZoom = 1;
  setup.maxZoom = 1001;
  setup.minFieldAngle = 6;
  setup.maxFieldAngle = 60;
  setup.aspectRatio = 2;
  setup.speedHold = 1;
  setup.home = {.pan = 0, .tilt = -40, .zoom = 1};
  return setup;
}

class PtzOperationsTest : public testing::Test {
 protected:
  PtzOperationsTest() { ptz.addTo(operations); }

  void pass(double seconds) { now += std::llround(seconds * 1e6); }

  CallAnswer ask(const std::string& name, const std::string& content = HEAD) {
    return call(operations, ns::PTZ, name, content);
  }
  std::string fault(const std::string& name, const std::string& content = HEAD) {
    return faultOf(operations, ns::PTZ, name, content);
  }
  HeadStatus status() { return drive.getHead().status(); }

  static std::string panTilt(const std::string& element, double x, double y,
                             const std::string& space = "") {
    return HEAD + ("<" + element + "><tt:PanTilt x=\"" + std::to_string(x) + "\" y=\"" +
                   std::to_string(y) + "\"" + (space.empty() ? "" : " space=\"" + space + "\"") +
                   "/></" + element + ">");
  }
  static std::string zoom(const std::string& element, double x, const std::string& space = "") {
    return HEAD + ("<" + element + "><tt:Zoom x=\"" + std::to_string(x) + "\"" +
                   (space.empty() ? "" : " space=\"" + space + "\"") + "/></" + element + ">");
  }

  std::int64_t now = 5000 * SECOND;
  HeadSetup setup = headOfTheTest();
  HeadDrive drive{setup, [this] { return now; }};
  std::vector<CameraProfile> profiles = {{.token = "head", .name = "Head"},
                                         {.token = "overview1", .name = "One", .camera = 1}};
  PtzOperations ptz{profiles, drive, [] { return 1767268800 * SECOND; }};
  Operations operations;
};

TEST_F(PtzOperationsTest, StatusTellsPositionMotionTimeAndFieldOfView) {
  const CallAnswer answer = ask("GetStatus").at("PTZStatus");
  // Tilt -40 is half the way from -90 to 10, pan 0 half the way round.
  EXPECT_NEAR(0, answer.at("PanTilt").number("x"), 1e-9);
  EXPECT_NEAR(0, answer.at("PanTilt").number("y"), 1e-9);
  EXPECT_EQ(space::POSITION, answer.at("PanTilt").attribute("space"));
  EXPECT_NEAR(0, answer.at("Zoom").number("x"), 1e-9);
  EXPECT_EQ("IDLE", answer.at("MoveStatus").at("PanTilt").text());
  EXPECT_EQ("IDLE", answer.at("MoveStatus").at("Zoom").text());
  EXPECT_EQ("2026-01-01T12:00:00.000Z", answer.at("UtcTime").text());
  EXPECT_NEAR(60, answer.at("FieldOfView").number("hfov"), 1e-9);
  EXPECT_NEAR(30, answer.at("FieldOfView").number("vfov"), 1e-9);
}

TEST_F(PtzOperationsTest, MoveByTenDegreesIsReadBack) {
  ask("AbsoluteMove", panTilt("Position", 10, -50, space::POSITION_DEGREES));
  pass(0.1);
  EXPECT_EQ("MOVING", ask("GetStatus").at("MoveStatus").at("PanTilt").text());
  pass(5);
  const CallAnswer answer = ask("GetStatus");
  EXPECT_EQ("IDLE", answer.at("MoveStatus").at("PanTilt").text());
  EXPECT_NEAR(10, answer.at("PanTilt").number("x") * 180, 1e-6);
  EXPECT_NEAR(-50, -90 + (answer.at("PanTilt").number("y") + 1) / 2 * 100, 1e-6);
  EXPECT_EQ(1, status().zoom);  // not spoken of
}

TEST_F(PtzOperationsTest, HeadMovesFromTheCommandOnThoughItTakesEffectLater) {
  HeadSetup slow = headOfTheTest();
  slow.link.latency = 0.3;
  slow.status = {.age = 0.2, .period = 0.1};
  HeadDrive far(slow, [this] { return now; });
  PtzOperations other(profiles, far, [] { return 0; });
  Operations table;
  other.addTo(table);
  const auto moveStatus = [&] {
    return call(table, ns::PTZ, "GetStatus", HEAD).at("MoveStatus").at("PanTilt").text();
  };
  EXPECT_EQ("IDLE", moveStatus());
  call(table, ns::PTZ, "AbsoluteMove", panTilt("Position", 0.1, 0));
  // On its way for 0.3 s, then 18 degrees: 0.43 s; told 0.2 s late.
  for (int i = 0; i < 17; ++i) {
    EXPECT_EQ("MOVING", moveStatus()) << i;
    pass(0.05);
  }
  pass(1);
  EXPECT_EQ("IDLE", moveStatus());
}

TEST_F(PtzOperationsTest, GenericPositionsAreTheWholeRange) {
  ask("AbsoluteMove", panTilt("Position", 0.5, 1));
  pass(5);
  EXPECT_NEAR(90, status().pan, 1e-6);
  EXPECT_NEAR(10, status().tilt, 1e-6);
  ask("AbsoluteMove", panTilt("Position", -0.25, -1));
  pass(5);
  EXPECT_NEAR(-45, status().pan, 1e-6);
  EXPECT_NEAR(-90, status().tilt, 1e-6);
  ask("AbsoluteMove", zoom("Position", 0.5));
  pass(5);
  EXPECT_EQ(501, status().zoom);
  EXPECT_NEAR(-45, status().pan, 1e-6);  // not spoken of
}

TEST_F(PtzOperationsTest, PositionsBeyondTheRangeAreRefusedAndMoveNothing) {
  EXPECT_EQ("ter:InvalidPosition", fault("AbsoluteMove", panTilt("Position", 1.01, 0)));
  EXPECT_EQ("ter:InvalidPosition", fault("AbsoluteMove", panTilt("Position", 0, -1.01)));
  EXPECT_EQ("ter:InvalidPosition",
            fault("AbsoluteMove", panTilt("Position", 0, 10.5, space::POSITION_DEGREES)));
  EXPECT_EQ("ter:InvalidPosition", fault("AbsoluteMove", zoom("Position", -0.1)));
  EXPECT_EQ("ter:SpaceNotSupported", fault("AbsoluteMove", panTilt("Position", 0, 0, "urn:x")));
  EXPECT_EQ("ter:InvalidArgs", fault("AbsoluteMove", std::string(HEAD) + "<Position/>"));
  EXPECT_EQ("ter:InvalidArgs", fault("AbsoluteMove"));
  pass(1);
  EXPECT_NEAR(0, status().pan, 1e-9);
  EXPECT_NEAR(-40, status().tilt, 1e-9);
}

TEST_F(PtzOperationsTest, EachNumberHasARangeAndEachVectorItsSpaces) {
  const auto withSpeed = [](const std::string& vector) {
    std::string speed = vector;
    speed.erase(0, std::string(HEAD).size());
    return panTilt("Position", 0.5, 0) + speed;
  };
  struct Refused {
    const char* operation;
    std::string content;
    const char* fault;
  };
  constexpr char NO_SPACE[] = "ter:SpaceNotSupported";
  constexpr char POSITION[] = "ter:InvalidPosition";
  constexpr char TRANSLATION[] = "ter:InvalidTranslation";
  constexpr char VELOCITY[] = "ter:InvalidVelocity";
  constexpr char SPEED[] = "ter:InvalidSpeed";
  const std::vector<Refused> table = {
      {"AbsoluteMove", panTilt("Position", 0, 0, space::VELOCITY), NO_SPACE},
      {"AbsoluteMove", zoom("Position", 0, space::ZOOM_VELOCITY), NO_SPACE},
      {"RelativeMove", panTilt("Translation", 0, 0, space::POSITION), NO_SPACE},
      {"RelativeMove", zoom("Translation", 0, space::ZOOM_POSITION), NO_SPACE},
      {"ContinuousMove", panTilt("Velocity", 0, 0, space::POSITION), NO_SPACE},
      {"ContinuousMove", zoom("Velocity", 0, space::ZOOM_POSITION), NO_SPACE},
      {"AbsoluteMove", withSpeed(panTilt("Speed", 1, 1, space::VELOCITY)), NO_SPACE},
      {"AbsoluteMove", withSpeed(zoom("Speed", 1, space::ZOOM_VELOCITY)), NO_SPACE},
      {"AbsoluteMove", panTilt("Position", -1.01, 0), POSITION},
      {"AbsoluteMove", panTilt("Position", 0, 1.01), POSITION},
      {"AbsoluteMove", panTilt("Position", 181, 0, space::POSITION_DEGREES), POSITION},
      {"AbsoluteMove", panTilt("Position", 0, -91, space::POSITION_DEGREES), POSITION},
      {"AbsoluteMove", zoom("Position", 1.01), POSITION},
      {"RelativeMove", panTilt("Translation", 1.01, 0), TRANSLATION},
      {"RelativeMove", panTilt("Translation", 0, -1.01), TRANSLATION},
      {"RelativeMove", panTilt("Translation", 181, 0, space::TRANSLATION_DEGREES), TRANSLATION},
      {"RelativeMove", panTilt("Translation", 0, -181, space::TRANSLATION_DEGREES), TRANSLATION},
      {"RelativeMove", panTilt("Translation", -1.01, 0, space::TRANSLATION_PICTURE), TRANSLATION},
      {"RelativeMove", panTilt("Translation", 0, 1.01, space::TRANSLATION_PICTURE), TRANSLATION},
      {"RelativeMove", zoom("Translation", 1.01), TRANSLATION},
      {"ContinuousMove", panTilt("Velocity", 0, -1.01), VELOCITY},
      {"ContinuousMove", zoom("Velocity", 1.01), VELOCITY},
      {"AbsoluteMove", withSpeed(panTilt("Speed", -0.1, 0)), SPEED},
      {"AbsoluteMove", withSpeed(panTilt("Speed", 0, 1.1)), SPEED},
      {"AbsoluteMove", withSpeed(panTilt("Speed", 101, 0, space::SPEED_DEGREES)), SPEED},
      {"AbsoluteMove", withSpeed(panTilt("Speed", 0, -1, space::SPEED_DEGREES)), SPEED},
      {"AbsoluteMove", withSpeed(zoom("Speed", 1.1)), SPEED}};
  for (const Refused& each : table) {
    EXPECT_EQ(each.fault, fault(each.operation, each.content)) << each.content;
  }
  pass(1);
  EXPECT_NEAR(0, status().pan, 1e-9);
  EXPECT_NEAR(-40, status().tilt, 1e-9);
  EXPECT_EQ(1, status().zoom);
}

TEST_F(PtzOperationsTest, NumbersHaveToBeFinite) {
  for (const char* x : {"NaN", "INF", "-INF", "1e999", "", "0,5", "1x"}) {
    EXPECT_EQ("ter:InvalidArgs",
              fault("AbsoluteMove", std::string(HEAD) + "<Position><tt:PanTilt y=\"0\" x=\"" + x +
                                        "\"/></Position>"))
        << x;
  }
}

TEST_F(PtzOperationsTest, SpeedLimitsTheMove) {
  ask("AbsoluteMove",
      panTilt("Position", 0.5, 0) + "<Speed><tt:PanTilt x=\"0.1\" y=\"0.1\"/></Speed>");
  pass(5);
  // At a tenth of 100 degrees per second, up to which it takes 0.025 s at 400: 50 less 0.125.
  EXPECT_NEAR(49.875, status().pan, 0.1);
  EXPECT_EQ("ter:InvalidSpeed",
            fault("AbsoluteMove", panTilt("Position", 0, 0) + "<Speed><tt:PanTilt x=\"2\" y=\"0\"/>"
                                                              "</Speed>"));
}

TEST_F(PtzOperationsTest, SpeedInDegreesIsThatOfTheAxis) {
  ask("AbsoluteMove", panTilt("Position", 0.5, 0) + "<Speed><tt:PanTilt x=\"20\" y=\"0\" space=\"" +
                          space::SPEED_DEGREES + "\"/></Speed>");
  pass(2);
  EXPECT_NEAR(39.5, status().pan, 0.2);  // 20 degrees per second, reached after 0.05 s
}

// One range for both axes, as the space has one; a slower axis goes as fast as it can.
TEST_F(PtzOperationsTest, SpeedInDegreesGoesUpToThatOfTheFasterAxis) {
  setup.tilt.speed = 50;
  const auto at = [](const char* speed) {
    return panTilt("Position", 0.5, 0) + "<Speed><tt:PanTilt x=\"0\" y=\"" + speed + "\" space=\"" +
           space::SPEED_DEGREES + "\"/></Speed>";
  };
  HeadDrive uneven{setup, [this] { return now; }};
  PtzOperations unevenPtz{profiles, uneven, [] { return 0; }};
  Operations unevenOperations;
  unevenPtz.addTo(unevenOperations);
  EXPECT_EQ("", faultOf(unevenOperations, ns::PTZ, "AbsoluteMove", at("100")));
  EXPECT_EQ("ter:InvalidSpeed", faultOf(unevenOperations, ns::PTZ, "AbsoluteMove", at("101")));
}

TEST_F(PtzOperationsTest, ContinuousMoveEndsByItselfWhenItsTimeIsOver) {
  ask("ContinuousMove", panTilt("Velocity", 0.5, 0) + "<Timeout>PT0.5S</Timeout>");
  pass(0.4);
  EXPECT_TRUE(status().panMoving);
  pass(1);
  EXPECT_FALSE(status().panMoving);
  // 50 degrees per second for 0.5 s; what speeding up lacks, braking adds.
  EXPECT_NEAR(25, status().pan, 0.5);
}

TEST_F(PtzOperationsTest, ContinuousMoveHoldsBeyondTheHeadsOwnTime) {
  ask("ContinuousMove", panTilt("Velocity", 0.1, 0) + "<Timeout>PT5S</Timeout>");
  pass(4.9);
  EXPECT_TRUE(status().panMoving);
  pass(1);
  EXPECT_FALSE(status().panMoving);
  EXPECT_NEAR(50, status().pan, 0.5);
}

TEST_F(PtzOperationsTest, ContinuousMoveWithoutTimeoutHasTheHeadsOwnTime) {
  ask("ContinuousMove", panTilt("Velocity", 0.1, 0));
  pass(3);
  EXPECT_FALSE(status().panMoving);
  EXPECT_NEAR(10, status().pan, 0.5);
  EXPECT_EQ("PT1S", ask("GetConfigurations", "").at("DefaultPTZTimeout").text());
}

TEST_F(PtzOperationsTest, HeadWithoutTimeOfItsOwnIsGivenOne) {
  HeadSetup endless = headOfTheTest();
  endless.speedHold = std::numeric_limits<double>::infinity();
  HeadDrive restless(endless, [this] { return now; });
  PtzOperations other(profiles, restless, [] { return 0; });
  Operations table;
  other.addTo(table);
  EXPECT_EQ("PT10S", call(table, ns::PTZ, "GetConfigurations").at("DefaultPTZTimeout").text());
  call(table, ns::PTZ, "ContinuousMove", panTilt("Velocity", 0.1, 0));
  pass(12);
  EXPECT_FALSE(restless.getHead().status().panMoving);
}

TEST_F(PtzOperationsTest, TimeoutsBeyondTheOptionsAreRefused) {
  for (const char* timeout : {"PT0.05S", "PT61S", "PT0S", "-PT1S", "soon"}) {
    EXPECT_EQ(
        "ter:TimeoutNotSupported",
        fault("ContinuousMove", panTilt("Velocity", 1, 0) + "<Timeout>" + timeout + "</Timeout>"))
        << timeout;
  }
  pass(1);
  EXPECT_NEAR(0, status().pan, 1e-9);
}

TEST_F(PtzOperationsTest, AxisThatIsNotSpokenOfIsLeftAlone) {
  ask("ContinuousMove", panTilt("Velocity", 0.2, 0) + "<Timeout>PT10S</Timeout>");
  ask("ContinuousMove", zoom("Velocity", 0.5) + "<Timeout>PT10S</Timeout>");
  pass(1);
  EXPECT_TRUE(status().panMoving);
  EXPECT_TRUE(status().zoomMoving);
  ask("Stop", std::string(HEAD) + "<PanTilt>false</PanTilt><Zoom>true</Zoom>");
  pass(1);
  EXPECT_TRUE(status().panMoving);
  EXPECT_FALSE(status().zoomMoving);
}

TEST_F(PtzOperationsTest, StopStopsAllUnlessToldOtherwise) {
  ask("ContinuousMove", panTilt("Velocity", 0.2, 0.1) + "<Timeout>PT10S</Timeout>");
  ask("ContinuousMove", zoom("Velocity", 0.5) + "<Timeout>PT10S</Timeout>");
  pass(1);
  ask("Stop");
  pass(1);
  EXPECT_FALSE(status().moving());
}

TEST_F(PtzOperationsTest, VelocityOfZeroStops) {
  ask("ContinuousMove", panTilt("Velocity", 0.2, 0) + "<Timeout>PT10S</Timeout>");
  pass(1);
  ask("ContinuousMove", panTilt("Velocity", 0, 0));
  pass(0.5);
  EXPECT_FALSE(status().panMoving);
}

TEST_F(PtzOperationsTest, LastCommandCountsWhoeverGivesIt) {
  ask("ContinuousMove", panTilt("Velocity", 0.5, 0) + "<Timeout>PT20S</Timeout>");
  pass(1);
  drive.getHead().command(
      {.pan = {MoveKind::absolute, -20}, .tilt = {MoveKind::absolute, -40}, .zoom = {}});
  pass(5);
  EXPECT_NEAR(-20, status().pan, 1e-6);
  pass(10);
  EXPECT_NEAR(-20, status().pan, 1e-6);
}

TEST_F(PtzOperationsTest, VelocitiesBeyondTheRangeAreRefused) {
  EXPECT_EQ("ter:InvalidVelocity", fault("ContinuousMove", panTilt("Velocity", 1.1, 0)));
  EXPECT_EQ("ter:InvalidVelocity", fault("ContinuousMove", zoom("Velocity", -1.1)));
}

TEST_F(PtzOperationsTest, RelativeMovesAreWaysFromHere) {
  ask("AbsoluteMove", panTilt("Position", 20, -30, space::POSITION_DEGREES));
  pass(5);
  ask("RelativeMove", panTilt("Translation", 10, -5, space::TRANSLATION_DEGREES));
  pass(5);
  EXPECT_NEAR(30, status().pan, 1e-6);
  EXPECT_NEAR(-35, status().tilt, 1e-6);
  ask("RelativeMove", panTilt("Translation", 0.1, 0.1));  // of 180 and of 50 degrees
  pass(5);
  EXPECT_NEAR(48, status().pan, 1e-6);
  EXPECT_NEAR(-30, status().tilt, 1e-6);
  ask("RelativeMove", zoom("Translation", 0.2));
  pass(5);
  EXPECT_EQ(201, status().zoom);
}

TEST_F(PtzOperationsTest, RelativeMoveRunsAlongTheLimit) {
  ask("RelativeMove", panTilt("Translation", 0, 120, space::TRANSLATION_DEGREES));
  pass(5);
  EXPECT_NEAR(10, status().tilt, 1e-6);
  ask("RelativeMove", zoom("Translation", -1));
  pass(5);
  EXPECT_EQ(1, status().zoom);
}

TEST_F(PtzOperationsTest, WhatIsInThePictureComesToItsCentre) {
  ask("AbsoluteMove", panTilt("Position", 0, 0, space::POSITION_DEGREES));
  pass(5);
  ask("RelativeMove", panTilt("Translation", 1, 0, space::TRANSLATION_PICTURE));
  pass(5);
  EXPECT_NEAR(30, status().pan, 0.05);  // half the picture of 60 degrees, straight ahead
  EXPECT_NEAR(0, status().tilt, 0.05);
  ask("RelativeMove", panTilt("Translation", 0, -1, space::TRANSLATION_PICTURE));
  pass(5);
  // Half the height of a picture twice as wide as high: tangent of 30 degrees, halved.
  EXPECT_NEAR(-std::atan(std::tan(30 * M_PI / 180) / 2) * 180 / M_PI, status().tilt, 0.05);
}

TEST_F(PtzOperationsTest, HomeIsTheInstallations) {
  ask("AbsoluteMove", panTilt("Position", 0.5, 0));
  pass(5);
  ask("GotoHomePosition");
  pass(5);
  EXPECT_NEAR(0, status().pan, 1e-6);
  EXPECT_EQ("ter:CannotOverwriteHome", fault("SetHomePosition"));
}

TEST_F(PtzOperationsTest, PresetsAreKeptNamedFoundAndRemoved) {
  ask("AbsoluteMove", panTilt("Position", 0.5, 0));
  pass(5);
  const std::string token =
      ask("SetPreset", std::string(HEAD) + "<PresetName>door &amp; gate</PresetName>")
          .at("PresetToken")
          .text();
  EXPECT_EQ("1", token);
  ask("GotoHomePosition");
  pass(5);
  ask("GotoPreset", std::string(HEAD) + "<PresetToken>1</PresetToken>");
  pass(5);
  EXPECT_NEAR(90, status().pan, 1e-6);
  const CallAnswer presets = ask("GetPresets");
  EXPECT_EQ(1, presets.count("Preset"));
  EXPECT_EQ("1", presets.at("Preset").attribute("token"));
  EXPECT_EQ("door & gate", presets.at("Name").text());
  EXPECT_NEAR(0.5, presets.at("PanTilt").number("x"), 1e-6);
  ask("RemovePreset", std::string(HEAD) + "<PresetToken>1</PresetToken>");
  EXPECT_EQ(0, ask("GetPresets").count("Preset"));
  EXPECT_EQ("ter:NoToken", fault("GotoPreset", std::string(HEAD) + "<PresetToken>1</PresetToken>"));
}

TEST_F(PtzOperationsTest, PresetsOfTheDaemonAreThereAsWell) {
  drive.getHead().setPreset(7);
  EXPECT_EQ("Preset 7", ask("GetPresets").at("Name").text());
  EXPECT_EQ("1", ask("SetPreset").at("PresetToken").text());
}

TEST_F(PtzOperationsTest, PresetIsNotSetTwiceUnderOneNameNorWhileMoving) {
  const std::string door = std::string(HEAD) + "<PresetName>door</PresetName>";
  ask("SetPreset", door);
  EXPECT_EQ("ter:PresetExist", fault("SetPreset", door));
  EXPECT_EQ("", fault("SetPreset", door + "<PresetToken>1</PresetToken>"));
  EXPECT_EQ("ter:NoToken", fault("SetPreset", door + "<PresetToken>9</PresetToken>"));
  ask("ContinuousMove", panTilt("Velocity", 1, 0));
  pass(0.2);
  EXPECT_EQ("ter:MovingPTZ", fault("SetPreset"));
}

TEST_F(PtzOperationsTest, PresetIsNotSetWhileACommandIsOnItsWay) {
  HeadSetup late = headOfTheTest();
  late.link.latency = 0.3;
  HeadDrive slow{late, [this] { return now; }};
  PtzOperations slowPtz{profiles, slow, [] { return 0; }};
  Operations slowOperations;
  slowPtz.addTo(slowOperations);
  call(slowOperations, ns::PTZ, "ContinuousMove", panTilt("Velocity", 1, 0));
  pass(0.2);
  ASSERT_FALSE(slow.getHead().status().moving());
  EXPECT_EQ("ter:MovingPTZ", faultOf(slowOperations, ns::PTZ, "SetPreset", HEAD));
}

TEST_F(PtzOperationsTest, PresetsHaveANumber) {
  for (int i = 0; i < PtzOperations::MOST_PRESETS; ++i) {
    ask("SetPreset");
  }
  EXPECT_EQ("ter:TooManyPresets", fault("SetPreset"));
}

TEST_F(PtzOperationsTest, OnlyTheHeadMoves) {
  EXPECT_EQ("ter:NoPTZProfile", fault("GetStatus", "<ProfileToken>overview1</ProfileToken>"));
  EXPECT_EQ("ter:NoProfile", fault("GetStatus", "<ProfileToken>other</ProfileToken>"));
  EXPECT_EQ("ter:InvalidArgs", fault("GetStatus", ""));
}

TEST_F(PtzOperationsTest, SpacesAreListedGenericFirstWithFiniteRanges) {
  for (const auto& [name, content] : std::vector<std::pair<std::string, std::string>>{
           {"GetNodes", ""},
           {"GetNode", "<NodeToken>head_node</NodeToken>"},
           {"GetConfigurationOptions", "<ConfigurationToken>head_ptz</ConfigurationToken>"}}) {
    const CallAnswer answer = ask(name, content);
    EXPECT_EQ(space::POSITION, answer.at("AbsolutePanTiltPositionSpace").at("URI").text());
    const CallAnswer degrees = answer.at("AbsolutePanTiltPositionSpace", 1);
    EXPECT_EQ(space::POSITION_DEGREES, degrees.at("URI").text());
    EXPECT_EQ("-180", degrees.at("XRange").at("Min").text());
    EXPECT_EQ("10", degrees.at("YRange").at("Max").text());
    EXPECT_EQ(3, answer.count("RelativePanTiltTranslationSpace"));
  }
  EXPECT_EQ("PT0.1S",
            ask("GetConfigurationOptions", "<ConfigurationToken>head_ptz</ConfigurationToken>")
                .at("PTZTimeout")
                .at("Min")
                .text());
  EXPECT_EQ("ter:NoEntity", fault("GetNode", "<NodeToken>other</NodeToken>"));
  EXPECT_EQ("ter:NoConfig",
            fault("GetConfigurationOptions", "<ConfigurationToken>other</ConfigurationToken>"));
}

}  // namespace
}  // namespace device::onvif
