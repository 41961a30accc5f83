#include "tracker/super_object_manager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "fakes/fake_clock.h"
#include "ptz/bearing.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Groups = std::vector<std::vector<int>>;

struct Box {
  double pan = 0.0;
  double tilt = 0.0;
  double width = 4.0;
  double height = 2.0;
};

class SuperObjectManagerTest : public testing::Test {
 protected:
  void observe(int id, const Box& box, int priority = 1, int channel = 0) {
    manager.updateSingleObject({.channel = channel,
                                .id = id,
                                .priority = priority,
                                .pan = box.pan,
                                .tilt = box.tilt,
                                .width = box.width,
                                .height = box.height,
                                .timestamp = 0,
                                .velocity = {}});
  }

  static std::vector<int> idsOf(const SuperObject& group) {
    std::vector<int> ids;
    for (const auto& single : group.getSingles()) {
      ids.push_back(single->getId());
    }
    return ids;
  }

  Groups groups() const {
    Groups result;
    for (const auto& group : manager.getSuperObjects()) {
      result.push_back(idsOf(*group));
    }
    return result;
  }

  // Ids of the chosen group; empty for none.
  std::vector<int> choose(double pan = 0.0, double tilt = 0.0) {
    const SuperObject* group = manager.getSuperObject(pan, tilt);
    return group != nullptr ? idsOf(*group) : std::vector<int>();
  }

  void pass(std::int64_t microseconds) { clock.set(clock.now() + microseconds); }

  FakeClock clock;
  SuperObjectManager manager;
};

// ---- Sizes and angles ----

TEST_F(SuperObjectManagerTest, BeforeTheHeadIsKnownObjectsOf60By45DegreesAreAccepted) {
  EXPECT_TRUE(manager.objectSizeValid(60.0, 45.0));
  EXPECT_FALSE(manager.objectSizeValid(60.000001, 45.0));
  EXPECT_FALSE(manager.objectSizeValid(60.0, 45.000001));
  observe(1, {.width = 60.0, .height = 45.0});
  EXPECT_EQ(groups(), (Groups{{1}}));
}

TEST_F(SuperObjectManagerTest, TheWidestViewReplacesTheLimits) {
  manager.setMaxObjectSize({30.0, 20.0});
  EXPECT_TRUE(manager.objectSizeValid(30.0, 20.0));
  EXPECT_FALSE(manager.objectSizeValid(30.1, 20.0));
  EXPECT_FALSE(manager.objectSizeValid(30.0, 20.1));
}

TEST_F(SuperObjectManagerTest, PanDeltaIsMeasuredAcrossTheSeam) {
  EXPECT_DOUBLE_EQ(SuperObjectManager::getPanDelta(170.0, -170.0), 20.0);
  EXPECT_DOUBLE_EQ(SuperObjectManager::getPanDelta(-170.0, 170.0), 20.0);
  EXPECT_DOUBLE_EQ(SuperObjectManager::getPanDelta(10.0, -10.0), 20.0);
  EXPECT_DOUBLE_EQ(SuperObjectManager::getPanDelta(90.0, -90.0), 180.0);
}

TEST_F(SuperObjectManagerTest, GreatCirclesByHand) {
  EXPECT_NEAR(SuperObjectManager::getGreatCircle(0.0, 0.0, 30.0, 0.0), 30.0, 1e-9);
  EXPECT_NEAR(SuperObjectManager::getGreatCircle(0.0, -45.0, 0.0, 20.0), 65.0, 1e-9);
  EXPECT_NEAR(SuperObjectManager::getGreatCircle(0.0, 90.0, 77.0, 90.0), 0.0, 1e-5);
  EXPECT_NEAR(SuperObjectManager::getGreatCircle(170.0, 0.0, -170.0, 0.0), 20.0, 1e-9);
  EXPECT_NEAR(SuperObjectManager::getGreatCircle(0.0, 0.0, 180.0, 0.0), 180.0, 1e-5);
  // cos = cos(60)^2 of two points at tilt 60, 90 degrees of pan apart, plus sin(60)^2.
  EXPECT_NEAR(SuperObjectManager::getGreatCircle(0.0, 60.0, 90.0, 60.0),
              std::acos(0.75) * 180.0 / M_PI, 1e-9);
}

