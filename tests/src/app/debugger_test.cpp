#include "app/debugger.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <syslog.h>

#include <array>
#include <map>
#include <string>
#include <vector>

#include "fakes/log_capture.h"

// The handler keeps the symbols' memory on purpose: in a faulty process nothing may be freed.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:backtrace_symbols";
}

namespace {

constexpr std::array FAULTS{SIGHUP, SIGINT,  SIGQUIT, SIGILL, SIGABRT,
                            SIGFPE, SIGSEGV, SIGPIPE, SIGALRM};

struct sigaction actionOf(int signal) {
  struct sigaction action {};
  sigaction(signal, nullptr, &action);
  return action;
}

// Puts back what the handlers replace.
class DebuggerTest : public testing::Test {
 protected:
  DebuggerTest() {
    for (int signal = 1; signal < NSIG; ++signal) {
      before[signal] = actionOf(signal);
    }
    LogCapture::clear();
    Debugger::initialize();
  }

  ~DebuggerTest() override {
    for (const int signal : FAULTS) {
      sigaction(signal, &before[signal], nullptr);
    }
  }

  std::map<int, struct sigaction> before;
};

class DebuggerSignalTest : public DebuggerTest, public testing::WithParamInterface<int> {};

// That the test goes on shows that the handler neither exits nor raises the signal again.
TEST_P(DebuggerSignalTest, LogsTheStackAndReturns) {
  raise(GetParam());

  const std::string description = g_strsignal(GetParam());
  const std::vector<LogLine> lines = LogCapture::lines();
  ASSERT_GE(lines.size(), 3U);
  EXPECT_LE(lines.size(), 12U) << "at most 10 frames";
  EXPECT_EQ(lines.front().text, description + " STACKTRACE BEGIN\n");
  EXPECT_EQ(lines.back().text, description + " STACKTRACE END\n");
  for (const LogLine& line : lines) {
    EXPECT_EQ(line.priority, LOG_ERR);
    EXPECT_TRUE(line.text.ends_with("\n"));
  }
}

TEST_P(DebuggerSignalTest, LogsEachTime) {
  raise(GetParam());
  raise(GetParam());
  EXPECT_EQ(LogCapture::count(std::string(g_strsignal(GetParam())) + " STACKTRACE BEGIN\n"), 2);
}

INSTANTIATE_TEST_SUITE_P(Faults, DebuggerSignalTest, testing::ValuesIn(FAULTS));

TEST_F(DebuggerTest, OtherSignalsAreLeftAlone) {
  for (const int signal : {SIGTERM, SIGBUS, SIGUSR1, SIGUSR2, SIGCHLD, SIGTRAP}) {
    EXPECT_EQ(actionOf(signal).sa_handler, before[signal].sa_handler) << signal;
  }
}

TEST_F(DebuggerTest, InstallingLogsNothing) {
  EXPECT_TRUE(LogCapture::lines().empty());
}

}  // namespace
