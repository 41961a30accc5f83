#include <glib-unix.h>

#include <csignal>

#include "app/options.h"
#include "app/virtual_device.h"
#include "base/command_line.h"
#include "services/bus.h"

namespace {

gboolean stopDevice(gpointer device) {
  static_cast<device::VirtualDevice*>(device)->stop();
  return G_SOURCE_CONTINUE;
}

int runDevice(const device::Options& options) {
  const auto connection = device::connectToSystemBus();
  device::VirtualDevice device(options, device::DevicePaths(), connection.get());
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    g_unix_signal_add(signal, stopDevice, &device);
  }
  return device.run();
}

}  // namespace

int main(int argc, char** argv) {
  return runProgram([&] { return runDevice(device::parseOptions({argv, argv + argc})); });
}
