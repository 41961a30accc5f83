#include "world/playback.h"

#include <gtest/gtest.h>

#include <set>

#include "support/source_folder.h"
#include "world/people_generator.h"

namespace device {
namespace {

Track walker(int id, double start, double end) {
  return Track(id, {{start, {0, 0}}, {end, {end - start, 0}}});
}

const Stage STAGE({0, 90}, 40, 0);

TEST(PlaybackTest, BeginsWithTheFirstPerson) {
  const Playback playback(TrackSet({walker(4, 100, 110)}), STAGE);
  ASSERT_EQ(playback.at(0).size(), 1u);
  EXPECT_EQ(playback.at(0)[0].id, 4);
  EXPECT_NEAR(playback.at(0)[0].velocity.x, 1, 1e-9);
  EXPECT_NEAR(playback.at(5)[0].position.x, 0, 1e-9);  // half-way: the middle of the bounds
  EXPECT_NEAR(playback.at(5)[0].position.y, 40, 1e-9);
  EXPECT_TRUE(playback.at(10.1).empty());
}

TEST(PlaybackTest, RepeatsAfterAPauseWithOtherPeople) {
  const Playback playback(TrackSet({walker(1, 0, 10), walker(3, 2, 8)}), STAGE);
  EXPECT_DOUBLE_EQ(playback.getLength(), 30);
  EXPECT_TRUE(playback.at(29).empty());
  ASSERT_EQ(playback.at(34).size(), 2u);
  EXPECT_EQ(playback.at(34)[0].id, 4);
  EXPECT_EQ(playback.at(34)[1].id, 6);
  EXPECT_NEAR(playback.at(34)[1].position.x, playback.at(4)[1].position.x, 1e-9);
}

TEST(PlaybackTest, PausesOfTheRecordingStay) {
  const Playback playback(TrackSet({walker(1, 0, 10), walker(2, 35, 40)}), STAGE);
  EXPECT_EQ(playback.getSceneCount(), 2);
  EXPECT_TRUE(playback.at(34).empty());
  EXPECT_EQ(playback.at(36).size(), 1u);
}

TEST(PlaybackTest, ShortPausesDoNotEndAScene) {
  const Playback playback(TrackSet({walker(1, 0, 10), walker(2, 25, 30)}), STAGE);
  EXPECT_EQ(playback.getSceneCount(), 1);
  EXPECT_EQ(playback.at(26).size(), 1u);
}

// 46 s after the first: a new scene. It waits until the second has left at 60 s, and 20 s more.
TEST(PlaybackTest, BusyPlacesGetARest) {
  const Playback playback(
      TrackSet({walker(1, 0, 30), walker(2, 44, 60), walker(3, 46, 50), walker(4, 48, 52)}), STAGE);
  EXPECT_EQ(playback.getSceneCount(), 2);
  EXPECT_EQ(playback.at(49).size(), 1u);
  EXPECT_TRUE(playback.at(60.1).empty());
  EXPECT_TRUE(playback.at(79.9).empty());
  EXPECT_EQ(playback.at(80.1)[0].id, 3);
  EXPECT_EQ(playback.at(83).size(), 2u);  // as far apart in time as recorded
  EXPECT_EQ(playback.at(84.1).size(), 1u);
}

// Nobody is held back: the third is there at 46 s, together with the second.
TEST(PlaybackTest, AsRecordedNoRestIsAdded) {
  const Playback playback(
      TrackSet({walker(1, 0, 30), walker(2, 44, 60), walker(3, 46, 50), walker(4, 48, 52)}), STAGE,
      Playback::Rests::asRecorded);
  EXPECT_EQ(playback.getSceneCount(), 1);
  EXPECT_EQ(playback.at(47).size(), 2u);
  EXPECT_EQ(playback.at(49).size(), 3u);
  EXPECT_TRUE(playback.at(60.1).empty());
}

TEST(PlaybackTest, EverySceneIsInFrontOfTheNextCamera) {
  const Playback playback(TrackSet({walker(1, 0, 10), walker(2, 40, 50), walker(3, 80, 90)}),
                          STAGE);
  EXPECT_GT(playback.at(5)[0].position.y, 35);
  EXPECT_GT(playback.at(45)[0].position.x, 35);
  EXPECT_GT(playback.at(85)[0].position.y, 35);
}

TEST(PlaybackTest, NobodyEver) {
  const Playback playback(TrackSet(), STAGE);
  EXPECT_TRUE(playback.at(3).empty());
  EXPECT_DOUBLE_EQ(playback.getLength(), 0);
}

// At one moment no two people have the same id, and the place is empty for a while about once a
// minute.
void expectRests(const Playback& playback, double seconds) {
  double emptySince = 0;
  int rests = 0;
  double longestBusy = 0;
  double busySince = 0;
  for (double time = 0; time < seconds; time += 0.5) {
    const std::vector<Person> people = playback.at(time);
    std::set<int> ids;
    for (const Person& person : people) {
      ASSERT_TRUE(ids.insert(person.id).second);
    }
    if (people.empty()) {
      continue;
    }
    if (time - emptySince > 19) {
      ++rests;
      busySince = time;
    }
    emptySince = time;
    longestBusy = std::max(longestBusy, time - busySince);
  }
  EXPECT_GE(rests, seconds / 140);
  EXPECT_LT(longestBusy, 140);
}

TEST(PlaybackTest, GeneratedPeopleGiveRests) {
  expectRests(Playback(generatePeople(1), STAGE), 600);
}

TEST(PlaybackTest, RecordingsGiveRests) {
  if (!std::filesystem::exists(recordingsFolder())) {
    GTEST_SKIP() << "the recordings of real people are no part of the product: none at "
                 << recordingsFolder();
  }
  ASSERT_FALSE(std::filesystem::is_empty(recordingsFolder()));
  for (const auto& entry : std::filesystem::directory_iterator(recordingsFolder())) {
    SCOPED_TRACE(entry.path());
    const Playback playback(TrackSet::read(entry.path()), STAGE);
    expectRests(playback, 1.5 * playback.getLength());
  }
}

}  // namespace
}  // namespace device
