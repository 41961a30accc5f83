#include "tracker/tracker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <future>
#include <string>
#include <vector>

#include "src/tracker/moves.h"
#include "src/tracker/tracker_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using CameraState = Tracker::CameraState;

class TrackerTest : public TrackerFixture {
 protected:
  static std::vector<std::string> requestLines(const std::vector<std::string>& names) {
    std::vector<std::string> lines;
    for (const std::string& name : names) {
      lines.push_back("GET orva-cgi/param.cgi?action=list&group=" + name + " 1");
    }
    return lines;
  }

  // Whether there is somebody to follow, long after what was followed has been forgotten.
  bool isTarget() {
    pass(8 * SECOND);
    step();
    pass(STEP);
    return !step().empty();
  }

  // Ready to be connected, with the thread asleep.
  void startConnecting() {
    start();
    tracker->setState(CameraState::connecting);
  }
};

// ---- Life ----

TEST_F(TrackerTest, OneTrackerIsShared) {
  start();
  EXPECT_EQ(&Tracker::getInstance(), tracker);
  Tracker::releaseInstance();
  EXPECT_EQ(FakePtzLibrary::cleanupCount(), 0);
  EXPECT_EQ(FakePtzLibrary::initCount(), 1);
  stop();
  EXPECT_EQ(FakePtzLibrary::cleanupCount(), 1);
}

TEST_F(TrackerTest, StartsStoppedWithDefaults) {
  start();
  EXPECT_EQ(tracker->getState(), CameraState::stopped);
  EXPECT_EQ(tracker->getStateString(), "stopped");
  EXPECT_FALSE(tracker->getSwitchObject());
  EXPECT_EQ(tracker->getTimePerObject(), 5);
  EXPECT_FALSE(tracker->getReturnToHomeEnabled());
  EXPECT_EQ(tracker->getReturnToHomeTimeout(), 5);
  EXPECT_EQ(tracker->getZoomCorrectionValue(), 1.0);
  EXPECT_THAT(FakePtzLibrary::calls(), ElementsAre("init"));
  EXPECT_THAT(FakeEvents::sent(), IsEmpty());
}

TEST_F(TrackerTest, StartsWithTheStoredSettings) {
  Persistent::setSwitchObject(true);
  Persistent::setTimePerObject(17);
  Persistent::setReturnToHomeEnabled(true);
  Persistent::setReturnToHomeTimeout(33);
  Persistent::setZoomCorrection(0.5);
  start();
  EXPECT_TRUE(tracker->getSwitchObject());
  EXPECT_EQ(tracker->getTimePerObject(), 17);
  EXPECT_TRUE(tracker->getReturnToHomeEnabled());
  EXPECT_EQ(tracker->getReturnToHomeTimeout(), 33);
  EXPECT_EQ(tracker->getZoomCorrectionValue(), 0.5);
}

TEST_F(TrackerTest, StartsConnectingWhenSwitchedOn) {
  Persistent::setSentrelEnabled(true);
  start();
  EXPECT_EQ(tracker->getState(), CameraState::connecting);
  EXPECT_THAT(sentStates(), ElementsAre("connecting"));
}

TEST_F(TrackerTest, DeclaresItsEventsBeforeTheHeadIsInitialised) {
  start();
  EXPECT_THAT(CallJournal::calls(),
              ElementsAre("declare state", "declare isSentreling", "ptz init"));
}

TEST_F(TrackerTest, UndeclaresItsEventsWhenTheHeadStandsAndBeforeItIsLeft) {
  start();
  CallJournal::clear();
  stop();
  EXPECT_THAT(CallJournal::calls(), ElementsAre("ptz move", "ptz move", "undeclare isSentreling",
                                                "undeclare state", "ptz cleanup"));
  EXPECT_EQ(FakeEvents::handlersMade(), FakeEvents::handlersFreed() + 1);  // the wrapper's own
}

// One stop before the thread ends, one when it has.
TEST_F(TrackerTest, TheEndOfAStoppedTracker) {
  start();
  stop();
  EXPECT_THAT(FakePtzLibrary::calls(), ElementsAre("init", "move", "move", "cleanup"));
  EXPECT_THAT(FakePtzLibrary::moves(), ElementsAre(IsStop(), IsStop()));
  EXPECT_THAT(FakeEvents::sent(), IsEmpty());
}

TEST_F(TrackerTest, TheEndOfARunningTrackerTellsIt) {
  Persistent::setSentrelEnabled(true);
  head.setUp("Q8742");
  startConnected("Q8742");
  std::future<void> released = std::async(std::launch::async, [] { Tracker::releaseInstance(); });
  EXPECT_TRUE(waitFor([] { return !FakePtzLibrary::moves().empty(); }));
  EXPECT_THAT(sentStates(), ElementsAre("stopped"));
  EXPECT_THAT(sentSentreling(), ElementsAre(false));
  EXPECT_THAT(FakeEvents::activeDeclarations(), SizeIs(2));
  EXPECT_EQ(FakePtzLibrary::cleanupCount(), 0);
  clock.free();
  released.get();
  tracker = nullptr;
  EXPECT_EQ(FakePtzLibrary::calls().back(), "cleanup");
  EXPECT_THAT(FakePtzLibrary::moves(), testing::Each(IsStop()));
  EXPECT_THAT(FakeEvents::activeDeclarations(), IsEmpty());
  EXPECT_EQ(FakePtzMath::contextsAlive(), 0);
  EXPECT_TRUE(Persistent::getSentrelEnabled());
}

TEST_F(TrackerTest, ATrackerCanBeMadeAnew) {
  start();
  clock.free();
  Tracker::releaseInstance();
  Tracker& next = Tracker::getInstance();
  EXPECT_EQ(next.getState(), CameraState::stopped);
  EXPECT_EQ(FakePtzLibrary::initCount(), 2);
  Tracker::releaseInstance();
  tracker = nullptr;
  EXPECT_EQ(FakePtzLibrary::cleanupCount(), 2);
}

// ---- States ----

