// What runs with every frame and every control step takes nothing from the heap.
#include <gtest/gtest.h>

#include "following/framing.h"
#include "following/head_model.h"
#include "following/identities.h"
#include "following/pursuit.h"
#include "following/subject.h"
#include "support/counted_allocations.h"

namespace following {
namespace {

TEST(AllocationTest, FramesAndStepsTakeNothingFromTheHeap) {
  Identities identities(64);
  HeadModel head{HeadParameters{}};
  Pursuit pursuit{HeadParameters{}};
  Framing framing{Lens{}};
  pursuit.start();
  Identities::Seen seen[40];
  Member members[3];
  bool hasMoved = false;
  const long before = s_allocations;
  for (int i = 0; i < 200; ++i) {
    const std::int64_t now = 1'000'000'000 + 50'000LL * i;
    for (int k = 0; k < 40; ++k) {
      // New numbers every three seconds; some are away meanwhile.
      const int id = k + 40 * (i / 60);
      seen[k] = {id, {-60.0 + 3.0 * k + 0.2 * i, -40.0, -29.0}};
    }
    const std::size_t shown = i % 60 < 10 ? 20 : 40;
    identities.takePicture(now, i % 2, now, {}, {seen, shown});
    head.read(now, 0.1 * i, -30.0);
    std::size_t count = 0;
    for (const Person& person : identities.people()) {
      if (count < 3) {
        members[count++] = {&person.filter.state(), person.height.metres};
      }
    }
    const auto subject = predictSubject({members, count}, pursuit.actsAt(now), 5.0);
    const auto command = pursuit.step(head, subject, 40.0);
    pursuit.commanded(*command);
    head.commanded(now, *command);
    hasMoved = hasMoved || command->pan != 0;
    if (subject) {
      framing.step(0.05, *subject, pursuit.error(), 0.0);
    }
  }
  EXPECT_EQ(s_allocations, before);
  EXPECT_TRUE(hasMoved);
  EXPECT_GT(identities.people().size(), 20U);
}

}  // namespace
}  // namespace following
