#include "config/persistent.h"

#include <gtest/gtest.h>
#include <jansson.h>
#include <syslog.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>

#include "base/json_auto_ptr.h"
#include "fakes/log_capture.h"
#include "src/config/json_memory.h"
#include "support/temporary_folder.h"

namespace {

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr const char* WRITE_ERROR = "Error writing config file\n";

using Gains = std::array<double, 3>;

class PersistentTest : public testing::Test {
 protected:
  PersistentTest() { Persistent::setPathForTest(path); }
  ~PersistentTest() override { Persistent::setPathForTest(""); }

  static std::string cameraName() {
    std::string name = "untouched";
    Persistent::getCameraName(name);
    return name;
  }

  static Gains panGains() {
    Gains gains{9, 9, 9};
    Persistent::getCameraPanPid(gains[0], gains[1], gains[2]);
    return gains;
  }

  static Gains tiltGains() {
    Gains gains{9, 9, 9};
    Persistent::getCameraTiltPid(gains[0], gains[1], gains[2]);
    return gains;
  }

  void write(const std::string& text) const { writeText(path, text); }

  JsonAutoPtr stored() const { return JsonAutoPtr(json_load_file(path.c_str(), 0, nullptr)); }

  void expectStored(const std::string& text) const {
    const JsonAutoPtr expected(json_loads(text.c_str(), 0, nullptr));
    ASSERT_TRUE(expected) << text;
    EXPECT_TRUE(json_equal(stored().get(), expected.get())) << readText(path);
  }

  static void expectDefaults() {
    EXPECT_EQ(cameraName(), "");
    EXPECT_EQ(panGains(), (Gains{1.0, 0.0, 0.0}));
    EXPECT_EQ(tiltGains(), (Gains{1.0, 0.0, 0.0}));
    EXPECT_FALSE(Persistent::getSentrelEnabled());
    EXPECT_FALSE(Persistent::getSwitchObject());
    EXPECT_EQ(Persistent::getTimePerObject(), 5);
    EXPECT_FALSE(Persistent::getReturnToHomeEnabled());
    EXPECT_EQ(Persistent::getReturnToHomeTimeout(), 5);
    EXPECT_EQ(Persistent::getZoomCorrection(), 1.0);
  }

  const TemporaryFolder folder;
  const std::string path = folder.path("settings.json");
  const LogCapture log;
};

TEST_F(PersistentTest, WithoutAFileEverythingIsAtItsDefault) {
  expectDefaults();
  EXPECT_EQ(folder.fileCount(), 0) << "reading makes no file";
}

TEST_F(PersistentTest, OtherFilesStandBesideTheSettings) {
  Persistent::setPathForTest("/some/where/settings.json");
  EXPECT_EQ(Persistent::pathBeside("head.json"), "/some/where/head.json");
}

TEST_F(PersistentTest, AnEmptyObjectGivesDefaults) {
  write("{}");
  expectDefaults();
}

TEST_F(PersistentTest, AFileThatIsNoJsonGivesDefaults) {
  write("{\"time_per_object\": 9");
  expectDefaults();
}

TEST_F(PersistentTest, AFileThatHoldsNoObjectGivesDefaults) {
  write("[1, 2]");
  expectDefaults();
}

TEST_F(PersistentTest, ReadsEveryKey) {
  write(R"({"camera_name": "Q6", "pan_kp": 2.5, "pan_ki": 0.25, "pan_kd": -1.5,
            "tilt_kp": 3.5, "tilt_ki": 0.75, "tilt_kd": 4.5, "sentrel_enabled": true,
            "switch_object": true, "time_per_object": 11, "return_to_home_enabled": true,
            "return_to_home_timeout": 12, "zoom_correction": 1.25})");
  EXPECT_EQ(cameraName(), "Q6");
  EXPECT_EQ(panGains(), (Gains{2.5, 0.25, -1.5}));
  EXPECT_EQ(tiltGains(), (Gains{3.5, 0.75, 4.5}));
  EXPECT_TRUE(Persistent::getSentrelEnabled());
  EXPECT_TRUE(Persistent::getSwitchObject());
  EXPECT_EQ(Persistent::getTimePerObject(), 11);
  EXPECT_TRUE(Persistent::getReturnToHomeEnabled());
  EXPECT_EQ(Persistent::getReturnToHomeTimeout(), 12);
  EXPECT_EQ(Persistent::getZoomCorrection(), 1.25);
}