// Rounding takes the cosine above 1 in some of these.
TEST_F(SuperObjectManagerTest, ADirectionIsNoDistanceFromItself) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> pan(-180.0, 180.0);
  std::uniform_real_distribution<double> tilt(-90.0, 90.0);
  for (int round = 0; round < 5000; ++round) {
    const double p = pan(random);
    const double t = tilt(random);
    EXPECT_NEAR(SuperObjectManager::getGreatCircle(p, t, p, t), 0.0, 1e-5);
  }
}

TEST_F(SuperObjectManagerTest, RandomGreatCirclesAreAnglesBetweenDirections) {
  std::mt19937 random(4);
  std::uniform_real_distribution<double> pan(-180.0, 180.0);
  std::uniform_real_distribution<double> tilt(-90.0, 90.0);
  const auto radians = [](double degrees) { return degrees * M_PI / 180.0; };
  for (int round = 0; round < 2000; ++round) {
    const double p1 = pan(random);
    const double t1 = tilt(random);
    const double p2 = pan(random);
    const double t2 = tilt(random);
    // The chord between both points of the sphere.
    const double x = std::cos(radians(t1)) * std::cos(radians(p1)) -
                     std::cos(radians(t2)) * std::cos(radians(p2));
    const double y = std::cos(radians(t1)) * std::sin(radians(p1)) -
                     std::cos(radians(t2)) * std::sin(radians(p2));
    const double z = std::sin(radians(t1)) - std::sin(radians(t2));
    const double half = std::sqrt(x * x + y * y + z * z) / 2.0;
    EXPECT_NEAR(SuperObjectManager::getGreatCircle(p1, t1, p2, t2),
                2.0 * std::asin(std::fmin(half, 1.0)) * 180.0 / M_PI, 1e-5);
  }
}

// ---- Objects and groups ----

TEST_F(SuperObjectManagerTest, ObjectsThatFitTogetherAreOneGroup) {
  observe(1, {.pan = 0.0});
  observe(2, {.pan = 20.0});
  observe(3, {.pan = 100.0});
  EXPECT_EQ(groups(), (Groups{{1, 2}, {3}}));
}

TEST_F(SuperObjectManagerTest, AnObjectJoinsTheFirstGroupThatItFitsInto) {
  observe(1, {.pan = 0.0});
  observe(2, {.pan = 70.0});
  observe(3, {.pan = 35.0});
  EXPECT_EQ(groups(), (Groups{{1, 3}, {2}}));
}

TEST_F(SuperObjectManagerTest, ChannelAndIdTogetherNameAnObject) {
  observe(1, {.pan = 0.0});
  observe(1, {.pan = 100.0}, 1, 1);
  EXPECT_EQ(groups(), (Groups{{1}, {1}}));
  observe(1, {.pan = 5.0});
  EXPECT_EQ(groups(), (Groups{{1}, {1}}));
  manager.measureChanges();
  EXPECT_EQ(manager.getSuperObjects()[0]->getPan(), 5.0);
  EXPECT_EQ(manager.getSuperObjects()[1]->getPan(), 100.0);
}

TEST_F(SuperObjectManagerTest, TheChoiceKnowsWhatWasObservedLast) {
  observe(1, {.pan = 0.0});
  observe(2, {.pan = 100.0});
  EXPECT_EQ(manager.getSuperObject(100.0, 0.0)->getPan(), 100.0);
  observe(1, {.pan = 5.0}, 7);
  EXPECT_EQ(manager.getSuperObject(100.0, 0.0)->getPan(), 5.0);
}

TEST_F(SuperObjectManagerTest, AnObjectWiderThanTheWidestViewIsNeverFollowedEvenAlone) {
  observe(1, {.width = 60.1});
  observe(2, {.height = 45.1});
  EXPECT_EQ(groups(), Groups{});
  EXPECT_EQ(manager.getSuperObject(0.0, 0.0), nullptr);
}

TEST_F(SuperObjectManagerTest, AnObjectThatGrowsTooLargeGoesWithItsGroup) {
  observe(1, {.pan = 0.0});
  observe(2, {.pan = 100.0});
  observe(1, {.pan = 0.0, .width = 61.0});
  EXPECT_EQ(groups(), (Groups{{2}}));
}

TEST_F(SuperObjectManagerTest, AddingAnObjectOfInvalidSizeIsIgnored) {
  manager.addSingleObject(
      std::make_unique<SingleObject>(SingleObject::Observation{.channel = 0,
                                                               .id = 1,
                                                               .priority = 1,
                                                               .pan = 0.0,
                                                               .tilt = 0.0,
                                                               .width = 70.0,
                                                               .height = 1.0,
                                                               .timestamp = 0,
                                                               .velocity = {}}));
  EXPECT_EQ(groups(), Groups{});
}

