#include "ptz/video_channel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "base/units.h"
#include "fakes/fake_clock.h"
#include "fakes/fake_ptz_math.h"
#include "src/ptz/video_channel_fixture.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::Not;

constexpr double FINE = 1e-3;  // degrees; more than the geometry's fixed point loses

Point scenePoint(double x, double y) {
  return {static_cast<std::int16_t>(x * 4096), static_cast<std::int16_t>(y * 4096)};
}

testing::Matcher<PointF> isAt(double x, double y) {
  return AllOf(Field(&PointF::x, testing::DoubleNear(x, 1e-9)),
               Field(&PointF::y, testing::DoubleNear(y, 1e-9)));
}

class VideoChannelTest : public VideoChannelFixture {
 protected:
  static std::vector<std::string> takeCalls() {
    const std::vector<std::string> calls = FakePtzMath::calls();
    FakePtzMath::clearCalls();
    return calls;
  }

  // The calls without the field of view, which is set before each question.
  static std::vector<std::string> questions() {
    std::vector<std::string> result;
    for (const std::string& call : takeCalls()) {
      if (call.starts_with("to_")) {
        result.push_back(call);
      }
    }
    return result;
  }
};

// ---- The picture ----

TEST_F(VideoChannelTest, InitBuildsTheGeometryOfThePicture) {
  VideoChannel channel(0);
  EXPECT_EQ(channel.getChannel(), 0);
  EXPECT_TRUE(channel.init());
  EXPECT_EQ(channel.getWidth(), 1920);
  EXPECT_EQ(channel.getHeight(), 1080);
  EXPECT_THAT(FakePtzMath::calls(), Contains("set_pic_dim 1920 1080"));
  EXPECT_THAT(FakePtzMath::calls(), Contains("get_remote_center 1"));
  EXPECT_EQ(FakePtzMath::contextsAlive(), 1);
}

TEST_F(VideoChannelTest, InitAsksForTheMountingOfTheChannelsNumberPlusOne) {
  setResolution(3, "640x480");
  FakePtzMath::setCenter(4, 0.0, 0.0);
  VideoChannel channel(3);
  EXPECT_TRUE(channel.init());
  EXPECT_THAT(FakePtzMath::calls(), Contains("get_remote_center 4"));
}

TEST_F(VideoChannelTest, InitFailsWithoutAResolution) {
  VideoChannel channel(1);
  FakePtzMath::setCenter(2, 0.0, 0.0);
  EXPECT_FALSE(channel.init());
  EXPECT_EQ(channel.getWidth(), 0);
  EXPECT_EQ(channel.getHeight(), 0);
}

TEST_F(VideoChannelTest, IsMountedWithAResolutionAndAMounting) {
  EXPECT_TRUE(VideoChannel::isMounted(0));
  EXPECT_FALSE(VideoChannel::isMounted(1));
  FakePtzMath::setCenter(2, 0.0, 0.0);
  EXPECT_FALSE(VideoChannel::isMounted(1));
  setResolution(1, "640x480");
  EXPECT_TRUE(VideoChannel::isMounted(1));
  EXPECT_EQ(FakePtzMath::contextsAlive(), 0);
}

TEST_F(VideoChannelTest, InitFailsWithoutAMounting) {
  setResolution(1, "1920x1080");
  VideoChannel channel(1);
  EXPECT_FALSE(channel.init());
}

TEST_F(VideoChannelTest, InitAgainReplacesTheGeometry) {
  VideoChannel channel(0);
  EXPECT_TRUE(channel.init());
  setResolution(0, "1280x720");
  EXPECT_TRUE(channel.init());
  EXPECT_EQ(channel.getWidth(), 1280);
  EXPECT_EQ(FakePtzMath::contextsAlive(), 1);
  FakeParameters::remove("Image.I0.Appearance.Resolution");
  EXPECT_FALSE(channel.init());
  EXPECT_EQ(channel.getWidth(), 0);
}

TEST_F(VideoChannelTest, TheGeometryGoesWithTheChannel) {
  {
    VideoChannel channel(0);
    ASSERT_TRUE(channel.init());
  }
  EXPECT_EQ(FakePtzMath::contextsAlive(), 0);
}

TEST_F(VideoChannelTest, ATurnedSensorSwapsThePicturesSides) {
  for (const int rotation : {90, 270}) {
    lens.set(0, 96.0, 54.0, rotation);
    VideoChannel channel(0);
    EXPECT_TRUE(channel.init());
    EXPECT_EQ(channel.getWidth(), 1080);
    EXPECT_EQ(channel.getHeight(), 1920);
    EXPECT_THAT(takeCalls(), Contains("set_pic_dim 1080 1920"));
  }
}

