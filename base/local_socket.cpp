#include "base/local_socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

namespace local_socket {

namespace {

constexpr int BACKLOG = 16;

// A path that is cut fills the address to its last byte.
std::optional<sockaddr_un> addressOf(const std::string& path, LongPath longPath) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (longPath == LongPath::refuse && (path.empty() || path.size() >= sizeof(address.sun_path))) {
    errno = ENAMETOOLONG;
    return std::nullopt;
  }
  std::memcpy(address.sun_path, path.data(), std::min(path.size(), sizeof(address.sun_path)));
  return address;
}

FileDescriptor openSocket() {
  return FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

// Closes the descriptor without losing the reason.
FileDescriptor failed(FileDescriptor fd) {
  const int reason = errno;
  fd.reset();
  errno = reason;
  return fd;
}

bool connectSocket(int fd, const sockaddr_un& address) {
  return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

bool isAbandonedSocket(const std::string& path) {
  struct stat file {};
  if (lstat(path.c_str(), &file) != 0 || !S_ISSOCK(file.st_mode)) {
    return false;
  }
  return !connectTo(path).isOpen() && errno == ECONNREFUSED;
}

}  // namespace

FileDescriptor connectTo(const std::string& path, std::chrono::milliseconds timeout,
                         LongPath longPath) {
  const std::optional<sockaddr_un> address = addressOf(path, longPath);
  FileDescriptor fd = address ? openSocket() : FileDescriptor();
  if (!fd.isOpen()) {
    return fd;
  }
  if (timeout.count() > 0) {
    return setTimeout(fd.get(), timeout) && connectSocket(fd.get(), *address)
               ? std::move(fd)
               : failed(std::move(fd));
  }
  return setBlocking(fd.get(), false) && connectSocket(fd.get(), *address) &&
                 setBlocking(fd.get(), true)
             ? std::move(fd)
             : failed(std::move(fd));
}

FileDescriptor listenAt(const std::string& path) {
  const std::optional<sockaddr_un> address = addressOf(path, LongPath::refuse);
  FileDescriptor fd = address ? openSocket() : FileDescriptor();
  if (!fd.isOpen() || !setBlocking(fd.get(), false)) {
    return failed(std::move(fd));
  }
  if (isAbandonedSocket(path)) {
    unlink(path.c_str());
  }
  const auto* generic = reinterpret_cast<const sockaddr*>(&*address);
  if (bind(fd.get(), generic, sizeof(*address)) != 0 || listen(fd.get(), BACKLOG) != 0) {
    return failed(std::move(fd));
  }
  return fd;
}

bool setBlocking(int fd, bool isBlocking) {
  const int flags = fcntl(fd, F_GETFL);
  return flags >= 0 &&
         fcntl(fd, F_SETFL, isBlocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK) == 0;
}

bool setTimeout(int fd, std::chrono::milliseconds timeout) {
  const timeval limit{.tv_sec = timeout.count() / 1000, .tv_usec = timeout.count() % 1000 * 1000};
  return setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)) == 0 &&
         setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit)) == 0;
}

bool sendAll(int fd, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) {
      continue;
    }
    if (sent < 0) {
      return false;
    }
    bytes = bytes.subspan(static_cast<std::size_t>(sent));
  }
  return true;
}

bool receiveAll(int fd, std::span<std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t received = recv(fd, bytes.data(), bytes.size(), 0);
    if (received < 0 && errno == EINTR) {
      continue;
    }
    if (received == 0) {
      errno = 0;
    }
    if (received <= 0) {
      return false;
    }
    bytes = bytes.subspan(static_cast<std::size_t>(received));
  }
  return true;
}

}  // namespace local_socket
