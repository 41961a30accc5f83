#include "memory/fibres.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace memory {
namespace {

using testing::ElementsAre;

class FibresTest : public testing::Test {
 protected:
  FibresTest() { fibres.reset(1000); }

  void note(const std::string& who) { notes.push_back(who + " " + std::to_string(fibres.now())); }

  Fibres& fibres = Fibres::get();
  std::vector<std::string> notes;
};

TEST_F(FibresTest, TimePassesOnlyWhenItIsMovedOn) {
  EXPECT_EQ(1000, fibres.now());
  fibres.advanceTo(1500);
  EXPECT_EQ(1500, fibres.now());
  fibres.advanceTo(1200);
  EXPECT_EQ(1500, fibres.now());
}

TEST_F(FibresTest, SleepersWakeInTheOrderOfTheirTimes) {
  fibres.start([this] {
    fibres.sleep(300);
    note("a");
    fibres.sleep(300);
    note("a");
  });
  fibres.start([this] {
    fibres.sleep(400);
    note("b");
  });
  fibres.advanceTo(1599);
  EXPECT_THAT(notes, ElementsAre("a 1300", "b 1400"));
  fibres.advanceTo(1600);
  EXPECT_THAT(notes, ElementsAre("a 1300", "b 1400", "a 1600"));
}

TEST_F(FibresTest, OfThoseWhoWakeAtOnceTheFirstGoesFirst) {
  for (const char* name : {"a", "b", "c"}) {
    fibres.start([this, name] {
      fibres.sleep(100);
      note(name);
    });
  }
  fibres.advanceTo(2000);
  EXPECT_THAT(notes, ElementsAre("a 1100", "b 1100", "c 1100"));
}

TEST_F(FibresTest, WhoIsNoFibreSleepsByMovingTimeOn) {
  fibres.start([this] {
    fibres.sleep(50);
    note("fibre");
  });
  fibres.sleep(70);
  note("main");
  EXPECT_THAT(notes, ElementsAre("fibre 1050", "main 1070"));
}

TEST_F(FibresTest, JoiningLetsAllGoOnUntilThatOneHasEnded) {
  const int longer = fibres.start([this] {
    fibres.sleep(500);
    note("longer");
  });
  fibres.start([this] {
    fibres.sleep(200);
    note("shorter");
    fibres.sleep(10000);
  });
  fibres.join(longer);
  EXPECT_THAT(notes, ElementsAre("shorter 1200", "longer 1500"));
  EXPECT_EQ(1500, fibres.now());
  fibres.advanceTo(20000);
}

TEST_F(FibresTest, TimeIsNotSetBackUnderAFibre) {
  const int number = fibres.start([] {});
  EXPECT_THROW(fibres.reset(0), std::logic_error);
  fibres.join(number);
  fibres.reset(0);
  EXPECT_EQ(0, fibres.now());
}

TEST_F(FibresTest, ThreadsOfGLibAreFibres) {
  const GThreadFunc work = [](gpointer) -> gpointer {
    Fibres::get().sleep(250);
    return GINT_TO_POINTER(7);
  };
  GThread* thread = g_thread_new(nullptr, work, nullptr);
  EXPECT_EQ(1000, fibres.now());
  EXPECT_EQ(7, GPOINTER_TO_INT(g_thread_join(thread)));
  EXPECT_EQ(1250, fibres.now());
}

TEST_F(FibresTest, AThreadThatNobodyWaitsForEndsByItself) {
  static int s_ended = 0;
  const GThreadFunc work = [](gpointer) -> gpointer {
    Fibres::get().sleep(10);
    ++s_ended;
    return nullptr;
  };
  g_thread_unref(g_thread_new(nullptr, work, nullptr));
  fibres.advanceTo(1010);
  EXPECT_EQ(1, s_ended);
}

TEST_F(FibresTest, TheWallClockGoesWithTheirTime) {
  const gint64 before = g_get_real_time();
  fibres.advanceTo(1000 + 123456);
  EXPECT_EQ(123456, g_get_real_time() - before);
}

}  // namespace
}  // namespace memory
