#include "services/console.h"

#include <gtest/gtest.h>

#include "support/temporary_folder.h"

namespace device {
namespace {

Status status() {
  Status status;
  status.time = 12;
  status.state = "running";
  status.target = Direction{12.3, -8.1};
  status.head.pan = 11.9;
  status.head.tilt = -8.1;
  status.multiplier = 3.2;
  status.objects = 3;
  return status;
}

TEST(StatusLineTest, TellsStateTargetHeadErrorAndObjects) {
  // The error is the angle on the sphere: 0.4 degrees of pan at a tilt of -8.1.
  EXPECT_EQ(
      "  12.0 s  running     target   12.3  -8.1  head   11.9  -8.1 x3.2  error   0.4  objects 3",
      statusLine(status()));
}

TEST(StatusLineTest, WithoutTargetOrStateTheColumnsStay) {
  Status idle = status();
  idle.target.reset();
  idle.state.clear();
  EXPECT_EQ(
      "  12.0 s  -           target      -     -  head   11.9  -8.1 x3.2  error     -  objects 3",
      statusLine(idle));
}

TEST(ConsoleTest, QuietConsoleStillWritesTheLogFile) {
  const TemporaryFolder folder;
  testing::internal::CaptureStdout();
  {
    Console console(true);
    console.openLog(folder / "new/syslog.txt");
    console.status(status());
    console.log(1.5, {4, "SentrelVideo", "something"});
    console.message("the end");
  }
  EXPECT_EQ("the end\n", testing::internal::GetCapturedStdout());
  EXPECT_EQ("   1.500 s  warning  SentrelVideo: something\n", readText(folder / "new/syslog.txt"));
}

TEST(ConsoleTest, LinesAreShownOtherwise) {
  testing::internal::CaptureStdout();
  Console console(false);
  console.status(status());
  console.log(1.5, {3, "SentrelVideo", "something"});
  EXPECT_EQ(statusLine(status()) + "\n   1.500 s  err      SentrelVideo: something\n",
            testing::internal::GetCapturedStdout());
}

}  // namespace
}  // namespace device
