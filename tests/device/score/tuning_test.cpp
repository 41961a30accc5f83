#include "score/tuning.h"

#include <gtest/gtest.h>

namespace device {
namespace {

const std::string FIRST_FAILURE = "Autotuning: attempt 1 of 3 failed, trying again";
const std::string LAST_FAILURE =
    "Autotuning: attempt 3 of 3 failed. The head keeps the gains it had and may lag behind or "
    "swing; "
    "it is tuned again at the next start";
const std::string SUCCESS =
    "Autotuning: attempt 2 of 3 succeeded, gains of pan 1.25 0.5 0.125, of tilt 2 3e-05 4";

TEST(TuningWatchTest, NothingWasTuned) {
  const TuningFigures figures = TuningWatch().figures(5);
  EXPECT_EQ(figures.count, 0);
  EXPECT_EQ(figures.seconds, 0);
  EXPECT_EQ(figures.attempts, 0);
  EXPECT_FALSE(figures.succeeded);
  EXPECT_FALSE(figures.panGains);
}

TEST(TuningWatchTest, TimeIsThatOfTheState) {
  TuningWatch watch;
  watch.state(1, "connecting");
  watch.state(3, "autotuning");
  watch.state(4, "autotuning");
  EXPECT_DOUBLE_EQ(watch.figures(5).seconds, 2) << "not at its end yet";
  watch.state(10, "running");
  watch.state(20, "stopped");
  watch.state(30, "autotuning");
  watch.state(31, "running");
  EXPECT_DOUBLE_EQ(watch.figures(40).seconds, 8);
  EXPECT_EQ(watch.figures(40).count, 2);
}

TEST(TuningWatchTest, SuccessTellsTheGains) {
  TuningWatch watch;
  watch.logLine(FIRST_FAILURE);
  EXPECT_FALSE(watch.figures(0).succeeded) << "is tried again";
  watch.logLine(SUCCESS);
  const TuningFigures figures = watch.figures(0);
  EXPECT_EQ(figures.attempts, 2);
  EXPECT_EQ(figures.failedAttempts, 1);
  EXPECT_EQ(figures.unsuccessful, 0);
  EXPECT_EQ(figures.succeeded, true);
  EXPECT_EQ(figures.panGains, (Gains{1.25, 0.5, 0.125}));
  EXPECT_EQ(figures.tiltGains, (Gains{2, 3e-5, 4}));
}

TEST(TuningWatchTest, LastFailureIsAnUnsuccessfulTuning) {
  TuningWatch watch;
  for (int tuning = 0; tuning < 2; ++tuning) {
    watch.logLine(FIRST_FAILURE);
    watch.logLine("Autotuning: attempt 2 of 3 failed, trying again");
    watch.logLine(LAST_FAILURE);
  }
  const TuningFigures figures = watch.figures(0);
  EXPECT_EQ(figures.attempts, 6);
  EXPECT_EQ(figures.failedAttempts, 6);
  EXPECT_EQ(figures.unsuccessful, 2);
  EXPECT_EQ(figures.succeeded, false);
  EXPECT_FALSE(figures.panGains);
}

TEST(TuningWatchTest, AHeadMayBeIdentifiedThoughTheRelayFailed) {
  TuningWatch watch;
  EXPECT_FALSE(watch.figures(0).identified.has_value());
  EXPECT_FALSE(watch.figures(0).isHeadKnown());
  watch.logLine(
      "Autotuning: attempt 3 of 3 failed. No gains are learned; the head is identified without "
      "them");
  EXPECT_FALSE(watch.figures(0).isHeadKnown());
  watch.logLine("The head answers after 275 ms and turns at 100 deg/s, tilts at 100 deg/s.");
  EXPECT_EQ(watch.figures(0).succeeded, false);
  EXPECT_EQ(watch.figures(0).unsuccessful, 1);
  EXPECT_EQ(watch.figures(0).identified, true);
  EXPECT_TRUE(watch.figures(0).isHeadKnown());
}

TEST(TuningWatchTest, AHeadMayBeTunedAndNotIdentified) {
  for (const char* line :
       {"The head could not be identified (3), it is steered without being known.",
        "Identifying the head: attempt 3 of 3 failed. The head is steered without being known"}) {
    TuningWatch watch;
    watch.logLine(SUCCESS);
    EXPECT_TRUE(watch.figures(0).isHeadKnown());
    watch.logLine("Identifying the head: attempt 1 of 3 failed, trying again");
    EXPECT_FALSE(watch.figures(0).identified.has_value());
    watch.logLine(line);
    EXPECT_EQ(watch.figures(0).identified, false);
    EXPECT_EQ(watch.figures(0).succeeded, true);
    EXPECT_FALSE(watch.figures(0).isHeadKnown());
  }
}

TEST(TuningWatchTest, OtherLinesAreIgnored) {
  TuningWatch watch;
  for (const std::string line :
       {"", "PAN : autotune failed!", "Autotuning internal error", "Autotuning: attempt 1 of",
        "Autotuning: attempt x of 3 failed", "Autotuning: attempt 1 of 3 was made"}) {
    watch.logLine(line);
  }
  EXPECT_EQ(watch.figures(0).attempts, 0);
}

}  // namespace
}  // namespace device
