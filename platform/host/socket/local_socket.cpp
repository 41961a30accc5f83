#include "socket/local_socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <optional>

namespace local_socket {
namespace {

constexpr int kBacklog = 16;

std::optional<sockaddr_un> addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof(address.sun_path)) {
    errno = ENAMETOOLONG;
    return std::nullopt;
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

FileDescriptor openSocket() {
  return FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

const sockaddr* generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

bool setBlocking(int fd) {
  const int flags = fcntl(fd, F_GETFL);
  return flags >= 0 && fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) == 0;
}

bool isAbandonedSocket(const std::string& path) {
  struct stat file {};
  if (lstat(path.c_str(), &file) != 0 || !S_ISSOCK(file.st_mode)) return false;
  return !connectTo(path).isOpen() && errno == ECONNREFUSED;
}

bool bindTo(int fd, const sockaddr_un& address) {
  return bind(fd, generic(address), sizeof(address)) == 0;
}

}  // namespace

FileDescriptor connectTo(const std::string& path) {
  const std::optional<sockaddr_un> address = addressOf(path);
  if (!address) return {};
  FileDescriptor fd = openSocket();
  if (!fd.isOpen() || connect(fd.get(), generic(*address), sizeof(*address)) != 0 ||
      !setBlocking(fd.get())) {
    const int reason = errno;
    fd.reset();
    errno = reason;
  }
  return fd;
}

FileDescriptor listenAt(const std::string& path) {
  const std::optional<sockaddr_un> address = addressOf(path);
  if (!address) return {};
  FileDescriptor fd = openSocket();
  if (!fd.isOpen()) return {};
  if (isAbandonedSocket(path)) unlink(path.c_str());
  if (!bindTo(fd.get(), *address) || listen(fd.get(), kBacklog) != 0) {
    const int reason = errno;
    fd.reset();
    errno = reason;
  }
  return fd;
}

bool setTimeout(int fd, std::chrono::milliseconds timeout) {
  const timeval limit{.tv_sec = timeout.count() / 1000, .tv_usec = timeout.count() % 1000 * 1000};
  return setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit)) == 0 &&
         setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit)) == 0;
}

bool sendAll(int fd, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(sent));
  }
  return true;
}

bool receiveAll(int fd, std::span<std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t received = recv(fd, bytes.data(), bytes.size(), 0);
    if (received < 0 && errno == EINTR) continue;
    if (received == 0) errno = 0;
    if (received <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(received));
  }
  return true;
}

}  // namespace local_socket
