// The page's set-up against the product's own ONVIF side, in one process.
#include "bridge/set_up.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/json_auto_ptr.h"
#include "device_services/private_bus.h"
#include "onvif_server/onvif_camera.h"
#include "support/main_loop.h"
#include "support/source_folder.h"
#include "support/temporary_folder.h"

namespace device::bridge {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char USER[] = "anna";
constexpr char PASSWORD[] = "secret word";

class SetUpTest : public testing::Test {
 protected:
  SetUpTest() : model(loadModel(modelsFolder(), "perfect")) {
    options.user = WebUser{USER, PASSWORD};
    camera = std::make_unique<onvif::OnvifCamera>(
        options, onvif::OnvifSources{model, world, drive, events, [] { return 20.0; },
                                     [](const std::string&) {}});
  }

  // What was answered; the data of what went well.
  JsonAutoPtr ask(const std::string& method, const std::string& params = "{}") {
    const WebAnswer answer =
        setUp.answer(R"({"method": ")" + method + R"(", "params": )" + params + "}");
    everythingSaid += answer.body;
    JsonAutoPtr json(json_loads(answer.body.c_str(), 0, nullptr));
    trouble = "";
    if (answer.status != SOUP_STATUS_OK) {
      const json_t* error = json_object_get(json.get(), "error");
      trouble = json_string_value(json_object_get(error, "message"));
    }
    return JsonAutoPtr(json_incref(json_object_get(json.get(), "data")));
  }

  JsonAutoPtr state(const char* part) {
    return JsonAutoPtr(json_incref(json_object_get(ask("getSetUp").get(), part)));
  }

  bool isRunning(const char* part) {
    return json_is_true(json_object_get(state(part).get(), "running"));
  }

  void inspect(const std::string& password = PASSWORD) {
    ask("inspect", R"({"address": ")" + camera->url() + R"(", "user": "anna", "password": ")" +
                       password + "\"}");
    ASSERT_EQ("", trouble);
    ASSERT_TRUE(iterateUntil([this] { return !isRunning("camera"); }));
  }

  std::vector<std::string> wordsOf(const char* part) {
    std::vector<std::string> words;
    const JsonAutoPtr whole = state(part);
    std::size_t index = 0;
    const json_t* word = nullptr;
    json_array_foreach(json_object_get(whole.get(), "words"), index, word) {
      words.emplace_back(json_string_value(word));
    }
    return words;
  }

  void useHead() {
    ask("useHead", R"({"profile": "head", "told": {"field_angles": [2.5, 63.4]}})");
    ASSERT_EQ("", trouble);
  }
  void useCamera() {
    ask("useCamera", R"({"profile": "overview1",
                         "told": {"name": "Gate", "horizontal_fov": 60, "vertical_fov": 36}})");
    ASSERT_EQ("", trouble);
  }

  DbusDaemon bus;
  GObjectPtr<GDBusConnection> connection = connectToSystemBus();
  EventService events{connection.get()};
  Model model;
  World world{model.world, {}};
  HeadDrive drive{model.head, g_get_monotonic_time};
  onvif::OnvifOptions options;
  std::unique_ptr<onvif::OnvifCamera> camera;
  TemporaryFolder folder;
  SettingsFiles files{folder / "cameras.json", folder / "credentials.json"};
  int changes = 0;
  std::vector<bool> held;
  std::function<void()> whileItStops = [] {};
  std::function<void()> whileItChanges = [] {};
  std::vector<onvif::FoundCamera> around;
  std::optional<bridge::RemoteHead::Zoom> zoomTold;
  std::string trouble;
  std::string everythingSaid;
  bridge::SetUp setUp{{.files = files,
                       .changed =
                           [this] {
                             ++changes;
                             whileItChanges();
                           },
                       .holdHead =
                           [this](bool isHeld) {
                             held.push_back(isHeld);
                             if (isHeld) {
                               whileItStops();
                             }
                           },
                       .find = [this] { return around; },
                       .zoomTold = [this] { return zoomTold; }}};
};

