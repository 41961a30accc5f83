#include "fakes/fake_main_loop.h"

#include <glib-utils.h>

#include <mutex>

namespace {

std::mutex mutex;  // guards the recorded calls
std::vector<FakeMainLoop::Start> recorded;

}  // namespace

namespace FakeMainLoop {

void reset() {
  const std::lock_guard lock(mutex);
  recorded.clear();
}

std::vector<Start> starts() {
  const std::lock_guard lock(mutex);
  return recorded;
}

}  // namespace FakeMainLoop

extern "C" void mainloop_start(const char* app_name, const char* nice_name, const char* topic0) {
  const std::lock_guard lock(mutex);
  recorded.push_back({app_name, nice_name, topic0});
}