TEST_F(SuperObjectManagerTest, RemovingObjectsDestroysEmptyGroups) {
  observe(1, {.pan = 0.0});
  observe(2, {.pan = 10.0});
  observe(3, {.pan = 100.0});
  manager.removeSingleObject(0, 9);
  manager.removeSingleObject(1, 1);
  EXPECT_EQ(groups(), (Groups{{1, 2}, {3}}));
  manager.removeSingleObject(0, 1);
  EXPECT_EQ(groups(), (Groups{{2}, {3}}));
  manager.removeSingleObject(0, 2);
  EXPECT_EQ(groups(), (Groups{{3}}));
}

TEST_F(SuperObjectManagerTest, RemovingAChannelTakesItsObjectsOutOfAllGroups) {
  observe(1, {.pan = 0.0}, 1, 0);
  observe(1, {.pan = 10.0}, 1, 1);
  observe(2, {.pan = 100.0}, 1, 1);
  manager.removeSingleObjects(1);
  EXPECT_EQ(groups(), (Groups{{1}}));
}

TEST_F(SuperObjectManagerTest, AGroupThatGrewApartIsSplit) {
  observe(1, {.pan = 0.0});
  observe(2, {.pan = 20.0});
  observe(3, {.pan = 30.0});
  observe(3, {.pan = 80.0});
  EXPECT_EQ(groups(), (Groups{{1, 2, 3}}));
  manager.updateSuperObjects();
  EXPECT_EQ(groups(), (Groups{{1, 2}, {3}}));
}

TEST_F(SuperObjectManagerTest, AMemberOfASplitGroupMayJoinAnotherOne) {
  observe(1, {.pan = 100.0});
  observe(2, {.pan = 0.0});
  observe(3, {.pan = 30.0});
  ASSERT_EQ(groups(), (Groups{{1}, {2, 3}}));
  observe(3, {.pan = 80.0});
  manager.updateSuperObjects();
  EXPECT_EQ(groups(), (Groups{{1, 3}, {2}}));
}

TEST_F(SuperObjectManagerTest, GroupsThatCameTogetherAreMergedIntoTheEarlier) {
  observe(1, {.pan = 0.0});
  observe(2, {.pan = 100.0});
  observe(3, {.pan = 110.0});
  observe(4, {.pan = -100.0});
  ASSERT_EQ(groups(), (Groups{{1}, {2, 3}, {4}}));
  observe(1, {.pan = 80.0});
  manager.updateSuperObjects();
  EXPECT_EQ(groups(), (Groups{{1, 2, 3}, {4}}));
}

// Each gain makes the earlier group larger: the third does not fit any more.
TEST_F(SuperObjectManagerTest, MergingLooksAtTheGroupAsItHasGrown) {
  observe(1, {.pan = 0.0});
  observe(2, {.pan = 90.0});
  observe(3, {.pan = -90.0});
  observe(2, {.pan = 40.0});
  observe(3, {.pan = -40.0});
  manager.updateSuperObjects();
  EXPECT_EQ(groups(), (Groups{{1, 2}, {3}}));
}

// Its plain width is too large, the union is not: it is dissolved and formed anew at each step.
TEST_F(SuperObjectManagerTest, AGroupAcrossTheSeamKeepsItsMembers) {
  observe(1, {.pan = 170.0});
  observe(2, {.pan = -170.0});
  for (int step = 0; step < 3; ++step) {
    EXPECT_EQ(groups(), (Groups{{1, 2}}));
    EXPECT_EQ(manager.getSuperObjects()[0]->getPan(), 180.0);
    manager.updateSuperObjects();
  }
}

// ---- Choice without switching ----

TEST_F(SuperObjectManagerTest, WithoutGroupsThereIsNoChoice) {
  EXPECT_EQ(manager.getSuperObject(0.0, 0.0), nullptr);
  manager.setSwitchObject(true);
  EXPECT_EQ(manager.getSuperObject(0.0, 0.0), nullptr);
}

TEST_F(SuperObjectManagerTest, TheDefaultsDoNotSwitch) {
  EXPECT_FALSE(manager.getSwitchObject());
  EXPECT_EQ(manager.getTimePerObject(), 5);
}