TEST_F(VideoChannelTest, AnUpsideDownSensorKeepsThePicturesSides) {
  lens.set(0, 96.0, 54.0, 180);
  VideoChannel channel(0);
  EXPECT_TRUE(channel.init());
  EXPECT_EQ(channel.getWidth(), 1920);
}

TEST_F(VideoChannelTest, ResolutionOfAChannel) {
  setResolution(2, "800x600");
  int width = 0;
  int height = 0;
  EXPECT_TRUE(VideoChannel::getCameraResolution(2, width, height));
  EXPECT_EQ(width, 800);
  EXPECT_EQ(height, 600);
  EXPECT_FALSE(VideoChannel::getCameraResolution(5, width, height));
}

TEST_F(VideoChannelTest, AResolutionHas20CharactersAtMost) {
  int width = 0;
  int height = 0;
  for (const char* text : {"0000001920x000001080", "0000001920x0000010809"}) {
    setResolution(2, text);
    EXPECT_TRUE(VideoChannel::getCameraResolution(2, width, height));
    EXPECT_EQ(width, 1920);
    EXPECT_EQ(height, 1080);
  }
}

// ---- From the scene to the picture ----

TEST_F(VideoChannelTest, TheScenesCornersAreThePicturesCorners) {
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  EXPECT_THAT(channel.toImagePosition(scenePoint(-1, 1)), isAt(0, 0));
  EXPECT_THAT(channel.toImagePosition(scenePoint(1, -1)), isAt(1920, 1080));
  EXPECT_THAT(channel.toImagePosition(scenePoint(0, 0)), isAt(960, 540));
  EXPECT_THAT(channel.toImagePosition(scenePoint(0.5, 0.25)), isAt(1440, 405));
}

TEST_F(VideoChannelTest, SizesAndVelocitiesAreSharesOfThePicture) {
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  EXPECT_THAT(channel.toImageSize(scenePoint(0.5, 0.25)), isAt(480, 135));
  EXPECT_THAT(channel.toImageVelocity(scenePoint(-0.5, 0.25)), isAt(-480, 135));
}

TEST_F(VideoChannelTest, Rotation90) {
  lens.set(0, 96.0, 54.0, 90);
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  EXPECT_THAT(channel.toImagePosition(scenePoint(0.5, 0)), isAt(540, 1440));
  EXPECT_THAT(channel.toImageSize(scenePoint(0.5, 0.25)), isAt(0.25 * 540, 0.5 * 960));
  EXPECT_THAT(channel.toImageVelocity(scenePoint(0.5, 0.25)), isAt(0.25 * 540, -0.5 * 960));
}

// (0.5, 0.25) becomes (-0.5, -0.25).
TEST_F(VideoChannelTest, Rotation180) {
  lens.set(0, 96.0, 54.0, 180);
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  EXPECT_THAT(channel.toImagePosition(scenePoint(0.5, 0.25)), isAt(480, 675));
  EXPECT_THAT(channel.toImageSize(scenePoint(0.5, 0.25)), isAt(480, 135));
  EXPECT_THAT(channel.toImageVelocity(scenePoint(0.5, 0.25)), isAt(-480, -135));
}

// (0.5, 0.25) becomes (-0.25, 0.5).
TEST_F(VideoChannelTest, Rotation270) {
  lens.set(0, 96.0, 54.0, 270);
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  EXPECT_THAT(channel.toImagePosition(scenePoint(0.5, 0.25)), isAt(405, 480));
  EXPECT_THAT(channel.toImageSize(scenePoint(0.5, 0.25)), isAt(135, 480));
  EXPECT_THAT(channel.toImageVelocity(scenePoint(0.5, 0.25)), isAt(-135, 480));
}

// ---- From the picture to the head ----

TEST_F(VideoChannelTest, PanAndTiltOfAPixel) {
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  double pan = 0.0;
  double tilt = 0.0;
  EXPECT_TRUE(channel.getPanTilt(960, 540, pan, tilt));
  EXPECT_NEAR(pan, 10.0, FINE);
  EXPECT_NEAR(tilt, -20.0, FINE);
  EXPECT_TRUE(channel.getPanTilt(1160, 440, pan, tilt));
  EXPECT_NEAR(pan, 20.0, FINE);
  EXPECT_NEAR(tilt, -15.0, FINE);
}

