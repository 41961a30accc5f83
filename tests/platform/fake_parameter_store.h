// A parameter store inside the test program. Its ovParameter* functions take the place of the
// library's for every platform library that the program loads.
#ifndef TESTS_PLATFORM_FAKE_PARAMETER_STORE_H
#define TESTS_PLATFORM_FAKE_PARAMETER_STORE_H

#include <map>
#include <string>

class FakeParameterStore {
 public:
  FakeParameterStore();
  ~FakeParameterStore();
  FakeParameterStore(const FakeParameterStore&) = delete;
  FakeParameterStore& operator=(const FakeParameterStore&) = delete;

  std::map<std::string, std::string> values;
  bool reachable = true;
  int openHandles = 0;
};

#endif
