#include "tracker/way_of_following.h"

#include <gtest/gtest.h>

#include <string>

#include "base/units.h"
#include "config/persistent.h"
#include "events/sdk_wrapper.h"
#include "fakes/fake_events.h"
#include "fakes/fake_main_loop.h"
#include "fakes/fake_parameters.h"
#include "fakes/fake_remote_head.h"
#include "fakes/log_capture.h"
#include "support/temporary_folder.h"
#include "tracker/head_file.h"

namespace {

constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;
constexpr std::int64_t START = 1000 * SECOND;
constexpr const char* PRODUCT = "TRK-100";

class WayOfFollowingTest : public testing::Test {
 protected:
  WayOfFollowingTest() {
    FakeEvents::reset();
    FakeMainLoop::reset();
    FakeParameters::reset();
    Persistent::setPathForTest(folder.path("settings.json"));
    sdk_wrapper_init("SentrelVideo", "SentrelVideo", "MiruPlatform");
    FakeParameters::set("Brand.ProdNbr", "OV-1000");
    head.setUp(PRODUCT);
  }
  ~WayOfFollowingTest() override {
    sdk_wrapper_cleanup();
    Persistent::setPathForTest("");
  }

  static void wantPrediction() { FakeParameters::set("SentrelVideo.Following", "predictive"); }
  static void keepModel() { HeadFile::store(PRODUCT, following::HeadParameters()); }

  void choose(const std::string& number = PRODUCT) { way.choose(number, remote, START); }

  bool isByPrediction() {
    return dynamic_cast<PredictiveFollowing*>(&way.getFollowing()) != nullptr;
  }