TEST_F(VideoChannelTest, TheFieldOfViewIsSetAtEveryCall) {
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  takeCalls();
  double pan = 0.0;
  double tilt = 0.0;
  for (int call = 0; call < 2; ++call) {
    channel.getPanTilt(7, 9, pan, tilt);
    EXPECT_THAT(takeCalls(),
                ElementsAre("set_horiz_fov_x 6291456", "set_vert_fov_x 3538944", "to_ptz_x 7 9"));
  }
}

TEST_F(VideoChannelTest, AFieldOfViewThatIsNotKnownIsPassedOnAsZero) {
  setResolution(1, "1920x1080");
  FakePtzMath::setCenter(2, 30.0, 5.0);
  VideoChannel channel(1);
  ASSERT_TRUE(channel.init());
  takeCalls();
  double pan = 0.0;
  double tilt = 0.0;
  EXPECT_TRUE(channel.getPanTilt(0, 0, pan, tilt));
  EXPECT_THAT(takeCalls(), ElementsAre("set_horiz_fov_x 0", "set_vert_fov_x 0", "to_ptz_x 0 0"));
  EXPECT_NEAR(pan, 30.0, FINE);
}

// Through single precision, then rounded to 16 fractional bits.
TEST_F(VideoChannelTest, FieldAnglesAreRoundedToFixedPoint) {
  lens.set(0, 92.7, 51.3, 0);
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  takeCalls();
  double pan = 0.0;
  double tilt = 0.0;
  channel.getPanTilt(0, 0, pan, tilt);
  const auto fixed = [](float degrees) {
    return std::to_string(static_cast<std::int32_t>(std::floor(degrees * 65536.0 + 0.5)));
  };
  EXPECT_THAT(takeCalls(), ElementsAre("set_horiz_fov_x " + fixed(92.7F),
                                       "set_vert_fov_x " + fixed(51.3F), "to_ptz_x 0 0"));
}

TEST_F(VideoChannelTest, AChangedRotationRebuildsTheGeometryOnce) {
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  lens.set(0, 96.0, 54.0, 90);
  ASSERT_TRUE(iterateUntil([&] { return channel.getFov().getSensorRotation() == 90; }));
  EXPECT_EQ(channel.getWidth(), 1920);
  takeCalls();
  double pan = 0.0;
  double tilt = 0.0;
  channel.getPanTilt(540, 960, pan, tilt);
  EXPECT_THAT(takeCalls(), Contains("set_pic_dim 1080 1920"));
  EXPECT_EQ(channel.getWidth(), 1080);
  EXPECT_EQ(channel.getHeight(), 1920);
  EXPECT_NEAR(pan, 10.0, FINE);
  EXPECT_EQ(FakePtzMath::contextsAlive(), 1);
  channel.getPanTilt(540, 960, pan, tilt);
  EXPECT_THAT(takeCalls(), Not(Contains("set_pic_dim 1080 1920")));
}

// 128 + 3 / 65536: a product in single precision has no place for the half that rounds.
TEST_F(VideoChannelTest, FieldAnglesAbove128DegreesAreRoundedInDoublePrecision) {
  lens.set(0, 128.0000457763672, -128.0000457763672, 0);
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  takeCalls();
  double pan = 0.0;
  double tilt = 0.0;
  channel.getPanTilt(0, 0, pan, tilt);
  EXPECT_THAT(takeCalls(),
              ElementsAre("set_horiz_fov_x 8388611", "set_vert_fov_x -8388611", "to_ptz_x 0 0"));
}

class LateRotationTest : public VideoChannelTest {
 protected:
  static constexpr std::int64_t SECOND = units::MICROSECONDS_PER_SECOND;

  // A channel whose sensor has been turned by 90 degrees since.
  LateRotationTest() {
    EXPECT_TRUE(channel.init());
    lens.set(0, 96.0, 54.0, 90);
    EXPECT_TRUE(iterateUntil([this] { return channel.getFov().getSensorRotation() == 90; }));
  }

