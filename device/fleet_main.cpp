#include <glib-unix.h>

#include <csignal>
#include <iostream>

#include "base/command_line.h"
#include "base/glib_ptr.h"
#include "fleet/fleet_options.h"
#include "fleet/fleet_page.h"

namespace {

gboolean stop(gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_CONTINUE;
}

void announce(const std::string& text) {
  std::cout << text << std::endl;
}

int show(const device::FleetOptions& options) {
  const GMainLoopPtr loop(g_main_loop_new(nullptr, FALSE));
  const device::FleetPage page(options, announce);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    g_unix_signal_add(signal, stop, loop.get());
  }
  announce("The fleet's page: " + page.url());
  g_main_loop_run(loop.get());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return runProgram([&] { return show(device::parseFleetOptions({argv, argv + argc})); });
}
