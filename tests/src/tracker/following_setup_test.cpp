#include "tracker/following_setup.h"

#include <gtest/gtest.h>

#include "events/sdk_wrapper.h"
#include "fakes/fake_events.h"
#include "fakes/fake_main_loop.h"
#include "fakes/fake_parameters.h"
#include "fakes/log_capture.h"

namespace {

class FollowingSetupTest : public testing::Test {
 protected:
  FollowingSetupTest() {
    FakeEvents::reset();
    FakeMainLoop::reset();
    FakeParameters::reset();
    sdk_wrapper_init("SentrelVideo", "SentrelVideo", "MiruPlatform");
    FakeParameters::set("Brand.ProdNbr", "OV-1000");
  }
  ~FollowingSetupTest() override { sdk_wrapper_cleanup(); }

  const LogCapture log;
};

TEST_F(FollowingSetupTest, OnlyThatWordChoosesThePredictiveWay) {
  EXPECT_EQ(FollowingSetup::isPredictive(), false);
  for (const char* other : {"", "specified", "PREDICTIVE", "predictive2"}) {
    FakeParameters::set("SentrelVideo.Following", other);
    EXPECT_EQ(FollowingSetup::isPredictive(), false) << other;
  }
  FakeParameters::set("SentrelVideo.Following", "predictive");
  EXPECT_EQ(FollowingSetup::isPredictive(), true);
}

TEST_F(FollowingSetupTest, NothingIsChosenWhileNothingCanBeRead) {
  FakeParameters::remove("Brand.ProdNbr");
  EXPECT_EQ(FollowingSetup::isPredictive(), std::nullopt);
  FakeParameters::set("SentrelVideo.Following", "predictive");
  EXPECT_EQ(FollowingSetup::isPredictive(), true);
}

TEST_F(FollowingSetupTest, AnInstallationHasDefaults) {
  const Installation told = FollowingSetup::installation();
  EXPECT_EQ(told.mastHeight, 5.0);
  EXPECT_EQ(told.statusAge, std::nullopt);
  EXPECT_EQ(told.offsetOf(0).x, 0.0);
  EXPECT_EQ(told.offsetOf(0).y, 0.0);
  EXPECT_EQ(told.offsetOf(99).x, 0.0);
  EXPECT_TRUE(LogCapture::lines().empty());
}

TEST_F(FollowingSetupTest, ReadsWhatIsTold) {
  FakeParameters::set("ImageSource.NbrOfSources", "2");
  FakeParameters::set("SentrelVideo.MastHeight", "7.25");
  FakeParameters::set("SentrelVideo.StatusAge", "0.1");
  FakeParameters::set("SentrelVideo.Overview.C1.OffsetX", "0.5");
  FakeParameters::set("SentrelVideo.Overview.C2.OffsetY", "-1.5");
  FakeParameters::set("SentrelVideo.Overview.C3.OffsetY", "9");  // there are but two
  const Installation told = FollowingSetup::installation();
  EXPECT_EQ(told.mastHeight, 7.25);
  EXPECT_EQ(told.statusAge, 0.1);
  EXPECT_EQ(told.offsetOf(0).x, 0.5);
  EXPECT_EQ(told.offsetOf(1).y, -1.5);
  EXPECT_EQ(told.offsetOf(2).y, 0.0);
}

TEST_F(FollowingSetupTest, WhatIsNotAnsweredIsAsBefore) {
  Installation before;
  before.mastHeight = 7.0;
  before.statusAge = 0.2;
  before.offsets[0] = {0.5, 1.5};
  FakeParameters::silence("SentrelVideo.MastHeight");
  FakeParameters::silence("SentrelVideo.StatusAge");
  FakeParameters::silence("SentrelVideo.Overview.C1.OffsetX");
  Installation told = FollowingSetup::installation(before);
  EXPECT_EQ(told.mastHeight, 7.0);
  EXPECT_EQ(told.statusAge, 0.2);
  EXPECT_EQ(told.offsetOf(0).x, 0.5);
  EXPECT_EQ(told.offsetOf(0).y, 0.0);  // there is no such parameter
  EXPECT_EQ(LogCapture::count("SentrelVideo.MastHeight is not answered, it stays as it was.\n"), 1);
  FakeParameters::silence("ImageSource.NbrOfSources");
  told = FollowingSetup::installation(before);
  EXPECT_EQ(told.offsetOf(0).y, 1.5);
}

TEST_F(FollowingSetupTest, WhatIsNoNumberInItsRangeIsLoggedAndLeftOut) {
  for (const char* wrong : {"0", "-5", "high", "5 m", "nan", "inf", "1e9"}) {
    LogCapture::clear();
    FakeParameters::set("SentrelVideo.MastHeight", wrong);
    EXPECT_EQ(FollowingSetup::installation().mastHeight, 5.0) << wrong;
    EXPECT_EQ(LogCapture::count("SentrelVideo.MastHeight is no number from 0.5 to 200, taking the "
                                "default.\n"),
              1)
        << wrong;
  }
}

}  // namespace
