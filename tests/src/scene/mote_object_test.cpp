#include "scene/mote_object.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <memory>
#include <vector>

#include "fakes/log_capture.h"
#include "platform/owners.h"
#include "src/scene/frames.h"

namespace {

using Points = std::vector<Point>;
using Values = std::vector<std::int32_t>;

constexpr std::int32_t ALL = 15;

// One decoded object with the properties given.
class OneObject {
 public:
  explicit OneObject(const std::vector<std::pair<int, Values>>& properties, std::int32_t id = 17) {
    SceneEncoder encoder;
    encoder.beginObject(id);
    for (const auto& [property, values] : properties) {
      encoder.addObjectProperty(property, values);
    }
    const std::vector<std::uint8_t> bytes = encoder.bytes();
    decoded.reset(scene_copy_from_area(bytes.data(), bytes.size()));
  }

  MoteObject read(std::int32_t mask) const {
    return MoteObject(scene_next_object(decoded.get(), nullptr), 123456789012, mask);
  }

 private:
  ScenePtr decoded;
};

const Values BOX = {-10, -20, -10, 20, 10, 20, 10, -20};
const Values OUTLINE = {0, 0, 300, 50, 150, 700, -20, 400, -30, 90};
const OneObject FULL({{SCENE_OBJ_PROP_BOUNDING_BOX, BOX},
                      {SCENE_OBJ_PROP_POLYGON, OUTLINE},
                      {SCENE_OBJ_PROP_VELOCITY, {-500, 70000}},
                      {SCENE_OBJ_PROP_CONFIDENCE, {4096}}});

TEST(MoteObject, ReadsAllThatIsAskedFor) {
  const MoteObject object = FULL.read(ALL);
  EXPECT_EQ(17, object.getId());
  EXPECT_EQ(123456789012, object.getTimestamp());
  EXPECT_EQ(-500, object.getVelocity().x);
  EXPECT_EQ(70000, object.getVelocity().y);
  EXPECT_TRUE(object.getIsConfident());
  ASSERT_TRUE(object.getPolygon());
  EXPECT_EQ((Points{{0, 0}, {300, 50}, {150, 700}, {-20, 400}, {-30, 90}}),
            object.getPolygon()->getVertices());
  ASSERT_TRUE(object.getBoundingBox());
  EXPECT_EQ((Points{{-10, -20}, {-10, 20}, {10, 20}, {10, -20}}),
            object.getBoundingBox()->getVertices());
}

TEST(MoteObject, ReadsNothingThatIsNotAskedFor) {
  const LogCapture log;
  const MoteObject object = FULL.read(0);
  EXPECT_EQ(17, object.getId());
  EXPECT_EQ(0, object.getVelocity().x);
  EXPECT_EQ(0, object.getVelocity().y);
  EXPECT_EQ(nullptr, object.getPolygon());
  EXPECT_EQ(nullptr, object.getBoundingBox());
  EXPECT_TRUE(object.getIsConfident());
  EXPECT_TRUE(log.lines().empty());
}

TEST(MoteObject, EveryBitAsksForItsProperty) {
  EXPECT_TRUE(FULL.read(1).getBoundingBox());
  EXPECT_FALSE(FULL.read(14).getBoundingBox());
  EXPECT_TRUE(FULL.read(2).getPolygon());
  EXPECT_FALSE(FULL.read(13).getPolygon());
  EXPECT_EQ(-500, FULL.read(4).getVelocity().x);
  EXPECT_EQ(0, FULL.read(11).getVelocity().x);
  const OneObject doubtful({{SCENE_OBJ_PROP_CONFIDENCE, {0}}});
  EXPECT_FALSE(doubtful.read(8).getIsConfident());
  EXPECT_TRUE(doubtful.read(7).getIsConfident());
}

TEST(MoteObject, ConfidenceOf4095IsNotEnough) {
  EXPECT_FALSE(OneObject({{SCENE_OBJ_PROP_CONFIDENCE, {4095}}}).read(8).getIsConfident());
  EXPECT_TRUE(OneObject({{SCENE_OBJ_PROP_CONFIDENCE, {4096}}}).read(8).getIsConfident());
}

TEST(MoteObject, MissingConfidenceIsLoggedAndTakenForGranted) {
  const LogCapture log;
  EXPECT_TRUE(OneObject({}).read(8).getIsConfident());
  EXPECT_EQ(1, log.count(LOG_WARNING, "Could not get confidence value for object\n"));
}

TEST(MoteObject, VelocityNeedsExactlyTwoValues) {
  for (const Values& values : {Values{}, Values{5}, Values{5, 6, 7}}) {
    const MoteObject object = OneObject({{SCENE_OBJ_PROP_VELOCITY, values}}).read(4);
    EXPECT_EQ(0, object.getVelocity().x) << values.size();
    EXPECT_EQ(0, object.getVelocity().y) << values.size();
  }
  EXPECT_EQ(0, OneObject({}).read(4).getVelocity().x);
}

TEST(MoteObject, MissingVerticesBecomeThePaddedTriangle) {
  const Points triangle = {{0, 0}, {0, 1}, {1, 0}};
  for (const OneObject& source : {OneObject({}), OneObject({{SCENE_OBJ_PROP_POLYGON, {}},
                                                            {SCENE_OBJ_PROP_BOUNDING_BOX, {}}})}) {
    const MoteObject object = source.read(3);
    ASSERT_TRUE(object.getPolygon());
    EXPECT_EQ(triangle, object.getPolygon()->getVertices());
    ASSERT_TRUE(object.getBoundingBox());
    EXPECT_EQ(triangle, object.getBoundingBox()->getVertices());
  }
}

// An upright comb of that many coordinates.
Values combOf(int coordinates) {
  Values values;
  for (int i = 0; i < coordinates; ++i) {
    values.push_back(i % 2 == 0 ? i : i % 4 * 100);
  }
  return values;
}

TEST(MoteObject, OutlinesOfMoreThan1024VerticesCountAsMissing) {
  const MoteObject largest = OneObject({{SCENE_OBJ_PROP_POLYGON, combOf(2048)},
                                        {SCENE_OBJ_PROP_BOUNDING_BOX, combOf(2048)}})
                                 .read(3);
  EXPECT_EQ(1024U, largest.getPolygon()->getVertices().size());
  EXPECT_EQ(1024U, largest.getBoundingBox()->getVertices().size());
  const Points triangle = {{0, 0}, {0, 1}, {1, 0}};
  for (const int coordinates : {2049, 2050, 100'000}) {
    const MoteObject tooLarge = OneObject({{SCENE_OBJ_PROP_POLYGON, combOf(coordinates)},
                                           {SCENE_OBJ_PROP_BOUNDING_BOX, combOf(coordinates)}})
                                    .read(3);
    EXPECT_EQ(triangle, tooLarge.getPolygon()->getVertices()) << coordinates;
    EXPECT_EQ(triangle, tooLarge.getBoundingBox()->getVertices()) << coordinates;
  }
}

TEST(MoteObject, FewVerticesArePadded) {
  const MoteObject object = OneObject({{SCENE_OBJ_PROP_POLYGON, {3000, 100}},
                                       {SCENE_OBJ_PROP_BOUNDING_BOX, {0, 0, 10, 20}}})
                                .read(3);
  EXPECT_EQ((Points{{3000, 100}, {2999, 101}, {2999, 100}}), object.getPolygon()->getVertices());
  EXPECT_EQ((Points{{0, 0}, {10, 20}, {11, 21}}), object.getBoundingBox()->getVertices());
}

TEST(MoteObject, SizeIsThatOfThePolygon) {
  const MoteObject object = FULL.read(3);
  EXPECT_EQ(330, object.getWidth());
  EXPECT_EQ(700, object.getHeight());
}

TEST(MoteObject, SizeWithoutAPolygonIsThatOfTheBox) {
  const MoteObject object = FULL.read(1);
  EXPECT_EQ(20, object.getWidth());
  EXPECT_EQ(40, object.getHeight());
}

TEST(MoteObject, SizeWithoutAnyOutlineIsZero) {
  const MoteObject object = FULL.read(0);
  EXPECT_EQ(0, object.getWidth());
  EXPECT_EQ(0, object.getHeight());
}

TEST(MoteObject, TakesItsValuesFromTheCaller) {
  const MoteObject object(-5, 99, MoteVelocity{1, -2}, std::make_unique<Polygon>(0, 30, 0, 40),
                          std::make_unique<Polygon>(0, 50, 0, 60), false);
  EXPECT_EQ(-5, object.getId());
  EXPECT_EQ(99, object.getTimestamp());
  EXPECT_EQ(1, object.getVelocity().x);
  EXPECT_EQ(-2, object.getVelocity().y);
  EXPECT_FALSE(object.getIsConfident());
  EXPECT_EQ(30, object.getWidth());
  EXPECT_EQ(60, object.getBoundingBox()->getHeight());
}

}  // namespace