TEST_F(SetUpTest, CamerasThatAreFoundAreListed) {
  around = {{"urn:uuid:1", "Gate", "M1", {"http://10.0.0.2/onvif/device_service"}}};
  ask("search");
  ASSERT_TRUE(iterateUntil([this] { return !isRunning("search"); }));
  const JsonAutoPtr search = state("search");
  const json_t* first = json_array_get(json_object_get(search.get(), "cameras"), 0);
  EXPECT_STREQ("Gate", json_string_value(json_object_get(first, "name")));
  EXPECT_STREQ("http://10.0.0.2/onvif/device_service",
               json_string_value(json_object_get(first, "address")));
}

TEST_F(SetUpTest, CameraIsToldInPlainWords) {
  inspect();
  EXPECT_THAT(wordsOf("camera"), AllOf(Contains("It moves a head, by the profile Head (head)"),
                                       Contains("Its positions are degrees"),
                                       Contains(HasSubstr("It tells objects, by the profile"))));
}

TEST_F(SetUpTest, WrongPasswordIsToldInWordsAndNothingIsKept) {
  inspect("guess");
  const JsonAutoPtr told = state("camera");
  EXPECT_THAT(json_string_value(json_object_get(told.get(), "trouble")),
              HasSubstr("does not accept the user or the password"));
  ask("useHead", R"({"profile": "head", "told": {"field_angles": [2.5, 63.4]}})");
  EXPECT_EQ("Say first which camera", trouble);
  EXPECT_THAT(everythingSaid, Not(HasSubstr("guess")));
  EXPECT_EQ(0, changes);
}

TEST_F(SetUpTest, HeadAndCameraAreWrittenAndTaken) {
  inspect();
  useHead();
  EXPECT_EQ(1, changes);
  EXPECT_EQ("No camera is set up", files.getSettings().whatIsMissing());
  useCamera();
  EXPECT_EQ(2, changes);
  const BridgeSettings& settings = files.getSettings();
  EXPECT_EQ("", settings.whatIsMissing());
  EXPECT_EQ(camera->url(), settings.head.address.device);
  EXPECT_EQ("head", settings.head.address.profile);
  EXPECT_EQ("Gate", settings.cameras.at(0).name);
  const onvif::Login login = loginOf(files.getCredentials(), settings.cameras[0].address.login);
  EXPECT_EQ(USER, login.user);
  EXPECT_EQ(PASSWORD, login.password);
  EXPECT_THAT(everythingSaid, Not(HasSubstr(PASSWORD)));
}

TEST_F(SetUpTest, KnownCameraNeedsItsPasswordNoMore) {
  inspect();
  useHead();
  ask("inspect", R"({"address": "127.0.0.1:1"})");
  ask("inspect", R"({"head": true})");
  ASSERT_TRUE(iterateUntil([this] { return !isRunning("camera"); }));
  EXPECT_THAT(wordsOf("camera"), Contains("Its positions are degrees"));
}

TEST_F(SetUpTest, CalibrationGoesIntoTheCameraThatThereIs) {
  inspect();
  useHead();
  useCamera();
  ask("useCamera", R"({"number": 1, "told": {"pan": 12.5, "tilt": -25, "distortion": 0.01}})");
  ASSERT_EQ("", trouble);
  const OverviewSettings& gate = files.getSettings().cameras.at(0);
  EXPECT_DOUBLE_EQ(12.5, gate.pan);
  EXPECT_DOUBLE_EQ(0.01, gate.distortion);
  EXPECT_DOUBLE_EQ(60, gate.horizontalFov);
  ask("useCamera", R"({"number": 2, "told": {"pan": 1}})");
  EXPECT_EQ("There is no such camera", trouble);
  ask("removeCamera", R"({"number": 1})");
  EXPECT_TRUE(files.getSettings().cameras.empty());
}

