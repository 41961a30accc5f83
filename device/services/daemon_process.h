#ifndef DEVICE_SERVICES_DAEMON_PROCESS_H
#define DEVICE_SERVICES_DAEMON_PROCESS_H

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "base/glib_ptr.h"

namespace device {

// How a daemon ended.
struct DaemonEnd {
  bool asked = false;   // it had been told to end
  bool killed = false;  // it did not within the grace time
  int waitStatus = 0;   // as of waitpid()
  double seconds = 0;   // from the request to the end

  bool ok() const { return asked && !killed && waitStatus == 0; }
};

// "status 0", "signal 11 (Segmentation fault)".
std::string describeWaitStatus(int waitStatus);

// Runs a program that detaches itself: makes this process the one that inherits it, finds it and
// waits for it. A program that stays is accepted as well. Nothing else may start processes until
// the launcher has gone. Used from the thread of the main loop only; descriptors above 2 are not
// handed on.
class DaemonProcess {
 public:
  using OnEnd = std::function<void(const DaemonEnd& end)>;

  static constexpr int GRACE_SECONDS = 10;

  // Throws std::runtime_error when the program cannot be started. Its end is told from the main
  // loop, also when it ends at once.
  DaemonProcess(std::vector<std::string> command, OnEnd onEnd, int graceSeconds = GRACE_SECONDS);
  DaemonProcess(const DaemonProcess&) = delete;
  DaemonProcess& operator=(const DaemonProcess&) = delete;

  // Kills what still runs.
  ~DaemonProcess();

  bool isRunning() const { return pid != 0; }

  // Asks for the end by SIGTERM, and after the grace time enforces it. Again is ignored.
  void terminate();

 private:
  static void ended(GPid pid, gint waitStatus, gpointer self);
  static gboolean graceOver(gpointer self);
  void watch(pid_t child);
  // The process that the launcher left behind, 0 when there is none.
  pid_t inherited() const;

  OnEnd onEnd;
  int graceSeconds;
  std::set<pid_t> others;  // children from before
  pid_t pid = 0;           // of the launcher, then of the daemon; 0 when there is none
  bool launching = true;
  std::int64_t asked = 0;  // when the end was asked for, monotonic microseconds
  bool killed = false;
  GSourcePtr watchOfChild;
  GSourcePtr grace;
};

}  // namespace device

#endif
