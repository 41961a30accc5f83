#include "onvif_server/pull_points.h"

#include <gtest/gtest.h>

#include "onvif/namespaces.h"

namespace device::onvif {
namespace {

constexpr std::int64_t SECOND = 1000000;

Notification event(const std::string& value) {
  return {{ns::TOPICS, {"VideoSource", "MotionAlarm"}}, {}, {{"State", value}}};
}

Notification present(const std::string& value) {
  Notification state = event(value);
  state.operation = PropertyOperation::initialized;
  return state;
}

std::string textOf(const std::vector<Notification>& notifications) {
  std::string text;
  for (const Notification& each : notifications) {
    text += each.data[0].value;
  }
  return text;
}

TopicFilter topicsBelowVideoSource() {
  const XmlDocument document(
      "<f xmlns:n=\"http://docs.oasis-open.org/wsn/b-2\" xmlns:t=\"http://www.onvif.org/ver10/"
      "topics\"><n:TopicExpression>t:VideoSource//.</n:TopicExpression></f>");
  return TopicFilter(document.root());
}

class PullPointsTest : public testing::Test {
 protected:
  int create(std::int64_t lifetime = 60 * SECOND) {
    return points.create(TopicFilter(), lifetime).value_or(0);
  }

  bool pull(int point, std::size_t most = 10, std::int64_t patience = SECOND) {
    const auto take = [this](const std::vector<Notification>& taken, const PullPoints::Sent& sent) {
      answers.push_back(textOf(taken));
      delivery = sent;
      if (sent && isSentAtOnce) {
        sent(true);
      }
    };
    pulled = points.pull(point, most, patience, {take, [this] { return isThere; }});
    return pulled == PullPoints::Pulled::yes;
  }

  void forget(std::int64_t lifetime) {
    now += lifetime;
    points.update();
  }

  // What it begins with, "n" as the present state.
  std::string toldANewPoint(const TopicFilter& filter = {}) {
    state = {present("n")};
    const int point = points.create(filter, SECOND).value_or(0);
    state.clear();
    isSentAtOnce = true;
    pull(point);
    points.remove(point);
    return answers.back();
  }

