#include "fuzz/fake_sockets.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "fuzz/require.h"

namespace {

FakeSockets* s_current = nullptr;

// How a read goes, by a byte of the input. Most deliver as much as was asked for.
enum ReadKind : int { END = 0, FAILURE = 1, INTERRUPTION = 2, ONE_BYTE = 3, PART = 4, COUNT = 10 };

constexpr int FAILING_SHARE = 16;  // of connecting and sending one in so many fails

}  // namespace

FakeSockets::FakeSockets(fuzz::Input& input) : input(input) {
  s_current = this;
}

FakeSockets::~FakeSockets() {
  s_current = nullptr;
}

std::vector<SocketCall> FakeSockets::takeCalls() {
  return std::exchange(calls, {});
}

std::string FakeSockets::bytesOf(SocketCall::Kind kind, const std::vector<SocketCall>& calls) {
  std::string bytes;
  for (const SocketCall& call : calls) {
    if (call.kind == kind) {
      bytes += call.bytes;
    }
  }
  return bytes;
}

int FakeSockets::fail(SocketCall call, int error) {
  call.result = error == EINTR ? SocketCall::Result::interrupted : SocketCall::Result::failed;
  calls.push_back(std::move(call));
  errno = error;
  return -1;
}

int FakeSockets::connect() {
  const SocketCall call{.kind = SocketCall::Kind::connect};
  if (input.byte() % FAILING_SHARE == 1) {
    return fail(call, ECONNREFUSED);
  }
  calls.push_back(call);
  return 0;
}

std::ptrdiff_t FakeSockets::send(const void* data, std::size_t size) {
  const SocketCall call{.kind = SocketCall::Kind::send,
                        .bytes = std::string(static_cast<const char*>(data), size)};
  if (input.byte() % FAILING_SHARE == 1) {
    return fail(call, EPIPE);
  }
  calls.push_back(call);
  return static_cast<std::ptrdiff_t>(size);
}

// Every interruption takes a byte of the input, so that they come to an end.
std::ptrdiff_t FakeSockets::receive(void* data, std::size_t size) {
  SocketCall call{.kind = SocketCall::Kind::receive, .asked = size};
  std::size_t most = size;
  switch (input.isEmpty() ? END : input.byte() % COUNT) {
    case END:
      most = 0;
      break;
    case FAILURE:
      return fail(call, ECONNRESET);
    case INTERRUPTION:
      return fail(call, EINTR);
    case ONE_BYTE:
      most = 1;
      break;
    case PART:
      most = std::min<std::size_t>(size, 1U + input.byte());
      break;
    default:
      break;
  }
  const auto bytes = input.take(most);
  if (!bytes.empty()) {
    std::memcpy(data, bytes.data(), bytes.size());
  }
  call.bytes.assign(bytes.begin(), bytes.end());
  calls.push_back(std::move(call));
  return static_cast<std::ptrdiff_t>(bytes.size());
}

namespace {

int without(int error) {
  errno = error;
  return -1;
}

}  // namespace

extern "C" {

int connect(int, const sockaddr*, socklen_t) {
  return s_current != nullptr ? s_current->connect() : without(ECONNREFUSED);
}

ssize_t send(int, const void* data, size_t size, int flags) {
  fuzz::require((flags & MSG_NOSIGNAL) != 0, "a peer that is gone does not end the program");
  return s_current != nullptr ? s_current->send(data, size) : without(EPIPE);
}

ssize_t recv(int, void* data, size_t size, int) {
  return s_current != nullptr ? s_current->receive(data, size) : 0;
}

}  // extern "C"
