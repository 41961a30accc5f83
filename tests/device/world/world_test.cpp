#include "world/world.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>

#include "model/model.h"
#include "support/source_folder.h"
#include "support/temporary_folder.h"

namespace device {
namespace {

class WorldTest : public testing::Test {
 protected:
  // A world with one recording.
  World worldOf(const std::string& model, const std::string& rows) {
    std::ofstream(file) << "time_s,id,x_m,y_m\n" << rows;
    WorldSetup setup = loadModel(modelsFolder(), model).world;
    setup.detections = {};
    return World(setup, {.tracks = file});
  }

  const TemporaryFolder folder;
  const std::filesystem::path file = folder / "tracks.csv";
};

// One point, so the middle of the bounds: 45 m in front, seen from 18 m.
TEST_F(WorldTest, PeopleAreSeenFromTheMast) {
  const World world = worldOf("perfect", "0,7,3,4\n");
  const std::vector<PersonView> people = world.people(0);
  ASSERT_EQ(people.size(), 1u);
  EXPECT_EQ(people[0].id, 7);
  EXPECT_NEAR(people[0].centre.pan, 0, 1e-9);
  EXPECT_NEAR(people[0].centre.tilt, -toDegrees(std::atan2(18 - 0.875, 45)), 1e-9);
  EXPECT_NEAR(people[0].height, toDegrees(std::atan2(18, 45) - std::atan2(16.25, 45)), 1e-9);
  EXPECT_TRUE(people[0].inside);
}

TEST_F(WorldTest, InsideMeansWithinTheIncludeArea) {
  // Walks 40 m from left to right past the middle of the stage, along the axis' normal.
  WorldSetup model = loadModel(modelsFolder(), "perfect").world;
  model.stageTurn = 0;
  std::ofstream(file) << "time_s,id,x_m,y_m\n0,1,0,0\n40,1,40,0\n";
  const World world(model, {.tracks = file});
  // The picture is tan(13.5) to either side at the depth of the axis; 0.97 of it counts.
  const double axis = toRadians(-20.8);
  const double depth = 45 * std::cos(axis) + (0.875 - 18) * std::sin(axis);
  const double reach = 0.97 * std::tan(toRadians(13.5)) * depth;
  EXPECT_FALSE(world.people(20 - reach - 0.05)[0].inside);
  EXPECT_TRUE(world.people(20 - reach + 0.05)[0].inside);
  EXPECT_TRUE(world.people(20 + reach - 0.05)[0].inside);
  EXPECT_FALSE(world.people(20 + reach + 0.05)[0].inside);
}

TEST_F(WorldTest, FramesShowThePeople) {
  World world = worldOf("perfect", "0,7,3,4\n1,7,3,4\n");
  const Frame frame = world.frame(0, 0.5, 123456);
  EXPECT_EQ(frame.timestamp, 123456);
  EXPECT_EQ(frame.objects.size(), 1u);
  EXPECT_TRUE(world.frame(0, 5, 1).objects.empty());
}

TEST_F(WorldTest, EveryChannelOfACompassHasItsTurn) {
  World world = worldOf("perfect-compass",
                        "0,1,0,0\n5,1,1,0\n30,2,0,0\n35,2,1,0\n60,3,0,0\n65,3,1,0\n"
                        "90,4,0,0\n95,4,1,0\n");
  ASSERT_EQ(world.channelCount(), 4);
  // The one opposite to where the head is at home comes last.
  const int order[] = {0, 1, 3, 2};
  for (int turn = 0; turn < 4; ++turn) {
    for (int channel = 0; channel < 4; ++channel) {
      const Frame frame = world.frame(channel, turn * 30 + 2, 1);
      EXPECT_EQ(frame.objects.size(), channel == order[turn] ? 1u : 0u) << channel << " " << turn;
    }
  }
  const double pans[] = {0, 90, -90, -180};
  for (int turn = 0; turn < 4; ++turn) {
    EXPECT_NEAR(normalizedPan(world.people(turn * 30 + 2.5)[0].centre.pan - pans[turn]), 0, 1);
  }
}

TEST_F(WorldTest, TheChannelOfAMechanicalHeadLooksWhereItLooks) {
  World world = worldOf("mechanical", "0,7,3,4\n1,7,3,4\n");
  HeadStatus head{.pan = 0, .tilt = -3.6, .pictureWidth = 63.4};
  world.followHead(head);
  EXPECT_EQ(world.frame(0, 0, 1).objects.size(), 1u);
  head.pan = 90;
  head.pictureWidth = 20;
  world.followHead(head);
  EXPECT_DOUBLE_EQ(world.camera(0).getSetup().pan, 90);
  EXPECT_DOUBLE_EQ(world.camera(0).horizontalFov(), 20);
  EXPECT_TRUE(world.frame(0, 0.1, 1).objects.empty());
  EXPECT_FALSE(world.people(0.1)[0].inside);
}

TEST_F(WorldTest, FixedChannelsStayWhereTheyAre) {
  World world = worldOf("perfect", "0,7,3,4\n");
  world.followHead({.pan = 90, .tilt = -50, .pictureWidth = 20});
  EXPECT_DOUBLE_EQ(world.camera(0).getSetup().pan, 0);
}

TEST_F(WorldTest, TheSameSeedGivesTheSameWorld) {
  const WorldSetup model = loadModel(modelsFolder(), "perfect").world;
  World one(model, {.tracks = std::nullopt, .seed = 3});
  World same(model, {.tracks = std::nullopt, .seed = 3});
  World other(model, {.tracks = std::nullopt, .seed = 4});
  bool differs = false;
  for (int i = 0; i < 300; ++i) {
    const Frame frame = one.frame(0, i * 0.1, i);
    ASSERT_EQ(frame, same.frame(0, i * 0.1, i));
    differs = differs || frame != other.frame(0, i * 0.1, i);
  }
  EXPECT_TRUE(differs);
}

TEST_F(WorldTest, ABadRecordingIsRefused) {
  EXPECT_THROW(worldOf("perfect", "0,7,3\n"), TrackError);
}

// With everybody of a recording in front of the camera, frames hold objects for most of the time in
// which somebody is there.
TEST_F(WorldTest, RecordingsWalkInFrontOfTheCamera) {
  if (!std::filesystem::exists(recordingsFolder())) {
    GTEST_SKIP() << "the recordings of real people are no part of the product: none at "
                 << recordingsFolder();
  }
  ASSERT_FALSE(std::filesystem::is_empty(recordingsFolder()));
  for (const auto& entry : std::filesystem::directory_iterator(recordingsFolder())) {
    World world(loadModel(modelsFolder(), "perfect").world, {.tracks = entry.path()});
    int there = 0;
    int inside = 0;
    for (double time = 0; time < 300; time += 0.5) {
      for (const PersonView& person : world.people(time)) {
        ++there;
        inside += person.inside ? 1 : 0;
      }
    }
    EXPECT_GT(inside, 0.85 * there) << entry.path();
  }
}

// Sees through what is told how a camera hangs that hangs otherwise.
TEST_F(WorldTest, CamerasHangBesideWhatTheParametersSay) {
  WorldSetup setup = loadModel(modelsFolder(), "perfect").world;
  setup.channels[0].mountingError = {.pan = 1.5};
  const World world(setup, {});
  EXPECT_DOUBLE_EQ(world.camera(0).getSetup().pan, 1.5);
  EXPECT_DOUBLE_EQ(setup.channels[0].camera.pan, 0);
}

// 2 m beside the head, the direction to somebody 10 m away differs by atan(2 / 10).
TEST_F(WorldTest, ACameraBesideTheHeadSeesFromThere) {
  WorldSetup setup = loadModel(modelsFolder(), "perfect").world;
  setup.channels[0].camera.position = {2, 0, 5};
  setup.channels[0].camera.tilt = -30;
  setup.channels[0].camera.horizontalFov = 90;
  const World world(setup, {});
  const auto ahead = world.camera(0).project({0, 10, 5});
  ASSERT_TRUE(ahead);
  EXPECT_NEAR(world.camera(0).lineOfSight(*ahead).pan, -toDegrees(std::atan2(2, 10)), 1e-9);
}

TEST_F(WorldTest, FramesAreReceivedWhenTheyHaveCome) {
  WorldSetup setup = loadModel(modelsFolder(), "perfect").world;
  setup.channels[0].frames = {.age = 0.25, .stampOffset = 0.01};
  std::ofstream(file) << "time_s,id,x_m,y_m\n0,7,3,4\n1,7,3,4\n";
  World world(setup, {.tracks = file});
  EXPECT_EQ(world.sendFrame(0, 0.5, 500000), 1);
  EXPECT_TRUE(world.receivedFrames(0, 0.74).empty());
  const std::vector<Frame> frames = world.receivedFrames(0, 0.75);
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].timestamp, 510000);
  EXPECT_EQ(frames[0].objects.size(), 1u);
}