TEST_F(SetUpTest, WhatTheSettingsCannotHaveIsRefusedWithItsPlace) {
  inspect();
  ask("useHead", R"({"profile": "head"})");
  EXPECT_THAT(trouble, HasSubstr("head.field_angles"));
  ask("useHead", R"({"profile": "head", "told": {"field_angles": [63.4, 2.5]}})");
  EXPECT_THAT(trouble, HasSubstr("the angles fully in and fully out, in degrees"));
  ask("useHead", R"({"profile": "head", "told": {"field_angles": [0, 63.4]}})");
  EXPECT_THAT(trouble, HasSubstr("from 0.1 to 179"));
  ask("useHead",
      R"({"profile": "head", "told": {"field_angles": [3, 60], "zoom_table": [[0, 60], [1, 61]]}})");
  EXPECT_THAT(trouble, HasSubstr("growing positions and falling angles"));
  ask("useHead", R"({"profile": "door"})");
  EXPECT_EQ("The camera has no such profile", trouble);
  ask("useGeneral", R"({"told": {"mast_height": 0}})");
  EXPECT_THAT(trouble, HasSubstr("mast_height"));
  ask("inspect", R"({"address": "https://camera/"})");
  EXPECT_THAT(trouble, HasSubstr("no address of a camera"));
  ask("sing");
  EXPECT_EQ("There is no such method", trouble);
  EXPECT_EQ(0, changes);
}

// As of a head that does not tell its field angle.
TEST_F(SetUpTest, AnglesThatTheUserTellsAreKept) {
  inspect();
  ask("useHead", R"({"profile": "head",
                     "told": {"field_angles": [3, 60], "zoom_table": [[0, 60], [0.5, 20], [1, 3]]}})");
  ASSERT_EQ("", trouble);
  const HeadTold& told = files.getSettings().head.told;
  EXPECT_EQ(3, told.fieldAngles.low);
  EXPECT_EQ(60, told.fieldAngles.high);
  ASSERT_EQ(3U, told.zoomTable.size());
  EXPECT_EQ(0.5, told.zoomTable[1].position);
  EXPECT_EQ(20, told.zoomTable[1].fieldAngle);
}

TEST(SettingsFoundTest, ZoomThatWasMeasuredIsATableWithItsEnds) {
  HeadMeasured measured;
  measured.zoomTable = {{0, 60}, {0.25, 20}, {1, 6}};
  const JsonAutoPtr found(settingsFound(measured, true));
  const JsonAutoPtr expected(json_pack("{s:[f, f], s:[[f, f], [f, f], [f, f]], s:s}",
                                       "field_angles", 6.0, 60.0, "zoom_table", 0.0, 60.0, 0.25,
                                       20.0, 1.0, 6.0, "zoom_unit", "generic"));
  EXPECT_TRUE(json_equal(expected.get(), found.get()));
}

TEST(SettingsFoundTest, ScaleThatIsAsToldIsNotWritten) {
  HeadMeasured measured;
  const AxisScale told{{-1, 1}, {-180, 180}};
  measured.pan.scale = scaleByPlaces(told, 0, 0, 0.1, 17);
  measured.tilt.scale = scaleByPlaces(told, 0, 0, 0.1, 18);
  measured.tilt.ends = AxisEnds{{-90, 20}, {-90, 15}};
  const JsonAutoPtr found(settingsFound(measured, true));
  const JsonAutoPtr expected(
      json_pack("{s:[f, f], s:[f, f]}", "pan_range", -170.0, 170.0, "tilt_ends", -90.0, 15.0));
  EXPECT_TRUE(json_equal(expected.get(), found.get()));
}

// Where it once stopped counts no more.
TEST(SettingsFoundTest, EndsThatAreReachedTakeFormerOnesAway) {
  HeadMeasured measured;
  measured.pan.ends = AxisEnds{{-170, 170}, {-170, 169.8}};
  const JsonAutoPtr found(settingsFound(measured, true));
  const JsonAutoPtr expected(json_pack("{s:n}", "pan_ends"));
  EXPECT_TRUE(json_equal(expected.get(), found.get()));
}

// Else the head would never zoom further than it was when somebody pressed "Stop".
TEST(SettingsFoundTest, ZoomOfACheckThatWasStoppedIsNone) {
  HeadMeasured measured;
  measured.pan.moves = true;
  measured.pan.isReversed = true;
  measured.zoomTable = {{0, 60}, {0.25, 20}};
  const JsonAutoPtr found(settingsFound(measured, false));
  const JsonAutoPtr expected(json_pack("{s:b}", "invert_pan_speed", 1));
  EXPECT_TRUE(json_equal(expected.get(), found.get()));
}

