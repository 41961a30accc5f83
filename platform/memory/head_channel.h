#ifndef MEMORY_HEAD_CHANNEL_H
#define MEMORY_HEAD_CHANNEL_H

namespace memory {

// Where the head's channel would be. Whatever the program connects to is the head: connect, send
// and recv of the C library are replaced, and every line that is sent is answered at once.
inline constexpr const char* HEAD_CHANNEL = "memory";

}  // namespace memory

#endif
