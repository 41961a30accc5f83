#include "fuzz/require.h"

#include <cstdio>
#include <cstdlib>

namespace fuzz {

void require(bool holds, const char* what) {
  if (!holds) {
    require(false, what, "");
  }
}

void require(bool holds, const char* what, const std::string& details) {
  if (holds) {
    return;
  }
  std::fprintf(stderr, "does not hold: %s\n%s\n", what, details.c_str());
  std::abort();
}

}  // namespace fuzz
