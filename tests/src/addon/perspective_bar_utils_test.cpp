#include "addon/libs/vigil_pack_lib/filters/perspective_bar_utils.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "config/status_exception.h"

namespace {

using Bars = std::vector<PerspectiveBar>;

constexpr const char* TOO_FEW = "There must be at least two perspective bars";
constexpr const char* INVALID = "One or more of the perspective bars have invalid values";
constexpr int ROTATIONS[] = {0, 90, 180, 270};

// The message of the refusal, empty when the bars are accepted.
std::string refusal(const Bars& bars, int rotation) {
  try {
    perspectiveBarUtils::validatePerspectiveBars(bars, rotation);
  } catch (const StatusException& exception) {
    EXPECT_EQ(exception.getStatus(), StatusCode_e::contradiction);
    return exception.what();
  }
  return "";
}

// A bar of that scale, to a tenth.
PerspectiveBar bar(int position, double scale) {
  return {position, position + static_cast<int>(std::lround(scale * 100)), 100};
}

bool isUpwards(int rotation) {
  return rotation == 0 || rotation == 270;
}

TEST(PerspectiveBarUtilsTest, FewerThanTwoBarsAreRefused) {
  for (const int rotation : ROTATIONS) {
    EXPECT_EQ(refusal({}, rotation), TOO_FEW);
    EXPECT_EQ(refusal({bar(0, 10)}, rotation), TOO_FEW);
  }
}

TEST(PerspectiveBarUtilsTest, TheHigherBarMustHaveTheSmallerScale) {
  const Bars smallerAtLargerPosition{bar(1000, 10), bar(-1000, 20)};
  const Bars largerAtLargerPosition{bar(1000, 20), bar(-1000, 10)};
  for (const int rotation : ROTATIONS) {
    const bool up = isUpwards(rotation);
    EXPECT_EQ(refusal(smallerAtLargerPosition, rotation), up ? "" : INVALID) << rotation;
    EXPECT_EQ(refusal(largerAtLargerPosition, rotation), up ? INVALID : "") << rotation;
  }
}

TEST(PerspectiveBarUtilsTest, TheOrderOfTheBarsDoesNotMatter) {
  const Bars bars{bar(-1000, 20), bar(1000, 10)};
  for (const int rotation : ROTATIONS) {
    EXPECT_EQ(refusal(bars, rotation), isUpwards(rotation) ? "" : INVALID) << rotation;
  }
}

TEST(PerspectiveBarUtilsTest, TwoBarsAtOnePositionWithOneScaleAreAccepted) {
  for (const int rotation : ROTATIONS) {
    EXPECT_EQ(refusal({bar(100, 10), bar(100, 10)}, rotation), "") << rotation;
    EXPECT_EQ(refusal({{100, 1100, 100}, {100, -900, 100}}, rotation), "") << rotation;
  }
}

TEST(PerspectiveBarUtilsTest, TwoScalesAtOnePositionAreRefused) {
  for (const int rotation : ROTATIONS) {
    EXPECT_EQ(refusal({bar(100, 10), bar(100, 11)}, rotation), INVALID) << rotation;
    EXPECT_EQ(refusal({bar(100, 11), bar(100, 10)}, rotation), INVALID) << rotation;
  }
}

TEST(PerspectiveBarUtilsTest, OneScaleAtTwoPositionsIsRefused) {
  for (const int rotation : ROTATIONS) {
    EXPECT_EQ(refusal({bar(100, 10), bar(200, 10)}, rotation), INVALID) << rotation;
    EXPECT_EQ(refusal({bar(200, 10), bar(100, 10)}, rotation), INVALID) << rotation;
  }
}

TEST(PerspectiveBarUtilsTest, EveryPairIsLookedAt) {
  const Bars valid{bar(1000, 10), bar(0, 20), bar(-1000, 30)};
  EXPECT_EQ(refusal(valid, 0), "");
  const Bars lastPairWrong{bar(1000, 10), bar(-1000, 20), bar(0, 30)};
  EXPECT_EQ(refusal(lastPairWrong, 0), INVALID);
  const Bars outerPairWrong{bar(0, 20), bar(-1000, 30), bar(1000, 25)};
  EXPECT_EQ(refusal(outerPairWrong, 0), INVALID);
}

TEST(PerspectiveBarUtilsTest, RandomBarsFollowTheRule) {
  std::mt19937 random(99);
  std::uniform_int_distribution<int> positions(-2, 2);
  std::uniform_int_distribution<int> scales(1, 4);
  std::uniform_int_distribution<int> counts(2, 4);
  int accepted = 0;
  for (int run = 0; run < 4000; ++run) {
    struct Choice {
      int position;
      int scale;
    };
    std::vector<Choice> choices(counts(random));
    Bars bars;
    for (Choice& choice : choices) {
      choice = {positions(random), scales(random)};
      bars.push_back(bar(choice.position * 100, choice.scale));
    }
    for (const int rotation : ROTATIONS) {
      // Along the way up, scales fall strictly with position; one place has one scale.
      const int up = isUpwards(rotation) ? 1 : -1;
      bool valid = true;
      for (const Choice& a : choices) {
        for (const Choice& b : choices) {
          if (a.position == b.position && a.scale != b.scale) {
            valid = false;
          }
          if (a.position * up > b.position * up && a.scale >= b.scale) {
            valid = false;
          }
        }
      }
      ASSERT_EQ(refusal(bars, rotation), valid ? "" : INVALID);
      accepted += valid ? 1 : 0;
    }
  }
  EXPECT_GT(accepted, 0);
}

}  // namespace