  // The old picture's middle is still where it was, and so is all of its geometry.
  void expectOldGeometry() {
    double pan = 0.0;
    double tilt = 0.0;
    EXPECT_TRUE(channel.getPanTilt(960, 540, pan, tilt));
    EXPECT_NEAR(pan, 10.0, FINE);
    EXPECT_NEAR(tilt, -20.0, FINE);
    EXPECT_EQ(channel.getWidth(), 1920);
    EXPECT_EQ(channel.getHeight(), 1080);
    EXPECT_THAT(channel.toImagePosition(scenePoint(0.5, 0)), isAt(1440, 540));
    EXPECT_THAT(channel.toImageSize(scenePoint(0.5, 0.25)), isAt(480, 135));
    EXPECT_THAT(channel.toImageVelocity(scenePoint(0.5, 0.25)), isAt(480, 135));
  }

  void expectNewGeometry() {
    double pan = 0.0;
    double tilt = 0.0;
    EXPECT_TRUE(channel.getPanTilt(540, 960, pan, tilt));
    EXPECT_NEAR(pan, 10.0, FINE);
    EXPECT_EQ(channel.getWidth(), 1080);
    EXPECT_EQ(channel.getHeight(), 1920);
    EXPECT_THAT(channel.toImagePosition(scenePoint(0.5, 0)), isAt(540, 1440));
    EXPECT_EQ(FakePtzMath::contextsAlive(), 1);
  }

  FakeClock clock;
  VideoChannel channel{0};
};

TEST_F(LateRotationTest, CountsOnlyWhenThePicturesSizeCanBeReadAgain) {
  FakeParameters::remove("Image.I0.Appearance.Resolution");
  expectOldGeometry();
  clock.advance(60 * SECOND);
  expectOldGeometry();
  setResolution(0, "1920x1080");
  clock.advance(SECOND);
  expectNewGeometry();
}

TEST_F(LateRotationTest, CountsOnlyWhenTheMountingIsKnownAgain) {
  FakePtzMath::removeCenter(1);
  expectOldGeometry();
  FakePtzMath::setCenter(1, 10.0, -20.0);
  clock.advance(SECOND);
  expectNewGeometry();
}

TEST_F(LateRotationTest, ADeviceThatCannotTellIsAskedOnceASecond) {
  FakeParameters::remove("Image.I0.Appearance.Resolution");
  const auto before = FakeParameters::reads().size();
  for (int i = 0; i < 10; ++i) {
    expectOldGeometry();
  }
  EXPECT_EQ(FakeParameters::reads().size(), before + 1);
  clock.advance(SECOND - 1);
  expectOldGeometry();
  EXPECT_EQ(FakeParameters::reads().size(), before + 1);
  clock.advance(1);
  expectOldGeometry();
  EXPECT_EQ(FakeParameters::reads().size(), before + 2);
}

TEST_F(LateRotationTest, IsTakenOverBeforeAnObservationIsTurned) {
  channel.followRotation();
  EXPECT_THAT(channel.toImagePosition(scenePoint(0.5, 0)), isAt(540, 1440));
  expectNewGeometry();
}

TEST_F(LateRotationTest, ThatIsTakenBackMeanwhileIsForgotten) {
  FakeParameters::remove("Image.I0.Appearance.Resolution");
  expectOldGeometry();
  lens.set(0, 96.0, 54.0, 0);
  EXPECT_TRUE(iterateUntil([this] { return channel.getFov().getSensorRotation() == 0; }));
  const auto before = FakeParameters::reads().size();
  clock.advance(2 * SECOND);
  expectOldGeometry();
  EXPECT_EQ(FakeParameters::reads().size(), before);
}

// 200 x 100 pixels around (960, 540).
TEST_F(VideoChannelTest, ABoxIsAskedForAtItsEdgesAndItsMiddle) {
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  takeCalls();
  double pan = 0.0;
  double tilt = 0.0;
  double panSpan = 0.0;
  double tiltSpan = 0.0;
  EXPECT_TRUE(channel.getPanTilt({960.0, 540.0}, {200.0, 100.0}, pan, tilt, panSpan, tiltSpan));
  EXPECT_THAT(questions(), ElementsAre("to_ptz_x 860 540", "to_ptz_x 1060 540", "to_ptz_x 960 490",
                                       "to_ptz_x 960 590", "to_ptz_x 960 540"));
  EXPECT_NEAR(pan, 10.0, FINE);
  EXPECT_NEAR(tilt, -20.0, FINE);
  EXPECT_NEAR(panSpan, 10.0, FINE);
  EXPECT_NEAR(tiltSpan, 5.0, FINE);
}

