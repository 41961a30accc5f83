// Stream sockets of this machine, named by a path.
//
// Functions that return a bool or a descriptor leave the reason of a failure in errno.
#ifndef BASE_LOCAL_SOCKET_H
#define BASE_LOCAL_SOCKET_H

#include <chrono>
#include <cstdint>
#include <span>
#include <string>

#include "base/file_descriptor.h"

namespace local_socket {

// What to do with a path that a socket's address cannot hold.
enum class LongPath { refuse, cut };

// A connected descriptor, or a closed one on failure. Waits at most for the time-out while the
// service's queue is full, and limits each later send and receive to it; 0 does not wait for the
// queue and limits nothing.
FileDescriptor connectTo(const std::string& path, std::chrono::milliseconds timeout = {},
                         LongPath longPath = LongPath::refuse);

// Listening, or closed on failure. Takes the place of a socket file that nobody listens on any
// more; a path in use is a failure (EADDRINUSE).
FileDescriptor listenAt(const std::string& path);

// Whether calls on a descriptor wait. Connected descriptors do until told otherwise, listening ones
// do not.
bool setBlocking(int fd, bool isBlocking);

// Limits each single send and receive; 0 is no limit.
bool setTimeout(int fd, std::chrono::milliseconds timeout);

// False when not everything could be sent. Never raises SIGPIPE.
bool sendAll(int fd, std::span<const std::uint8_t> bytes);

// Fills bytes. False at the end of the stream (errno 0) or on failure.
bool receiveAll(int fd, std::span<std::uint8_t> bytes);

}  // namespace local_socket

#endif
