#include "app/daemonize.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/file_descriptor.h"
#include "fakes/log_capture.h"

namespace {

// Which calls into the system are to fail in this process.
bool s_failFork = false;
bool s_failSetsid = false;

template <typename Function>
Function* systemCall(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

pid_t fork() noexcept {
  if (s_failFork) {
    errno = EAGAIN;
    return -1;
  }
  return systemCall<pid_t()>("fork")();
}

pid_t setsid() noexcept {
  if (s_failSetsid) {
    errno = EPERM;
    return -1;
  }
  return systemCall<pid_t()>("setsid")();
}

}  // extern "C"

namespace {

int s_reportEnd = -1;

void report(const std::string& text) {
  EXPECT_EQ(write(s_reportEnd, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

// What a process that is ended by daemonize has logged.
void reportLog() {
  for (const LogLine& line : LogCapture::lines()) {
    report(std::to_string(line.priority) + " " + line.text);
  }
  if (!LogCapture::lines().empty()) {
    report(LogCapture::identity() + " " + std::to_string(LogCapture::options()) + " " +
           std::to_string(LogCapture::facility()) + " closed " +
           std::to_string(LogCapture::closeCount()) + "\n");
  }
}

int exitStatus(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Runs what stands in for the program in a child, and waits for it and for what it leaves behind.
class DaemonizeTest : public testing::Test {
 protected:
  struct Result {
    int parentStatus = -1;  // of the process that called daemonize
    int daemonStatus = -1;  // of the one that it left behind; -1 when there was none
    pid_t parent = -1;
    pid_t daemon = -1;
    std::string report;
  };

  template <typename Program>
  Result run(Program program) {
    // What the program leaves behind becomes a child of this process.
    EXPECT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    std::fflush(nullptr);
    Result result;
    result.parent = fork();
    if (result.parent == 0) {
      close(ends[0]);
      s_reportEnd = ends[1];
      LogCapture::clear();
      program();
      _exit(0);
    }
    close(ends[1]);
    const FileDescriptor reports(ends[0]);
    result.report = readAll(reports.get());
    int status = 0;
    EXPECT_EQ(waitpid(result.parent, &status, 0), result.parent);
    result.parentStatus = exitStatus(status);
    result.daemon = waitpid(-1, &status, 0);
    result.daemonStatus = result.daemon > 0 ? exitStatus(status) : -1;
    EXPECT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 0), 0);
    return result;
  }

 private:
  static std::string readAll(int end) {
    std::string all;
    char buffer[256];
    ssize_t count = 0;
    while ((count = read(end, buffer, sizeof buffer)) > 0) {
      all.append(buffer, count);
    }
    return all;
  }
};

TEST_F(DaemonizeTest, TheCallerExitsWithZeroAndAChildReturns) {
  const Result result = run([] {
    utils::daemonize("SentrelVideo");
    report("returned in " + std::to_string(getpid()));
    _exit(23);
  });
  EXPECT_EQ(result.parentStatus, 0);
  EXPECT_EQ(result.daemonStatus, 23);
  EXPECT_NE(result.daemon, result.parent);
  EXPECT_EQ(result.report, "returned in " + std::to_string(result.daemon));
}

TEST_F(DaemonizeTest, TheChildLeadsASessionOfItsOwn) {
  const Result result = run([] {
    utils::daemonize("SentrelVideo");
    report(getsid(0) == getpid() ? "leader" : "follower");
    _exit(0);
  });
  EXPECT_EQ(result.report, "leader");
}

TEST_F(DaemonizeTest, NothingIsLoggedOnSuccess) {
  const Result result = run([] {
    utils::daemonize("SentrelVideo");
    report(LogCapture::lines().empty() ? "silent" : "noisy");
    _exit(0);
  });
  EXPECT_EQ(result.report, "silent");
}

TEST_F(DaemonizeTest, WorkingDirectoryUmaskAndDescriptorsStay) {
  const Result result = run([] {
    struct stat before[3];
    for (int descriptor = 0; descriptor < 3; ++descriptor) {
      fstat(descriptor, &before[descriptor]);
    }
    if (chdir("/usr") != 0) {
      _exit(1);
    }
    umask(0137);
    utils::daemonize("SentrelVideo");
    bool same = true;
    for (int descriptor = 0; descriptor < 3; ++descriptor) {
      struct stat after;
      same = same && fstat(descriptor, &after) == 0 && after.st_ino == before[descriptor].st_ino &&
             after.st_dev == before[descriptor].st_dev;
    }
    char directory[PATH_MAX];
    report(std::string(getcwd(directory, sizeof directory)) + " " + std::to_string(umask(0)) +
           (same ? " same" : " changed"));
    _exit(0);
  });
  EXPECT_EQ(result.report, "/usr " + std::to_string(0137) + " same");
}

TEST_F(DaemonizeTest, AFailedForkIsLoggedAndEndsTheProcessWithZero) {
  const Result result = run([] {
    s_failFork = true;
    std::atexit(reportLog);
    utils::daemonize("SomeName");
    _exit(99);
  });
  EXPECT_EQ(result.parentStatus, 0);
  EXPECT_EQ(result.daemon, -1);
  EXPECT_EQ(result.report, std::to_string(LOG_ERR) + " Could not deamonize the application\n" +
                               "SomeName " + std::to_string(LOG_NDELAY) + " " +
                               std::to_string(LOG_USER) + " closed 1\n");
}

TEST_F(DaemonizeTest, AFailedSessionIsLoggedAndEndsTheChildWithOne) {
  const Result result = run([] {
    s_failSetsid = true;
    std::atexit(reportLog);
    utils::daemonize("SomeName");
    _exit(99);
  });
  EXPECT_EQ(result.parentStatus, 0);
  EXPECT_EQ(result.daemonStatus, 1);
  EXPECT_EQ(result.report, std::to_string(LOG_ERR) + " Could not set sid for the application\n" +
                               "SomeName " + std::to_string(LOG_NDELAY) + " " +
                               std::to_string(LOG_USER) + " closed 1\n");
}

}  // namespace
