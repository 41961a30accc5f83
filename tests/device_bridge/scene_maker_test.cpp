#include "bridge/scene_maker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace device::bridge {
namespace {

using onvif::SeenAction;
using onvif::SeenBox;
using onvif::SeenChange;
using onvif::SeenFrame;
using onvif::SeenObject;
using onvif::SeenPoint;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::int64_t SECOND = 1000000;
constexpr SeenBox BOX{-0.5, 0, -0.25, 0.5};

SeenObject object(const std::string& id, const SeenBox& box = BOX) {
  SeenObject result;
  result.id = id;
  result.box = box;
  return result;
}

SeenFrame frameOf(std::vector<SeenObject> objects, std::vector<SeenChange> changes = {}) {
  SeenFrame frame;
  frame.objects = std::move(objects);
  frame.changes = std::move(changes);
  return frame;
}

std::vector<std::int32_t> idsOf(const Frame& frame) {
  std::vector<std::int32_t> ids;
  for (const FrameObject& one : frame.objects) {
    ids.push_back(one.id);
  }
  return ids;
}

FrameEvent deletion(std::vector<std::int32_t> ids) {
  return {FrameAction::deletion, std::move(ids), {}};
}

TEST(SceneMakerTest, BoxIsTheFourCornersInTheScenesUnits) {
  SceneMaker maker;
  const Frame frame = maker.take(frameOf({object("7")}), SECOND);
  EXPECT_EQ(SECOND, frame.timestamp);
  ASSERT_THAT(frame.objects, SizeIs(1));
  const FrameObject& made = frame.objects[0];
  // 4096 times -0.5, -0.25, 0 and 0.5.
  EXPECT_THAT(made.box, ElementsAre(FramePoint{-2048, 0}, FramePoint{-2048, 2048},
                                    FramePoint{-1024, 2048}, FramePoint{-1024, 0}));
  EXPECT_THAT(made.outline, ElementsAre(FramePoint{-1024, 0}, FramePoint{-1024, 2048},
                                        FramePoint{-2048, 2048}, FramePoint{-2048, 0}))
      << "counter-clockwise";
  EXPECT_EQ(1, made.id);
  EXPECT_EQ(4096, made.confidence);
  EXPECT_EQ((FramePoint{0, 0}), made.velocity);
}

TEST(SceneMakerTest, OutlineIsTheCamerasAndEndsAtThePicturesEdge) {
  SceneMaker maker;
  SeenObject seen = object("7", {0.5, 0.5, 1.25, 1.25});
  seen.outline = {{0.5, 0.5}, {1.25, 0.5}, {1.25, 1.25}};
  const Frame frame = maker.take(frameOf({seen}), SECOND);
  EXPECT_THAT(frame.objects.at(0).outline,
              ElementsAre(FramePoint{2048, 2048}, FramePoint{4096, 2048}, FramePoint{4096, 4096}));
}

TEST(SceneMakerTest, LikelihoodDecidesAndIsNeverAConfidence) {
  SceneMaker maker({.classes = {"Human"}, .likelihood = 0.5});
  const auto withClass = [](const std::string& id, const std::string& name, double likelihood) {
    SeenObject result = object(id);
    result.classes = {{name, likelihood}};
    return result;
  };
  const Frame frame =
      maker.take(frameOf({withClass("1", "Human", 0.6), withClass("2", "Human", 0.4),
                          withClass("3", "Vehicle", 1), object("4")}),
                 SECOND);
  ASSERT_THAT(frame.objects, SizeIs(2)) << "a likely human, and what has no class";
  EXPECT_EQ(4096, frame.objects[0].confidence);
  EXPECT_EQ(4096, frame.objects[1].confidence);
}

TEST(SceneMakerTest, ObjectThatWasWantedStaysWhenItsClassWavers) {
  SceneMaker maker;
  SeenObject seen = object("1");
  seen.classes = {{"Human", 0.9}};
  maker.take(frameOf({seen}), SECOND);
  seen.classes = {{"Human", 0.2}};
  EXPECT_THAT(idsOf(maker.take(frameOf({seen}), 2 * SECOND)), ElementsAre(1));
}

// The centre moves by 0.02 to the right and 0.01 down in 0.1 s: 0.2 and -0.1 a second, of 4096.
TEST(SceneMakerTest, VelocityIsThatOfTheCentre) {
  SceneMaker maker;
  Frame frame;
  for (int i = 0; i < 5; ++i) {
    SeenObject seen = object("1", {-0.9, -0.9, 0.9, 0.9});
    seen.centre = SeenPoint{0.02 * i, -0.01 * i};
    frame = maker.take(frameOf({seen}), SECOND + i * SECOND / 10);
    EXPECT_EQ(i == 0, (frame.objects[0].velocity == FramePoint{0, 0}));
  }
  EXPECT_EQ((FramePoint{819, -410}), frame.objects[0].velocity);
}

TEST(SceneMakerTest, VelocityOfABoxIsThatOfItsFoot) {
  SceneMaker maker;
  maker.take(frameOf({object("1", {0, 0, 0.1, 0.5})}), SECOND);
  const Frame frame = maker.take(frameOf({object("1", {0.1, 0.05, 0.2, 0.9})}), 2 * SECOND);
  EXPECT_EQ((FramePoint{0, 0}), frame.objects[0].velocity) << "half a second counts";
  // 0.1 and 0.05 in 0.4 s.
  const Frame next = maker.take(frameOf({object("1", {0.2, 0.1, 0.3, 0.2})}), 2 * SECOND + 400000);
  EXPECT_EQ((FramePoint{1024, 512}), next.objects[0].velocity);
}

TEST(SceneMakerTest, DeletedObjectIsToldAndItsNumberIsNotGivenAgain) {
  SceneMaker maker;
  maker.take(frameOf({object("7")}), SECOND);
  const Frame frame = maker.take(frameOf({}, {{SeenAction::deletion, {"7"}, {}}}), SECOND + 100000);
  EXPECT_THAT(frame.events, ElementsAre(deletion({1})));
  EXPECT_THAT(idsOf(maker.take(frameOf({object("7")}), SECOND + 200000)), ElementsAre(2));
}

TEST(SceneMakerTest, ObjectThatIsMissingForASecondIsDeletedWithoutAnyWord) {
  SceneMaker maker;
  maker.take(frameOf({object("7"), object("8")}), SECOND);
  EXPECT_THAT(maker.take(frameOf({object("8")}), 2 * SECOND - 1).events, IsEmpty());
  EXPECT_THAT(maker.take(frameOf({object("8")}), 2 * SECOND).events, ElementsAre(deletion({1})));
  EXPECT_THAT(maker.take(frameOf({object("8")}), 3 * SECOND).events, IsEmpty());
}

TEST(SceneMakerTest, HiddenObjectIsNotMissing) {
  SceneMaker maker;
  maker.take(frameOf({object("7")}), SECOND);
  SeenObject hidden;
  hidden.id = "7";
  const Frame frame = maker.take(frameOf({hidden}), 5 * SECOND);
  EXPECT_THAT(frame.events, IsEmpty());
  EXPECT_THAT(frame.objects, IsEmpty());
  EXPECT_THAT(idsOf(maker.take(frameOf({object("7")}), 5 * SECOND + 900000)), ElementsAre(1));
}

TEST(SceneMakerTest, ObjectThatIsToldTwiceInAFrameIsThereOnce) {
  SceneMaker maker;
  EXPECT_THAT(idsOf(maker.take(frameOf({object("7"), object("7")}), SECOND)), ElementsAre(1));
}

TEST(SceneMakerTest, ObjectThatComesAndGoesInOneFrameWasNeverThere) {
  SceneMaker maker;
  const Frame frame = maker.take(
      frameOf({object("7"), object("8"), object("9")},
              {{SeenAction::deletion, {"7"}, {}}, {SeenAction::merge, {"8", "9"}, {"8"}}}),
      SECOND);
  EXPECT_THAT(frame.events, IsEmpty());
  EXPECT_THAT(idsOf(frame), ElementsAre(2));
}

TEST(SceneMakerTest, IdleObjectIsRepeatedForAMinute) {
  SceneMaker maker;
  SeenObject idle = object("7");
  idle.isIdle = true;
  maker.take(frameOf({idle}), SECOND);
  EXPECT_THAT(idsOf(maker.take(frameOf({}), 50 * SECOND)), ElementsAre(1));
  const Frame frame = maker.take(frameOf({}), 61 * SECOND);
  EXPECT_THAT(frame.objects, IsEmpty());
  EXPECT_THAT(frame.events, ElementsAre(deletion({1})));
}

TEST(SceneMakerTest, PlaceWhereSomethingWasTakenAwayIsNoObject) {
  SceneMaker maker;
  SeenObject removed = object("7");
  removed.isRemoved = true;
  EXPECT_THAT(maker.take(frameOf({removed}), SECOND).objects, IsEmpty());
  maker.take(frameOf({object("8")}), SECOND);
  removed.id = "8";
  EXPECT_THAT(maker.take(frameOf({removed}), SECOND + 1).events, ElementsAre(deletion({1})));
}

TEST(SceneMakerTest, SplitNamesAllParts) {
  SceneMaker maker;
  maker.take(frameOf({object("12")}), SECOND);
  const Frame frame =
      maker.take(frameOf({object("12"), object("17")}, {{SeenAction::split, {"12"}, {"17", "12"}}}),
                 SECOND + 100000);
  EXPECT_THAT(frame.events, ElementsAre(FrameEvent{FrameAction::split, {1}, {2, 1}}));
  EXPECT_THAT(idsOf(frame), ElementsAre(1, 2));
}

TEST(SceneMakerTest, MergeNamesWhatRemainsAndWhatIsAbsorbed) {
  SceneMaker maker;
  maker.take(frameOf({object("3"), object("4")}), SECOND);
  const Frame frame =
      maker.take(frameOf({object("3")}, {{SeenAction::merge, {"3", "4"}, {"3"}}}), SECOND + 100000);
  EXPECT_THAT(frame.events, ElementsAre(FrameEvent{FrameAction::merge, {1}, {2}}));
  EXPECT_THAT(idsOf(frame), ElementsAre(1));
}

TEST(SceneMakerTest, MergeIntoANewObjectBringsItIntoTheFrameFirst) {
  SceneMaker maker;
  maker.take(frameOf({object("3"), object("4")}), SECOND);
  const Frame frame =
      maker.take(frameOf({}, {{SeenAction::merge, {"3", "4"}, {"5"}}}), SECOND + 100000);
  EXPECT_THAT(idsOf(frame), ElementsAre(3));
  EXPECT_THAT(frame.events, ElementsAre(FrameEvent{FrameAction::merge, {3}, {1, 2}}));
}

TEST(SceneMakerTest, RenamedObjectKeepsItsNumber) {
  SceneMaker maker;
  maker.take(frameOf({object("20")}), SECOND);
  const Frame frame =
      maker.take(frameOf({object("21")}, {{SeenAction::rename, {"20"}, {"21"}}}), SECOND + 100000);
  EXPECT_THAT(frame.events, IsEmpty());
  EXPECT_THAT(idsOf(frame), ElementsAre(1));
  EXPECT_THAT(idsOf(maker.take(frameOf({object("21")}), SECOND + 200000)), ElementsAre(1));
}

TEST(SceneMakerTest, RenameToAnObjectThatLivesIsAMerge) {
  SceneMaker maker;
  maker.take(frameOf({object("20"), object("21")}), SECOND);
  const Frame frame =
      maker.take(frameOf({object("21")}, {{SeenAction::rename, {"20"}, {"21"}}}), SECOND + 100000);
  EXPECT_THAT(frame.events, ElementsAre(FrameEvent{FrameAction::merge, {2}, {1}}));
}

TEST(SceneMakerTest, NumbersAreTheirAnalyticsOwn) {
  SceneMaker maker;
  SeenFrame one = frameOf({object("7")});
  SeenFrame other = one;
  other.source = "other";
  EXPECT_THAT(idsOf(maker.take(one, SECOND)), ElementsAre(1));
  EXPECT_THAT(idsOf(maker.take(other, SECOND + 1)), ElementsAre(2));
  EXPECT_THAT(maker.take(one, 4 * SECOND).events, IsEmpty())
      << "nothing is missing in frames that do not come";
  EXPECT_THAT(maker.take(one, 6 * SECOND + 1).events, ElementsAre(deletion({2})))
      << "analytics that have been silent for five seconds are gone";
}

TEST(SceneMakerTest, LostStreamDeletesEverything) {
  SceneMaker maker;
  EXPECT_FALSE(maker.lose(SECOND));
  maker.take(frameOf({object("7"), object("8")}), SECOND);
  const auto frame = maker.lose(2 * SECOND);
  ASSERT_TRUE(frame);
  EXPECT_THAT(frame->events, ElementsAre(deletion({1, 2})));
  EXPECT_THAT(idsOf(maker.take(frameOf({object("7")}), 3 * SECOND)), ElementsAre(3));
}

TEST(SceneMakerTest, UnknownIdsInChangesAreNothing) {
  SceneMaker maker;
  const Frame frame = maker.take(frameOf({}, {{SeenAction::deletion, {"1"}, {}},
                                              {SeenAction::split, {"1"}, {"2", "3"}},
                                              {SeenAction::merge, {"1", "2"}, {"1"}},
                                              {SeenAction::rename, {"1"}, {"2"}},
                                              {SeenAction::rename, {}, {}}}),
                                 SECOND);
  EXPECT_THAT(frame.events, IsEmpty());
  EXPECT_THAT(frame.objects, IsEmpty());
}

}  // namespace
}  // namespace device::bridge