TEST_F(PersistentTest, ATextIsNoInteger) {
  write(R"({"time_per_object": "10", "return_to_home_timeout": "10"})");
  EXPECT_EQ(Persistent::getTimePerObject(), 5);
  EXPECT_EQ(Persistent::getReturnToHomeTimeout(), 5);
}

TEST_F(PersistentTest, ARealIsNoInteger) {
  write(R"({"time_per_object": 10.0, "return_to_home_timeout": 10.0})");
  EXPECT_EQ(Persistent::getTimePerObject(), 5);
  EXPECT_EQ(Persistent::getReturnToHomeTimeout(), 5);
}

TEST_F(PersistentTest, SecondsThatNoIntegerOf32BitsHoldsAreNone) {
  write(R"({"time_per_object":4294967306,"return_to_home_timeout":-2147483649})");
  EXPECT_EQ(Persistent::getTimePerObject(), 5);
  EXPECT_EQ(Persistent::getReturnToHomeTimeout(), 5);
  write(R"({"time_per_object":2147483647,"return_to_home_timeout":-2147483648})");
  EXPECT_EQ(Persistent::getTimePerObject(), 2147483647);
  EXPECT_EQ(Persistent::getReturnToHomeTimeout(), -2147483648);
}

TEST_F(PersistentTest, AnIntegerIsNoReal) {
  write(R"({"pan_kp": 2, "tilt_kd": 2, "zoom_correction": 2})");
  EXPECT_EQ(panGains()[0], 1.0);
  EXPECT_EQ(tiltGains()[2], 0.0);
  EXPECT_EQ(Persistent::getZoomCorrection(), 1.0);
}

TEST_F(PersistentTest, ARealThatIsWholeIsAReal) {
  write(R"({"pan_kp": 2.0, "zoom_correction": 2.0})");
  EXPECT_EQ(panGains()[0], 2.0);
  EXPECT_EQ(Persistent::getZoomCorrection(), 2.0);
}

TEST_F(PersistentTest, OnlyBooleansAreSwitches) {
  write(R"({"sentrel_enabled": 1, "switch_object": "true", "return_to_home_enabled": 1.0})");
  EXPECT_FALSE(Persistent::getSentrelEnabled());
  EXPECT_FALSE(Persistent::getSwitchObject());
  EXPECT_FALSE(Persistent::getReturnToHomeEnabled());
}

TEST_F(PersistentTest, OnlyATextIsAName) {
  write(R"({"camera_name": 6})");
  EXPECT_EQ(cameraName(), "");
  write(R"({"camera_name": null})");
  EXPECT_EQ(cameraName(), "");
}

TEST_F(PersistentTest, EachGainIsReadOnItsOwn) {
  write(R"({"pan_kp": 2.5, "pan_kd": 3.5, "tilt_ki": 4.5, "tilt_kd": "x"})");
  EXPECT_EQ(panGains(), (Gains{2.5, 0.0, 3.5}));
  EXPECT_EQ(tiltGains(), (Gains{1.0, 4.5, 0.0}));
}

TEST_F(PersistentTest, NothingIsKeptInMemory) {
  write(R"({"time_per_object": 7})");
  EXPECT_EQ(Persistent::getTimePerObject(), 7);
  write(R"({"time_per_object": 8})");
  EXPECT_EQ(Persistent::getTimePerObject(), 8);
}

TEST_F(PersistentTest, EverySetterWritesItsKey) {
  Persistent::setCameraName("K47");
  Persistent::setCameraPanPid(1.5, 0.5, 0.25);
  Persistent::setCameraTiltPid(2.5, 0.75, -0.5);
  Persistent::setSentrelEnabled(true);
  Persistent::setSwitchObject(true);
  Persistent::setTimePerObject(20);
  Persistent::setReturnToHomeEnabled(true);
  Persistent::setReturnToHomeTimeout(30);
  Persistent::setZoomCorrection(1.75);
  expectStored(R"({"camera_name": "K47", "pan_kp": 1.5, "pan_ki": 0.5, "pan_kd": 0.25,
                   "tilt_kp": 2.5, "tilt_ki": 0.75, "tilt_kd": -0.5, "sentrel_enabled": true,
                   "switch_object": true, "time_per_object": 20, "return_to_home_enabled": true,
                   "return_to_home_timeout": 30, "zoom_correction": 1.75})");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(PersistentTest, SwitchesMayBeSwitchedOff) {
  write(R"({"sentrel_enabled": true, "switch_object": true, "return_to_home_enabled": true})");
  Persistent::setSentrelEnabled(false);
  Persistent::setSwitchObject(false);
  Persistent::setReturnToHomeEnabled(false);
  expectStored(
      R"({"sentrel_enabled": false, "switch_object": false, "return_to_home_enabled": false})");
}

