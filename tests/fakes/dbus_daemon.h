// A message bus of the test program's own in the place of the system's.
#ifndef TESTS_FAKES_DBUS_DAEMON_H
#define TESTS_FAKES_DBUS_DAEMON_H

#include <gio/gio.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "base/glib_ptr.h"

// From its construction to its end every system bus client of the process that is new finds this
// bus. The daemon is a program of its own, never a fork of this one: a fork of a process with
// threads may wait forever for a lock that a thread held, and would keep the test's output open
// meanwhile.
class DbusDaemon {
 public:
  DbusDaemon() {
    // The kernel ends the daemon even when the test program dies.
    const char* command[] = {"setpriv",           "--pdeathsig", "TERM",        "dbus-daemon",
                             "--session",         "--nofork",    "--nopidfile", "--nosyslog",
                             "--print-address=1", nullptr};
    int output = -1;
    ErrorSlot error;
    constexpr auto FLAGS = static_cast<GSpawnFlags>(
        G_SPAWN_SEARCH_PATH | G_SPAWN_DO_NOT_REAP_CHILD | G_SPAWN_STDERR_TO_DEV_NULL);
    if (!g_spawn_async_with_pipes(nullptr, const_cast<char**>(command), nullptr, FLAGS, nullptr,
                                  nullptr, &pid, nullptr, &output, nullptr, error.out())) {
      throw std::runtime_error("no message bus: " + error.message());
    }
    // The daemon prints its address, which holds no blank, as soon as it can be reached.
    std::unique_ptr<FILE, int (*)(FILE*)> stream(fdopen(output, "r"), &fclose);
    char printed[256] = "";
    if (fscanf(stream.get(), "%255s", printed) != 1) {
      end();
      throw std::runtime_error("the message bus ended at once");
    }
    address = printed;
    setenv("DBUS_SYSTEM_BUS_ADDRESS", printed, 1);
  }
  DbusDaemon(const DbusDaemon&) = delete;
  DbusDaemon& operator=(const DbusDaemon&) = delete;
  ~DbusDaemon() { end(); }

  const char* getAddress() const { return address.c_str(); }

 private:
  void end() {
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    g_spawn_close_pid(pid);
  }

  GPid pid = 0;
  std::string address;
};

#endif