TEST(SettingsFoundTest, TimeoutThatIsNotHeededIsKept) {
  HeadMeasured measured;
  measured.heedsTimeout = false;
  const JsonAutoPtr found(settingsFound(measured, true));
  const JsonAutoPtr expected(json_pack("{s:b}", "timeout", 0));
  EXPECT_TRUE(json_equal(expected.get(), found.get()));
  const BridgeSettings settings = settingsOf(
      R"({"head": {"address": "http://a/", "field_angles": [3, 60], "timeout": false}})", "");
  EXPECT_FALSE(settings.head.heedsTimeout);
}

TEST_F(SetUpTest, HeadThatIsTakenAgainKeepsWhatIsNotToldAnew) {
  inspect();
  ask("useHead", R"({"profile": "head",
                     "told": {"field_angles": [3, 60], "zoom_table": [[0, 60], [1, 3]],
                              "invert_tilt_speed": true, "move_status": false, "home": [10, -5],
                              "product": "Gate", "pan_range": [-90, 90], "invert_pan": true}})");
  ASSERT_EQ("", trouble);
  ask("useHead", R"({"profile": "head", "told": {"field_angles": [3, 60], "pan_range": null,
                                                 "invert_pan": false}})");
  ASSERT_EQ("", trouble);
  const HeadSettings& head = files.getSettings().head;
  EXPECT_EQ(2U, head.told.zoomTable.size());
  EXPECT_TRUE(head.told.invertTiltSpeed);
  EXPECT_FALSE(head.believesMoves);
  EXPECT_TRUE(head.told.home);
  EXPECT_EQ("Gate", head.product);
  EXPECT_FALSE(head.told.pan) << "it was cleared";
  EXPECT_FALSE(head.told.invertPan);
  EXPECT_EQ(USER, loginOf(files.getCredentials(), head.address.login).user);
}

TEST_F(SetUpTest, AnotherHeadBeginsAnew) {
  files.change([](json_t* root) {
    json_object_set_new(
        root, "head",
        json_pack("{s:s, s:s, s:[f, f], s:b}", "address", "http://10.0.0.2/onvif", "profile",
                  "head", "field_angles", 2.0, 60.0, "invert_tilt_speed", 1));
  });
  inspect();
  useHead();
  EXPECT_FALSE(files.getSettings().head.told.invertTiltSpeed);
}

// They would be tried at whatever address somebody else names.
TEST_F(SetUpTest, LoginsGoToNoAddressThatWasNotLookedAt) {
  inspect();
  ask("useHead", R"({"profile": "head",
                     "told": {"field_angles": [3, 60], "address": "http://10.9.9.9/onvif"}})");
  EXPECT_THAT(trouble, HasSubstr("address is not told here"));
  useCamera();
  ask("useCamera", R"({"number": 1, "told": {"address": "http://10.9.9.9/onvif"}})");
  EXPECT_THAT(trouble, HasSubstr("address is not told here"));
  ask("useCamera", R"({"number": 1, "told": {"login": null}})");
  EXPECT_THAT(trouble, HasSubstr("login is not told here"));
  EXPECT_EQ(camera->url(), files.getSettings().cameras.at(0).address.device);
}