TEST_F(PersistentTest, WholeGainsAreStoredAsReals) {
  Persistent::setCameraPanPid(2, 0, 3);
  Persistent::setZoomCorrection(4);
  EXPECT_TRUE(json_is_real(json_object_get(stored().get(), "pan_kp")));
  EXPECT_TRUE(json_is_real(json_object_get(stored().get(), "pan_ki")));
  EXPECT_EQ(panGains(), (Gains{2.0, 0.0, 3.0}));
  EXPECT_EQ(Persistent::getZoomCorrection(), 4.0);
}

TEST_F(PersistentTest, GainsAreStoredWithFourSignificantDigits) {
  Persistent::setCameraPanPid(0.123456, 0, 0);
  EXPECT_EQ(panGains()[0], 0.1235);
  EXPECT_NE(readText(path).find("0.1235"), std::string::npos);
  EXPECT_EQ(readText(path).find("0.12345"), std::string::npos);
}

TEST_F(PersistentTest, OtherKeysAreKept) {
  write(R"({"other": {"deep": [1, 2]}, "time_per_object": 7, "pan_kp": 2.5})");
  Persistent::setTimePerObject(9);
  expectStored(R"({"other": {"deep": [1, 2]}, "time_per_object": 9, "pan_kp": 2.5})");
}