TEST_F(SuperObjectManagerTest, TheNearerOfTwoGroupsWinsAndIsKeptWhileItExists) {
  observe(1, {.pan = 0.0});
  observe(2, {.pan = 100.0});
  EXPECT_THAT(choose(90.0), ElementsAre(2));
  EXPECT_THAT(choose(0.0), ElementsAre(2));
  manager.updateSuperObjects();
  EXPECT_THAT(choose(0.0), ElementsAre(2));
  manager.removeSingleObject(0, 2);
  EXPECT_THAT(choose(90.0), ElementsAre(1));
}

TEST_F(SuperObjectManagerTest, TheFirstOfTwoEquallyNearGroupsWins) {
  observe(1, {.pan = 50.0});
  observe(2, {.pan = -50.0});
  EXPECT_THAT(choose(0.0), ElementsAre(1));
}

TEST_F(SuperObjectManagerTest, TheGroupUnderTheHeadsAxisIsChosen) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> pan(20.0, 160.0);
  std::uniform_real_distribution<double> tilt(-80.0, 20.0);
  for (int round = 0; round < 500; ++round) {
    SuperObjectManager fresh;
    std::swap(manager, fresh);
    const Box there{.pan = pan(random), .tilt = tilt(random)};
    observe(1, {.pan = there.pan - 180.0, .tilt = there.tilt});
    observe(2, there);
    const double p = manager.getSuperObjects()[1]->getPan();
    const double t = manager.getSuperObjects()[1]->getTilt();
    EXPECT_THAT(choose(p, t), ElementsAre(2)) << p << " " << t;
  }
}

TEST_F(SuperObjectManagerTest, NearIsMeasuredAcrossTheSeam) {
  observe(1, {.pan = 90.0});
  observe(2, {.pan = -175.0});
  EXPECT_THAT(choose(170.0), ElementsAre(2));
}

TEST_F(SuperObjectManagerTest, PriorityCountsMoreThanNearness) {
  observe(1, {.pan = 0.0}, 1);
  observe(2, {.pan = 150.0}, 3);
  EXPECT_THAT(choose(0.0), ElementsAre(2));
}

TEST_F(SuperObjectManagerTest, AHigherPriorityTakesOver) {
  observe(1, {.pan = 0.0}, 1);
  EXPECT_THAT(choose(), ElementsAre(1));
  observe(2, {.pan = 150.0}, 2);
  EXPECT_THAT(choose(), ElementsAre(2));
  observe(2, {.pan = 150.0}, 1);
  EXPECT_THAT(choose(), ElementsAre(2));
}

TEST_F(SuperObjectManagerTest, PrioritiesBelowOneCountAsOne) {
  observe(1, {.pan = 0.0}, -3);
  EXPECT_THAT(choose(), ElementsAre(1));
}

// A new group may come to lie where the old one was.
TEST_F(SuperObjectManagerTest, ADestroyedGroupIsForgotten) {
  for (int round = 0; round < 20; ++round) {
    observe(1, {.pan = 0.0});
    ASSERT_THAT(choose(0.0), ElementsAre(1));
    manager.removeSingleObject(0, 1);
    observe(2, {.pan = 100.0});
    observe(3, {.pan = 0.0});
    EXPECT_THAT(choose(0.0), ElementsAre(3));
    manager.removeSingleObjects(0);
  }
}

TEST_F(SuperObjectManagerTest, NoGroupsForgetTheChoice) {
  observe(1, {.pan = 0.0});
  ASSERT_THAT(choose(0.0), ElementsAre(1));
  manager.removeSingleObjects(0);
  EXPECT_THAT(choose(0.0), IsEmpty());
}

// ---- Choice in turn ----

class SwitchingTest : public SuperObjectManagerTest {
 protected:
  struct Turn {
    std::vector<int> ids;
    double seconds;

    bool operator==(const Turn&) const = default;
  };

  SwitchingTest() { manager.setSwitchObject(true); }