TEST_F(WorldTest, PeopleAreOfSeveralHeights) {
  WorldSetup setup = loadModel(modelsFolder(), "perfect").world;
  setup.peopleHeight = 1.7;
  setup.peopleHeightDeviation = 0.09;
  setup.scene = "crowd";
  const World world(setup, {});
  double sum = 0;
  double squares = 0;
  int count = 0;
  for (double time = 0; time < 3000; time += 60) {
    for (const PersonView& person : world.people(time)) {
      sum += person.tall;
      squares += (person.tall - 1.7) * (person.tall - 1.7);
      ++count;
      const SpacePoint there{person.position.x, person.position.y, person.tall / 2 - 18};
      EXPECT_NEAR(person.centre.tilt, directionOf(there).tilt, 1e-9);
    }
  }
  EXPECT_NEAR(sum / count, 1.7, 0.01);
  EXPECT_NEAR(std::sqrt(squares / count), 0.09, 0.01);
}

TEST_F(WorldTest, AnotherSceneCanBeAskedFor) {
  const WorldSetup setup = loadModel(modelsFolder(), "perfect").world;
  EXPECT_EQ(World(setup, {.scene = "crowd"}).people(100).size(), 60u);
}

// The mast at (4, 1) looking home at (4, 6): who stands at (7, 6) is 3 m to the right and 5 m away.
TEST_F(WorldTest, ARecordingCanBePutAroundTheMast) {
  WorldSetup setup = loadModel(modelsFolder(), "perfect").world;
  std::ofstream(file) << "time_s,id,x_m,y_m\n0,1,7,6\n9,1,7,6\n";
  const RecordingPlace place{.mast = {4, 1}, .home = {4, 6}};
  const World world(setup, {.tracks = file, .place = place});
  EXPECT_NEAR(world.people(1)[0].position.x, 3, 1e-9);
  EXPECT_NEAR(world.people(1)[0].position.y, 5, 1e-9);
  setup.homePan = 90;
  const World turned(setup, {.tracks = file, .place = place});
  EXPECT_NEAR(turned.people(1)[0].position.x, 5, 1e-9);
  EXPECT_NEAR(turned.people(1)[0].position.y, -3, 1e-9);
}

