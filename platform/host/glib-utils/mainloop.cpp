#include "glib-utils.h"

#include <glib.h>

#include <mutex>

namespace {

// Runs until the process ends; nobody joins the thread.
gpointer runMainLoop(gpointer) {
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  g_main_loop_run(loop);
  g_main_loop_unref(loop);
  return nullptr;
}

void start(const char* appName, const char* niceName) {
  if (appName != nullptr) {
    g_set_prgname(appName);
  }
  if (niceName != nullptr) {
    g_set_application_name(niceName);
  }
  g_thread_unref(g_thread_new("mainloop", runMainLoop, nullptr));
}

}  // namespace

// This machine shows an application's names nowhere but in GLib's messages, and no topic at all.
void mainloop_start(const char* appName, const char* niceName, const char* /*topic0*/) {
  static std::once_flag s_started;
  std::call_once(s_started, start, appName, niceName);
}