  // Chooses every 100 ms; each new choice with the second at which it came.
  std::vector<Turn> turns(double seconds) {
    std::vector<Turn> result;
    for (int step = 0; step < seconds * 10; ++step) {
      const std::vector<int> ids = choose();
      if (result.empty() || result.back().ids != ids) {
        result.push_back({ids, step / 10.0});
      }
      pass(100'000);
    }
    return result;
  }
};

// After more than 5 s, seen every 0.1 s.
TEST_F(SwitchingTest, ThreeGroupsTakeTurns) {
  observe(0, {.pan = 0.0});
  observe(1, {.pan = 100.0});
  observe(2, {.pan = -100.0});
  const std::vector<Turn> found = turns(30.0);
  ASSERT_EQ(found.size(), 6U);
  for (int turn = 0; turn < 6; ++turn) {
    EXPECT_THAT(found[turn].ids, ElementsAre(turn % 3));
    EXPECT_NEAR(found[turn].seconds, turn * 5.1, 1e-9);
  }
}

TEST_F(SwitchingTest, TheTimePerGroupCanBeSet) {
  manager.setTimePerObject(2);
  EXPECT_EQ(manager.getTimePerObject(), 2);
  observe(0, {.pan = 0.0});
  observe(1, {.pan = 100.0});
  const std::vector<Turn> found = turns(6.0);
  ASSERT_EQ(found.size(), 3U);
  EXPECT_NEAR(found[1].seconds, 2.1, 1e-9);
  EXPECT_NEAR(found[2].seconds, 4.2, 1e-9);
}

TEST_F(SwitchingTest, OneGroupAloneIsReturnedEveryStep) {
  observe(7, {.pan = 0.0});
  const std::vector<Turn> found = turns(20.0);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_THAT(found[0].ids, ElementsAre(7));
}

TEST_F(SwitchingTest, AGapLongerThanTheTimeSwitches) {
  observe(0, {.pan = 0.0});
  observe(1, {.pan = 100.0});
  EXPECT_THAT(choose(), ElementsAre(0));
  pass(5'000'000);
  EXPECT_THAT(choose(), ElementsAre(0));
  pass(1);
  EXPECT_THAT(choose(), ElementsAre(1));
}

TEST_F(SwitchingTest, OnlyTheHighestPriorityTakesTurns) {
  observe(0, {.pan = 0.0}, 2);
  observe(1, {.pan = 100.0}, 1);
  observe(2, {.pan = -100.0}, 2);
  const std::vector<Turn> found = turns(15.0);
  ASSERT_EQ(found.size(), 3U);
  EXPECT_THAT(found[0].ids, ElementsAre(0));
  EXPECT_THAT(found[1].ids, ElementsAre(2));
  EXPECT_THAT(found[2].ids, ElementsAre(0));
}

TEST_F(SwitchingTest, WhoHasWaitedLongestComesNext) {
  observe(0, {.pan = 0.0});
  EXPECT_THAT(choose(), ElementsAre(0));
  pass(1'000'000);
  observe(1, {.pan = 100.0});
  pass(1'000'000);
  observe(2, {.pan = -100.0});
  EXPECT_THAT(choose(), ElementsAre(0));
  pass(3'000'001);
  EXPECT_THAT(choose(), ElementsAre(1));
}

// ---- Against groups kept in the plainest way ----

// The same rules without an index, without what is remembered and without shortcuts.
class PlainGroups {
 public:
  using Group = std::vector<SingleObject>;

  void observe(const SingleObject::Observation& observation) {
    for (Group& group : groups) {
      const auto member = std::ranges::find_if(group, [&](const SingleObject& single) {
        return single.isObject(observation.channel, observation.id);
      });
      if (member == group.end()) {
        continue;
      }
      member->update(observation);
      if (!member->sizeValid(view)) {
        group.erase(member);
      }
      dropEmpty();
      return;
    }
    add(SingleObject(observation));
  }

  void remove(int channel, int id) {
    for (Group& group : groups) {
      std::erase_if(group, [=](const SingleObject& s) { return s.isObject(channel, id); });
    }
    dropEmpty();
  }

  void removeChannel(int channel) {
    for (Group& group : groups) {
      std::erase_if(group, [=](const SingleObject& s) { return s.getChannel() == channel; });
    }
    dropEmpty();
  }

  void regroup() {
    std::vector<SingleObject> held;
    std::erase_if(groups, [this, &held](const Group& group) {
      const Extent box = boxOf(group);
      if (group.size() < 2 ||
          view.holds(std::abs(box.left - box.right), std::abs(box.top - box.bottom))) {
        return false;
      }
      held.insert(held.end(), group.begin(), group.end());
      return true;
    });
    for (const SingleObject& single : held) {
      add(single);
    }
    for (std::size_t i = 0; i < groups.size(); ++i) {
      for (std::size_t j = i + 1; j < groups.size();) {
        if (fits(boxOf(groups[i]), boxOf(groups[j]))) {
          groups[i].insert(groups[i].end(), groups[j].begin(), groups[j].end());
          groups.erase(groups.begin() + static_cast<std::ptrdiff_t>(j));
        } else {
          ++j;
        }
      }
    }
  }