TEST_F(TrackerTest, StateStrings) {
  start();
  tracker->setState(CameraState::connecting);
  EXPECT_EQ(tracker->getStateString(), "connecting");
  tracker->setState(CameraState::autotuning);
  EXPECT_EQ(tracker->getStateString(), "autotuning");
  tracker->setState(CameraState::running);
  EXPECT_EQ(tracker->getStateString(), "running");
  EXPECT_THAT(sentStates(), ElementsAre("connecting", "autotuning", "running"));
  EXPECT_THAT(sentSentreling(), IsEmpty());
}

TEST_F(TrackerTest, AnEqualStateIsNoChange) {
  start();
  tracker->setState(CameraState::stopped);
  EXPECT_THAT(FakeEvents::sent(), IsEmpty());
}

TEST_F(TrackerTest, StoppingTellsThatNobodyIsSteered) {
  startRunning();
  tracker->setState(CameraState::stopped);
  EXPECT_THAT(sentSentreling(), ElementsAre(false));
  EXPECT_THAT(sentStates(), ElementsAre("stopped"));
}

TEST_F(TrackerTest, SwitchingOn) {
  start();
  tracker->enableSentrel(true);
  EXPECT_EQ(tracker->getState(), CameraState::connecting);
  EXPECT_THAT(sentStates(), ElementsAre("connecting"));
  EXPECT_TRUE(Persistent::getSentrelEnabled());
  tracker->enableSentrel(true);
  EXPECT_THAT(sentStates(), SizeIs(1));
}

TEST_F(TrackerTest, SwitchingOffStopsTheHead) {
  Persistent::setSentrelEnabled(true);
  startRunning();
  tracker->enableSentrel(false);
  EXPECT_EQ(tracker->getState(), CameraState::stopped);
  EXPECT_THAT(sentSentreling(), ElementsAre(false));
  EXPECT_THAT(sentStates(), ElementsAre("stopped"));
  EXPECT_THAT(FakePtzLibrary::moves(), ElementsAre(IsStop()));
  EXPECT_FALSE(Persistent::getSentrelEnabled());
  tracker->enableSentrel(false);
  EXPECT_THAT(sentStates(), SizeIs(1));
  EXPECT_THAT(FakePtzLibrary::moves(), SizeIs(1));
}

TEST_F(TrackerTest, SwitchingOnWhileRunningChangesNothing) {
  startRunning();
  tracker->enableSentrel(true);
  EXPECT_EQ(tracker->getState(), CameraState::running);
  EXPECT_THAT(FakeEvents::sent(), IsEmpty());
}

TEST_F(TrackerTest, StoppingForThisRunOnlyIsNotStored) {
  Persistent::setSentrelEnabled(true);
  startRunning();
  tracker->setState(CameraState::stopped);
  EXPECT_TRUE(Persistent::getSentrelEnabled());
}

