#ifndef TESTS_FAKES_FAKE_MAIN_LOOP_H
#define TESTS_FAKES_FAKE_MAIN_LOOP_H

#include <string>
#include <vector>

// The main loop of the tests (libglib-utils replaced at link time): it is recorded, not started.
// Process-wide, thread-safe.
namespace FakeMainLoop {

struct Start {
  std::string appName;
  std::string niceName;
  std::string topic0;
};

void reset();
std::vector<Start> starts();

}  // namespace FakeMainLoop

#endif
