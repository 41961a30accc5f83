#include "report/figures.h"

#include <gtest/gtest.h>

#include <cmath>

namespace device {
namespace {

// Moments every tenth of a second from time 0.1, all counted, with the target straight ahead; each
// test changes what it is about.
Session sessionOf(int count) {
  Session session;
  for (int i = 1; i <= count; ++i) {
    session.moments.push_back({.time = i * 0.1,
                               .axis = {0, 0},
                               .zoom = 1,
                               .pictureHeight = 10,
                               .target = Target{1, {0, 0}, 2.5},
                               .anyInView = true,
                               .targetInView = true,
                               .lastTargetInside = true,
                               .counted = true});
  }
  return session;
}

TEST(FiguresTest, NothingHappened) {
  const Figures figures = figuresOf(Session());
  EXPECT_DOUBLE_EQ(figures.duration, 0);
  EXPECT_FALSE(figures.stateRunningAfter);
  EXPECT_EQ(figures.alarmsStarted, 0);
  EXPECT_EQ(figures.alarmsEnded, 0);
  EXPECT_DOUBLE_EQ(figures.followed, 0);
  EXPECT_FALSE(figures.inViewShare);
  EXPECT_FALSE(figures.rmsError);
  EXPECT_FALSE(figures.p95Error);
  EXPECT_FALSE(figures.targetSwitches);
  EXPECT_FALSE(figures.reversalsPerSecond);
  EXPECT_FALSE(figures.meanHeightShare);
}

TEST(FiguresTest, NoCountedTimeGivesNoFiguresOverIt) {
  Session session = sessionOf(10);
  for (Moment& moment : session.moments) {
    moment.counted = false;
  }
  const Figures figures = figuresOf(session);
  EXPECT_DOUBLE_EQ(figures.duration, 1);
  EXPECT_FALSE(figures.inViewShare);
  EXPECT_FALSE(figures.targetSwitches);
}

TEST(FiguresTest, RunningAfterTheFirstState) {
  Session session;
  session.states = {
      {1, "connecting"}, {3, "autotuning"}, {17.5, "running"}, {40, "stopped"}, {50, "running"}};
  EXPECT_DOUBLE_EQ(*figuresOf(session).stateRunningAfter, 17.5);
}

TEST(FiguresTest, AlarmsAndSteering) {
  Session session = sessionOf(600);
  session.alarms = {{1, 5}, {10, 20}, {50, std::nullopt}};
  session.steering = {{2, 7}, {11, 21.5}, {52, std::nullopt}};
  const Figures figures = figuresOf(session);
  EXPECT_EQ(figures.alarmsStarted, 3);
  EXPECT_EQ(figures.alarmsEnded, 2);
  EXPECT_NEAR(figures.followed, 5 + 10.5 + 8, 1e-9);
}

TEST(FiguresTest, InViewIsAShareOfTime) {
  Session session = sessionOf(100);
  for (int i = 0; i < 25; ++i) {
    session.moments[i].anyInView = false;
  }
  EXPECT_NEAR(*figuresOf(session).inViewShare, 0.75, 1e-9);
}

TEST(FiguresTest, MomentsCountByTheTimeTheyStandFor) {
  Session session = sessionOf(2);
  session.moments[0].time = 3;
  session.moments[1].time = 4;
  session.moments[1].anyInView = false;
  session.moments[1].axis.pan = 4;
  const Figures figures = figuresOf(session);
  EXPECT_NEAR(*figures.inViewShare, 0.75, 1e-9);
  EXPECT_NEAR(*figures.rmsError, 2, 1e-9);  // sqrt((3 * 0 + 1 * 16) / 4)
}

TEST(FiguresTest, RootOfTheMeanSquare) {
  Session session = sessionOf(100);
  for (int i = 0; i < 50; ++i) {
    session.moments[i].axis.pan = 3;
    session.moments[i + 50].axis.tilt = -4;
  }
  EXPECT_NEAR(*figuresOf(session).rmsError, std::sqrt((9 + 16) / 2.0), 1e-9);
}

TEST(FiguresTest, ErrorsAreAnglesBetweenLinesOfSight) {
  Session session = sessionOf(10);
  for (Moment& moment : session.moments) {
    moment.axis = {170, 0};
    moment.target->centre = {-170, 0};
  }
  EXPECT_NEAR(*figuresOf(session).rmsError, 20, 1e-9);
}

TEST(FiguresTest, PercentileIsNotExceededIn95PerCentOfTheTime) {
  Session session = sessionOf(100);
  for (int i = 0; i < 100; ++i) {
    session.moments[i].axis.pan = 0.1 * ((i * 37) % 100 + 1);  // 0.1 to 10 in any order
  }
  EXPECT_NEAR(*figuresOf(session).p95Error, 9.5, 0.11);
}

TEST(FiguresTest, OnlyCountedMomentsMakeErrors) {
  Session session = sessionOf(100);
  for (int i = 0; i < 60; ++i) {
    session.moments[i].counted = false;
    session.moments[i].axis.pan = 50;
    session.moments[i].anyInView = false;
  }
  EXPECT_NEAR(*figuresOf(session).rmsError, 0, 1e-9);
  EXPECT_NEAR(*figuresOf(session).inViewShare, 1, 1e-9);
}

TEST(FiguresTest, SwitchesToAnotherWhileTheLastIsStillInside) {
  Session session = sessionOf(8);
  const int ids[] = {1, 1, 2, 2, 1, 1, 3, 3};
  for (int i = 0; i < 8; ++i) {
    session.moments[i].target->id = ids[i];
  }
  session.moments[6].lastTargetInside = false;  // the first had left: no switch
  EXPECT_EQ(*figuresOf(session).targetSwitches, 2);
}

TEST(FiguresTest, NoSwitchAcrossAGapOfCountedTime) {
  Session session = sessionOf(6);
  session.moments[2].counted = false;
  for (int i = 3; i < 6; ++i) {
    session.moments[i].target->id = 2;
  }
  EXPECT_EQ(*figuresOf(session).targetSwitches, 0);
}

// Up to 2, back to 1, up to 3 and back by a play of 0.3: two reversals in 10 s.
TEST(FiguresTest, ReversalsOfPan) {
  Session session = sessionOf(100);
  const double way[] = {0, 1, 2, 1.6, 1, 2, 3, 2.7, 3, 3};
  for (int i = 0; i < 100; ++i) {
    session.moments[i].axis.pan = way[i / 10];
  }
  EXPECT_NEAR(*figuresOf(session).reversalsPerSecond, 0.2, 1e-9);
}

TEST(FiguresTest, ReversalsOfTiltAddToThoseOfPan) {
  Session session = sessionOf(100);
  for (int i = 0; i < 100; ++i) {
    session.moments[i].axis.pan = i < 50 ? i * 0.1 : 10 - i * 0.1;          // 1
    session.moments[i].axis.tilt = std::abs(25 - std::abs(50 - i)) * -0.1;  // 3
  }
  EXPECT_NEAR(*figuresOf(session).reversalsPerSecond, 0.4, 1e-9);
}

TEST(FiguresTest, TheSeamIsNoReversal) {
  Session session = sessionOf(100);
  for (int i = 0; i < 100; ++i) {
    session.moments[i].axis.pan = normalizedPan(170 + i * 0.3);
  }
  EXPECT_NEAR(*figuresOf(session).reversalsPerSecond, 0, 1e-9);
}

TEST(FiguresTest, ReversalsAreNotCountedAcrossAGap) {
  Session session = sessionOf(90);
  for (int i = 0; i < 90; ++i) {
    session.moments[i].axis.pan = i < 45 ? i * 0.1 : 9 - i * 0.1;
    session.moments[i].counted = i < 40 || i > 50;
  }
  EXPECT_NEAR(*figuresOf(session).reversalsPerSecond, 0, 1e-9);
}

TEST(FiguresTest, HeightIsAMeanOverTheTimeWithTheTargetInView) {
  Session session = sessionOf(4);
  session.moments[0].target->height = 1;  // 0.1
  session.moments[1].target->height = 5;  // 0.5
  session.moments[2].target->height = 3;  // 0.3
  session.moments[3].target->height = 9;
  session.moments[3].targetInView = false;
  EXPECT_NEAR(*figuresOf(session).meanHeightShare, 0.3, 1e-9);
}

TEST(FiguresTest, NoHeightWhenTheTargetWasNeverInView) {
  Session session = sessionOf(4);
  for (Moment& moment : session.moments) {
    moment.targetInView = false;
  }
  EXPECT_FALSE(figuresOf(session).meanHeightShare);
  EXPECT_TRUE(figuresOf(session).rmsError);
}

}  // namespace
}  // namespace device