  struct Extent {
    double left;
    double right;
    double top;
    double bottom;
  };

  static Extent boxOf(const Group& group) {
    std::vector<double> edges;
    Extent box{0.0, 0.0, group.front().getTop(), group.front().getBottom()};
    for (const SingleObject& single : group) {
      edges.insert(edges.end(), {single.getLeft(), single.getRight()});
      box.top = std::max(box.top, single.getTop());
      box.bottom = std::min(box.bottom, single.getBottom());
    }
    Bearing::bounds(edges, box.left, box.right);
    return box;
  }

  std::vector<Group> groups;
  WidestView view;

 private:
  bool fits(const Extent& a, const Extent& b) const {
    double left = 0.0;
    double right = 0.0;
    Bearing::bounds({a.left, a.right, b.left, b.right}, left, right);
    return view.holds(Bearing::clockwiseDiff(left, right),
                      std::max(a.top, b.top) - std::min(a.bottom, b.bottom));
  }

  void add(const SingleObject& single) {
    if (!single.sizeValid(view)) {
      return;
    }
    const Extent own{single.getLeft(), single.getRight(), single.getTop(), single.getBottom()};
    for (Group& group : groups) {
      if (fits(boxOf(group), own)) {
        group.push_back(single);
        return;
      }
    }
    groups.push_back({single});
  }

  void dropEmpty() {
    std::erase_if(groups, [](const Group& group) { return group.empty(); });
  }
};

class GroupingTest : public SuperObjectManagerTest, public testing::WithParamInterface<int> {
 protected:
  int number(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }
  double angle(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(random);
  }

  void expectSame() {
    manager.measureChanges();
    const auto& found = manager.getSuperObjects();
    ASSERT_EQ(found.size(), plain.groups.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
      std::vector<int> ids;
      for (const SingleObject& single : plain.groups[i]) {
        ids.push_back(single.getId());
      }
      ASSERT_EQ(idsOf(*found[i]), ids);
      const PlainGroups::Extent box = PlainGroups::boxOf(plain.groups[i]);
      EXPECT_EQ(found[i]->getLeft(), box.left);
      EXPECT_EQ(found[i]->getRight(), box.right);
      EXPECT_EQ(found[i]->getTop(), box.top);
      EXPECT_EQ(found[i]->getBottom(), box.bottom);
    }
  }

  void takeAnyView() {
    plain.view = {angle(5.0, 75.0), angle(10.0, 60.0)};
    manager.setMaxObjectSize(plain.view);
  }

  std::mt19937 random{static_cast<unsigned>(GetParam())};
  PlainGroups plain;
};

// Pans beyond the seam, too: objects are led by their velocity without being folded.
TEST_P(GroupingTest, GroupsAreThoseOfThePlainRules) {
  takeAnyView();
  for (int i = 0; i < 1500; ++i) {
    const int channel = number(0, 2);
    const int id = 100 * channel + number(0, 25);
    switch (number(0, 19)) {
      case 0:
        manager.removeSingleObject(channel, id);
        plain.remove(channel, id);
        break;
      case 1:
        if (number(0, 9) == 0) {
          manager.removeSingleObjects(channel);
          plain.removeChannel(channel);
        }
        break;
      case 2:
      case 3:
        manager.updateSuperObjects();
        plain.regroup();
        break;
      case 4:
        if (number(0, 9) == 0) {
          takeAnyView();
        }
        break;
      default: {
        const SingleObject::Observation seen{.channel = channel,
                                             .id = id,
                                             .priority = number(0, 3),
                                             .pan = angle(-190.0, 190.0),
                                             .tilt = angle(-60.0, 10.0),
                                             .width = angle(0.0, 30.0),
                                             .height = angle(0.0, 20.0),
                                             .timestamp = 0,
                                             .velocity = {}};
        manager.updateSingleObject(seen);
        plain.observe(seen);
      }
    }
    // Which measures: in between the manager has to do so itself.
    if (number(0, 9) == 0) {
      expectSame();
    }
  }
  expectSame();
}

INSTANTIATE_TEST_SUITE_P(Seeds, GroupingTest, testing::Range(1, 21));

}  // namespace
