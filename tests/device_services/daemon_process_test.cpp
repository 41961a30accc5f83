#include "services/daemon_process.h"

#include <gtest/gtest.h>

#include <fstream>
#include <optional>

#include "private_bus.h"
#include "support/temporary_folder.h"

namespace device {
namespace {

class DaemonProcessTest : public testing::Test {
 protected:
  // A shell that detaches a script and leaves; the script says by a line in a file that it is
  // there.
  std::vector<std::string> detached(const std::string& script) {
    return {"/bin/sh", "-c", "setsid /bin/sh -c '" + script + "' & exit 0"};
  }

  std::string sayReady() { return "echo ready > " + readyFile + ";"; }

  bool isReady() {
    return iterateUntil([this] {
      // The script's words come without a wake-up of the main loop.
      g_main_context_wakeup(nullptr);
      std::ifstream file(readyFile);
      std::string word;
      return static_cast<bool>(file >> word);
    });
  }

  void start(std::vector<std::string> command, int grace = DaemonProcess::GRACE_SECONDS) {
    process.emplace(
        std::move(command), [this](const DaemonEnd& told) { end = told; }, grace);
  }

  bool hasEnded() {
    return iterateUntil([this] { return end.has_value(); });
  }

  TemporaryFolder folder;
  std::string readyFile = folder / "ready";
  std::optional<DaemonEnd> end;
  std::optional<DaemonProcess> process;
};

// Runs until it is told to end; a short sleep keeps the shell idle and lets it see the signal.
constexpr char UNTIL_TERM[] = " while :; do sleep 0.05; done";

TEST_F(DaemonProcessTest, DetachedProcessIsAskedAndItsStatusTold) {
  start(detached("trap \"exit 0\" TERM;" + sayReady() + UNTIL_TERM));
  ASSERT_TRUE(isReady());
  EXPECT_TRUE(process->isRunning());
  process->terminate();
  ASSERT_TRUE(hasEnded());
  EXPECT_TRUE(end->ok());
  EXPECT_EQ("status 0", describeWaitStatus(end->waitStatus));
  EXPECT_GT(end->seconds, 0);
  EXPECT_FALSE(process->isRunning());
}

TEST_F(DaemonProcessTest, RequestWhileItStillStartsReachesIt) {
  start(detached("trap \"exit 0\" TERM;" + sayReady() + UNTIL_TERM));
  process->terminate();
  EXPECT_TRUE(hasEnded());
}

TEST_F(DaemonProcessTest, OtherStatusIsNotOk) {
  start(detached("trap \"exit 3\" TERM;" + sayReady() + UNTIL_TERM));
  ASSERT_TRUE(isReady());
  process->terminate();
  ASSERT_TRUE(hasEnded());
  EXPECT_FALSE(end->ok());
  EXPECT_EQ("status 3", describeWaitStatus(end->waitStatus));
}

TEST_F(DaemonProcessTest, EndByItselfIsToldAsSuch) {
  start(detached(sayReady() + " exit 0"));
  ASSERT_TRUE(hasEnded());
  EXPECT_FALSE(end->asked);
  EXPECT_FALSE(end->ok());
}

TEST_F(DaemonProcessTest, CrashIsToldByItsSignal) {
  start(detached("kill -SEGV $$"));
  ASSERT_TRUE(hasEnded());
  EXPECT_TRUE(describeWaitStatus(end->waitStatus).starts_with("signal 11"));
}

TEST_F(DaemonProcessTest, ProcessThatDoesNotEndIsKilledAfterTheGraceTime) {
  start(detached("trap \"\" TERM;" + sayReady() + UNTIL_TERM), 1);
  ASSERT_TRUE(isReady());
  process->terminate();
  process->terminate();
  ASSERT_TRUE(hasEnded());
  EXPECT_TRUE(end->killed);
  EXPECT_FALSE(end->ok());
  EXPECT_GE(end->seconds, 1);
  EXPECT_TRUE(describeWaitStatus(end->waitStatus).starts_with("signal 9"));
}

TEST_F(DaemonProcessTest, ProgramThatStaysIsAcceptedToo) {
  start({"/bin/sh", "-c", "trap \"exit 0\" TERM;" + sayReady() + UNTIL_TERM});
  ASSERT_TRUE(isReady());
  process->terminate();
  ASSERT_TRUE(hasEnded());
  EXPECT_TRUE(end->ok());
}

TEST_F(DaemonProcessTest, ProgramThatDoesNotExistIsAnError) {
  EXPECT_THROW(start({folder / "none"}), std::runtime_error);
}

}  // namespace
}  // namespace device