// A recording keeps the scenery of the scene in which it is played.
TEST_F(WorldTest, ARecordingCanBePlayedInAnyScene) {
  const WorldSetup setup = loadModel(modelsFolder(), "perfect").world;
  std::ofstream(file) << "time_s,id,x_m,y_m\n0,1,7,6\n9,1,7,6\n";
  for (const char* scene : {"wide", "far", "hiding"}) {
    const World world(setup, {.tracks = file, .scene = scene});
    ASSERT_EQ(world.people(1).size(), 1u);
    EXPECT_NEAR(world.people(1)[0].centre.pan, 0, 1e-9);
  }
}

TEST_F(WorldTest, SceneryHidesPeople) {
  WorldSetup setup = loadModel(modelsFolder(), "perfect").world;
  std::ofstream(file) << "time_s,id,x_m,y_m\n0,1,7,6\n9,1,7,6\n";
  ASSERT_EQ(World(setup, {.tracks = file}).frame(0, 1, 1).objects.size(), 1u);
  // 45 m away, seen from 18 m: 1 m in front of it a wall of 3 m hides all.
  setup.scenery.push_back({.middle = {0, 44}, .width = 10, .depth = 0.2, .height = 3, .turn = 0});
  EXPECT_TRUE(World(setup, {.tracks = file}).frame(0, 1, 1).objects.empty());
}

}  // namespace
}  // namespace device
