// Stream sockets of this machine, named by a path.
//
// Functions that return a bool or a descriptor leave the reason in errno.
#ifndef SOCKET_LOCAL_SOCKET_H
#define SOCKET_LOCAL_SOCKET_H

#include <chrono>
#include <cstdint>
#include <span>
#include <string>

#include "socket/file_descriptor.h"

namespace local_socket {

// Connected, or closed on failure. Does not wait for a service whose queue is full.
FileDescriptor connectTo(const std::string& path);

// Listening, or closed on failure. Takes the place of a socket file that nobody listens on any
// more; a path in use is a failure (EADDRINUSE).
FileDescriptor listenAt(const std::string& path);

// Limits each single send and receive; 0 is no limit.
bool setTimeout(int fd, std::chrono::milliseconds timeout);

// False when not everything could be sent. Never raises SIGPIPE.
bool sendAll(int fd, std::span<const std::uint8_t> bytes);

// Fills bytes. False at the end of the stream (errno 0) or on failure.
bool receiveAll(int fd, std::span<std::uint8_t> bytes);

}  // namespace local_socket

#endif