  TemporaryFolder folder;
  FakeRemoteHead head;
  const LogCapture log;
  PtzRemoteTravo remote;
  Regulator regulator;
  Observations observations;
  WayOfFollowing way{regulator, observations};
};

// ---- Choosing ----

TEST_F(WayOfFollowingTest, TheRegulatorFollowsUnlessPredictionIsChosen) {
  keepModel();
  choose();
  EXPECT_FALSE(isByPrediction());
  wantPrediction();
  choose();
  EXPECT_TRUE(isByPrediction());
  EXPECT_TRUE(way.isHeadKnown());
}

TEST_F(WayOfFollowingTest, TheRegulatorFollowsWhileTheModelIsNotKnown) {
  wantPrediction();
  choose();
  EXPECT_FALSE(isByPrediction());
  EXPECT_FALSE(way.isHeadKnown());
}

TEST_F(WayOfFollowingTest, GainsCountForTheHeadThatTheyWereTunedFor) {
  Persistent::setCameraName(PRODUCT);
  Persistent::setCameraPanPid(3.0, 2.0, 1.0);
  way.loadGains();
  double kp = 0.0;
  double ki = 0.0;
  double kd = 0.0;
  regulator.getPanPid(&kp, &ki, &kd);
  EXPECT_EQ(kp, 3.0);
  choose("TRK-200");
  EXPECT_FALSE(way.isHeadKnown());
  choose();
  EXPECT_TRUE(way.isHeadKnown());
}

TEST_F(WayOfFollowingTest, GainsAloneDoForNoPrediction) {
  Persistent::setCameraName(PRODUCT);
  way.loadGains();
  wantPrediction();
  choose();
  EXPECT_FALSE(way.isHeadKnown());
}

TEST_F(WayOfFollowingTest, HeadsOfOneSeriesAreZoomedByPositions) {
  choose("K47-12");
  EXPECT_FALSE(regulator.isZoomEnabled());
  choose();
  EXPECT_TRUE(regulator.isZoomEnabled());
}

TEST_F(WayOfFollowingTest, WhatCannotBeReadStaysAsItWas) {
  keepModel();
  wantPrediction();
  choose();
  FakeParameters::remove("SentrelVideo.Following");
  FakeParameters::remove("Brand.ProdNbr");
  EXPECT_FALSE(way.isOutdated(START + 10 * SECOND));
  choose();
  EXPECT_TRUE(isByPrediction());
}

// A question that is lost is no parameter that there is not.
TEST_F(WayOfFollowingTest, AChoiceThatIsNotAnsweredStaysAsItWas) {
  keepModel();
  wantPrediction();
  choose();
  FakeParameters::silence("SentrelVideo.Following");
  EXPECT_FALSE(way.isOutdated(START + 10 * SECOND));
  choose();
  EXPECT_TRUE(isByPrediction());
  FakeParameters::remove("SentrelVideo.Following");
  EXPECT_TRUE(way.isOutdated(START + 10 * SECOND));
}

TEST_F(WayOfFollowingTest, AnUnansweredMarkAsksForNothingNorDoesItsReturn) {
  FakeParameters::set("SentrelVideo.Identify", "1");
  keepModel();
  wantPrediction();
  choose();
  FakeParameters::silence("SentrelVideo.Identify");
  EXPECT_FALSE(way.isOutdated(START + 10 * SECOND));
  choose();
  EXPECT_TRUE(isByPrediction());
  FakeParameters::set("SentrelVideo.Identify", "1");
  EXPECT_FALSE(way.isOutdated(START + 10 * SECOND));
  choose();
  EXPECT_TRUE(isByPrediction());
}

TEST_F(WayOfFollowingTest, AMarkThatIsAnsweredForTheFirstTimeAsksForNothing) {
  FakeParameters::silence("SentrelVideo.Identify");
  keepModel();
  wantPrediction();
  choose();
  EXPECT_TRUE(isByPrediction());
  FakeParameters::set("SentrelVideo.Identify", "1");
  EXPECT_FALSE(way.isOutdated(START + 10 * SECOND));
  choose();
  EXPECT_TRUE(isByPrediction());
  FakeParameters::set("SentrelVideo.Identify", "2");
  EXPECT_TRUE(way.isOutdated(START + 10 * SECOND));
}

// ---- Beginning anew ----

TEST_F(WayOfFollowingTest, AnotherChoiceIsLookedForEveryTenSeconds) {
  choose();
  EXPECT_FALSE(way.isOutdated(START + 10 * SECOND));
  wantPrediction();
  EXPECT_FALSE(way.isOutdated(START + 20 * SECOND - 1));
  EXPECT_TRUE(way.isOutdated(START + 20 * SECOND));
}

TEST_F(WayOfFollowingTest, AModelIsNotTakenOnceIdentificationIsAskedFor) {
  keepModel();
  wantPrediction();
  choose();
  FakeParameters::set("SentrelVideo.Identify", "1");
  EXPECT_TRUE(way.isOutdated(START + 10 * SECOND));
  choose();
  EXPECT_FALSE(way.isHeadKnown());
  EXPECT_FALSE(isByPrediction());
}

// Tracking is switched off and on while the head is identified, or the daemon is started anew.
TEST_F(WayOfFollowingTest, AnIdentificationThatIsAskedForOutlivesAnInterruption) {
  keepModel();
  wantPrediction();
  choose();
  FakeParameters::set("SentrelVideo.Identify", "1");
  choose();
  ASSERT_FALSE(way.isHeadKnown());
  choose();
  EXPECT_FALSE(way.isHeadKnown());
  WayOfFollowing restarted{regulator, observations};
  restarted.choose(PRODUCT, remote, START);
  EXPECT_FALSE(restarted.isHeadKnown());
}

// The folder cannot be written: this run knows it all the same.
TEST_F(WayOfFollowingTest, AnIdentificationIsOwedThoughTheFileStays) {
  keepModel();
  wantPrediction();
  choose();
  FakeParameters::set("SentrelVideo.Identify", "1");
  choose();
  keepModel();
  choose();
  EXPECT_FALSE(way.isHeadKnown());
}

TEST_F(WayOfFollowingTest, AsksForNoIdentificationOfAHeadThatTheRegulatorFollows) {
  choose();
  FakeParameters::set("SentrelVideo.Identify", "1");
  EXPECT_FALSE(way.isOutdated(START + 10 * SECOND));
}

}  // namespace
