#include "following/subject.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "following/simulated_head.h"

namespace following {
namespace {

constexpr double MAST = 5.0;

GroundFilter::State state(double x, double y, double vx = 0.0, double vy = 0.0,
                          double velocityVariance = 1e-4) {
  GroundFilter::State made;
  made.mean << x, y, vx, vy;
  made.covariance.setZero();
  made.covariance.diagonal() << 1e-4, 1e-4, velocityVariance, velocityVariance;
  return made;
}

TEST(SubjectTest, DirectionAndRatesOfSomebodyWhoWalks) {
  const GroundFilter::State walker = state(2.0, 6.0, 1.2, 0.0);
  const Member member{&walker, 1.7};
  const auto subject = predictSubject({&member, 1}, 0, MAST);
  ASSERT_TRUE(subject);
  EXPECT_NEAR(subject->pan, 18.4349, 5e-5);
  EXPECT_NEAR(subject->tilt, -33.2718, 5e-5);
  EXPECT_NEAR(subject->panRate, 10.3132, 5e-5);
  EXPECT_NEAR(subject->tiltRate, 1.5768, 5e-5);
  EXPECT_NEAR(subject->height, 10.774, 5e-4);
  EXPECT_EQ(subject->walks, 1.0);
}

TEST(SubjectTest, DeviationIsThatOfTheDirectionThatIsKnownWorse) {
  GroundFilter::State known = state(2.0, 6.0);
  known.covariance.setZero();
  known.covariance(0, 0) = 0.01;
  known.covariance(1, 1) = 0.04;
  const Member member{&known, 1.7};
  EXPECT_NEAR(predictSubject({&member, 1}, 0, MAST)->deviation, 0.8636, 5e-5);
}

TEST(SubjectTest, IsPredictedAtConstantVelocity) {
  const GroundFilter::State walker = state(0.0, 6.0, 1.5, 0.0);
  const Member member{&walker, 1.7};
  const auto subject = predictSubject({&member, 1}, 2'000'000, MAST);
  EXPECT_NEAR(subject->pan, std::atan2(3.0, 6.0) * 180.0 / M_PI, 1e-9);
}

TEST(SubjectTest, WhoWalksIsToldFromWhoStands) {
  EXPECT_EQ(walking(state(0, 6, 0.1, 0.0)), 0.0) << "0.1 m/s is standing";
  EXPECT_NEAR(walking(state(0, 6, 0.15, 0.0)), 0.5, 1e-9);
  EXPECT_EQ(walking(state(0, 6, 0.2, 0.0)), 1.0);
  EXPECT_EQ(walking(state(0, 6, 1.0, 0.0, 1.0)), 0.0) << "a velocity within its deviation";
  EXPECT_NEAR(walking(state(0, 6, 1.0, 0.0, 0.5)), 0.5, 1e-9);
  EXPECT_EQ(walking(state(0, 6, 1.0, 0.0, 0.0)), 0.0) << "a variance of 0 tells nothing";
}

TEST(SubjectTest, WhoStandsIsPredictedWhereHeIs) {
  const GroundFilter::State noise = state(1.0, 6.0, 0.5, 0.5, 4.0);
  const Member member{&noise, 1.7};
  const auto subject = predictSubject({&member, 1}, 1'000'000, MAST);
  EXPECT_NEAR(subject->pan, std::atan2(1.0, 6.0) * 180.0 / M_PI, 1e-9);
  EXPECT_EQ(subject->panRate, 0.0);
  EXPECT_FALSE(subject->hasCourse);
}

TEST(SubjectTest, CourseRunsThroughTheSeam) {
  const GroundFilter::State walker = state(0.5, -4.0, -1.5, 0.0);
  const Member member{&walker, 1.7};
  const auto subject = predictSubject({&member, 1}, 0, MAST);
  ASSERT_TRUE(subject->hasCourse);
  EXPECT_NEAR(subject->course[0].pan, subject->pan, 1e-9);
  for (std::size_t i = 1; i < subject->course.size(); ++i) {
    EXPECT_GT(subject->course[i].pan, subject->course[i - 1].pan);
    EXPECT_LT(subject->course[i].pan - subject->course[i - 1].pan, 5.0);
  }
  EXPECT_NEAR(subject->course[30].pan, 360.0 + std::atan2(-4.0, -4.0) * 180.0 / M_PI, 1e-9);
}

TEST(SubjectTest, BelowTheHeadRatesStayFinite) {
  const GroundFilter::State walker = state(0.0, 0.0, 1.5, 0.0);
  const Member member{&walker, 1.7};
  const auto subject = predictSubject({&member, 1}, 0, MAST);
  ASSERT_TRUE(subject);
  EXPECT_LE(std::abs(subject->panRate), 1.5 / 0.3 * 180.0 / M_PI + 1e-9);
}

TEST(SubjectTest, NobodyAndNumbersThatAreNotFiniteAreNoSubject) {
  EXPECT_FALSE(predictSubject({}, 0, MAST));
  const GroundFilter::State broken = state(std::nan(""), 6.0);
  const Member member{&broken, 1.7};
  EXPECT_FALSE(predictSubject({&member, 1}, 0, MAST));
  const GroundFilter::State good = state(0.0, 6.0);
  const Member other{&good, 1.7};
  EXPECT_FALSE(predictSubject({&other, 1}, 0, std::nan("")));
}

// Two at the same distance, 30 degrees to each side: the middle is between them.
TEST(SubjectTest, SeveralAreFramedByTheirBox) {
  const double x = 6.0 * std::sin(M_PI / 6);
  const double y = 6.0 * std::cos(M_PI / 6);
  const GroundFilter::State left = state(-x, y);
  const GroundFilter::State right = state(x, y);
  const std::vector<Member> members{{&left, 1.7}, {&right, 1.7}};
  const auto subject = predictSubject(members, 0, MAST);
  EXPECT_NEAR(subject->pan, 0.0, 1e-9);
  const double slant = std::hypot(6.0, MAST - 0.85);
  const double tilt = -std::atan2(MAST - 0.85, 6.0);
  const double body = 2.0 * std::atan(0.25 / slant) * 180.0 / M_PI;
  EXPECT_NEAR(subject->tilt, tilt * 180.0 / M_PI, 1e-9);
  EXPECT_NEAR(subject->width, 60.0 * std::cos(tilt) + body, 1e-6);
}

TEST(SubjectTest, BoxOfSeveralMovesAsTheMeanOfItsEdges) {
  const GroundFilter::State left = state(-3.0, 6.0, 0.0, 0.0);
  const GroundFilter::State middle = state(0.0, 6.0, 5.0, 0.0);
  const GroundFilter::State right = state(3.0, 6.0, 1.5, 0.0);
  const std::vector<Member> members{{&middle, 1.7}, {&left, 1.7}, {&right, 1.7}};
  const auto subject = predictSubject(members, 0, MAST);
  const double rightRate = 1.5 * 6.0 / 45.0 * 180.0 / M_PI;
  EXPECT_NEAR(subject->panRate, rightRate / 2.0, 1e-9) << "the one in the middle does not count";
}

TEST(SubjectTest, GroupAcrossTheSeamIsFramedTheShortWay) {
  const GroundFilter::State left = state(1.0, -6.0);
  const GroundFilter::State right = state(-1.0, -6.0);
  const std::vector<Member> members{{&left, 1.7}, {&right, 1.7}};
  const auto subject = predictSubject(members, 0, MAST);
  EXPECT_NEAR(std::abs(subject->pan), 180.0, 1e-9);
  EXPECT_LT(subject->width, 25.0);
}

TEST(SubjectTest, EverybodyIsWithinTheBox) {
  simulation::Random random(8);
  for (int round = 0; round < 200; ++round) {
    std::vector<GroundFilter::State> states;
    for (int i = 0; i < 5; ++i) {
      states.push_back(
          state(random.uniform(-2, 2), random.uniform(5, 8), random.uniform(-1, 1), 0));
    }
    std::vector<Member> members;
    for (const auto& each : states) {
      members.push_back({&each, random.uniform(1.5, 1.9)});
    }
    const auto all = predictSubject(members, 500'000, MAST);
    for (const Member& member : members) {
      const auto one = predictSubject({&member, 1}, 500'000, MAST);
      const double cosine = std::cos(all->tilt * M_PI / 180.0);
      EXPECT_LE(std::abs(one->pan - all->pan) * cosine, all->width / 2.0 + 1e-9);
      EXPECT_LE(one->tilt + one->height / 2.0, all->tilt + all->height / 2.0 + 1e-9);
      EXPECT_GE(one->tilt - one->height / 2.0, all->tilt - all->height / 2.0 - 1e-9);
    }
  }
}

}  // namespace
}  // namespace following
