// GStreamer has so many names that GLib's first table of them is given up for a larger one, and
// left to threads that may still read it. It was made when the library was loaded: what is made
// then is not looked for among the leaks.
#if defined(__SANITIZE_ADDRESS__)

#include <sanitizer/lsan_interface.h>

namespace {

void beforeLibraries(int, char**, char**) {
  __lsan_disable();
}

__attribute__((section(".preinit_array"),
               used)) void (*s_beforeLibraries)(int, char**, char**) = beforeLibraries;

__attribute__((constructor)) void afterLibraries() {
  __lsan_enable();
}

}  // namespace

#endif
