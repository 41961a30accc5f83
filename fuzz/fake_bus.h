#ifndef FUZZ_FAKE_BUS_H
#define FUZZ_FAKE_BUS_H

#include <string>

// The system bus of the program: GIO's calls that reach it are replaced at link time. There is none
// unless a service is set on it.
namespace FakeBus {

// How a service answers every call.
enum class Reply {
  none,     // there is no bus
  error,    // the call fails
  nothing,  // a reply without arguments
  number,   // a reply of another type than what is expected
  text      // a reply of one text
};

void setService(Reply reply, const std::string& text);

}  // namespace FakeBus

#endif
