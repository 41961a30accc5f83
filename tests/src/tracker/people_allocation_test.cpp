// What runs with every frame takes nothing from the heap for those who are known already.
#include <gtest/gtest.h>

#include <vector>

#include "fakes/fake_clock.h"
#include "src/tracker/tracker_fixture.h"
#include "support/counted_allocations.h"
#include "tracker/observations.h"
#include "tracker/people.h"

namespace {

TEST(PeopleAllocationTest, PicturesTakeNothingFromTheHeap) {
  People people{Installation()};
  std::vector<People::Seen> seen(40);
  std::int64_t now = 1'000'000'000;
  long before = 0;
  for (int i = 0; i < 200; ++i) {
    now += 100'000;
    for (int k = 0; k < 40; ++k) {
      // New numbers every three seconds; one in ten has no place on the ground.
      seen[k].id = k + 40 * (i / 30);
      seen[k].box.sighting = {-60.0 + 3.0 * k + 0.2 * i, k % 10 == 0 ? 3.0 : -40.0, -29.0};
      seen[k].box.pan = seen[k].box.sighting.pan;
      seen[k].box.tilt = -35.0;
      seen[k].box.width = 3.0;
      seen[k].box.height = 11.0;
    }
    const int channel = i % 2;
    people.see(now, channel, now, 805.5, seen);
    for (const People::Seen& each : seen) {
      people.want(channel, each.id, 1, now);
    }
    before = i == 5 ? s_allocations.load() : before;  // both channels are known
  }
  EXPECT_EQ(s_allocations, before);
  EXPECT_GT(people.getIdentities().people().size(), 20U);
}

class ObservationsAllocationTest : public TrackerFixture {
 protected:
  // What a frame with so many objects takes, all of them at one place.
  long takenBy(int objects) {
    ParsedScene scene(clock.now(), true);
    for (int id = 0; id < objects; ++id) {
      scene.insertActiveObject(new TrackingObject(moteObject(id, clock.now()), 0, 1.0F));
    }
    FakePtzMath::clearCalls();
    const long before = s_allocations;
    observations.see(1, scene);
    const long taken = s_allocations - before;
    pass(STEP);
    return taken;
  }

  Observations observations;
};

// The device's library, which is a fake, takes as much for each object and something for a frame;
// nobody else takes anything, however many objects there are.
TEST_F(ObservationsAllocationTest, FramesTakeNothingFromTheHeapHoweverManyTheyShow) {
  constexpr int MANY = 400;
  constexpr long SEEN = People::MOST_SEEN;
  ASSERT_TRUE(observations.addCamera(1));
  observations.watchPeople(Installation());
  takenBy(MANY);  // the fake has room from then on
  const long byOne = takenBy(1);
  const long byEach = takenBy(2) - byOne;
  EXPECT_EQ(takenBy(static_cast<int>(SEEN)), byOne + (SEEN - 1) * byEach);
  EXPECT_EQ(takenBy(MANY), byOne + (SEEN - 1) * byEach);
  const auto seen = observations.peopleInsight(clock.now(), clock.now());
  ASSERT_TRUE(seen);
  EXPECT_EQ(seen->size(), People::CAPACITY);
}

}  // namespace