  std::int64_t now = 1000 * SECOND;
  std::vector<Notification> state;  // the present one
  PullPoints points{[this] { return now; }, [this] { return state; }, {.points = 3, .queue = 4}};
  std::vector<std::string> answers;  // what each pull of a point was answered with, in order
  PullPoints::Pulled pulled = PullPoints::Pulled::noPoint;  // the last one
  bool isThere = true;                                      // who pulls
  bool isSentAtOnce = true;
  PullPoints::Sent delivery;  // of the last answer
};

using Answers = std::vector<std::string>;

TEST_F(PullPointsTest, WhatWaitsIsHandedOverAtOnceAndOnce) {
  const int point = create();
  points.publish({event("a"), event("b")});
  EXPECT_TRUE(pull(point));
  EXPECT_EQ(Answers{"ab"}, answers);
  EXPECT_TRUE(pull(point));
  EXPECT_EQ(1U, answers.size());
}

TEST_F(PullPointsTest, NewPointBeginsWithThePresentState) {
  state = {event("now")};
  EXPECT_TRUE(pull(create()));
  EXPECT_EQ(Answers{"now"}, answers);
}

TEST_F(PullPointsTest, NoMoreThanAskedForIsHandedOverAtATime) {
  const int point = create();
  points.publish({event("a"), event("b"), event("c")});
  pull(point, 2);
  pull(point, 2);
  EXPECT_EQ((Answers{"ab", "c"}), answers);
}

TEST_F(PullPointsTest, PullWaitsForTheFirstEvent) {
  const int point = create();
  pull(point);
  EXPECT_EQ(Answers{}, answers);
  points.publish({event("a")});
  EXPECT_EQ(Answers{"a"}, answers);
}

TEST_F(PullPointsTest, PullWhoseTimeIsOverIsAnsweredWithNothing) {
  const int point = create();
  pull(point, 10, 2 * SECOND);
  now += 2 * SECOND - 1;
  points.update();
  EXPECT_EQ(Answers{}, answers);
  now += 1;
  points.update();
  EXPECT_EQ(Answers{""}, answers);
}

TEST_F(PullPointsTest, PullWithoutPatienceIsAnsweredAtOnce) {
  pull(create(), 10, 0);
  EXPECT_EQ(Answers{""}, answers);
}

TEST_F(PullPointsTest, PullIsRefusedWhileAnotherWaits) {
  const int point = create();
  EXPECT_TRUE(pull(point));
  EXPECT_FALSE(pull(point));
  EXPECT_EQ(PullPoints::Pulled::anotherWaits, pulled);
  EXPECT_EQ(Answers{}, answers);
  points.publish({event("a")});
  EXPECT_EQ(Answers{"a"}, answers);
  EXPECT_TRUE(pull(point));
}

TEST_F(PullPointsTest, PullTakesThePlaceOfOneWhoseClientHasGone) {
  const int point = create();
  pull(point);
  isThere = false;
  EXPECT_TRUE(pull(point));
  EXPECT_EQ(Answers{""}, answers);
  isThere = true;
  points.publish({event("a")});
  EXPECT_EQ((Answers{"", "a"}), answers);
}

// Its connection seems to be there.
TEST_F(PullPointsTest, PullOfAClientWhoseNetworkIsGoneEndsWithItsTime) {
  const int point = create();
  pull(point, 10, 30 * SECOND);
  now += 30 * SECOND - 1;
  EXPECT_FALSE(pull(point, 10, 30 * SECOND));
  EXPECT_EQ(PullPoints::Pulled::anotherWaits, pulled);
  now += 1;
  EXPECT_TRUE(pull(point, 10, 30 * SECOND));
  EXPECT_EQ(Answers{""}, answers);
  points.publish({event("a")});
  EXPECT_EQ((Answers{"", "a"}), answers);
}

TEST_F(PullPointsTest, WhatComesForAClientThatHasGoneWaitsForTheNextPull) {
  const int point = create();
  pull(point);
  isThere = false;
  points.publish({event("a")});
  EXPECT_EQ(Answers{""}, answers);
  isThere = true;
  points.publish({event("b")});
  pull(point);
  EXPECT_EQ((Answers{"", "ab"}), answers);
}

TEST_F(PullPointsTest, WhatIsSentIsNotHandedOverAgain) {
  isSentAtOnce = false;
  const int point = create();
  points.publish({event("a")});
  pull(point);
  delivery(true);
  points.publish({event("b")});
  pull(point);
  EXPECT_EQ((Answers{"a", "b"}), answers);
}

TEST_F(PullPointsTest, WhatCouldNotBeSentComesFirstInTheNextPull) {
  isSentAtOnce = false;
  const int point = create();
  points.publish({event("a"), event("b"), event("c")});
  pull(point, 2);
  delivery(false);
  points.publish({event("d")});
  pull(point);
  EXPECT_EQ((Answers{"ab", "abcd"}), answers);
}

TEST_F(PullPointsTest, ClientThatPullsBeforeItsAnswerIsSentHasItAgain) {
  isSentAtOnce = false;
  const int point = create();
  points.publish({event("a")});
  pull(point);
  const PullPoints::Sent former = delivery;
  pull(point);
  EXPECT_EQ((Answers{"a", "a"}), answers);
  former(false);  // is told of no more
  delivery(true);
  points.publish({event("b")});
  pull(point);
  EXPECT_EQ((Answers{"a", "a", "b"}), answers);
}

TEST_F(PullPointsTest, WhatComesBackIsTheOldestOfAFullQueue) {
  isSentAtOnce = false;
  const int point = create();
  points.publish({event("1"), event("2")});
  pull(point);
  points.publish({event("3"), event("4"), event("5")});
  delivery(false);
  pull(point);
  EXPECT_EQ((Answers{"12", "2345"}), answers);
}

TEST_F(PullPointsTest, AnswerMaySettleWhenItsPointHasGone) {
  isSentAtOnce = false;
  const int point = create();
  points.publish({event("a")});
  pull(point);
  points.remove(point);
  delivery(false);
  PullPoints::Sent late;
  {
    PullPoints brief([this] { return now; }, [] { return std::vector{event("a")}; });
    const int other = brief.create(TopicFilter(), SECOND).value_or(0);
    brief.pull(other, 1, 0,
               {[&](const auto&, const auto& sent) { late = sent; }, [] { return true; }});
  }
  late(false);
}

TEST_F(PullPointsTest, PointThatIsNotRenewedIsForgotten) {
  const int point = create(10 * SECOND);
  now += 10 * SECOND - 1;
  points.update();
  EXPECT_EQ(1, points.lifetimeOf(point));
  now += 1;
  points.update();
  EXPECT_FALSE(points.lifetimeOf(point));
  EXPECT_FALSE(pull(point));
  EXPECT_FALSE(points.renew(point, SECOND));
  EXPECT_EQ(0U, points.size());
}

// Before the present state, which has the last word.
TEST_F(PullPointsTest, EventsOfAForgottenPointWaitForTheNextOne) {
  create(10 * SECOND);
  points.publish({event("a")});
  forget(10 * SECOND);
  points.publish({event("b")});
  EXPECT_EQ("abn", toldANewPoint());
  EXPECT_EQ("n", toldANewPoint());
}

TEST_F(PullPointsTest, OfAForgottenPointOnlyWhatItsClientHasNotGotIsTold) {
  const int point = create(10 * SECOND);
  points.publish({event("a")});
  pull(point);
  isSentAtOnce = false;
  points.publish({event("b")});
  pull(point);
  forget(12 * SECOND);
  EXPECT_EQ("bn", toldANewPoint());
}

TEST_F(PullPointsTest, PresentStateOfAForgottenPointIsNotToldAgain) {
  state = {present("x")};
  create(SECOND);
  points.publish({present("y"), event("a")});
  forget(SECOND);
  points.publish({present("z")});
  EXPECT_EQ("an", toldANewPoint());
}

TEST_F(PullPointsTest, PointThatIsGivenUpLeavesNothing) {
  const int point = create();
  points.publish({event("a")});
  points.remove(point);
  EXPECT_EQ("n", toldANewPoint());
}

TEST_F(PullPointsTest, EventsOfAForgottenPointWaitForTenMinutes) {
  constexpr std::int64_t MINUTE = 60 * SECOND;
  create(MINUTE);
  points.publish({event("a")});
  forget(MINUTE);
  now += 9 * MINUTE - 1;
  points.publish({event("b")});
  now += 1;
  EXPECT_EQ("bn", toldANewPoint());
  create(MINUTE);
  points.publish({event("c")});
  forget(MINUTE);
  now += 10 * MINUTE;
  points.publish({event("d")});
  EXPECT_EQ("n", toldANewPoint());
}

TEST_F(PullPointsTest, HundredEventsOfAForgottenPointWaitAtMost) {
  PullPoints many([this] { return now; }, [this] { return state; });
  many.create(TopicFilter(), SECOND);
  many.publish(std::vector<Notification>(60, event("a")));
  now += SECOND;
  many.update();
  many.publish(std::vector<Notification>(60, event("b")));
  std::string told;
  many.pull(many.create(TopicFilter(), SECOND).value_or(0), 1000, 0,
            {[&](const auto& taken, const auto&) { told = textOf(taken); }, [] { return true; }});
  EXPECT_EQ(std::string(40, 'a') + std::string(60, 'b'), told);
}

TEST_F(PullPointsTest, EventsOfAForgottenPointAreForAPointWithItsFilter) {
  const TopicFilter filter = topicsBelowVideoSource();
  points.create(filter, SECOND);
  points.publish({event("a")});
  forget(SECOND);
  EXPECT_EQ("n", toldANewPoint());
  EXPECT_EQ("an", toldANewPoint(filter));
}

// Two clients, which come back in any order.
TEST_F(PullPointsTest, EachNewPointHasTheEventsOfOneForgottenPoint) {
  create(SECOND);
  points.publish({event("a")});
  create(SECOND);
  points.publish({event("b")});
  forget(SECOND);
  EXPECT_EQ("abn", toldANewPoint());
  EXPECT_EQ("bn", toldANewPoint());
  EXPECT_EQ("n", toldANewPoint());
}

// It subscribes anew before the time of what it has lost is over.
TEST_F(PullPointsTest, WhoHasComeBackAlreadyIsToldWhatItMissedWhenItsLostPointsTimeIsOver) {
  create(10 * SECOND);
  points.publish({event("a")});
  now += 3 * SECOND;
  const int point = create();
  now += SECOND;
  points.publish({event("b")});
  pull(point);
  pull(point, 10, 30 * SECOND);
  state = {present("n")};
  forget(6 * SECOND);
  EXPECT_EQ((Answers{"b", "an"}), answers);
  points.publish({event("c")});
  EXPECT_EQ("n", toldANewPoint());
}

TEST_F(PullPointsTest, WhatHasGoneSinceItWasMissedIsToldToHaveGone) {
  Notification door = event("d");
  door.operation = PropertyOperation::changed;
  Notification gate = present("g");
  gate.source = {{"Source", "gate"}};
  create(10 * SECOND);
  points.publish({door, door});
  now += SECOND;
  const int point = create();
  state = {gate};
  forget(9 * SECOND);
  std::string operations;
  const auto take = [&](const std::vector<Notification>& taken, const auto&) {
    for (const Notification& each : taken) {
      operations += each.data[0].value + std::to_string(static_cast<int>(each.operation)) + ' ';
    }
  };
  points.pull(point, 10, 0, {take, [] { return true; }});
  EXPECT_EQ("d2 d2 d3 g1 ", operations);
}

// It knows the present state already.
TEST_F(PullPointsTest, WhoHasComeBackAlreadyAndHasMissedNothingIsToldNothing) {
  create(10 * SECOND);
  now += 3 * SECOND;
  const int point = create();
  now += SECOND;
  points.publish({event("a")});
  pull(point);
  state = {present("n")};
  forget(6 * SECOND);
  pull(point, 10, 0);
  EXPECT_EQ((Answers{"a", ""}), answers);
}

TEST_F(PullPointsTest, WhatItMissedComesBeforeWhatWaitsForIt) {
  create(10 * SECOND);
  points.publish({event("a")});
  now += SECOND;
  const int point = create();
  now += SECOND;
  points.publish({event("b")});
  state = {present("n")};
  forget(8 * SECOND);
  pull(point);
  EXPECT_EQ((Answers{"abn"}), answers);
}

TEST_F(PullPointsTest, WhatHasWaitedForTenMinutesAtALostPointIsNotTold) {
  constexpr std::int64_t MINUTE = 60 * SECOND;
  create(11 * MINUTE);
  points.publish({event("a")});
  now += MINUTE + SECOND;
  points.publish({event("b")});
  now += SECOND;
  const int point = create(30 * MINUTE);
  forget(10 * MINUTE - 2 * SECOND);
  pull(point);
  EXPECT_EQ((Answers{"b"}), answers);
}

// It was there beside the other one, which had been served since.
TEST_F(PullPointsTest, WhoWasThereAlreadyIsNotTakenForALostClient) {
  const int lost = create(10 * SECOND);
  now += SECOND;
  const int other = create();
  now += SECOND;
  pull(lost);
  points.publish({event("a")});
  points.publish({event("b")});
  forget(11 * SECOND);
  pull(other);
  EXPECT_EQ((Answers{"a", "ab"}), answers);
  EXPECT_EQ("bn", toldANewPoint());
}

TEST_F(PullPointsTest, WhoCameLaterWithAnotherFilterIsNotTakenForALostClient) {
  create(10 * SECOND);
  points.publish({event("a")});
  now += SECOND;
  const int other = points.create(topicsBelowVideoSource(), 60 * SECOND).value_or(0);
  forget(9 * SECOND);
  pull(other, 10, 0);
  EXPECT_EQ((Answers{""}), answers);
  EXPECT_EQ("an", toldANewPoint());
}

TEST_F(PullPointsTest, RenewingCountsFromNowOn) {
  const int point = create(10 * SECOND);
  now += 9 * SECOND;
  EXPECT_TRUE(points.renew(point, 5 * SECOND));
  EXPECT_EQ(5 * SECOND, points.lifetimeOf(point));
}

TEST_F(PullPointsTest, RenewingWhileAPullWaitsCountsFromItsEnd) {
  const int point = create(10 * SECOND);
  pull(point, 10, 30 * SECOND);
  now += 5 * SECOND;
  EXPECT_TRUE(points.renew(point, SECOND));
  EXPECT_EQ(26 * SECOND, points.lifetimeOf(point));
  forget(24 * SECOND);
  points.publish({event("a")});
  EXPECT_EQ(Answers{"a"}, answers);
}

TEST_F(PullPointsTest, PointOfAClientThatPullsLivesOn) {
  const int point = create(10 * SECOND);
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(pull(point, 10, 8 * SECOND));
    now += 8 * SECOND;
    points.update();
  }
  EXPECT_EQ(10 * SECOND, points.lifetimeOf(point));
}

TEST_F(PullPointsTest, FullQueueLosesItsOldest) {
  const int point = create();
  points.publish({event("1"), event("2"), event("3"), event("4"), event("5"), event("6")});
  pull(point);
  EXPECT_EQ(Answers{"3456"}, answers);
}

TEST_F(PullPointsTest, ThousandEventsWaitUnlessToldOtherwise) {
  PullPoints usual([this] { return now; }, [this] { return state; });
  const int point = usual.create(TopicFilter(), SECOND).value_or(0);
  usual.publish(std::vector<Notification>(100, event("a")));
  usual.publish(std::vector<Notification>(1000, event("b")));
  std::string told;
  usual.pull(point, 2000, 0,
             {[&](const auto& taken, const auto&) { told = textOf(taken); }, [] { return true; }});
  EXPECT_EQ(std::string(1000, 'b'), told);
}

TEST_F(PullPointsTest, ThereIsRoomAgainWhenAPointHasGone) {
  const int first = create();
  create();
  create(SECOND);
  EXPECT_EQ(0, create());
  EXPECT_TRUE(points.remove(first));
  EXPECT_NE(0, create());
  EXPECT_EQ(0, create());
  now += SECOND;  // the time of the third is over
  EXPECT_NE(0, create());
}

TEST_F(PullPointsTest, NumbersAreNotGivenTwice) {
  const int first = create();
  points.remove(first);
  EXPECT_NE(first, create());
  EXPECT_FALSE(points.remove(first));
}

TEST_F(PullPointsTest, PullOfAPointThatIsRemovedIsAnswered) {
  const int point = create();
  pull(point);
  EXPECT_TRUE(points.remove(point));
  EXPECT_EQ(Answers{""}, answers);
}

TEST_F(PullPointsTest, EachPointHasAQueueOfItsOwnBehindItsFilter) {
  const XmlDocument document(
      "<f xmlns:n=\"http://docs.oasis-open.org/wsn/b-2\" xmlns:t=\"http://www.onvif.org/ver10/"
      "topics\"><n:TopicExpression>t:Other</n:TopicExpression></f>");
  const int all = create();
  state = {event("x")};
  const int other = points.create(TopicFilter(document.root()), SECOND).value_or(0);
  points.publish({event("a")});
  pull(other, 10, 0);
  pull(all, 10, 0);
  EXPECT_EQ((Answers{"", "a"}), answers);
}

}  // namespace
}  // namespace device::onvif