TEST_F(SetUpTest, AddressWithAPasswordIsRefusedAndNotRepeated) {
  ask("inspect", R"({"address": "http://anna:secret word@127.0.0.1:1/onvif"})");
  EXPECT_THAT(trouble, HasSubstr("no user and no password"));
  ask("inspect", R"({"address": "anna:secret word@127.0.0.1"})");
  EXPECT_THAT(trouble, HasSubstr("no user and no password"));
  ask("getSetUp");
  EXPECT_THAT(everythingSaid, Not(HasSubstr(PASSWORD)));
}

TEST_F(SetUpTest, SnapshotIsThatOfTheCamera) {
  inspect();
  const auto jpeg = [this] {
    const JsonAutoPtr answer = ask("snapshot", R"({"profile": "overview1"})");
    const char* text = json_string_value(json_object_get(answer.get(), "jpeg"));
    return std::string(text != nullptr ? text : "");
  };
  ASSERT_TRUE(iterateUntil([&] { return !jpeg().empty(); }));
  EXPECT_TRUE(jpeg().starts_with("/9j/")) << "a JPEG's first bytes as base64";
}

TEST_F(SetUpTest, ChangeThatFailsByWhateverFaultKeepsNoOtherOneAway) {
  whileItChanges = [] { throw std::out_of_range("there is none"); };
  EXPECT_NO_THROW(ask("useGeneral", R"({"told": {"mast_height": 7}})"));
  EXPECT_EQ("there is none", trouble);
  whileItChanges = [] {};
  ask("useGeneral", R"({"told": {"mast_height": 6}})");
  EXPECT_EQ("", trouble);
}

TEST_F(SetUpTest, ZoomOfTheHeadIsToldInItsOwnNumbers) {
  const auto isTold = [this](const char* expected) {
    const JsonAutoPtr told(json_loads(expected, 0, nullptr));
    return json_equal(told.get(), ask("headZoom").get()) != 0;
  };
  EXPECT_TRUE(isTold(R"({"position": null, "unit": "generic"})"));
  zoomTold = {0.25, false};
  EXPECT_TRUE(isTold(R"({"position": 0.25, "unit": "generic"})"));
  zoomTold = {4.5, true};
  EXPECT_TRUE(isTold(R"({"position": 4.5, "unit": "millimetres"})"));
}

TEST_F(SetUpTest, WhatIsSetUpIsSeenWithoutItsPassword) {
  inspect();
  useHead();
  useCamera();
  ask("view", R"({"camera": 2})");
  EXPECT_EQ("There is no such camera", trouble);
  ask("view");
  EXPECT_EQ("Say which camera of those that are set up", trouble);
  for (const std::string which : {R"("head": true)", R"("camera": 1)"}) {
    const auto jpeg = [&](json_int_t have) {
      const JsonAutoPtr seen =
          ask("view", "{" + which + R"(, "have": )" + std::to_string(have) + "}");
      const char* text = json_string_value(json_object_get(seen.get(), "jpeg"));
      return std::string(text != nullptr ? text : "");
    };
    ASSERT_TRUE(iterateUntil([&] { return !jpeg(0).empty(); })) << which;
    EXPECT_TRUE(jpeg(0).starts_with("/9j/")) << "a JPEG's first bytes as base64";
    EXPECT_EQ("", jpeg(1000)) << "the page has it already";
    // Another one comes as long as somebody looks.
    ASSERT_TRUE(iterateUntil([&] { return !jpeg(1).empty(); })) << which;
  }
  EXPECT_THAT(everythingSaid, Not(HasSubstr(PASSWORD)));
}

TEST_F(SetUpTest, CameraThatIsAwayIsToldInWordsInPlaceOfItsPicture) {
  inspect();
  useCamera();
  camera.reset();
  const auto words = [this] {
    const JsonAutoPtr seen = ask("view", R"({"camera": 1})");
    return std::string(json_string_value(json_object_get(seen.get(), "trouble")));
  };
  ASSERT_TRUE(iterateUntil([&] { return !words().empty(); }));
  EXPECT_THAT(words(), HasSubstr("The camera cannot be reached"));
}

TEST_F(SetUpTest, CheckHoldsTheHeadAndLeavesItStandingWhenItIsEnded) {
  inspect();
  ask("checkHead", R"({"profile": "overview1"})");
  EXPECT_EQ("This profile moves no head", trouble);
  ask("checkHead", R"({"profile": "head"})");
  ASSERT_EQ("", trouble);
  EXPECT_THAT(held, ElementsAre(true));
  ask("inspect", R"({"head": true})");
  EXPECT_EQ("The head is being checked", trouble);
  ASSERT_TRUE(iterateUntil([this] { return drive.getHead().status().moving(); }));
  ask("stopCheck");
  ASSERT_TRUE(iterateUntil([this] { return !isRunning("check"); }));
  ASSERT_TRUE(iterateUntil([this] { return held.size() == 2; }));
  EXPECT_FALSE(held[1]);
  EXPECT_FALSE(drive.getHead().status().moving());
}

TEST_F(SetUpTest, CheckOfAHeadThatEverythingIsRightWith) {
  inspect();
  // Where the machine is held up for seconds the head answers too late: who checks begins again.
  std::string end = "none";
  for (int attempt = 0; attempt < 3 && !end.empty(); ++attempt) {
    ask("checkHead", R"({"profile": "head", "zoom": false})");
    ASSERT_EQ("", trouble);
    ASSERT_TRUE(iterateUntil([this] { return !isRunning("check"); }));
    end = json_string_value(json_object_get(state("check").get(), "trouble"));
  }
  EXPECT_EQ("", end);
  EXPECT_THAT(wordsOf("check"),
              AllOf(Contains(HasSubstr("It answers within")), Contains("It heeds a Stop"),
                    Contains(HasSubstr("Left alone it stands after")),
                    Contains(HasSubstr("own numbers; told are 180.0")),
                    Contains(HasSubstr("own numbers; told are 55.0")),
                    Not(Contains(HasSubstr("told is wrong")))));
  useHead();
  EXPECT_FALSE(files.getSettings().head.told.invertPanSpeed);
  EXPECT_TRUE(files.getSettings().head.believesMoves);
}

// The last Stop takes up to a second, in which the main loop runs.
TEST_F(SetUpTest, CheckBeginsOnlyWhenTheHeadIsHeld) {
  inspect();
  bool hasMoved = false;
  whileItStops = [&] {
    const std::int64_t begun = g_get_monotonic_time();
    ASSERT_TRUE(iterateUntil([&] {
      hasMoved = hasMoved || drive.getHead().status().moving();
      return g_get_monotonic_time() - begun > 800000;
    }));
  };
  ask("checkHead", R"({"profile": "head"})");
  ASSERT_EQ("", trouble);
  EXPECT_FALSE(hasMoved);
  ASSERT_TRUE(iterateUntil([this] { return drive.getHead().status().moving(); }));
}

TEST_F(SetUpTest, WhatWasCheckedCountsOnce) {
  inspect();
  ask("checkHead", R"({"profile": "head"})");
  ASSERT_EQ("", trouble);
  ASSERT_TRUE(iterateUntil([this] {
    const JsonAutoPtr told = state("check");
    return json_object_get(json_object_get(told.get(), "found"), "invert_pan_speed") != nullptr;
  }));
  ask("stopCheck");
  ASSERT_TRUE(iterateUntil([this] { return !isRunning("check"); }));
  const auto headHas = [this](const char* key) {
    return json_object_get(json_object_get(files.getJson(), "head"), key) != nullptr;
  };
  useHead();
  EXPECT_TRUE(headHas("invert_pan_speed"));
  ask("useHead", R"({"profile": "head", "told": {"invert_pan_speed": null}})");
  ASSERT_EQ("", trouble);
  EXPECT_FALSE(headHas("invert_pan_speed")) << "it was cleared";
  ask("useHead", R"({"profile": "head", "told": {"invert_pan_speed": true}})");
  ask("useHead", R"({"profile": "head", "told": {"home": [10, -5]}})");
  ASSERT_EQ("", trouble);
  EXPECT_TRUE(files.getSettings().head.told.invertPanSpeed) << "the user's, not the check's";
}

TEST_F(SetUpTest, WhatIsClearedStaysSoWhateverWasMeasured) {
  inspect();
  ask("checkHead", R"({"profile": "head"})");
  ASSERT_TRUE(iterateUntil([this] {
    const JsonAutoPtr told = state("check");
    return json_object_get(json_object_get(told.get(), "found"), "invert_pan_speed") != nullptr;
  }));
  ask("stopCheck");
  ASSERT_TRUE(iterateUntil([this] { return !isRunning("check"); }));
  ask("useHead", R"({"profile": "head", "told": {"field_angles": [2.5, 63.4],
                                                 "invert_pan_speed": null}})");
  ASSERT_EQ("", trouble);
  EXPECT_EQ(nullptr, json_object_get(json_object_get(files.getJson(), "head"), "invert_pan_speed"));
}

TEST_F(SetUpTest, MetadataThatCannotBeSwitchedOnAreToldInWords) {
  inspect();
  ask("switchMetadataOn", R"({"profile": "overview1"})");
  ASSERT_EQ("", trouble);
  ASSERT_TRUE(iterateUntil([this] { return !isRunning("metadata"); }));
  const JsonAutoPtr metadata = state("metadata");
  EXPECT_THAT(json_string_value(json_object_get(metadata.get(), "trouble")),
              HasSubstr("switch analytics on in its metadata on its own page"));
}

}  // namespace
}  // namespace device::bridge
