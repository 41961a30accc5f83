#include "scene/tracking_object.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "fakes/log_capture.h"
#include "scene/tracking_object_external_data_no_merge.h"
#include "src/scene/frames.h"
#include "src/scene/object_data.h"

namespace {

using Points = std::vector<Point>;

constexpr float ASPECT_RATIO = 1.5f;

TrackingObject tracked(const MoteObject& object, int rotation = 0) {
  return TrackingObject(object, rotation, ASPECT_RATIO);
}

std::int32_t sumOf(const TrackingObject& object, const std::string& key = "key") {
  return object.getData(key) ? object.getData(key)->getInt("sum") : -1;
}

TEST(TrackingObjectCreation, TakesItsValuesFromTheFrame) {
  const TrackingObject object =
      tracked(boxObject(7, 5000, 300, -400, 80, 200, MoteVelocity{12, -34}, false));
  EXPECT_EQ(7, object.getId());
  EXPECT_EQ(5000, object.getFirstSeen());
  EXPECT_EQ(5000, object.getLastSeen());
  EXPECT_EQ(80, object.getWidth());
  EXPECT_EQ(200, object.getHeight());
  EXPECT_EQ(120, object.getAspectCorrectedWidth());
  EXPECT_EQ(80, object.getMaxWidth());
  EXPECT_EQ(200, object.getMaxHeight());
  EXPECT_EQ((Point{300, -400}), object.getPosition());
  EXPECT_EQ((Point{300, -400}), object.getPreviousPosition());
  EXPECT_TRUE(Polygon(260, 340, -500, -300) == object.getPolygon());
  EXPECT_TRUE(Polygon(260, 340, -500, -450) == object.getFootBoxPolygon());
  EXPECT_TRUE(Polygon(260, 340, -500, -450) == object.getPreviousFootBox());
  EXPECT_FALSE(object.getIsConfident());
  EXPECT_TRUE(object.getIsActive());
  EXPECT_EQ((MathVector{12, -34}), object.getVelocity());
  EXPECT_EQ(nullptr, object.getData("key"));
}

TEST(TrackingObjectCreation, TurnsSizesUpright) {
  const TrackingObject object = tracked(boxObject(7, 5000, 0, 0, 80, 200), 90);
  EXPECT_EQ(200, object.getWidth());
  EXPECT_EQ(80, object.getHeight());
  EXPECT_EQ(200, object.getMaxWidth());
  EXPECT_EQ(80, object.getMaxHeight());
  EXPECT_TRUE(Polygon(20, 40, -100, 100) == object.getFootBoxPolygon());
}

TEST(TrackingObjectCreation, PositionIsTheCentroidOfTheOutline) {
  const MoteObject triangle(1, 0, {}, std::make_unique<Polygon>(Points{{0, 0}, {300, 0}, {0, 600}}),
                            std::make_unique<Polygon>(0, 10, 0, 10), true);
  const TrackingObject object = tracked(triangle);
  EXPECT_EQ((Point{100, 200}), object.getPosition());
  EXPECT_EQ(300, object.getWidth());
}

TEST(TrackingObjectCreation, CopiesTheOutline) {
  auto frame = std::make_unique<MoteObject>(boxObject(1, 0, 0, 0, 20, 40));
  const TrackingObject object = tracked(*frame);
  frame.reset();
  EXPECT_TRUE(Polygon(-10, 10, -20, 20) == object.getPolygon());
}

TEST(TrackingObjectCreation, WithoutAnOutlineUsesTheBoundingBox) {
  const MoteObject boxOnly(1, 0, {}, nullptr, std::make_unique<Polygon>(100, 120, 200, 240), true);
  const TrackingObject object = tracked(boxOnly);
  EXPECT_TRUE(Polygon(100, 120, 200, 240) == object.getPolygon());
  EXPECT_EQ((Point{110, 220}), object.getPosition());
  EXPECT_EQ(20, object.getWidth());
  EXPECT_EQ(40, object.getHeight());
}

TEST(TrackingObjectCreation, WithoutAnyOutlineUsesThePaddedTriangle) {
  const MoteObject bare(1, 0, {}, nullptr, nullptr, true);
  const TrackingObject object = tracked(bare);
  EXPECT_EQ((Points{{0, 0}, {0, 1}, {1, 0}}), object.getPolygon().getVertices());
}

TEST(TrackingObjectCreation, VelocitySaturates) {
  EXPECT_EQ((MathVector{32767, -32768}),
            tracked(boxObject(1, 0, 0, 0, 2, 2, MoteVelocity{32768, -32769})).getVelocity());
  EXPECT_EQ((MathVector{32767, -32768}),
            tracked(boxObject(1, 0, 0, 0, 2, 2, MoteVelocity{32767, -32768})).getVelocity());
  EXPECT_EQ((MathVector{-32768, 32767}),
            tracked(boxObject(1, 0, 0, 0, 2, 2, MoteVelocity{INT32_MIN, INT32_MAX})).getVelocity());
}

TEST(TrackingObjectUpdate, ShowsTheObjectAsTheFrameDoes) {
  TrackingObject object = tracked(boxObject(7, 5000, 0, 0, 80, 200, {}, false));
  object.update(boxObject(7, 6000, 100, 50, 40, 400, MoteVelocity{70000, 5}, true));
  EXPECT_EQ(7, object.getId());
  EXPECT_EQ(5000, object.getFirstSeen());
  EXPECT_EQ(6000, object.getLastSeen());
  EXPECT_EQ(40, object.getWidth());
  EXPECT_EQ(400, object.getHeight());
  EXPECT_TRUE(Polygon(80, 120, -150, 250) == object.getPolygon());
  EXPECT_EQ((Point{100, 50}), object.getPosition());
  EXPECT_EQ((Point{0, 0}), object.getPreviousPosition());
  EXPECT_TRUE(Polygon(80, 120, -150, -50) == object.getFootBoxPolygon());
  EXPECT_TRUE(Polygon(-40, 40, -100, -50) == object.getPreviousFootBox());
  EXPECT_EQ((MathVector{32767, 5}), object.getVelocity());
  EXPECT_TRUE(object.getIsConfident());
}

TEST(TrackingObjectUpdate, MaximaGrowButNeverShrink) {
  TrackingObject object = tracked(boxObject(7, 0, 0, 0, 80, 200));
  object.update(boxObject(7, 1, 0, 0, 40, 400));
  EXPECT_EQ(80, object.getMaxWidth());
  EXPECT_EQ(400, object.getMaxHeight());
  object.update(boxObject(7, 2, 0, 0, 100, 20));
  EXPECT_EQ(100, object.getMaxWidth());
  EXPECT_EQ(400, object.getMaxHeight());
}

TEST(TrackingObjectUpdate, MaximaAreUpright) {
  TrackingObject object = tracked(boxObject(7, 0, 0, 0, 80, 200), 270);
  object.update(boxObject(7, 1, 0, 0, 90, 100));
  EXPECT_EQ(200, object.getMaxWidth());
  EXPECT_EQ(90, object.getMaxHeight());
}

TEST(TrackingObjectUpdate, KeepsActivityAndData) {
  TrackingObject object = tracked(boxObject(7, 0));
  object.setIsActive(false);
  object.insertData("key", std::make_unique<SumData>(3));
  object.update(boxObject(7, 1));
  EXPECT_FALSE(object.getIsActive());
  EXPECT_EQ(3, sumOf(object));
}

TEST(TrackingObjectUpdate, WithoutAnOutlineUsesTheBoundingBox) {
  TrackingObject object = tracked(boxObject(7, 0));
  object.update(MoteObject(7, 1, {}, nullptr, std::make_unique<Polygon>(100, 120, 200, 240), true));
  EXPECT_TRUE(Polygon(100, 120, 200, 240) == object.getPolygon());
  EXPECT_EQ((Point{110, 220}), object.getPosition());
}

TEST(TrackingObject, PreviousPositionCanBeSet) {
  TrackingObject object = tracked(boxObject(7, 0, 30, 40));
  object.setPreviousPosition({1, 2});
  EXPECT_EQ((Point{1, 2}), object.getPreviousPosition());
  EXPECT_EQ((Point{30, 40}), object.getPosition());
}

TEST(TrackingObjectData, IsFoundUnderItsKey) {
  TrackingObject object = tracked(boxObject(7, 0));
  object.insertData("a", std::make_unique<SumData>(1));
  object.insertData("b", std::make_unique<SumData>(2));
  EXPECT_EQ(1, sumOf(object, "a"));
  EXPECT_EQ(2, sumOf(object, "b"));
  EXPECT_EQ(nullptr, object.getData("c"));
}

TEST(TrackingObjectData, IsReplacedAndReleased) {
  int alive = 0;
  {
    TrackingObject object = tracked(boxObject(7, 0));
    object.insertData("key", std::make_unique<SumData>(1, &alive));
    object.insertData("key", std::make_unique<SumData>(2, &alive));
    EXPECT_EQ(1, alive);
    EXPECT_EQ(2, sumOf(object));
  }
  EXPECT_EQ(0, alive);
}

// An object that has moved from (0, 0) to (10, 20), first seen at 2000.
TrackingObject absorber() {
  TrackingObject object = tracked(boxObject(1, 2000, 0, 0, 80, 200));
  object.update(boxObject(1, 3000, 10, 20, 60, 100));
  return object;
}

// An object that has moved from (400, 400) to (500, 600), first seen at 1000.
TrackingObject absorbed(int rotation = 0) {
  TrackingObject object = tracked(boxObject(2, 1000, 400, 400, 40, 300), rotation);
  object.update(boxObject(2, 3000, 500, 600, 70, 50));
  return object;
}

TEST(TrackingObjectMerge, TakesTheLargerSizesAndTheEarlierTime) {
  TrackingObject object = absorber();
  object.merge(absorbed(), false);
  EXPECT_EQ(70, object.getWidth());
  EXPECT_EQ(100, object.getHeight());
  EXPECT_EQ(80, object.getMaxWidth());
  EXPECT_EQ(300, object.getMaxHeight());
  EXPECT_EQ(1000, object.getFirstSeen());
  EXPECT_EQ(3000, object.getLastSeen());
  EXPECT_EQ(1, object.getId());
  EXPECT_EQ((Point{10, 20}), object.getPosition());
}

TEST(TrackingObjectMerge, KeepsTheOwnTimeWhenItIsEarlier) {
  TrackingObject object = absorbed();
  object.merge(absorber(), false);
  EXPECT_EQ(1000, object.getFirstSeen());
}

TEST(TrackingObjectMerge, TakesTheOthersHistory) {
  TrackingObject object = absorber();
  {
    const TrackingObject other = absorbed();
    object.merge(other, false);
  }
  EXPECT_EQ((Point{400, 400}), object.getPreviousPosition());
  EXPECT_TRUE(Polygon(380, 420, 250, 325) == object.getPreviousFootBox());
}

TEST(TrackingObjectMerge, CanKeepItsOwnHistory) {
  TrackingObject object = absorber();
  object.merge(absorbed(), true);
  EXPECT_EQ((Point{0, 0}), object.getPreviousPosition());
  EXPECT_TRUE(Polygon(-40, 40, -100, -50) == object.getPreviousFootBox());
  EXPECT_EQ(1000, object.getFirstSeen());
}

TEST(TrackingObjectMerge, MergesDataUnderTheSameKey) {
  TrackingObject object = absorber();
  object.insertData("key", std::make_unique<SumData>(3));
  object.insertData("own", std::make_unique<SumData>(5));
  TrackingObject other = absorbed();
  other.insertData("key", std::make_unique<SumData>(4));
  object.merge(other, false);
  EXPECT_EQ(7, sumOf(object));
  EXPECT_EQ(5, sumOf(object, "own"));
  EXPECT_EQ(4, sumOf(other));
}

TEST(TrackingObjectMerge, FillsAMissingKeyWithAClone) {
  int alive = 0;
  TrackingObject object = absorber();
  {
    TrackingObject other = absorbed();
    other.insertData("key", std::make_unique<SumData>(4, &alive));
    object.merge(other, false);
    EXPECT_EQ(2, alive);
    EXPECT_NE(other.getData("key"), object.getData("key"));
  }
  EXPECT_EQ(1, alive);
  EXPECT_EQ(4, sumOf(object));
}

TEST(TrackingObjectMerge, LeavesDataThatDoesNotMerge) {
  TrackingObject object = absorber();
  auto own = std::make_unique<TrackingObjectExternalDataNoMerge>();
  own->insert("sum", std::int32_t{1});
  object.insertData("key", std::move(own));
  TrackingObject other = absorbed();
  auto others = std::make_unique<TrackingObjectExternalDataNoMerge>();
  others->insert("sum", std::int32_t{2});
  other.insertData("key", std::move(others));
  object.merge(other, false);
  EXPECT_EQ(1, sumOf(object));
}

TEST(TrackingObjectMerge, NeedsBothToBeActive) {
  for (const bool isOwnActive : {true, false}) {
    TrackingObject object = absorber();
    TrackingObject other = absorbed();
    other.insertData("key", std::make_unique<SumData>(4));
    object.setIsActive(isOwnActive);
    other.setIsActive(!isOwnActive);
    object.merge(other, false);
    EXPECT_EQ(60, object.getWidth());
    EXPECT_EQ(200, object.getMaxHeight());
    EXPECT_EQ(2000, object.getFirstSeen());
    EXPECT_EQ((Point{0, 0}), object.getPreviousPosition());
    EXPECT_EQ(nullptr, object.getData("key"));
  }
}

TEST(TrackingObjectMerge, OfDifferentRotationsKeepsTheSizesButGoesOn) {
  TrackingObject object = absorber();
  TrackingObject other = absorbed(90);
  other.insertData("key", std::make_unique<SumData>(4));
  const LogCapture log;
  object.merge(other, false);
  EXPECT_EQ(60, object.getWidth());
  EXPECT_EQ(100, object.getHeight());
  EXPECT_EQ(70, other.getHeight());
  EXPECT_EQ(50, other.getWidth());
  EXPECT_EQ(1, log.count("Cannot merge two Invariant boxes with different aspect ratio or image "
                         "rotation,box 1: aspect ratio = 1.500000 image rotation = 0 - box 2: "
                         "aspect ratio = 1.500000 image rotation = 90\n"));
  EXPECT_EQ(1000, object.getFirstSeen());
  EXPECT_EQ((Point{400, 400}), object.getPreviousPosition());
  EXPECT_EQ(4, sumOf(object));
}

TEST(TrackingObjectMerge, OfSeveralTakesEachInOrder) {
  TrackingObject object = absorber();
  TrackingObject second = absorbed();
  second.insertData("key", std::make_unique<SumData>(4));
  TrackingObject third = tracked(boxObject(3, 1500, -700, 0, 500, 10));
  third.insertData("key", std::make_unique<SumData>(5));
  const std::array<const TrackingObject*, 2> others = {&second, &third};
  object.merge(others, false);
  EXPECT_EQ(1000, object.getFirstSeen());
  EXPECT_EQ(500, object.getWidth());
  EXPECT_EQ(300, object.getMaxHeight());
  EXPECT_EQ((Point{-700, 0}), object.getPreviousPosition());
  EXPECT_EQ(9, sumOf(object));
}

TEST(TrackingObjectSplit, PassesTheHistoryToThePart) {
  TrackingObject source = absorber();
  source.insertData("key", std::make_unique<SumData>(4));
  TrackingObject part = tracked(boxObject(2, 1000, 500, 600, 70, 50));
  part.insertData("key", std::make_unique<SumData>(9));
  part.insertData("own", std::make_unique<SumData>(5));
  const std::array<TrackingObject*, 1> parts = {&part};
  source.split(parts);
  EXPECT_EQ(70, part.getWidth());
  EXPECT_EQ(100, part.getHeight());
  EXPECT_EQ(80, part.getMaxWidth());
  EXPECT_EQ(200, part.getMaxHeight());
  // The source's time, although the part's own is earlier.
  EXPECT_EQ(2000, part.getFirstSeen());
  EXPECT_EQ(1000, part.getLastSeen());
  EXPECT_EQ((Point{0, 0}), part.getPreviousPosition());
  EXPECT_TRUE(Polygon(-40, 40, -100, -50) == part.getPreviousFootBox());
  EXPECT_EQ((Point{500, 600}), part.getPosition());
  EXPECT_EQ(4, sumOf(part));
  EXPECT_EQ(5, sumOf(part, "own"));
  EXPECT_EQ(2, part.getId());
}

TEST(TrackingObjectSplit, LeavesTheSourceAsItIs) {
  TrackingObject source = absorber();
  TrackingObject part = tracked(boxObject(2, 1000, 500, 600, 700, 500));
  part.insertData("key", std::make_unique<SumData>(9));
  const std::array<TrackingObject*, 1> parts = {&part};
  source.split(parts);
  EXPECT_EQ(60, source.getWidth());
  EXPECT_EQ(80, source.getMaxWidth());
  EXPECT_EQ(2000, source.getFirstSeen());
  EXPECT_EQ(nullptr, source.getData("key"));
}

TEST(TrackingObjectSplit, ReplacesThePartsDataByClones) {
  int alive = 0;
  {
    TrackingObject source = absorber();
    source.insertData("key", std::make_unique<SumData>(4, &alive));
    TrackingObject part = tracked(boxObject(2, 1000));
    part.insertData("key", std::make_unique<SumData>(9, &alive));
    part.splitFromSource(source);
    EXPECT_EQ(2, alive);
    EXPECT_NE(source.getData("key"), part.getData("key"));
    EXPECT_EQ(4, sumOf(part));
  }
  EXPECT_EQ(0, alive);
}

TEST(TrackingObjectSplit, ReplacesDataThatDoesNotMerge) {
  TrackingObject source = absorber();
  auto history = std::make_unique<TrackingObjectExternalDataNoMerge>();
  history->insert("sum", std::int32_t{6});
  source.insertData("key", std::move(history));
  TrackingObject part = tracked(boxObject(2, 1000));
  part.insertData("key", std::make_unique<TrackingObjectExternalDataNoMerge>());
  part.splitFromSource(source);
  EXPECT_EQ(6, sumOf(part));
}

TEST(TrackingObjectSplit, ReachesEveryPart) {
  const TrackingObject source = absorber();
  TrackingObject first = tracked(boxObject(2, 5000));
  TrackingObject second = tracked(boxObject(3, 5000));
  const std::array<TrackingObject*, 2> parts = {&first, &second};
  source.split(parts);
  EXPECT_EQ(2000, first.getFirstSeen());
  EXPECT_EQ(2000, second.getFirstSeen());
}

TEST(TrackingObjectSplit, SkipsAPartWithItsOwnId) {
  const TrackingObject source = absorber();
  TrackingObject same = tracked(boxObject(1, 5000));
  const std::array<TrackingObject*, 1> parts = {&same};
  source.split(parts);
  EXPECT_EQ(5000, same.getFirstSeen());
}

TEST(TrackingObjectSplit, NeedsBothToBeActive) {
  for (const bool isSourceActive : {true, false}) {
    TrackingObject source = absorber();
    TrackingObject part = tracked(boxObject(2, 5000));
    source.setIsActive(isSourceActive);
    part.setIsActive(!isSourceActive);
    const std::array<TrackingObject*, 1> parts = {&part};
    source.split(parts);
    EXPECT_EQ(5000, part.getFirstSeen());
  }
}

TEST(TrackingObject, SvgIsTheBoxOfItsOutline) {
  const MoteObject triangle(1, 0, {},
                            std::make_unique<Polygon>(Points{{-4096, 0}, {0, 2048}, {1024, -512}}),
                            nullptr, true);
  EXPECT_EQ(
      "<polygon class=\"object\" points=\" -1.000,-0.125 0.250,-0.125 0.250,0.500 -1.000,0.500\" "
      "style=\"fill:red\"  />\n",
      tracked(triangle).toStringSvg("fill:red"));
}

TEST(TrackingObject, DebugPrintLogsTheObject) {
  const TrackingObject object = tracked(boxObject(4711, 0));
  const LogCapture log;
  object.debugPrint();
  std::string logged;
  for (const LogLine& line : log.lines()) {
    logged += line.text;
  }
  EXPECT_NE(std::string::npos, logged.find("4711"));
}

}  // namespace