TEST_F(PersistentTest, AFileThatIsNoJsonIsReplaced) {
  write("not json at all");
  Persistent::setTimePerObject(9);
  expectStored(R"({"time_per_object": 9})");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(PersistentTest, AFileThatHoldsNoObjectIsReplaced) {
  write("[1, 2]");
  Persistent::setTimePerObject(9);
  expectStored(R"({"time_per_object": 9})");
}

TEST_F(PersistentTest, AValueOfTheWrongTypeIsReplaced) {
  write(R"({"time_per_object": "10"})");
  Persistent::setTimePerObject(10);
  EXPECT_EQ(Persistent::getTimePerObject(), 10);
}

TEST_F(PersistentTest, ANameMayHoldAnyText) {
  const std::string name = "\"quoted\" \\ \n <\xc3\xa5>";
  Persistent::setCameraName(name);
  EXPECT_EQ(cameraName(), name);
}

// A setter whose value cannot be stored, and what it says.
struct BadValue {
  std::function<void()> set;
  std::string message;
};

TEST_F(PersistentTest, AValueThatCannotBeStoredIsLoggedAndNothingIsWritten) {
  constexpr const char* PAN = "Failed to save camera pan PID\n";
  constexpr const char* TILT = "Failed to save camera tilt PID\n";
  const std::string before = R"({"pan_kp": 2.5})";
  for (const BadValue& bad : {
           BadValue{[] { Persistent::setCameraName("\xff\xfe"); },
                    "Error writing camera_name to config file\n"},
           BadValue{[] { Persistent::setCameraPanPid(NOT_A_NUMBER, 1, 1); }, PAN},
           BadValue{[] { Persistent::setCameraPanPid(1, NOT_A_NUMBER, 1); }, PAN},
           BadValue{[] { Persistent::setCameraPanPid(1, 1, NOT_A_NUMBER); }, PAN},
           BadValue{[] { Persistent::setCameraTiltPid(NOT_A_NUMBER, 1, 1); }, TILT},
           BadValue{[] { Persistent::setCameraTiltPid(1, HUGE_VAL, 1); }, TILT},
           BadValue{[] { Persistent::setCameraTiltPid(1, 1, NOT_A_NUMBER); }, TILT},
           BadValue{[] { Persistent::setZoomCorrection(HUGE_VAL); },
                    "Failed to save zoom correction to config file\n"},
       }) {
    log.clear();
    write(before);
    bad.set();
    EXPECT_EQ(log.count(LOG_ERR, bad.message), 1) << bad.message;
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(readText(path), before);
  }
}

// Each setter meets each possible shortage of memory: whatever happens, it says so or succeeds, and
// its own message is among what it says.
TEST_F(PersistentTest, RunningOutOfMemoryIsLogged) {
  const BadValue setters[] = {
      {[] { Persistent::setCameraName("name"); }, "Error writing camera_name to config file\n"},
      {[] { Persistent::setCameraPanPid(3, 4, 5); }, "Failed to save camera pan PID\n"},
      {[] { Persistent::setCameraTiltPid(3, 4, 5); }, "Failed to save camera tilt PID\n"},
      {[] { Persistent::setSentrelEnabled(true); },
       "Error writing tracking enabled to config file\n"},
      {[] { Persistent::setSwitchObject(true); },
       "Error writing guard tour enabled to config file\n"},
      {[] { Persistent::setTimePerObject(6); }, "Error writing guard tour time to config file\n"},
      {[] { Persistent::setReturnToHomeEnabled(true); },
       "Error writing return to home enabled to config file\n"},
      {[] { Persistent::setReturnToHomeTimeout(6); },
       "Error writing return to home timeout to config file\n"},
      {[] { Persistent::setZoomCorrection(2); }, "Failed to save zoom correction to config file\n"},
  };
  for (const BadValue& setter : setters) {
    bool told = false;
    bool ranOut = true;
    for (int allocations = 0; ranOut; ++allocations) {
      log.clear();
      write("{}");
      {
        const JsonMemory memory(allocations);
        setter.set();
        ranOut = JsonMemory::ranOut();
      }
      EXPECT_TRUE(stored()) << "the file is whole at any time";
      if (log.has(setter.message)) {
        told = true;
        EXPECT_EQ(readText(path), "{}");
        EXPECT_FALSE(log.has(WRITE_ERROR));
      }
    }
    EXPECT_TRUE(told) << setter.message;
  }
}

TEST_F(PersistentTest, AFailedWriteIsLoggedWithItsReason) {
  const std::string unreachable = folder.path("missing/settings.json");
  Persistent::setPathForTest(unreachable);
  Persistent::setTimePerObject(9);
  const std::vector<LogLine> lines = log.lines();
  ASSERT_EQ(lines.size(), 2U);
  const std::string start = "Failed to write " + unreachable + " to disk (";
  EXPECT_TRUE(lines[0].text.starts_with(start)) << lines[0].text;
  EXPECT_TRUE(lines[0].text.ends_with(")\n")) << lines[0].text;
  EXPECT_GT(lines[0].text.size(), start.size() + 2) << "with the reason";
  EXPECT_EQ(lines[0].priority, LOG_ERR);
  EXPECT_EQ(lines[1].text, WRITE_ERROR);
  EXPECT_EQ(lines[1].priority, LOG_ERR);
}

TEST_F(PersistentTest, TheTextCanBeRunOutOfMemoryWhileItIsSerialised) {
  bool told = false;
  bool ranOut = true;
  for (int allocations = 0; ranOut; ++allocations) {
    log.clear();
    write("{}");
    {
      const JsonMemory memory(allocations);
      Persistent::setTimePerObject(9);
      ranOut = JsonMemory::ranOut();
    }
    if (log.has(WRITE_ERROR)) {
      told = true;
      EXPECT_EQ(log.lines().size(), 1U);
      EXPECT_EQ(readText(path), "{}");
    }
  }
  EXPECT_TRUE(told);
}

TEST_F(PersistentTest, LeavesNothingElseInTheFolder) {
  for (int i = 0; i < 10; ++i) {
    Persistent::setTimePerObject(i);
  }
  EXPECT_EQ(folder.fileCount(), 1);
}

TEST_F(PersistentTest, RemembersTheLastOfRandomWrites) {
  std::mt19937 random(63);
  std::uniform_int_distribution<int> which(0, 4);
  std::uniform_int_distribution<int> number(-999, 999);
  int time = 5;
  int timeout = 5;
  double zoom = 1.0;
  bool enabled = false;
  Gains gains{1.0, 0.0, 0.0};
  for (int round = 0; round < 200; ++round) {
    switch (which(random)) {
      case 0:
        Persistent::setTimePerObject(time = number(random));
        break;
      case 1:
        Persistent::setReturnToHomeTimeout(timeout = number(random));
        break;
      case 2:
        Persistent::setZoomCorrection(zoom = number(random) / 10.0);
        break;
      case 3:
        Persistent::setSentrelEnabled(enabled = number(random) > 0);
        break;
      default:
        gains = {number(random) / 100.0, number(random) / 10.0, number(random) + 0.0};
        Persistent::setCameraTiltPid(gains[0], gains[1], gains[2]);
    }
    EXPECT_EQ(Persistent::getTimePerObject(), time);
    EXPECT_EQ(Persistent::getReturnToHomeTimeout(), timeout);
    EXPECT_EQ(Persistent::getZoomCorrection(), zoom);
    EXPECT_EQ(Persistent::getSentrelEnabled(), enabled);
    EXPECT_EQ(tiltGains(), gains);
  }
}

}  // namespace
