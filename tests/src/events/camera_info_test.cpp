#include "events/camera_info.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "src/events/wrapper_test_base.h"

namespace {

constexpr const char* PTZ = "root.Properties.PTZ.PTZ";
constexpr const char* DIGITAL = "root.Properties.PTZ.DigitalPTZ";
constexpr const char* DRIVER = "root.Properties.PTZ.DriverManagement";
constexpr const char* REMOTE = "root.Properties.RemoteCameraControl.TRAVO";
constexpr const char* SDK_VERSION = "root.Properties.EmbeddedDevelopment.Version";
constexpr const char* MULTI = "root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration";
constexpr const char* SOURCES = "root.ImageSource.NbrOfSources";

// Answers are kept for the life of the process: each test asks in a process of its own, as ctest
// runs them.
class CameraInfoTest : public InitializedWrapperTest {
 protected:
  static bool wasRead(const std::string& name) {
    const std::vector<std::string> reads = FakeParameters::reads();
    return std::find(reads.begin(), reads.end(), name) != reads.end();
  }

  static void setSources(const std::string& count) {
    FakeParameters::set(MULTI, "yes");
    FakeParameters::set(SOURCES, count);
  }

  static std::string warning(int camera) {
    return "Invalid input. Camera number " + std::to_string(camera) + " is not valid.\n";
  }
};

TEST_F(CameraInfoTest, TheProductNumberIsReadEachTime) {
  FakeParameters::set("root.Brand.ProdNbr", "K47-A");
  EXPECT_EQ(CameraInfo::getProdNbr(), "K47-A");
  FakeParameters::set("root.Brand.ProdNbr", "Other");
  EXPECT_EQ(CameraInfo::getProdNbr(), "Other");
  FakeParameters::remove("root.Brand.ProdNbr");
  EXPECT_EQ(CameraInfo::getProdNbr(), "");
}

TEST_F(CameraInfoTest, ValuesAreCutTo99Characters) {
  FakeParameters::set("root.Brand.ProdNbr", std::string(150, 'x'));
  EXPECT_EQ(CameraInfo::getProdNbr(), std::string(99, 'x'));
}

TEST_F(CameraInfoTest, AHeadOfItsOwnIsMechanical) {
  FakeParameters::set(PTZ, "yes");
  FakeParameters::set(DIGITAL, "no");
  FakeParameters::set(DRIVER, "no");
  FakeParameters::set(REMOTE, "no");
  EXPECT_TRUE(CameraInfo::isMechanicalPTZ());
}

TEST_F(CameraInfoTest, AHeadIsMechanicalWhenTheOthersAreUnreadable) {
  FakeParameters::set(PTZ, "yes");
  EXPECT_TRUE(CameraInfo::isMechanicalPTZ());
}

TEST_F(CameraInfoTest, UnreadableParametersMeanNotMechanical) {
  EXPECT_FALSE(CameraInfo::isMechanicalPTZ());
}

TEST_F(CameraInfoTest, OnlyTheLiteralYesCounts) {
  FakeParameters::set(PTZ, "Yes");
  EXPECT_FALSE(CameraInfo::isMechanicalPTZ());
}

TEST_F(CameraInfoTest, ADigitalHeadIsNotMechanical) {
  FakeParameters::set(PTZ, "yes");
  FakeParameters::set(DIGITAL, "yes");
  EXPECT_FALSE(CameraInfo::isMechanicalPTZ());
}

TEST_F(CameraInfoTest, ADriverFrameworkIsNotMechanical) {
  FakeParameters::set(PTZ, "yes");
  FakeParameters::set(DRIVER, "yes");
  EXPECT_FALSE(CameraInfo::isMechanicalPTZ());
}

TEST_F(CameraInfoTest, ARemoteHeadIsNotMechanical) {
  FakeParameters::set(PTZ, "yes");
  FakeParameters::set(REMOTE, "yes");
  EXPECT_FALSE(CameraInfo::isMechanicalPTZ());
}

TEST_F(CameraInfoTest, TheMechanicalYesIsKept) {
  FakeParameters::set(PTZ, "yes");
  EXPECT_TRUE(CameraInfo::isMechanicalPTZ());
  FakeParameters::set(PTZ, "no");
  EXPECT_TRUE(CameraInfo::isMechanicalPTZ());
}

TEST_F(CameraInfoTest, TheMechanicalNoIsKept) {
  EXPECT_FALSE(CameraInfo::isMechanicalPTZ());
  FakeParameters::set(PTZ, "yes");
  EXPECT_FALSE(CameraInfo::isMechanicalPTZ());
}

TEST_F(CameraInfoTest, TheVersionIsKeptOnceValid) {
  FakeParameters::set(SDK_VERSION, "2.15");
  EXPECT_EQ(CameraInfo::getSDK_Version().toString(), "2.15");
  FakeParameters::set(SDK_VERSION, "3.0");
  EXPECT_EQ(CameraInfo::getSDK_Version().toString(), "2.15");
}

TEST_F(CameraInfoTest, AnInvalidVersionIsReadAgain) {
  EXPECT_FALSE(CameraInfo::getSDK_Version().isValid());
  FakeParameters::set(SDK_VERSION, "rubbish");
  EXPECT_FALSE(CameraInfo::getSDK_Version().isValid());
  FakeParameters::set(SDK_VERSION, "2.14");
  EXPECT_TRUE(CameraInfo::getSDK_Version().isValid());
  EXPECT_EQ(CameraInfo::getSDK_Version().getMinor(), 14);
}

TEST_F(CameraInfoTest, ASingleSourceDeviceHasOneCameraWithoutReadingTheCount) {
  FakeParameters::set(SOURCES, "4");
  EXPECT_EQ(CameraInfo::getNbrOfCameras(), 1);
  EXPECT_FALSE(CameraInfo::isMultiCamera());
  EXPECT_FALSE(wasRead(SOURCES));
}

TEST_F(CameraInfoTest, AMultiConfigurationSwitchThatIsNotYesMeansOneCamera) {
  setSources("4");
  FakeParameters::set(MULTI, "no");
  EXPECT_EQ(CameraInfo::getNbrOfCameras(), 1);
}

TEST_F(CameraInfoTest, AMultiCameraDeviceTellsItsCount) {
  setSources("4");
  EXPECT_EQ(CameraInfo::getNbrOfCameras(), 4);
  EXPECT_TRUE(CameraInfo::isMultiCamera());
}

TEST_F(CameraInfoTest, AMultiConfigurationDeviceMayHaveOneCamera) {
  setSources("1");
  EXPECT_EQ(CameraInfo::getNbrOfCameras(), 1);
  EXPECT_FALSE(CameraInfo::isMultiCamera());
}

TEST_F(CameraInfoTest, AnUnreadableCountIsZero) {
  FakeParameters::set(MULTI, "yes");
  EXPECT_EQ(CameraInfo::getNbrOfCameras(), 0);
  EXPECT_FALSE(CameraInfo::isMultiCamera());
}

TEST_F(CameraInfoTest, TheCountHasAtMostThreeDigits) {
  setSources("12345");
  EXPECT_EQ(CameraInfo::getNbrOfCameras(), 123);
}

TEST_F(CameraInfoTest, TheCountIsDecimal) {
  setSources("010");
  EXPECT_EQ(CameraInfo::getNbrOfCameras(), 10);
}

TEST_F(CameraInfoTest, TheCountIsKept) {
  setSources("4");
  EXPECT_EQ(CameraInfo::getNbrOfCameras(), 4);
  FakeParameters::set(SOURCES, "2");
  EXPECT_EQ(CameraInfo::getNbrOfCameras(), 4);
}

TEST_F(CameraInfoTest, TheCountIsReadOnceWhenManyAskAtOnce) {
  setSources("4");
  std::latch start(8);
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&start] {
      start.arrive_and_wait();
      EXPECT_EQ(CameraInfo::getNbrOfCameras(), 4);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  const std::vector<std::string> reads = FakeParameters::reads();
  EXPECT_EQ(std::count(reads.begin(), reads.end(), SOURCES), 1);
}

TEST_F(CameraInfoTest, TheZeroIsKeptToo) {
  FakeParameters::set(MULTI, "yes");
  EXPECT_EQ(CameraInfo::getNbrOfCameras(), 0);
  FakeParameters::set(SOURCES, "4");
  EXPECT_EQ(CameraInfo::getNbrOfCameras(), 0);
}

TEST_F(CameraInfoTest, CamerasAreNamedAfterTheirSources) {
  setSources("2");
  FakeParameters::set("root.ImageSource.I0.Name", "Entrance");
  FakeParameters::set("root.ImageSource.I1.Name", "Yard");
  EXPECT_EQ(CameraInfo::getCameraName(1), "Entrance");
  EXPECT_EQ(CameraInfo::getCameraName(2), "Yard");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(CameraInfoTest, ANameThatCannotBeReadIsEmpty) {
  EXPECT_EQ(CameraInfo::getCameraName(1), "");
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(CameraInfoTest, CameraZeroHasNoNameAndIsLogged) {
  EXPECT_EQ(CameraInfo::getCameraName(0), "");
  EXPECT_EQ(log.count(LOG_WARNING, warning(0)), 1);
}

TEST_F(CameraInfoTest, TheCameraAfterTheLastHasNoNameAndIsLogged) {
  setSources("2");
  FakeParameters::set("root.ImageSource.I2.Name", "Nobody");
  EXPECT_EQ(CameraInfo::getCameraName(3), "");
  EXPECT_EQ(log.count(LOG_WARNING, warning(3)), 1);
}

TEST_F(CameraInfoTest, ANegativeCameraHasNoNameAndIsLogged) {
  EXPECT_EQ(CameraInfo::getCameraName(-1), "");
  EXPECT_EQ(log.count(LOG_WARNING, warning(-1)), 1);
}

}  // namespace
