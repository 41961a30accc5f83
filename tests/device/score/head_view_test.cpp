#include "score/head_view.h"

#include <gtest/gtest.h>

#include <cmath>

#include "device/score/people.h"

namespace device {
namespace {

// Ten metres ahead; the middle of the body is 4.15 m below the head.
const ScoredPerson AHEAD = personAt(1, 0, 10);
const double TILT = std::atan2(-4.15, 10) * 180 / M_PI;

TEST(HeadViewTest, ErrorIsTheAngleBetweenAxisAndMiddleOfTheBody) {
  EXPECT_NEAR(HeadView({0, TILT, 60}, SETUP).viewOf(AHEAD).error, 0, 1e-9);
  EXPECT_NEAR(HeadView({0, TILT + 3, 60}, SETUP).viewOf(AHEAD).error, 3, 1e-9);
}

TEST(HeadViewTest, DensityIsThatOfThePlaneAtTheBodysMiddle) {
  // 1920 pixels for 2 d tan(30 degrees) metres, d the way along the axis.
  const double distance = std::hypot(10, 4.15);
  EXPECT_NEAR(HeadView({0, TILT, 60}, SETUP).viewOf(AHEAD).density,
              1920 / (2 * distance * std::tan(M_PI / 6)), 1e-9);
  EXPECT_NEAR(HeadView({0, TILT + 10, 60}, SETUP).viewOf(AHEAD).density,
              1920 / (2 * distance * std::cos(M_PI / 18) * std::tan(M_PI / 6)), 1e-9);
}

TEST(HeadViewTest, SomebodyBehindTheHeadIsNotShown) {
  const PersonInView view = HeadView({180, 0, 60}, SETUP).viewOf(AHEAD);
  EXPECT_EQ(view.density, 0);
  EXPECT_FALSE(view.middleInPicture);
  EXPECT_FALSE(view.wholeInPicture);
  EXPECT_EQ(view.heightShare, 0);
}

TEST(HeadViewTest, HeightShareIsThatOfThePictureFromFeetToCrown) {
  const double crown = std::atan2(-3.3, 10) - std::atan2(-4.15, 10);
  const double feet = std::atan2(-4.15, 10) - std::atan2(-5.0, 10);
  const double half = std::tan(M_PI / 6) * 9 / 16;
  EXPECT_NEAR(HeadView({0, TILT, 60}, SETUP).viewOf(AHEAD).heightShare,
              (std::tan(crown) + std::tan(feet)) / (2 * half), 1e-9);
}

TEST(HeadViewTest, OnlyWhatIsInThePictureCoversItsHeight) {
  // The axis is half a field above the middle: what is below the body's middle is cut off.
  const double half = std::atan(std::tan(M_PI / 6) * 9 / 16) * 180 / M_PI;
  const PersonInView cut = HeadView({0, TILT + half, 60}, SETUP).viewOf(AHEAD);
  const double edge = std::tan(half * M_PI / 180);
  const double crown = std::tan(half * M_PI / 180 - (std::atan2(-3.3, 10) - TILT * M_PI / 180));
  EXPECT_NEAR(cut.heightShare, (edge - crown) / (2 * edge), 1e-9);
  EXPECT_FALSE(cut.wholeInPicture);
  EXPECT_EQ(HeadView({45, TILT, 60}, SETUP).viewOf(AHEAD).heightShare, 0);
}

TEST(HeadViewTest, WholeMeansFromFeetToCrown) {
  EXPECT_TRUE(HeadView({0, TILT, 60}, SETUP).viewOf(AHEAD).wholeInPicture);
  const PersonInView tight = HeadView({0, TILT, 10}, SETUP).viewOf(AHEAD);
  EXPECT_TRUE(tight.middleInPicture);
  EXPECT_FALSE(tight.wholeInPicture) << "8.3 degrees do not go into 5.6";
}

TEST(HeadViewTest, WholeMeansFromSideToSide) {
  // With the axis level, somebody 10 m ahead and x m aside is shown at x / 10 of the focal length;
  // the edge is at tan(45 degrees).
  const auto shownAt = [](double x) {
    return HeadView({0, 0, 90}, SETUP).viewOf(personAt(1, x, 10));
  };
  EXPECT_TRUE(shownAt(9.5).middleInPicture);
  EXPECT_TRUE(shownAt(9.5).wholeInPicture)
      << "the outer side is 0.18 m farther aside and 0.17 m nearer";
  EXPECT_TRUE(shownAt(9.9).middleInPicture);
  EXPECT_FALSE(shownAt(9.9).wholeInPicture);
  EXPECT_FALSE(shownAt(10.1).middleInPicture);
}

}  // namespace
}  // namespace device