TEST_F(TrackerTest, TheThreadsPaceByState) {
  start();
  tracker->setState(CameraState::running);
  ASSERT_TRUE(clock.advanceAndSettle(299'999));
  EXPECT_EQ(FakePtzLibrary::statusCount(), 0);
  ASSERT_TRUE(clock.advanceAndSettle(1));
  EXPECT_EQ(FakePtzLibrary::statusCount(), 1);
  ASSERT_TRUE(clock.advanceAndSettle(99'999));
  EXPECT_EQ(FakePtzLibrary::statusCount(), 1);
  tracker->setState(CameraState::connecting);
  ASSERT_TRUE(clock.advanceAndSettle(1));
  EXPECT_THAT(head.requests(), SizeIs(1));
  ASSERT_TRUE(clock.advanceAndSettle(499'999));
  EXPECT_THAT(head.requests(), SizeIs(1));
  ASSERT_TRUE(clock.advanceAndSettle(1));
  EXPECT_THAT(head.requests(), SizeIs(2));
}

TEST_F(TrackerTest, TheThreadsPaceWhileAutotuning) {
  startConnecting();
  head.setUp("Q8742");
  ASSERT_TRUE(clock.advanceAndSettle(300'000));  // connects
  EXPECT_EQ(tracker->getState(), CameraState::autotuning);
  ASSERT_TRUE(clock.advanceAndSettle(500'000));
  EXPECT_THAT(FakePtzLibrary::moves(), SizeIs(1));
  EXPECT_EQ(FakePtzLibrary::statusCount(), 0);
  ASSERT_TRUE(clock.advanceAndSettle(49'999));
  EXPECT_EQ(FakePtzLibrary::statusCount(), 0);
  ASSERT_TRUE(clock.advanceAndSettle(1));
  EXPECT_EQ(FakePtzLibrary::statusCount(), 1);
}

TEST_F(TrackerTest, ABadStateIsLogged) {
  start();
  try {
    tracker->setState(static_cast<CameraState>(9));
  } catch (const std::exception&) {
    // Such a state may have no name to be sent under.
  }
  clock.advance(300'000);
  EXPECT_TRUE(waitFor([] { return LogCapture::count(LOG_ERR, "Tracker in a bad state\n") > 1; }));
  tracker->setState(CameraState::stopped);
  EXPECT_TRUE(clock.waitForSleepers(1));
}

// ---- Settings ----

TEST_F(TrackerTest, SettingsAreStored) {
  start();
  tracker->setSwitchObject(true);
  tracker->setTimePerObject(9);
  tracker->setReturnToHomeEnabled(true);
  tracker->setReturnToHomeTimeout(12);
  tracker->setZoomCorrectionValue(2.0);
  EXPECT_TRUE(tracker->getSwitchObject());
  EXPECT_EQ(tracker->getTimePerObject(), 9);
  EXPECT_TRUE(tracker->getReturnToHomeEnabled());
  EXPECT_EQ(tracker->getReturnToHomeTimeout(), 12);
  EXPECT_EQ(tracker->getZoomCorrectionValue(), 2.0);
  EXPECT_TRUE(Persistent::getSwitchObject());
  EXPECT_EQ(Persistent::getTimePerObject(), 9);
  EXPECT_TRUE(Persistent::getReturnToHomeEnabled());
  EXPECT_EQ(Persistent::getReturnToHomeTimeout(), 12);
  EXPECT_EQ(Persistent::getZoomCorrection(), 2.0);
}

TEST_F(TrackerTest, ASettingThatDoesNotChangeIsNotStored) {
  start();
  tracker->setSwitchObject(false);
  tracker->setTimePerObject(5);
  tracker->setReturnToHomeEnabled(false);
  tracker->setReturnToHomeTimeout(5);
  tracker->setZoomCorrectionValue(1.0);
  EXPECT_EQ(folder.fileCount(), 0);
}

// ---- Connecting ----

TEST_F(TrackerTest, ConnectReadsTheHeadInOrder) {
  startConnecting();
  head.setUp("Q8742");
  tracker->connect();
  EXPECT_EQ(head.requests(),
            requestLines({"PTZ.Limit.L1.MinFieldAngle", "PTZ.Limit.L1.MaxFieldAngle",
                          "PTZ.Limit.L1.MinZoom", "PTZ.Limit.L1.MaxZoom",
                          "ImageSource.I0.Sensor.AspectRatio", "Image.I0.Appearance.Resolution",
                          "ImageSource.I0.Video.DetectedType", "Brand.ProdNbr"}));
}

TEST_F(TrackerTest, ConnectStopsAtTheFirstThatFails) {
  startConnecting();
  head.setUp("Q8742");
  head.setReply("PTZ.Limit.L1.MinZoom", {"0 0\n"});
  tracker->connect();
  EXPECT_THAT(head.requests(), SizeIs(3));
  EXPECT_EQ(tracker->getState(), CameraState::connecting);
  head.setParameter("PTZ.Limit.L1.MinZoom", "1");
  tracker->connect();
  EXPECT_EQ(tracker->getState(), CameraState::autotuning);
}

TEST_F(TrackerTest, ConnectSetsTheWidestView) {
  startConnecting();
  head.setUp("Q8742");
  head.setParameter("PTZ.Limit.L1.MaxFieldAngle", "480");
  head.setParameter("ImageSource.I0.Sensor.AspectRatio", "2:1");
  tracker->connect();
  ASSERT_TRUE(tracker->addCamera(1));
  const auto isFollowed = [this](const Look& look) {
    track(1, look);
    const bool isMoved = !step().empty();
    tracker->untrack(1, 1);
    pass(8 * SECOND);
    step();
    step();
    return isMoved;
  };
  EXPECT_TRUE(isFollowed({.pan = CENTER_PAN - 1.0, .width = 48.0, .height = 24.0}));
  EXPECT_FALSE(isFollowed({.pan = CENTER_PAN - 1.0, .width = 48.0625, .height = 1.0}));
  EXPECT_FALSE(isFollowed({.pan = CENTER_PAN - 1.0, .width = 1.0, .height = 24.0625}));
}

TEST_F(TrackerTest, AProductNumberOf4CharactersKeepsConnecting) {
  startConnecting();
  head.setUp("Q874");
  tracker->connect();
  EXPECT_EQ(tracker->getState(), CameraState::connecting);
  head.setParameter("Brand.ProdNbr", "Q8742");
  tracker->connect();
  EXPECT_EQ(tracker->getState(), CameraState::autotuning);
}

TEST_F(TrackerTest, AKnownHeadRunsAtOnce) {
  Persistent::setCameraName("Q8742");
  startConnecting();
  head.setUp("Q8742");
  FakeEvents::clearSent();
  tracker->connect();
  EXPECT_EQ(tracker->getState(), CameraState::running);
  EXPECT_THAT(sentStates(), ElementsAre("running"));
}

TEST_F(TrackerTest, AHeadIsKnownByItsWholeNumber) {
  Persistent::setCameraName("Q8742-E");
  startConnecting();
  head.setUp("Q8742");
  FakeEvents::clearSent();
  tracker->connect();
  EXPECT_EQ(tracker->getState(), CameraState::autotuning);
  EXPECT_THAT(sentStates(), ElementsAre("autotuning"));
}

// Such a step may have begun before tracking was switched off.
TEST_F(TrackerTest, ConnectDoesNotSwitchAStoppedTrackerOn) {
  start();
  head.setUp("Q8742");
  tracker->connect();
  EXPECT_EQ(tracker->getState(), CameraState::stopped);
  Persistent::setCameraName("Q8742");
  tracker->connect();
  EXPECT_EQ(tracker->getState(), CameraState::stopped);
  EXPECT_THAT(sentStates(), IsEmpty());
}

TEST_F(TrackerTest, ConnectingAnewForgetsWhatWasFollowed) {
  head.setUp("Q8742");
  startConnected("Q8742");
  track(1);
  EXPECT_THAT(step(), SizeIs(1));
  tracker->untrack(1, 1);
  tracker->setState(CameraState::connecting);
  tracker->connect();
  ASSERT_EQ(tracker->getState(), CameraState::running);
  EXPECT_THAT(step(), ElementsAre(IsMove(0.0, 3, 0.0, 3, 0, 3)));
  EXPECT_THAT(sentSentreling(), ElementsAre(true, false));
}

// ---- A head that falls silent ----

class SilentHeadTest : public TrackerTest {
 protected:
  // What is cut short has ended before the 5 s that the head has for an answer.
  static constexpr auto CUT_SHORT = std::chrono::seconds(4);

  // The tracker's thread waits for the head's first answer.
  void startWaiting() {
    startConnecting();
    head.setUp("Q8742");
    head.fallSilent("PTZ.Limit.L1.MinFieldAngle");
    clock.advance(300'000);
    ASSERT_TRUE(waitFor([this] { return head.requests().size() == 1; }));
    begun = std::chrono::steady_clock::now();
  }

  std::chrono::steady_clock::duration passed() const {
    return std::chrono::steady_clock::now() - begun;
  }

  std::chrono::steady_clock::time_point begun;
};

// The wait of this test is a real one.
TEST_F(SilentHeadTest, IsAskedNothingMoreInThisStepAndAnewInTheNext) {
  startConnecting();
  head.setUp("Q8742");
  head.fallSilent("ImageSource.I0.Sensor.AspectRatio");
  tracker->connect();
  EXPECT_THAT(head.requests(), SizeIs(5));
  EXPECT_EQ(tracker->getState(), CameraState::connecting);
  head.setUp("Q8742");
  tracker->connect();
  EXPECT_THAT(head.requests(), SizeIs(5 + 8));
  EXPECT_EQ(tracker->getState(), CameraState::autotuning);
}

TEST_F(SilentHeadTest, IsLeftAtOnceWhenTrackingIsSwitchedOff) {
  startWaiting();
  tracker->enableSentrel(false);
  EXPECT_TRUE(clock.waitForSleepers(1));
  EXPECT_LT(passed(), CUT_SHORT);
  EXPECT_THAT(head.requests(), SizeIs(1));
  // And asked anew when it is switched on again.
  head.setUp("Q8742");
  tracker->enableSentrel(true);
  ASSERT_TRUE(clock.advanceAndSettle(500'000));
  EXPECT_EQ(tracker->getState(), CameraState::autotuning);
}

TEST_F(SilentHeadTest, IsLeftAtOnceWhenTrackingIsStoppedForThisRun) {
  startWaiting();
  tracker->setState(CameraState::stopped);
  EXPECT_TRUE(clock.waitForSleepers(1));
  EXPECT_LT(passed(), CUT_SHORT);
}

TEST_F(SilentHeadTest, DoesNotKeepTheTrackerFromItsEnd) {
  startWaiting();
  clock.free();
  Tracker::releaseInstance();
  tracker = nullptr;
  EXPECT_LT(passed(), CUT_SHORT);
}

// ---- Autotuning ----

class TrackerAutotuneTest : public TrackerTest {
 protected:
  void startAutotuning() {
    startConnecting();
    head.setUp("Q8742");
    tracker->connect();
    ASSERT_EQ(tracker->getState(), CameraState::autotuning);
    FakeEvents::clearSent();
    FakePtzLibrary::clearMoves();
  }

  std::vector<FakePtzLibrary::Move> autotuneStep() {
    FakePtzLibrary::clearMoves();
    tracker->autotune();
    pass(50'000);
    return FakePtzLibrary::moves();
  }

  // Through the zoom check and both positions, up to the relay.
  void goToRelay(int zoom) {
    autotuneStep();
    setHead(0.0, -45.0, zoom);
    autotuneStep();
    setHead(0.0, -45.0, 1);
    autotuneStep();
    autotuneStep();
  }
};

TEST_F(TrackerAutotuneTest, AnUnknownHeadIsTunedAndRemembered) {
  startAutotuning();
  EXPECT_THAT(autotuneStep(), ElementsAre(IsMove(0.0, 1, -45.0, 1, 100, 1)));
  setHead(0.0, -45.0, 50);
  EXPECT_THAT(autotuneStep(), ElementsAre(IsMove(0.0, 1, -45.0, 1, 1, 1)));
  EXPECT_EQ(tracker->getZoomCorrectionValue(), 2.0);
  EXPECT_EQ(Persistent::getZoomCorrection(), 2.0);
  setHead(0.0, -45.0, 1);
  autotuneStep();
  autotuneStep();
  double pan = 0.0;
  double tilt = -45.0;
  std::deque<FakePtzLibrary::Move> pending(3);
  std::string name;
  for (int i = 0; i < 500 && name.empty(); ++i) {
    setHead(pan, tilt, 1);
    const auto moves = autotuneStep();
    ASSERT_THAT(moves, SizeIs(1));
    pending.push_back(moves[0]);
    pan += pending.front().pan * 0.05;
    tilt += pending.front().tilt * 0.05;
    pending.pop_front();
    Persistent::getCameraName(name);
  }
  EXPECT_EQ(name, "Q8742");
  double kp = 0.0;
  double ki = 0.0;
  double kd = 0.0;
  Persistent::getCameraPanPid(kp, ki, kd);
  EXPECT_NE(kp, 1.0);
  EXPECT_GT(ki, 0.0);
  EXPECT_NEAR(kd, ki / 0.25 / 6.0, 1e-3);
  Persistent::getCameraTiltPid(kp, ki, kd);
  EXPECT_NE(kp, 1.0);
  EXPECT_EQ(tracker->getState(), CameraState::autotuning);
  EXPECT_THAT(autotuneStep(), ElementsAre(IsMove(0.0, 1, -3.6, 1, 1, 1)));
  EXPECT_EQ(tracker->getState(), CameraState::running);
  EXPECT_THAT(sentStates(), ElementsAre("running"));
  // Known from now on.
  tracker->setState(CameraState::connecting);
  tracker->connect();
  EXPECT_EQ(tracker->getState(), CameraState::running);
}

TEST_F(TrackerAutotuneTest, AfterThreeFailuresItRunsWithTheGainsItHad) {
  Persistent::setCameraPanPid(2.5, 0.5, 0.25);
  startAutotuning();
  for (int attempt = 0; attempt < 3; ++attempt) {
    goToRelay(100);
    for (int i = 0; i < 502; ++i) {  // nothing moves for 25 s
      autotuneStep();
    }
    autotuneStep();  // decides what follows
  }
  for (int i = 0; i < 4 && tracker->getState() != CameraState::running; ++i) {
    autotuneStep();
  }
  EXPECT_EQ(tracker->getState(), CameraState::running);
  std::string name;
  Persistent::getCameraName(name);
  EXPECT_EQ(name, "");
  double kp = 0.0;
  double ki = 0.0;
  double kd = 0.0;
  Persistent::getCameraPanPid(kp, ki, kd);
  EXPECT_EQ(kp, 2.5);
}

TEST_F(TrackerAutotuneTest, AutotuneDoesNotSwitchAStoppedTrackerOn) {
  startAutotuning();
  FakePtzLibrary::failStatus(1000, "mute");
  for (int failure = 0; failure < 2; ++failure) {
    for (int i = 0; i < 3; ++i) {
      autotuneStep();
    }
  }
  autotuneStep();
  autotuneStep();
  autotuneStep();  // the third failure; the last step follows
  tracker->setState(CameraState::stopped);
  autotuneStep();
  EXPECT_EQ(tracker->getState(), CameraState::stopped);
}

TEST_F(TrackerAutotuneTest, ConnectingAnewTunesFromTheFirstStep) {
  startAutotuning();
  autotuneStep();
  tracker->setState(CameraState::connecting);
  tracker->connect();
  ASSERT_EQ(tracker->getState(), CameraState::autotuning);
  EXPECT_THAT(autotuneStep(), ElementsAre(IsMove(0.0, 1, -45.0, 1, 100, 1)));
}

// ---- Following ----

TEST_F(TrackerTest, NothingIsCommandedWithoutATarget) {
  startRunning();
  EXPECT_THAT(step(), IsEmpty());
  EXPECT_THAT(FakeEvents::sent(), IsEmpty());
  EXPECT_EQ(FakePtzLibrary::statusCount(), 1);
}

// Pan 10 off by 10. Extent 12, so the target is 64.6 / 12, cut by a tenth while the head turns at
// 10, and the zoom loop's gain is 20.
TEST_F(TrackerTest, AnObjectIsFollowed) {
  startRunning();
  track(1);
  const int zoomSpeed = static_cast<int>(20.0 * (64.6 / 12.0 * 0.9 - 1.0));
  ASSERT_EQ(zoomSpeed, 76);
  EXPECT_THAT(step(), ElementsAre(IsMove(10.0, 3, 0.0, 3, zoomSpeed, 3)));
  EXPECT_THAT(sentSentreling(), ElementsAre(true));
  pass(STEP);
  setHead(4.0, CENTER_TILT);
  EXPECT_THAT(step(), ElementsAre(IsMove(6.0, 3, 0.0, 3, 81, 3)));  // 20 * (5.3833 * 0.94 - 1)
  EXPECT_THAT(sentSentreling(), SizeIs(1));
}

TEST_F(TrackerTest, TheStoredGainsAreUsed) {
  Persistent::setCameraPanPid(2.0, 0.0, 0.0);
  Persistent::setCameraTiltPid(0.5, 0.0, 0.0);
  startRunning();
  track(1, {.tilt = CENTER_TILT + 8.0});
  const auto moves = step();
  ASSERT_THAT(moves, SizeIs(1));
  EXPECT_NEAR(moves[0].pan, 20.0, 1e-9);
  EXPECT_NEAR(moves[0].tilt, 4.0, 0.1);
}

// A second ahead: two degrees to the right, one up.
TEST_F(TrackerTest, AMovingObjectIsLed) {
  startRunning();
  track(1, {.panVelocity = 2.0, .tiltVelocity = 4.0});
  const auto moves = step();
  ASSERT_THAT(moves, SizeIs(1));
  EXPECT_NEAR(moves[0].pan, 12.0, 1e-9);
  EXPECT_NEAR(moves[0].tilt, 4.0, 1e-9);
}

TEST_F(TrackerTest, AnObjectOfAnotherCameraIsIgnored) {
  startRunning();
  const TrackingObject object(moteObject(1, clock.now()), 0, 1.0F);
  tracker->track(2, 1, object);
  EXPECT_THAT(step(), IsEmpty());
}

TEST_F(TrackerTest, AnObjectThatWasTakenBackIsNoTarget) {
  startRunning();
  track(1);
  tracker->untrack(2, 1);
  tracker->untrack(1, 9);
  EXPECT_THAT(step(), SizeIs(1));
  track(2, {.pan = CENTER_PAN + 5.0});
  tracker->untrack(1, 1);
  pass(STEP);
  const auto moves = step();
  ASSERT_THAT(moves, SizeIs(1));
  EXPECT_NEAR(moves[0].pan, 15.0, 1e-9);
}

TEST_F(TrackerTest, AnObjectThatBecomesTooLargeIsTakenBack) {
  startRunning();
  track(1);
  track(1, {.width = 61.0});
  EXPECT_THAT(step(), IsEmpty());
}

TEST_F(TrackerTest, AnObjectThatIsTooLargeIsNeverFollowed) {
  startRunning();
  track(1, {.width = 61.0});
  EXPECT_THAT(step(), IsEmpty());
}

// A quarter to the right of the middle becomes a quarter below it: 1/8 of 32 degrees.
TEST_F(TrackerTest, AnObservationOfASensorThatHasBeenTurnedIsTurnedAsAWhole) {
  startRunning();
  const Fov watcher(0);
  lens.set(0, 64.0, 32.0, 90);
  ASSERT_TRUE(iterateUntil([&watcher] { return watcher.getSensorRotation() == 90; }));
  track(1, {.pan = CENTER_PAN + 8.0});
  const auto moves = step();
  ASSERT_THAT(moves, SizeIs(1));
  EXPECT_NEAR(moves[0].pan, 10.0, 1e-9);
  EXPECT_NEAR(moves[0].tilt, -4.0, 1e-9);
}

TEST_F(TrackerTest, RemovingACameraForItsLastUserDropsItsObjects) {
  startRunning();
  ASSERT_TRUE(tracker->addCamera(1));
  track(1);
  tracker->removeCamera(1);
  EXPECT_THAT(step(), SizeIs(1));
  tracker->removeCamera(1);
  EXPECT_EQ(FakePtzMath::contextsAlive(), 0);
  ASSERT_TRUE(tracker->addCamera(1));
  pass(8 * SECOND);
  step();  // the regulator gives the old target up
  pass(STEP);
  EXPECT_THAT(step(), IsEmpty());
}

TEST_F(TrackerTest, ACameraWithoutGeometryCannotBeAdded) {
  start();
  EXPECT_FALSE(tracker->addCamera(2));
  EXPECT_FALSE(tracker->addCamera(0));
  EXPECT_FALSE(tracker->addCamera(-1));
}

TEST_F(TrackerTest, TheHigherPriorityIsFollowed) {
  startRunning();
  tracker->setWidestView({10.0, 10.0});
  track(1, {.pan = CENTER_PAN - 10.0}, 1);
  track(2, {.pan = CENTER_PAN + 15.0}, 3);
  const auto moves = step();
  ASSERT_THAT(moves, SizeIs(1));
  EXPECT_NEAR(moves[0].pan, 25.0, 1e-9);
}

TEST_F(TrackerTest, TheCentreOfACameraIsLookedAtForOneStep) {
  startRunning();
  FakePtzLibrary::clearMoves();
  tracker->trackCameraCenter(1);
  ASSERT_THAT(FakePtzLibrary::moves(), SizeIs(1));
  EXPECT_NEAR(FakePtzLibrary::moves()[0].pan, 10.0, 1e-9);
  pass(8 * SECOND);
  step();
  pass(STEP);
  EXPECT_THAT(step(), IsEmpty());
}

TEST_F(TrackerTest, WhenTheTargetIsStaleTheHeadIsStopped) {
  startRunning();
  setHead(CENTER_PAN, CENTER_TILT, 1);
  track(1, {.width = 32.3});  // no magnification: settled
  EXPECT_THAT(step(), SizeIs(1));
  tracker->untrack(1, 1);
  pass(SECOND * 3 / 2);
  EXPECT_THAT(step(), SizeIs(1));
  EXPECT_THAT(sentSentreling(), ElementsAre(true));
  pass(STEP);
  EXPECT_THAT(step(), ElementsAre(IsMove(0.0, 3, 0.0, 3, 0, 3)));
  EXPECT_THAT(sentSentreling(), ElementsAre(true, false));
  pass(STEP);
  EXPECT_THAT(step(), IsEmpty());
  EXPECT_THAT(sentSentreling(), SizeIs(2));
}

TEST_F(TrackerTest, AfterOffAndOnTheSteeringIsToldAgain) {
  startRunning();
  track(1);
  step();
  tracker->enableSentrel(false);
  tracker->setState(CameraState::running);
  step();
  EXPECT_THAT(sentSentreling(), ElementsAre(true, false, true));
}

TEST_F(TrackerTest, AnObjectThatSeveralHoldIsForgottenWhenTheLastLetsGo) {
  startRunning();
  const int guards[3] = {};
  track(1);
  tracker->hold(1, 1, &guards[0]);
  tracker->hold(1, 1, &guards[1]);
  tracker->hold(1, 1, &guards[1]);
  tracker->letGo(1, 1, &guards[2]);
  tracker->letGo(1, 1, &guards[0]);
  tracker->letGo(1, 1, &guards[0]);
  EXPECT_TRUE(isTarget());
  tracker->letGo(1, 1, &guards[1]);
  EXPECT_FALSE(isTarget());
}

// ---- Switched off while a step is under way ----

// Each step's thread asks the head for its status first; meanwhile somebody switches.
class SwitchedOffInAStepTest : public TrackerTest {
 protected:
  // One step of the thread that was to follow an object.
  void stepWhile(const std::function<void()>& switching) {
    startRunning();
    track(1);
    FakePtzLibrary::duringNextStatus(switching);
    ASSERT_TRUE(clock.advanceAndSettle(300'000));
    tracker->untrack(1, 1);
  }
};

TEST_F(SwitchedOffInAStepTest, TheHeadIsStoppedAfterWhatTheStepCommands) {
  stepWhile([this] { tracker->enableSentrel(false); });
  EXPECT_EQ(tracker->getState(), CameraState::stopped);
  EXPECT_THAT(FakePtzLibrary::moves(), ElementsAre(IsStop(), testing::Not(IsStop()), IsStop()));
  EXPECT_THAT(sentSentreling(), ElementsAre(false, true, false));
}

TEST_F(SwitchedOffInAStepTest, NothingIsFollowedAfterwards) {
  stepWhile([this] { tracker->enableSentrel(false); });
  tracker->setState(CameraState::running);
  EXPECT_THAT(step(), IsEmpty());
  EXPECT_THAT(sentSentreling(), ElementsAre(false, true, false));
}

TEST_F(SwitchedOffInAStepTest, AndOnAgainStopsTheHeadAllTheSame) {
  stepWhile([this] {
    tracker->enableSentrel(false);
    tracker->enableSentrel(true);
  });
  EXPECT_EQ(tracker->getState(), CameraState::connecting);
  EXPECT_THAT(FakePtzLibrary::moves(), ElementsAre(IsStop(), testing::Not(IsStop()), IsStop()));
  EXPECT_THAT(sentSentreling(), ElementsAre(false, true, false));
}

TEST_F(SwitchedOffInAStepTest, OfTuningAndOnAgainStopsTheHeadAllTheSame) {
  startConnecting();
  head.setUp("Q8742");
  tracker->connect();
  ASSERT_TRUE(clock.advanceAndSettle(300'000));  // the first position is commanded
  FakePtzLibrary::clearMoves();
  setHead(0.0, -45.0, 100);
  FakePtzLibrary::duringNextStatus([this] {
    tracker->enableSentrel(false);
    tracker->enableSentrel(true);
  });
  ASSERT_TRUE(clock.advanceAndSettle(50'000));
  EXPECT_EQ(tracker->getState(), CameraState::connecting);
  EXPECT_THAT(FakePtzLibrary::moves(),
              ElementsAre(IsStop(), IsMove(0.0, 1, -45.0, 1, 1, 1), IsStop()));
}

// ---- A head that does not answer ----

TEST_F(TrackerTest, AStatusThatCannotBeReadEndsTheStep) {
  startRunning();
  track(1);
  FakePtzLibrary::failStatus(1, "mute");
  EXPECT_THAT(step(), IsEmpty());
  EXPECT_THAT(step(), SizeIs(1));
}

TEST_F(TrackerTest, TheTenthFailureInARowStopsASteeredHeadOnce) {
  startRunning();
  track(1);
  step();
  FakePtzLibrary::failStatus(9, "mute");
  for (int i = 0; i < 9; ++i) {
    EXPECT_THAT(step(), IsEmpty());
  }
  step();  // answers: counted anew
  FakePtzLibrary::failStatus(100, "mute");
  for (int i = 0; i < 9; ++i) {
    EXPECT_THAT(step(), IsEmpty()) << i;
  }
  EXPECT_THAT(step(), ElementsAre(IsStop()));
  for (int i = 0; i < 20; ++i) {
    EXPECT_THAT(step(), IsEmpty()) << i;
  }
}

TEST_F(TrackerTest, AfterTenFailuresTheHeadCountsAsNotSteeredUntilItIsAgain) {
  startRunning();
  track(1);
  step();
  FakePtzLibrary::failStatus(3000, "mute");
  for (int i = 0; i < 9; ++i) {
    step();
  }
  EXPECT_THAT(sentSentreling(), ElementsAre(true));
  for (int i = 9; i < 3000; ++i) {
    step();
  }
  EXPECT_THAT(sentSentreling(), ElementsAre(true, false));
  EXPECT_THAT(step(), SizeIs(1));
  EXPECT_THAT(sentSentreling(), ElementsAre(true, false, true));
}

TEST_F(TrackerTest, AfterTenFailuresNothingIsFollowedWithoutANewTarget) {
  startRunning();
  track(1);
  step();
  FakePtzLibrary::failStatus(10, "mute");
  for (int i = 0; i < 10; ++i) {
    step();
  }
  tracker->untrack(1, 1);
  EXPECT_THAT(step(), IsEmpty());
  EXPECT_THAT(sentSentreling(), ElementsAre(true, false));
}

TEST_F(TrackerTest, AStopThatDidNotGetThroughIsMadeUpForOnce) {
  startRunning();
  track(1);
  step();
  FakePtzLibrary::failStatus(10, "mute");
  FakePtzLibrary::failMoves(1, "mute");
  for (int i = 0; i < 10; ++i) {
    step();
  }
  tracker->untrack(1, 1);
  EXPECT_THAT(step(), ElementsAre(IsMove(0.0, 3, 0.0, 3, 0, 3)));
  EXPECT_THAT(step(), IsEmpty());
  EXPECT_THAT(sentSentreling(), ElementsAre(true, false));
}

TEST_F(TrackerTest, AHeadThatIsNotSteeredIsNotStopped) {
  startRunning();
  FakePtzLibrary::failStatus(100, "mute");
  for (int i = 0; i < 15; ++i) {
    EXPECT_THAT(step(), IsEmpty());
  }
}

// ---- Zoom by absolute commands ----

// Magnification 1 to 2 over positions 0 to 100, field angles 30 to 60.
class AbsoluteZoomTest : public TrackerTest {
 protected:
  void startAbsolute(const std::string& productNumber = "K4711") {
    head.setUp(productNumber);
    head.setParameter("PTZ.Limit.L1.MinFieldAngle", "300");
    head.setParameter("PTZ.Limit.L1.MaxFieldAngle", "600");
    head.setParameter("PTZ.Limit.L1.MinZoom", "0");
    head.setParameter("PTZ.Limit.L1.MaxZoom", "100");
    startConnected(productNumber);
  }
};

TEST_F(AbsoluteZoomTest, TheZoomIsSentAsAPosition) {
  startAbsolute();
  setHead(0.0, CENTER_TILT, 0);
  track(1);  // 60 / 12 = 5
  EXPECT_THAT(step(), ElementsAre(IsMove(10.0, 0, 0.0, 0, 400, 1)));
}

TEST_F(AbsoluteZoomTest, ASecondZoomWithinASecondIsReplacedByPanAndTilt) {
  startAbsolute();
  setHead(0.0, CENTER_TILT, 0);
  track(1);
  step();
  pass(SECOND);
  EXPECT_THAT(step(), ElementsAre(IsMove(10.0, 3, 0.0, 3, 0, 0)));
  pass(1);
  EXPECT_THAT(step(), ElementsAre(IsMove(10.0, 0, 0.0, 0, 400, 1)));
}

TEST_F(AbsoluteZoomTest, WithRExactly1Point2NoZoomIsSent) {
  startAbsolute();
  setHead(0.0, CENTER_TILT, 0);
  track(1, {.width = 25.0});  // 60 / 50 over 1
  EXPECT_THAT(step(), ElementsAre(IsMove(10.0, 3, 0.0, 3, 0, 0)));
}

TEST_F(AbsoluteZoomTest, WithRAbove1Point2ZoomIsSent) {
  startAbsolute();
  setHead(0.0, CENTER_TILT, 0);
  track(1, {.width = 24.875});  // 60 / 49.75
  EXPECT_THAT(step(), ElementsAre(IsMove(10.0, 0, 0.0, 0, 20, 1)));
}

TEST_F(AbsoluteZoomTest, WithRExactly0Point8NoZoomIsSent) {
  startAbsolute();
  setHead(0.0, CENTER_TILT, 25);
  track(1, {.width = 30.0});  // 1 over 1.25
  EXPECT_THAT(step(), ElementsAre(IsMove(10.0, 3, 0.0, 3, 0, 0)));
}

TEST_F(AbsoluteZoomTest, WithRBelow0Point8ZoomIsSent) {
  startAbsolute();
  setHead(0.0, CENTER_TILT, 26);
  track(1, {.width = 30.0});
  EXPECT_THAT(step(), ElementsAre(IsMove(10.0, 0, 0.0, 0, 0, 1)));
}

TEST_F(AbsoluteZoomTest, ATargetThatFillsMoreThanTheWidestViewIsClampedTo1) {
  startAbsolute();
  setHead(0.0, CENTER_TILT, 100);
  track(1, {.width = 50.0});  // 60 / 100
  EXPECT_THAT(step(), ElementsAre(IsMove(10.0, 0, 0.0, 0, 0, 1)));
}

TEST_F(AbsoluteZoomTest, ATinyTargetIsClampedTo6) {
  startAbsolute();
  setHead(0.0, CENTER_TILT, 0);
  track(1, {.width = 1.0, .height = 0.5});
  EXPECT_THAT(step(), ElementsAre(IsMove(10.0, 0, 0.0, 0, 500, 1)));
}

// 2 * 4/3 * 20 = 53.3, so the target is 1.125 over 2.
TEST_F(AbsoluteZoomTest, ATallTargetIsFramedByItsHeight) {
  startAbsolute();
  setHead(0.0, CENTER_TILT, 100);
  track(1, {.width = 2.0, .height = 20.0});
  const auto moves = step();
  ASSERT_THAT(moves, SizeIs(1));
  EXPECT_EQ(moves[0].zoomKind, 1);
  EXPECT_NEAR(moves[0].zoom, 12, 1);
}

TEST_F(AbsoluteZoomTest, TheZoomCorrectionIsOfTheReportedZoomOnly) {
  Persistent::setZoomCorrection(0.5);
  startAbsolute();
  setHead(0.0, CENTER_TILT, 50);  // 1.25 with the correction
  track(1, {.width = 30.0});
  EXPECT_THAT(step(), ElementsAre(IsMove(10.0, 3, 0.0, 3, 0, 0)));
  track(1);
  pass(STEP);
  EXPECT_THAT(step(), ElementsAre(IsMove(10.0, 0, 0.0, 0, 400, 1)));
}

TEST_F(AbsoluteZoomTest, OtherHeadsAreZoomedBySpeed) {
  startAbsolute("Q4711");
  setHead(0.0, CENTER_TILT, 0);
  track(1);
  EXPECT_THAT(step(), ElementsAre(IsMove(10.0, 3, 0.0, 3, 70, 3)));  // 20 * (5 * 0.9 - 1)
}

TEST_F(AbsoluteZoomTest, ChangingTheHeadBackBringsZoomSpeedsBack) {
  startAbsolute();
  head.setParameter("Brand.ProdNbr", "Q4711");
  tracker->setState(CameraState::connecting);
  tracker->connect();
  tracker->setState(CameraState::running);
  setHead(0.0, CENTER_TILT, 0);
  track(1);
  EXPECT_THAT(step(), ElementsAre(IsMove(10.0, 3, 0.0, 3, 70, 3)));
}

TEST_F(AbsoluteZoomTest, AHeadWithoutAZoomRangeIsNotZoomed) {
  head.setUp("K4711");
  head.setParameter("PTZ.Limit.L1.MinFieldAngle", "600");
  head.setParameter("PTZ.Limit.L1.MaxFieldAngle", "600");
  head.setParameter("PTZ.Limit.L1.MinZoom", "3");
  head.setParameter("PTZ.Limit.L1.MaxZoom", "0");
  startConnected("K4711");
  setHead(0.0, CENTER_TILT, 50);
  track(1);
  EXPECT_THAT(step(), ElementsAre(IsMove(10.0, 0, 0.0, 0, 3, 1)));
}

// ---- Return to home ----

class ReturnToHomeTest : public TrackerTest {
 protected:
  // Follows an object for one step and loses it; the head looks right at where it was.
  void followOnce() {
    setHead(CENTER_PAN, CENTER_TILT, 1);
    track(1, {.width = 32.3});
    step();
    tracker->untrack(1, 1);
  }
};

TEST_F(ReturnToHomeTest, GoesHome5SecondsAfterTheLastMovementOnce) {
  Persistent::setReturnToHomeEnabled(true);
  startRunning();
  followOnce();
  pass(5 * SECOND - 1);
  step();
  EXPECT_EQ(FakePtzLibrary::homeCount(), 0);
  pass(1);
  step();
  EXPECT_EQ(FakePtzLibrary::homeCount(), 1);
  pass(60 * SECOND);
  step();
  EXPECT_EQ(FakePtzLibrary::homeCount(), 1);
}

TEST_F(ReturnToHomeTest, DoesNothingWhenItIsOff) {
  startRunning();
  followOnce();
  pass(60 * SECOND);
  step();
  EXPECT_EQ(FakePtzLibrary::homeCount(), 0);
}

TEST_F(ReturnToHomeTest, DoesNothingBeforeAnyMovement) {
  Persistent::setReturnToHomeEnabled(true);
  startRunning();
  pass(60 * SECOND);
  step();
  EXPECT_EQ(FakePtzLibrary::homeCount(), 0);
}

TEST_F(ReturnToHomeTest, EveryMovementCountsAnew) {
  Persistent::setReturnToHomeEnabled(true);
  startRunning();
  setHead(0.0, CENTER_TILT, 1);
  for (int i = 0; i < 100; ++i) {
    track(1);
    EXPECT_THAT(step(), SizeIs(1));
    pass(STEP);
  }
  EXPECT_EQ(FakePtzLibrary::homeCount(), 0);
}

TEST_F(ReturnToHomeTest, TheTimeCanBeSetAndBegunAnew) {
  start();
  tracker->setState(CameraState::running);
  tracker->setReturnToHomeEnabled(true);
  tracker->setReturnToHomeTimeout(2);
  tracker->returnToHomeReset();
  pass(SECOND);
  tracker->returnToHomeReset();
  pass(2 * SECOND - 1);
  step();
  EXPECT_EQ(FakePtzLibrary::homeCount(), 0);
  pass(1);
  step();
  EXPECT_EQ(FakePtzLibrary::homeCount(), 1);
}

// 5000 s are more microseconds than 32 bits hold.
TEST_F(ReturnToHomeTest, LongTimesDoNotOverflow) {
  start();
  tracker->setState(CameraState::running);
  tracker->setReturnToHomeEnabled(true);
  tracker->setReturnToHomeTimeout(5000);
  tracker->returnToHomeReset();
  pass(4999 * SECOND);
  step();
  EXPECT_EQ(FakePtzLibrary::homeCount(), 0);
  pass(SECOND);
  step();
  EXPECT_EQ(FakePtzLibrary::homeCount(), 1);
}

TEST_F(ReturnToHomeTest, OnlyARunningTrackerGoesHome) {
  start();
  tracker->setReturnToHomeEnabled(true);
  tracker->returnToHomeReset();
  pass(5 * SECOND);
  step();
  EXPECT_EQ(FakePtzLibrary::homeCount(), 0);
  tracker->setState(CameraState::running);
  step();
  EXPECT_EQ(FakePtzLibrary::homeCount(), 0);
}

// ---- Switching between objects ----

TEST_F(TrackerTest, ObjectsTakeTurnsWhenSwitchingIsOn) {
  Persistent::setSwitchObject(true);
  Persistent::setTimePerObject(2);
  startRunning();
  setHead(10.0, CENTER_TILT, 1);
  tracker->setWidestView({10.0, 10.0});
  std::vector<double> speeds;
  for (int i = 0; i < 60; ++i) {
    track(1, {.pan = CENTER_PAN - 15.0});
    track(2, {.pan = CENTER_PAN + 15.0});
    const auto moves = step();
    ASSERT_THAT(moves, SizeIs(1));
    if (speeds.empty() || speeds.back() != moves[0].pan) {
      speeds.push_back(moves[0].pan);
    }
    pass(STEP);
  }
  EXPECT_THAT(speeds, ElementsAre(-15.0, 15.0, -15.0));
}

}  // namespace
