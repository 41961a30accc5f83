#include "services/daemon_process.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "base/text.h"
#include "base/units.h"

namespace device {

namespace {

pid_t parentOf(const std::filesystem::path& process) {
  std::ifstream file(process / "stat");
  std::string text;
  std::getline(file, text);
  // The name in brackets may hold anything; a state and the parent follow it.
  const std::size_t end = text.rfind(')');
  if (end == std::string::npos || text.size() < end + 4) {
    return 0;
  }
  const auto parent = text::leadingNumber<pid_t>(std::string_view(text).substr(end + 4));
  return parent ? parent->value : 0;
}

// The children of this process, those included that have ended and were not waited for.
std::set<pid_t> children() {
  std::set<pid_t> found;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const auto pid = text::toNumber<pid_t>(entry.path().filename().native());
    if (pid && parentOf(entry.path()) == getpid()) {
      found.insert(*pid);
    }
  }
  return found;
}

std::vector<char*> toArgv(std::vector<std::string>& command) {
  std::vector<char*> argv;
  argv.reserve(command.size() + 1);
  for (std::string& argument : command) {
    argv.push_back(argument.data());
  }
  argv.push_back(nullptr);
  return argv;
}

}  // namespace

std::string describeWaitStatus(int waitStatus) {
  if (WIFEXITED(waitStatus)) {
    return "status " + std::to_string(WEXITSTATUS(waitStatus));
  }
  const int signal = WTERMSIG(waitStatus);
  return "signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
}

DaemonProcess::DaemonProcess(std::vector<std::string> command, OnEnd onEnd, int graceSeconds)
    : onEnd(std::move(onEnd)), graceSeconds(graceSeconds), others(children()) {
  prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
  ErrorSlot error;
  GPid child = 0;
  constexpr GSpawnFlags FLAGS = G_SPAWN_DO_NOT_REAP_CHILD;
  if (!g_spawn_async(nullptr, toArgv(command).data(), nullptr, FLAGS, nullptr, nullptr, &child,
                     error.out())) {
    throw std::runtime_error("Cannot start the daemon: " + error.message());
  }
  watch(child);
}

DaemonProcess::~DaemonProcess() {
  if (pid == 0) {
    return;
  }
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
}

void DaemonProcess::terminate() {
  if (pid == 0 || asked != 0) {
    return;
  }
  asked = g_get_monotonic_time();
  kill(pid, SIGTERM);
  // Not the timer of whole seconds: to wake up together with others, it may fire early.
  grace = startTimer(static_cast<guint>(graceSeconds * units::MILLISECONDS_PER_SECOND), graceOver,
                     this);
}

void DaemonProcess::watch(pid_t child) {
  pid = child;
  watchOfChild.reset(g_child_watch_source_new(child));
  g_source_set_callback(watchOfChild.get(), G_SOURCE_FUNC(ended), this, nullptr);
  g_source_attach(watchOfChild.get(), g_main_context_get_thread_default());
}

pid_t DaemonProcess::inherited() const {
  for (const pid_t child : children()) {
    if (!others.contains(child)) {
      return child;
    }
  }
  return 0;
}

void DaemonProcess::ended(GPid, gint waitStatus, gpointer data) {
  auto* self = static_cast<DaemonProcess*>(data);
  const bool launched = std::exchange(self->launching, false);
  const pid_t child = launched ? self->inherited() : 0;
  if (child != 0) {
    self->watch(child);
    if (self->asked != 0) {
      kill(child, self->killed ? SIGKILL : SIGTERM);
    }
    return;
  }
  self->pid = 0;
  self->grace.reset();
  DaemonEnd end{self->asked != 0, self->killed, waitStatus, 0};
  if (end.asked) {
    end.seconds = units::toSeconds(g_get_monotonic_time() - self->asked);
  }
  self->onEnd(end);
}

gboolean DaemonProcess::graceOver(gpointer data) {
  auto* self = static_cast<DaemonProcess*>(data);
  self->killed = true;
  kill(self->pid, SIGKILL);
  return G_SOURCE_REMOVE;
}

}  // namespace device
