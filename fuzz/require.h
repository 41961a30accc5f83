#ifndef FUZZ_REQUIRE_H
#define FUZZ_REQUIRE_H

#include <string>

namespace fuzz {

// What must hold for every input. When it does not, the program tells what and ends as by a crash,
// so that the input is kept.
void require(bool holds, const char* what);

// The same, with values that help to understand it.
void require(bool holds, const char* what, const std::string& details);

}  // namespace fuzz

#endif
