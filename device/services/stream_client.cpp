#include "services/stream_client.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

#include "services/local_socket.h"

namespace device {

namespace {

constexpr std::size_t MAX_LINE = 4096;  // bytes; more without a line feed is no client of ours

}  // namespace

SharedBytes sharedBytes(std::string_view text) {
  return std::make_shared<const std::vector<std::uint8_t>>(text.begin(), text.end());
}

StreamClient::StreamClient(GObjectPtr<GSocket> connected, std::size_t queueLimit,
                           Callbacks callbacks)
    : socket(std::move(connected)), queueLimit(queueLimit), callbacks(std::move(callbacks)) {
  readSource = watchSocket(socket.get(), static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR),
                           readable, this);
}

bool StreamClient::send(SharedBytes bytes) {
  if (failed) {
    return false;
  }
  if (queued + bytes->size() > queueLimit) {
    fail();
    return false;
  }
  queued += bytes->size();
  queue.push_back(std::move(bytes));
  return flush();
}

void StreamClient::closeWhenSent() {
  closing = true;
}

gboolean StreamClient::readable(GSocket*, GIOCondition, gpointer data) {
  auto* self = static_cast<StreamClient*>(data);
  const bool open = self->receive();
  if (open) {
    self->handleLines();
  }
  if (open && !self->failed && !(self->closing && self->queue.empty())) {
    return G_SOURCE_CONTINUE;
  }
  self->fail();
  self->callbacks.onClosed();  // may destroy *self
  return G_SOURCE_REMOVE;
}

gboolean StreamClient::writable(GSocket*, GIOCondition, gpointer data) {
  auto* self = static_cast<StreamClient*>(data);
  if (self->flush() && !(self->closing && self->queue.empty())) {
    return self->queue.empty() ? G_SOURCE_REMOVE : G_SOURCE_CONTINUE;
  }
  self->fail();
  self->callbacks.onClosed();  // may destroy *self
  return G_SOURCE_REMOVE;
}

bool StreamClient::receive() {
  std::array<char, 1024> buffer;
  const ssize_t count =
      recv(g_socket_get_fd(socket.get()), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (count < 0) {
    return errno == EAGAIN || errno == EINTR;
  }
  if (count == 0) {
    return false;
  }
  received.append(buffer.data(), static_cast<std::size_t>(count));
  return true;
}

void StreamClient::handleLines() {
  std::size_t end = 0;
  while (!closing && !failed && (end = received.find('\n')) != std::string::npos) {
    const std::string line = received.substr(0, end);
    received.erase(0, end + 1);
    callbacks.onLine(line);
  }
  if (received.size() > MAX_LINE) {
    fail();
  }
}

bool StreamClient::flush() {
  while (!queue.empty()) {
    const auto rest = std::span(*queue.front()).subspan(sentOfFront);
    const ssize_t count = ::send(g_socket_get_fd(socket.get()), rest.data(), rest.size(),
                                 MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count < 0 && errno == EAGAIN) {
      break;
    }
    if (count < 0) {
      fail();
      return false;
    }
    queued -= static_cast<std::size_t>(count);
    sentOfFront += static_cast<std::size_t>(count);
    if (sentOfFront < queue.front()->size()) {
      continue;
    }
    sentOfFront = 0;
    queue.pop_front();
  }
  if (queue.empty()) {
    writeSource.reset();
  } else if (!writeSource) {
    writeSource = watchSocket(socket.get(), G_IO_OUT, writable, this);
  }
  return true;
}

void StreamClient::fail() {
  failed = true;
  queue.clear();
  queued = 0;
  g_socket_close(socket.get(), nullptr);
  readSource.reset();
  writeSource.reset();
}

}  // namespace device
