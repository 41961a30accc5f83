#include "world/tracks.h"

#include <gtest/gtest.h>

#include <sstream>

#include "support/source_folder.h"

namespace device {
namespace {

TrackSet parse(const std::string& text) {
  std::istringstream in(text);
  return TrackSet::parse(in, "walk.csv");
}

std::string errorOf(const std::string& text) {
  try {
    parse(text);
  } catch (const TrackError& error) {
    return error.what();
  }
  return {};
}

TEST(TrackTest, InterpolatesBetweenItsPoints) {
  const Track track(7, {{1.0, {0, 0}}, {2.0, {4, -2}}, {4.0, {4, 6}}});
  EXPECT_EQ(track.at(1.25)->id, 7);
  EXPECT_DOUBLE_EQ(track.at(1.25)->position.x, 1);
  EXPECT_DOUBLE_EQ(track.at(1.25)->position.y, -0.5);
  EXPECT_DOUBLE_EQ(track.at(2.0)->position.x, 4);
  EXPECT_DOUBLE_EQ(track.at(3.5)->position.y, 4);
}

TEST(TrackTest, IsThereFromFirstToLastPoint) {
  const Track track(1, {{1.0, {0, 0}}, {2.0, {4, -2}}});
  EXPECT_FALSE(track.at(0.999));
  EXPECT_TRUE(track.at(1.0));
  EXPECT_TRUE(track.at(2.0));
  EXPECT_DOUBLE_EQ(track.at(2.0)->position.x, 4);
  EXPECT_FALSE(track.at(2.001));
}

TEST(TrackTest, VelocityIsTheMeanAroundTheMoment) {
  // 1 m/s before second 10, 2 m/s after it.
  const Track track(1, {{0, {0, 0}}, {10, {10, 0}}, {20, {30, 0}}});
  EXPECT_NEAR(track.at(5)->velocity.x, 1, 1e-12);
  EXPECT_NEAR(track.at(10)->velocity.x, 1.5, 1e-12);
  EXPECT_NEAR(track.at(15)->velocity.x, 2, 1e-12);
  EXPECT_NEAR(track.at(0)->velocity.x, 1, 1e-12);
  EXPECT_NEAR(track.at(20)->velocity.x, 2, 1e-12);
  EXPECT_DOUBLE_EQ(track.at(5)->velocity.y, 0);
}

TEST(TrackTest, OnePointStandsStill) {
  const Track track(1, {{3, {5, 6}}});
  EXPECT_DOUBLE_EQ(track.at(3)->position.y, 6);
  EXPECT_DOUBLE_EQ(track.at(3)->velocity.x, 0);
}

TEST(TrackSetTest, ReadsPeopleInAnyOrder) {
  const TrackSet set = parse(
      "time_s,id,x_m,y_m\n"
      "1.0,2,5,6\r\n"
      "0.0,1,1.5,-2\n"
      "\n"
      "0.4,1,2.5,-2e0\n"
      "1.4,2,5,8\n");
  ASSERT_EQ(set.getTracks().size(), 2u);
  EXPECT_EQ(set.getTracks()[0].getId(), 1);
  EXPECT_DOUBLE_EQ(set.start(), 0);
  EXPECT_DOUBLE_EQ(set.end(), 1.4);
  EXPECT_DOUBLE_EQ(set.bounds().low.x, 1.5);
  EXPECT_DOUBLE_EQ(set.bounds().low.y, -2);
  EXPECT_DOUBLE_EQ(set.bounds().high.x, 5);
  EXPECT_DOUBLE_EQ(set.bounds().high.y, 8);
  ASSERT_EQ(set.at(0.2).size(), 1u);
  EXPECT_DOUBLE_EQ(set.at(0.2)[0].position.x, 2);
  EXPECT_TRUE(set.at(0.7).empty());
  EXPECT_EQ(set.at(1.2)[0].id, 2);
}

TEST(TrackSetTest, EmptySet) {
  const TrackSet set;
  EXPECT_TRUE(set.empty());
  EXPECT_TRUE(set.at(0).empty());
  EXPECT_DOUBLE_EQ(set.end(), 0);
}

TEST(TrackSetTest, ErrorsNameFileAndLine) {
  const std::string heading = "time_s,id,x_m,y_m\n";
  EXPECT_EQ(errorOf(""), "walk.csv:1: expected the heading time_s,id,x_m,y_m");
  EXPECT_EQ(errorOf("a,b,c\n"), "walk.csv:1: expected the heading time_s,id,x_m,y_m");
  EXPECT_EQ(errorOf(heading), "walk.csv:1: no rows");
  EXPECT_EQ(errorOf(heading + "\n\n"), "walk.csv:3: no rows");
  EXPECT_EQ(errorOf(heading + "0,1,2\n"), "walk.csv:2: expected 4 fields, found 3");
  EXPECT_EQ(errorOf(heading + "0,1,2,3\n0.4,1,2,3,4\n"), "walk.csv:3: expected 4 fields, found 5");
  EXPECT_EQ(errorOf(heading + "soon,1,2,3\n"), "walk.csv:2: time_s 'soon' is not a number");
  EXPECT_EQ(errorOf(heading + "0,1.5,2,3\n"), "walk.csv:2: id '1.5' is not a whole number");
  EXPECT_EQ(errorOf(heading + "0,,2,3\n"), "walk.csv:2: id '' is not a whole number");
  EXPECT_EQ(errorOf(heading + "0,99999999999,2,3\n"),
            "walk.csv:2: id '99999999999' is not a whole number");
  EXPECT_EQ(errorOf(heading + "0,1,,3\n"), "walk.csv:2: x_m '' is not a number");
  EXPECT_EQ(errorOf(heading + "0,1,nan,3\n"), "walk.csv:2: x_m 'nan' is not a number");
  EXPECT_EQ(errorOf(heading + "0,1,2,3m\n"), "walk.csv:2: y_m '3m' is not a number");
  EXPECT_EQ(errorOf(heading + "0,1,2,3\n0,2,2,3\n0,1,2,3\n"),
            "walk.csv:4: time of person 1 does not grow");
}

TEST(TrackSetTest, AMissingFileIsNamed) {
  try {
    TrackSet::read("nowhere/walk.csv");
    FAIL();
  } catch (const TrackError& error) {
    EXPECT_STREQ(error.what(), "nowhere/walk.csv: cannot be opened");
  }
}

TEST(TrackSetTest, ReadsRecordings) {
  if (!std::filesystem::exists(recordingsFolder())) {
    GTEST_SKIP() << "the recordings of real people are no part of the product: none at "
                 << recordingsFolder();
  }
  ASSERT_FALSE(std::filesystem::is_empty(recordingsFolder()));
  for (const auto& entry : std::filesystem::directory_iterator(recordingsFolder())) {
    const TrackSet set = TrackSet::read(entry.path());
    EXPECT_GT(set.getTracks().size(), 10u) << entry.path();
    EXPECT_GT(set.end() - set.start(), 60) << entry.path();
  }
}

TEST(TrackSetTest, TracksAreOrderedByTheirStart) {
  const TrackSet set({Track(1, {{5, {1, 1}}, {9, {2, 2}}}), Track(2, {{0, {3, 3}}, {6, {4, 4}}})});
  ASSERT_EQ(set.getTracks().size(), 2u);
  EXPECT_EQ(set.getTracks()[0].getId(), 2);
  EXPECT_EQ(set.start(), 0);
  ASSERT_EQ(set.at(3).size(), 1u);
  EXPECT_EQ(set.at(3)[0].id, 2);
}

}  // namespace
}  // namespace device
