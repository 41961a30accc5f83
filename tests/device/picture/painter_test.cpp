#include "picture/painter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "picture/jpeg.h"

namespace device {
namespace {

constexpr int WIDTH = 320;
constexpr int HEIGHT = 180;

// On a mast of 5 m, looking ahead (y grows ahead at pan 0) and down.
OverviewCamera cameraOf(double tilt, double horizontalFov = 60, double pan = 0) {
  return OverviewCamera({.position = {0, 0, 5},
                         .pan = pan,
                         .tilt = tilt,
                         .sensorWidth = WIDTH,
                         .sensorHeight = HEIGHT,
                         .horizontalFov = horizontalFov,
                         .distortion = {}});
}

Person personAt(double x, double y) {
  Person person;
  person.id = 7;
  person.position = {x, y};
  person.height = 1.7;
  return person;
}

Things peopleAt(std::vector<Person> people) {
  return {.people = std::move(people)};
}

struct Pixel {
  int x = 0;
  int y = 0;
};

Pixel pixelOf(const OverviewCamera& camera, const SpacePoint& place) {
  const auto point = camera.project(place);
  EXPECT_TRUE(point);
  return {static_cast<int>((point->x + 1) / 2 * WIDTH),
          static_cast<int>((1 - point->y) / 2 * HEIGHT)};
}

Colour colourAt(const Picture& picture, const Pixel& pixel) {
  return picture.at(pixel.x, pixel.y);
}

int difference(const Colour& one, const Colour& other) {
  return std::abs(one.red - other.red) + std::abs(one.green - other.green) +
         std::abs(one.blue - other.blue);
}

// Pixels of a rectangle in which two pictures differ clearly.
int countDifferent(const Picture& one, const Picture& other, int left, int top, int right,
                   int bottom) {
  int count = 0;
  for (int y = top; y < bottom; ++y) {
    for (int x = left; x < right; ++x) {
      count += difference(one.at(x, y), other.at(x, y)) > 20 ? 1 : 0;
    }
  }
  return count;
}

TEST(PainterTest, SameWorldGivesTheSamePicture) {
  const Picture one = paint(cameraOf(-20), peopleAt({personAt(0, 12)}), WIDTH, HEIGHT);
  const Picture other = paint(cameraOf(-20), peopleAt({personAt(0, 12)}), WIDTH, HEIGHT);
  EXPECT_EQ(0, countDifferent(one, other, 0, 0, WIDTH, HEIGHT));
}

TEST(PainterTest, PersonIsWhereTheCameraSeesIt) {
  const OverviewCamera camera = cameraOf(-20);
  const Picture empty = paint(camera, {}, WIDTH, HEIGHT);
  const Picture picture = paint(camera, peopleAt({personAt(1, 12)}), WIDTH, HEIGHT);
  const auto middle = camera.project({1, 12, 0.9});
  const int x = static_cast<int>(std::lround((middle->x + 1) / 2 * WIDTH));
  const int y = static_cast<int>(std::lround((1 - middle->y) / 2 * HEIGHT));
  EXPECT_GT(countDifferent(empty, picture, x - 1, y - 8, x + 1, y + 8), 24);
  // Far to the other side nothing has changed.
  EXPECT_EQ(0, countDifferent(empty, picture, 0, 0, x - 60, HEIGHT));
}

TEST(PainterTest, PersonCastsAShadowBesideItsFeet) {
  const OverviewCamera camera = cameraOf(-60);
  const Picture empty = paint(camera, {}, WIDTH, HEIGHT);
  const Picture picture = paint(camera, peopleAt({personAt(0, 3)}), WIDTH, HEIGHT);
  // Towards pan 60: sine and cosine of 60 degrees, 0.6 m away.
  const auto place = camera.project({0.6 * 0.866, 3 + 0.6 * 0.5, 0});
  const int x = static_cast<int>(std::lround((place->x + 1) / 2 * WIDTH));
  const int y = static_cast<int>(std::lround((1 - place->y) / 2 * HEIGHT));
  EXPECT_LT(picture.at(x, y).green, empty.at(x, y).green * 0.7);
}

TEST(PainterTest, NearPersonIsInFrontOfTheFarOneWhateverTheirOrder) {
  Person far = personAt(0, 14);
  far.id = 8;
  const OverviewCamera camera = cameraOf(-15);
  const Picture alone = paint(camera, peopleAt({personAt(0, 12)}), WIDTH, HEIGHT);
  const Picture one = paint(camera, peopleAt({personAt(0, 12), far}), WIDTH, HEIGHT);
  const Picture other = paint(camera, peopleAt({far, personAt(0, 12)}), WIDTH, HEIGHT);
  EXPECT_EQ(0, countDifferent(one, other, 0, 0, WIDTH, HEIGHT));
  const auto chest = camera.project({0, 12, 1});
  const int x = static_cast<int>(std::lround((chest->x + 1) / 2 * WIDTH));
  const int y = static_cast<int>(std::lround((1 - chest->y) / 2 * HEIGHT));
  EXPECT_EQ(alone.at(x, y), one.at(x, y));
}

TEST(PainterTest, SkyIsAboveTheHorizonAndGroundBelow) {
  const Picture picture = paint(cameraOf(0), {}, WIDTH, HEIGHT);
  EXPECT_GT(picture.at(WIDTH / 2, 5).blue, picture.at(WIDTH / 2, 5).red + 20);
  EXPECT_LT(picture.at(WIDTH / 2, HEIGHT - 5).blue, picture.at(WIDTH / 2, HEIGHT - 5).green);
}

// From so far up it is farther to any of it than whole numbers count grains.
TEST(PainterTest, GroundFarAwayIsHazeHoweverFar) {
  OverviewCameraSetup setup = cameraOf(-20).getSetup();
  setup.position.z = 5e9;
  const Picture picture = paint(OverviewCamera(setup), {}, WIDTH, HEIGHT);
  constexpr Colour HAZE{150, 160, 158};
  for (const int y : {HEIGHT / 2, HEIGHT - 1}) {
    EXPECT_EQ(HAZE, picture.at(WIDTH / 2, y)) << y;
  }
}

TEST(PainterTest, GroundStaysInPlaceWhenTheCameraTurns) {
  const OverviewCamera ahead = cameraOf(-30);
  const OverviewCamera aside = cameraOf(-30, 60, 8);
  const Picture one = paint(ahead, {}, WIDTH, HEIGHT);
  const Picture other = paint(aside, {}, WIDTH, HEIGHT);
  int alike = 0;
  for (int i = 0; i < 100; ++i) {
    const SpacePoint place{0.3 + 0.02 * i, 8 + 0.017 * i, 0};
    const auto colour = [&](const OverviewCamera& camera, const Picture& picture) {
      const auto point = camera.project(place);
      return picture.at(static_cast<int>((point->x + 1) / 2 * WIDTH),
                        static_cast<int>((1 - point->y) / 2 * HEIGHT));
    };
    alike += difference(colour(ahead, one), colour(aside, other)) < 30 ? 1 : 0;
  }
  EXPECT_GT(alike, 80);
}

TEST(PainterTest, JpegHasThePicturesSize) {
  const std::string file = jpegOf(Picture(WIDTH, HEIGHT));
  EXPECT_EQ("\xFF\xD8", file.substr(0, 2));
  EXPECT_EQ("\xFF\xD9", file.substr(file.size() - 2));
  // 8 bits, 180 rows, 320 columns, 3 components.
  EXPECT_NE(std::string::npos, file.find(std::string("\x08\x00\xB4\x01\x40\x03", 6)));
}

int brightness(const Picture& picture) {
  int sum = 0;
  for (int y = 0; y < picture.getHeight(); ++y) {
    for (int x = 0; x < picture.getWidth(); ++x) {
      sum += picture.at(x, y).green;
    }
  }
  return sum;
}

TEST(PainterTest, NoiseIsSlightAndOtherInEachPicture) {
  const Picture clean = paint(cameraOf(-35), {}, WIDTH, HEIGHT);
  Picture first = clean;
  Picture second = clean;
  expose(1, 1, &first);
  expose(1, 2, &second);
  int changed = 0;
  int different = 0;
  for (int y = 0; y < HEIGHT; ++y) {
    for (int x = 0; x < WIDTH; ++x) {
      const int step = first.at(x, y).red - clean.at(x, y).red;
      EXPECT_LE(std::abs(step), 3);
      changed += step != 0 ? 1 : 0;
      different += first.at(x, y) == second.at(x, y) ? 0 : 1;
    }
  }
  constexpr int ALL = WIDTH * HEIGHT;
  EXPECT_GT(changed, ALL / 2);
  EXPECT_GT(different, ALL / 2);
  EXPECT_NEAR(brightness(clean), brightness(first), 0.2 * ALL);
}

TEST(PainterTest, GroundAndPeopleTogetherAreThePicture) {
  const OverviewCamera camera = cameraOf(-35);
  const Things people = peopleAt({personAt(0, 8), personAt(2, 10)});
  Picture steps = paintGround(camera, WIDTH, HEIGHT);
  paintThings(camera, people, &steps);
  const Picture whole = paint(camera, people, WIDTH, HEIGHT);
  for (int y = 0; y < HEIGHT; ++y) {
    for (int x = 0; x < WIDTH; ++x) {
      ASSERT_EQ(whole.at(x, y), steps.at(x, y)) << x << ' ' << y;
    }
  }
}

// 4 m wide, half a metre deep and 3 m high.
Block wallAt(double y) {
  return {.middle = {0, y}, .width = 4, .depth = 0.5, .height = 3};
}

TEST(PainterTest, BlockHidesWhoIsBehindItAndNobodyElse) {
  const OverviewCamera camera = cameraOf(-15);
  const Things wall{.scenery = {wallAt(10)}};
  const Picture empty = paint(camera, wall, WIDTH, HEIGHT);
  const Pixel behind = pixelOf(camera, {0, 12, 1});
  Things both = wall;
  both.people = {personAt(0, 12)};
  EXPECT_EQ(colourAt(empty, behind), colourAt(paint(camera, both, WIDTH, HEIGHT), behind));
  both.people = {personAt(0, 8)};
  const Pixel before = pixelOf(camera, {0, 8, 1});
  const Picture alone = paint(camera, peopleAt(both.people), WIDTH, HEIGHT);
  EXPECT_EQ(colourAt(alone, before), colourAt(paint(camera, both, WIDTH, HEIGHT), before));
  EXPECT_NE(colourAt(empty, before), colourAt(alone, before));
}

// It goes away from the camera, so that its middle is farther than the one behind its near end.
TEST(PainterTest, LongWallHidesWhoIsNearerThanItsMiddle) {
  const OverviewCamera camera = cameraOf(-15);
  const Things wall{.scenery = {{.middle = {1, 16}, .width = 0.3, .depth = 20, .height = 3}}};
  const Pixel chest = pixelOf(camera, {1.8, 10, 1});
  Things both = wall;
  both.people = {personAt(1.8, 10)};
  EXPECT_EQ(colourAt(paint(camera, wall, WIDTH, HEIGHT), chest),
            colourAt(paint(camera, both, WIDTH, HEIGHT), chest));
}

// Half of the wall is beside the picture and behind the camera.
TEST(PainterTest, PartOfABlockIsShownWhereTheLensDoesNotReachAllOfIt) {
  const OverviewCamera camera = cameraOf(-15);
  const Things wall{.scenery = {{.middle = {2, 0}, .width = 0.3, .depth = 40, .height = 3}}};
  const Pixel middle = pixelOf(camera, {1.85, 10, 1.5});
  EXPECT_GT(difference(colourAt(paint(camera, {}, WIDTH, HEIGHT), middle),
                       colourAt(paint(camera, wall, WIDTH, HEIGHT), middle)),
            20);
}

TEST(PainterTest, TreeIsGreenAndStandsAmongPeople) {
  const OverviewCamera camera = cameraOf(-15);
  const auto seen = [&](double y) {
    const Ghosts trees({{.kind = GhostKind::tree, .middle = {0, y}, .width = 2, .length = 3}}, 1);
    return Things{.people = {personAt(0, 11)}, .figures = trees.figures(camera, 0)};
  };
  const Pixel chest = pixelOf(camera, {0, 11, 1.2});
  const Colour person = colourAt(paint(camera, peopleAt({personAt(0, 11)}), WIDTH, HEIGHT), chest);
  EXPECT_EQ(person, colourAt(paint(camera, seen(14), WIDTH, HEIGHT), chest));
  const Colour leaves = colourAt(paint(camera, seen(9), WIDTH, HEIGHT), chest);
  EXPECT_GT(leaves.green, leaves.red);
  EXPECT_GT(leaves.green, leaves.blue);
}

// A shadow leaves 0.7 of the light, headlights make it 1.5; beside them all is as it was.
TEST(PainterTest, CloudsDarkenTheGroundAndHeadlightsBrightenIt) {
  const OverviewCamera camera = cameraOf(-30);
  const Picture clear = paint(camera, {}, WIDTH, HEIGHT);
  const Pixel inside = pixelOf(camera, {0, 9, 0});
  const Pixel beside = pixelOf(camera, {5, 9, 0});
  for (const auto& [kind, light] :
       {std::pair(GhostKind::shadow, 0.7), std::pair(GhostKind::headlights, 1.5)}) {
    const Things things{
        .figures = {{kind, {0, 9}, {{-0.5, -0.9}, {0.5, -0.9}, {0.5, 0.9}, {-0.5, 0.9}}}}};
    const Picture picture = paint(camera, things, WIDTH, HEIGHT);
    EXPECT_NEAR(light * colourAt(clear, inside).green, colourAt(picture, inside).green, 1);
    EXPECT_EQ(colourAt(clear, beside), colourAt(picture, beside));
  }
}

TEST(PainterTest, LightChangesTheWholePictureByItsFactor) {
  const Picture clean = paint(cameraOf(-35), {}, WIDTH, HEIGHT);
  for (const double light : {0.9, 1.1}) {
    Picture picture = clean;
    expose(light, 1, &picture);
    EXPECT_NEAR(light * brightness(clean), brightness(picture), 0.5 * WIDTH * HEIGHT);
  }
}

TEST(PainterTest, LightChangesSlowlyAndByLittle) {
  double least = 1;
  double most = 1;
  for (int tenth = 0; tenth < 6000; ++tenth) {
    const double light = lightAt(tenth / 10.0);
    EXPECT_NEAR(light, lightAt(tenth / 10.0 + 0.1), 0.002);
    least = std::min(least, light);
    most = std::max(most, light);
  }
  EXPECT_GT(most - least, 0.04);
  EXPECT_GE(least, 0.96);
  EXPECT_LE(most, 1.04);
}

// The middle stays where it is; what is half-way to the edge moves towards it.
TEST(PainterTest, LensShowsPeopleWhereItBendsThem) {
  OverviewCameraSetup setup = cameraOf(-15, 90).getSetup();
  setup.distortion = {.k1 = -0.25};
  const OverviewCamera bent(setup);
  const OverviewCamera straight = cameraOf(-15, 90);
  const SpacePoint chest{-8, 10, 1.2};
  const Pixel there = pixelOf(straight, chest);
  const Pixel here = pixelOf(bent, chest);
  ASSERT_GT(std::abs(here.x - there.x), 8);
  const Things person = peopleAt({personAt(-8, 10)});
  EXPECT_GT(difference(colourAt(paint(bent, person, WIDTH, HEIGHT), here),
                       colourAt(paint(bent, {}, WIDTH, HEIGHT), here)),
            20);
  EXPECT_EQ(colourAt(paint(bent, person, WIDTH, HEIGHT), there),
            colourAt(paint(bent, {}, WIDTH, HEIGHT), there));
}

}  // namespace
}  // namespace device
