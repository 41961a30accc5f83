#include "ptz/ptz_head.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <functional>
#include <string>

#include "fakes/fake_ptz_library.h"
#include "fakes/log_capture.h"
#include "src/tracker/moves.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string outputOf(const std::function<void()>& function) {
  testing::internal::CaptureStdout();
  function();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

class PtzHeadTest : public testing::Test {
 protected:
  PtzHeadTest() { FakePtzLibrary::reset(); }

  const LogCapture log;
  PtzHead head;
};

TEST_F(PtzHeadTest, InitializesAndCleansUpTheLibrary) {
  head.initialize();
  head.cleanup();
  EXPECT_THAT(FakePtzLibrary::calls(), ElementsAre("init", "cleanup"));
}

TEST_F(PtzHeadTest, KindsOfMotion) {
  EXPECT_EQ(PtzHead::NOT_DRIVEN, 0);
  EXPECT_EQ(PtzHead::ABSOLUTE, 1);
  EXPECT_EQ(PtzHead::CONTINUOUS, 3);
}

TEST_F(PtzHeadTest, MovesEachAxisInItsOwnWay) {
  head.ptzMove(12.5, PtzHead::CONTINUOUS, -45.0, PtzHead::ABSOLUTE, 70, PtzHead::NOT_DRIVEN);
  EXPECT_THAT(FakePtzLibrary::moves(), ElementsAre(IsMove(12.5, 3, -45.0, 1, 70, 0)));
}

TEST_F(PtzHeadTest, StopsAllAxes) {
  head.ptzStop();
  EXPECT_THAT(FakePtzLibrary::moves(), ElementsAre(IsStop()));
}

TEST_F(PtzHeadTest, GoesHomeAtFullSpeed) {
  head.gotoHome();
  ASSERT_EQ(FakePtzLibrary::homeCount(), 1);
  const FakePtzLibrary::Home home = FakePtzLibrary::homes()[0];
  EXPECT_EQ(home.channel, 1);
  EXPECT_EQ(home.source, "Trailmark");
  EXPECT_EQ(home.speed, 100);
  EXPECT_THAT(home.reserved, ElementsAre(0, 0, 0, 0));
}

TEST_F(PtzHeadTest, ReadsWhereTheHeadIs) {
  FakePtzLibrary::setStatus({12.5F, 0, -30.25F, 0, 4711, 0});
  const auto status = head.getStatus();
  ASSERT_TRUE(status);
  EXPECT_EQ(status->pan, 12.5);
  EXPECT_EQ(status->tilt, -30.25);
  EXPECT_EQ(status->zoom, 4711);
  EXPECT_FALSE(status->isMoving);
  EXPECT_THAT(FakePtzLibrary::statusChannels(), ElementsAre(1));
}

TEST_F(PtzHeadTest, TheHeadMovesWhenAnyAxisSaysOne) {
  for (const ptztolva_status& moving :
       {ptztolva_status{0, 1, 0, 0, 0, 0}, ptztolva_status{0, 0, 0, 1, 0, 0},
        ptztolva_status{0, 0, 0, 0, 0, 1}}) {
    FakePtzLibrary::setStatus(moving);
    EXPECT_TRUE(head.getStatus().value().isMoving);
  }
  FakePtzLibrary::setStatus({0, 2, 0, -1, 0, 2});
  EXPECT_FALSE(head.getStatus().value().isMoving);
}

TEST_F(PtzHeadTest, AMoveThatFailsIsLoggedWithTwoLineFeeds) {
  FakePtzLibrary::failMoves(1, "busy");
  head.ptzMove(0, PtzHead::CONTINUOUS, 0, PtzHead::CONTINUOUS, 0, PtzHead::CONTINUOUS);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Failed ptztolva_move_ptz_travo: busy\n\n"), 1);
}

TEST_F(PtzHeadTest, AStopThatFailsIsPrinted) {
  FakePtzLibrary::failMoves(1, "busy");
  EXPECT_EQ(outputOf([&] { head.ptzStop(); }), "Failed ptztolva_move_ptz_travo: busy\n");
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
}

TEST_F(PtzHeadTest, AWayHomeThatFailsIsPrinted) {
  FakePtzLibrary::failHome(1, "lost");
  EXPECT_EQ(outputOf([&] { head.gotoHome(); }), "Failed ptztolva_goto_home: lost\n");
}

TEST_F(PtzHeadTest, AStatusThatCannotBeReadIsPrintedAndIsNone) {
  FakePtzLibrary::failStatus(1, "mute");
  EXPECT_EQ(outputOf([&] { EXPECT_FALSE(head.getStatus()); }),
            "Failed ptztolva_get_ptz_status: mute\n");
}

}  // namespace
