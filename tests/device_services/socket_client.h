#ifndef DEVICE_SERVICES_SOCKET_CLIENT_H
#define DEVICE_SERVICES_SOCKET_CLIENT_H

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cerrno>
#include <string>
#include <string_view>

#include "base/file_descriptor.h"
#include "private_bus.h"

namespace device {

// A client of a local stream socket whose server lives in the same thread.
class SocketClient {
 public:
  explicit SocketClient(const std::string& path) : fd(socket(AF_UNIX, SOCK_STREAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    EXPECT_EQ(0, connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)));
  }

  void send(std::string_view text) {
    EXPECT_EQ(static_cast<ssize_t>(text.size()),
              ::send(fd.get(), text.data(), text.size(), MSG_NOSIGNAL));
  }

  // Exactly so many bytes, less when the server closes before.
  std::string receive(std::size_t count) {
    iterateUntil([&] { return poll() || received.size() >= count; });
    const std::string taken = received.substr(0, count);
    received.erase(0, count);
    return taken;
  }

  // Up to the end character, which is included.
  std::string receiveUntil(char end) {
    iterateUntil([&] { return poll() || received.find(end) != std::string::npos; });
    return receive(received.find(end) + 1);
  }

  // Waits for the server to close the connection.
  bool isClosed() {
    return iterateUntil([&] { return poll(); });
  }

  // Bytes that have come and were not taken.
  std::size_t waiting() {
    poll();
    return received.size();
  }

 private:
  // Takes what is there; true when the connection is closed.
  bool poll() {
    std::array<char, 65536> buffer;
    while (!closed) {
      const ssize_t count = recv(fd.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
      if (count > 0) {
        received.append(buffer.data(), static_cast<std::size_t>(count));
        continue;
      }
      closed = count == 0 || errno != EAGAIN;
      if (!closed) {
        break;
      }
    }
    return closed;
  }

  FileDescriptor fd;
  std::string received;
  bool closed = false;
};

}  // namespace device

#endif
