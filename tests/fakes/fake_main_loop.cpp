#include "fakes/fake_main_loop.h"

#include <glib-utils.h>

#include "base/mutex.h"

namespace {

Mutex s_mutex;  // guards the recorded calls
std::vector<FakeMainLoop::Start> s_recorded;

}  // namespace

namespace FakeMainLoop {

void reset() {
  const LockGuard lock(s_mutex);
  s_recorded.clear();
}

std::vector<Start> starts() {
  const LockGuard lock(s_mutex);
  return s_recorded;
}

}  // namespace FakeMainLoop

extern "C" void mainloop_start(const char* appName, const char* niceName, const char* topic0) {
  const LockGuard lock(s_mutex);
  s_recorded.push_back({appName, niceName, topic0});
}
