#include <glib-unix.h>

#include <chrono>
#include <csignal>
#include <iostream>

#include "base/command_line.h"
#include "bridge/bridge.h"
#include "onvif_client/camera_search.h"
#include "services/bus.h"

namespace {

using device::bridge::Bridge;
using device::bridge::BridgeOptions;
using device::bridge::SettingsFiles;

gboolean stopBridge(gpointer bridge) {
  static_cast<Bridge*>(bridge)->stop();
  return G_SOURCE_CONTINUE;
}

int tellCameras() {
  for (const auto& camera : device::onvif::findCameras(std::chrono::seconds(4))) {
    std::cout << camera.addresses.front() << "  " << camera.name << "  " << camera.hardware << '\n';
  }
  return 0;
}

int runBridge(const BridgeOptions& options) {
  SettingsFiles files(options.settings, options.credentials);
  const auto connection = device::connectToSystemBus();
  Bridge bridge(options, files, device::DevicePaths(), connection.get());
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    g_unix_signal_add(signal, stopBridge, &bridge);
  }
  return bridge.run();
}

}  // namespace

int main(int argc, char** argv) {
  // No proxy stands between here and a camera; to look for one would need the user's settings.
  g_setenv("GIO_USE_PROXY_RESOLVER", "dummy", TRUE);
  g_setenv("GSETTINGS_BACKEND", "memory", TRUE);
  return runProgram([&] {
    const BridgeOptions options = device::bridge::parseBridgeOptions({argv, argv + argc});
    return options.find ? tellCameras() : runBridge(options);
  });
}