TEST_F(VideoChannelTest, PixelsOfABoxAreTruncated) {
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  takeCalls();
  double unused = 0.0;
  channel.getPanTilt({100.9, 50.9}, {11.0, 7.0}, unused, unused, unused, unused);
  // 95.4, 106.4; 47.4, 54.4.
  EXPECT_THAT(questions(), ElementsAre("to_ptz_x 95 50", "to_ptz_x 106 50", "to_ptz_x 100 47",
                                       "to_ptz_x 100 54", "to_ptz_x 100 50"));
}

TEST_F(VideoChannelTest, ABoxPastThePicturesEdgeIsClamped) {
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  takeCalls();
  double unused = 0.0;
  EXPECT_TRUE(channel.getPanTilt({1900.0, 1200.0}, {100.0, 400.0}, unused, unused, unused, unused));
  EXPECT_THAT(questions(),
              ElementsAre("to_ptz_x 1850 1079", "to_ptz_x 1919 1079", "to_ptz_x 1900 1000",
                          "to_ptz_x 1900 1079", "to_ptz_x 1900 1079"));
  EXPECT_TRUE(channel.getPanTilt({-30.0, 5.0}, {100.0, 40.0}, unused, unused, unused, unused));
  EXPECT_THAT(questions(), ElementsAre("to_ptz_x 0 5", "to_ptz_x 20 5", "to_ptz_x 0 0",
                                       "to_ptz_x 0 25", "to_ptz_x 0 5"));
}

TEST_F(VideoChannelTest, ABoxAcrossTheSeamIsMeasuredTheShortWay) {
  FakePtzMath::setCenter(1, 178.0, 0.0);
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  double pan = 0.0;
  double tilt = 0.0;
  double panSpan = 0.0;
  double tiltSpan = 0.0;
  EXPECT_TRUE(channel.getPanTilt({960.0, 540.0}, {200.0, 100.0}, pan, tilt, panSpan, tiltSpan));
  EXPECT_NEAR(panSpan, 10.0, FINE);
}

TEST_F(VideoChannelTest, AnglesOfAnExtentKeepItsSigns) {
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  takeCalls();
  const PointF angle = channel.getAngle({960.9, 540.9}, {-200.9, 100.9});
  EXPECT_THAT(takeCalls(),
              ElementsAre("set_horiz_fov_x 6291456", "set_vert_fov_x 3538944",
                          "to_remote_zoom 960 540 -200", "to_remote_zoom 960 540 100"));
  EXPECT_NEAR(angle.x, -10.0, FINE);
  EXPECT_NEAR(angle.y, 5.0, FINE);
  const PointF other = channel.getAngle({0.0, 0.0}, {40.0, -60.0});
  EXPECT_NEAR(other.x, 2.0, FINE);
  EXPECT_NEAR(other.y, -3.0, FINE);
}

// A scene point's pan and tilt straight from the linear model, whatever the rotation of the sensor.
TEST_F(VideoChannelTest, RandomPointsOfTheSceneComeToTheirAngles) {
  std::mt19937 random(11);
  std::uniform_int_distribution<int> coordinate(-4095, 4095);
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  for (int round = 0; round < 1000; ++round) {
    const Point point{static_cast<std::int16_t>(coordinate(random)),
                      static_cast<std::int16_t>(coordinate(random))};
    const PointF pixel = channel.toImagePosition(point);
    double pan = 0.0;
    double tilt = 0.0;
    channel.getPanTilt(static_cast<int>(pixel.x), static_cast<int>(pixel.y), pan, tilt);
    // One pixel is 0.05 degrees.
    EXPECT_NEAR(pan, 10.0 + point.x / 4096.0 * 48.0, 0.051);
    EXPECT_NEAR(tilt, -20.0 + point.y / 4096.0 * 27.0, 0.051);
  }
}

// ---- Directions of many pixels ----

// 0.05 degrees to a pixel around (960, 540).
TEST_F(VideoChannelTest, TheDirectionOfAPlaceIsThatOfTheNearestPixel) {
  VideoChannel channel(0);
  ASSERT_TRUE(channel.init());
  channel.prepare();
  EXPECT_NEAR(channel.directionOf({1060.4, 440.4}).x, 15.0, 1e-4);
  EXPECT_NEAR(channel.directionOf({1060.4, 440.4}).y, -15.0, 1e-4);
  EXPECT_NEAR(channel.directionOf({1060.6, 440.6}).x, 15.05, 1e-4);
  EXPECT_NEAR(channel.directionOf({-40.0, 1180.0}).x, -40.0, 1e-4);  // beyond the border
}

}  // namespace
