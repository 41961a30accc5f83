#include "ptz/fov.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <memory>
#include <string>

#include "fakes/fake_lens.h"
#include "fakes/log_capture.h"
#include "fakes/private_bus.h"

namespace {

using testing::IsEmpty;
using testing::StartsWith;

class FovTest : public testing::Test {
 protected:
  static void set(Fov& fov, const char* name, GVariant* value) {
    g_variant_ref_sink(value);
    fov.setProperty(name, value);
    g_variant_unref(value);
  }

  std::unique_ptr<FakeLens> lens = std::make_unique<FakeLens>();
  const LogCapture log;
};

TEST_F(FovTest, TakesWhatTheLensPublishesWhenMade) {
  lens->set(0, 92.5, 54.25, 270);
  const Fov fov(0);
  EXPECT_DOUBLE_EQ(fov.getHorizontalFov(), 92.5);
  EXPECT_DOUBLE_EQ(fov.getVerticalFov(), 54.25);
  EXPECT_EQ(fov.getSensorRotation(), 270);
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
}

TEST_F(FovTest, EveryChannelHasItsOwnLens) {
  lens->set(0, 90.0, 50.0, 0);
  lens->set(3, 60.0, 40.0, 180);
  const Fov fov(3);
  EXPECT_DOUBLE_EQ(fov.getHorizontalFov(), 60.0);
  EXPECT_DOUBLE_EQ(fov.getVerticalFov(), 40.0);
  EXPECT_EQ(fov.getSensorRotation(), 180);
}

TEST_F(FovTest, KnowsNothingWithoutALens) {
  const Fov fov(0);
  EXPECT_EQ(fov.getHorizontalFov(), 0.0);
  EXPECT_EQ(fov.getVerticalFov(), 0.0);
  EXPECT_EQ(fov.getSensorRotation(), 0);
}

TEST_F(FovTest, FollowsChanges) {
  lens->set(0, 90.0, 50.0, 0);
  const Fov fov(0);
  lens->set(0, 45.0, 25.0, 90);
  EXPECT_TRUE(iterateUntil([&] { return fov.getSensorRotation() == 90; }));
  EXPECT_DOUBLE_EQ(fov.getHorizontalFov(), 45.0);
  EXPECT_DOUBLE_EQ(fov.getVerticalFov(), 25.0);
}

TEST_F(FovTest, TakesTheValuesOfAServiceThatComesLate) {
  lens.reset();
  const Fov fov(0);
  EXPECT_EQ(fov.getHorizontalFov(), 0.0);
  lens = std::make_unique<FakeLens>();
  lens->set(0, 92.5, 54.25, 90);
  EXPECT_TRUE(iterateUntil([&] { return fov.getSensorRotation() == 90; }));
  EXPECT_DOUBLE_EQ(fov.getHorizontalFov(), 92.5);
}

TEST_F(FovTest, ChangesAfterItsEndReachNobody) {
  lens->set(0, 90.0, 50.0, 0);
  const Fov watcher(0);
  auto fov = std::make_unique<Fov>(0);
  lens->set(0, 45.0, 25.0, 90);
  fov.reset();
  EXPECT_TRUE(iterateUntil([&] { return watcher.getSensorRotation() == 90; }));
}

TEST_F(FovTest, TakesThreePropertiesAndIgnoresOthers) {
  Fov fov(0);
  set(fov, "OpticsWideHFoV", g_variant_new_double(80.0));
  set(fov, "OpticsWideVFoV", g_variant_new_double(45.0));
  set(fov, "SensorRotation", g_variant_new_int32(90));
  set(fov, "OpticsTeleHFoV", g_variant_new_double(10.0));
  set(fov, "Name", g_variant_new_string("wide"));
  EXPECT_EQ(fov.getHorizontalFov(), 80.0);
  EXPECT_EQ(fov.getVerticalFov(), 45.0);
  EXPECT_EQ(fov.getSensorRotation(), 90);
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
}

TEST_F(FovTest, ASensorRotationOfTypeUIsRejected) {
  Fov fov(2);
  set(fov, "SensorRotation", g_variant_new_int32(90));
  set(fov, "SensorRotation", g_variant_new_uint32(180));
  EXPECT_EQ(fov.getSensorRotation(), 90);
  EXPECT_TRUE(LogCapture::has("channel 2: bad type for SensorRotation\n"));
}

TEST_F(FovTest, FieldAnglesOfAWrongTypeAreRejected) {
  Fov fov(1);
  set(fov, "OpticsWideHFoV", g_variant_new_int32(80));
  set(fov, "OpticsWideVFoV", g_variant_new_string("45"));
  EXPECT_EQ(fov.getHorizontalFov(), 0.0);
  EXPECT_EQ(fov.getVerticalFov(), 0.0);
  EXPECT_TRUE(LogCapture::has("channel 1: bad type for OpticsWideHFoV\n"));
  EXPECT_TRUE(LogCapture::has("channel 1: bad type for OpticsWideVFoV\n"));
}

TEST_F(FovTest, ABusThatCannotBeReachedIsLogged) {
  g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", TRUE);
  const Fov fov(0);
  g_setenv("DBUS_SYSTEM_BUS_ADDRESS", PrivateBus::address(), TRUE);
  EXPECT_EQ(fov.getHorizontalFov(), 0.0);
  ASSERT_EQ(LogCapture::lines().size(), 1U);
  EXPECT_THAT(LogCapture::lines()[0].text, StartsWith("Could not connect to the bus "));
}

TEST_F(FovTest, ABusThatComesLateIsFound) {
  lens->set(0, 92.5, 54.25, 90);
  g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", TRUE);
  const Fov fov(0);
  g_setenv("DBUS_SYSTEM_BUS_ADDRESS", PrivateBus::address(), TRUE);
  EXPECT_TRUE(iterateUntil([&] { return fov.getSensorRotation() == 90; }));
  EXPECT_DOUBLE_EQ(fov.getHorizontalFov(), 92.5);
}

TEST_F(FovTest, ALostBusIsFoundAgain) {
  lens->set(0, 92.5, 54.25, 90);
  const Fov fov(0);
  EXPECT_EQ(fov.getSensorRotation(), 90);
  lens.reset();
  PrivateBus::restart();
  lens = std::make_unique<FakeLens>();
  lens->set(0, 45.0, 25.0, 180);
  EXPECT_TRUE(iterateUntil([&] { return fov.getSensorRotation() == 180; }));
  EXPECT_DOUBLE_EQ(fov.getHorizontalFov(), 45.0);
}

}  // namespace
