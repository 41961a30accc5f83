#include "services/stream_client.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

#include "services/local_socket.h"

namespace device {

namespace {

constexpr std::size_t kMaxLine = 4096;  // bytes; more without a line feed is no client of ours

}  // namespace

SharedBytes sharedBytes(std::string_view text) {
  return std::make_shared<const std::vector<std::uint8_t>>(text.begin(), text.end());
}

StreamClient::StreamClient(GObjectPtr<GSocket> socket, std::size_t queueLimit, Callbacks callbacks)
    : socket_(std::move(socket)), queueLimit_(queueLimit), callbacks_(std::move(callbacks)) {
  readSource_ = watchSocket(socket_.get(), static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR),
                            readable, this);
}

bool StreamClient::send(SharedBytes bytes) {
  if (failed_) return false;
  if (queued_ + bytes->size() > queueLimit_) {
    fail();
    return false;
  }
  queued_ += bytes->size();
  queue_.push_back(std::move(bytes));
  return flush();
}

void StreamClient::closeWhenSent() {
  closing_ = true;
}

gboolean StreamClient::readable(GSocket*, GIOCondition, gpointer data) {
  auto* self = static_cast<StreamClient*>(data);
  const bool open = self->receive();
  if (open) self->handleLines();
  if (open && !self->failed_ && !(self->closing_ && self->queue_.empty())) return G_SOURCE_CONTINUE;
  self->fail();
  self->callbacks_.onClosed();  // may destroy *self
  return G_SOURCE_REMOVE;
}

gboolean StreamClient::writable(GSocket*, GIOCondition, gpointer data) {
  auto* self = static_cast<StreamClient*>(data);
  if (self->flush() && !(self->closing_ && self->queue_.empty())) {
    return self->queue_.empty() ? G_SOURCE_REMOVE : G_SOURCE_CONTINUE;
  }
  self->fail();
  self->callbacks_.onClosed();  // may destroy *self
  return G_SOURCE_REMOVE;
}

bool StreamClient::receive() {
  std::array<char, 1024> buffer;
  const ssize_t count =
      recv(g_socket_get_fd(socket_.get()), buffer.data(), buffer.size(), MSG_DONTWAIT);
  if (count < 0) return errno == EAGAIN || errno == EINTR;
  if (count == 0) return false;
  received_.append(buffer.data(), static_cast<std::size_t>(count));
  return true;
}

void StreamClient::handleLines() {
  std::size_t end = 0;
  while (!closing_ && !failed_ && (end = received_.find('\n')) != std::string::npos) {
    const std::string line = received_.substr(0, end);
    received_.erase(0, end + 1);
    callbacks_.onLine(line);
  }
  if (received_.size() > kMaxLine) fail();
}

bool StreamClient::flush() {
  while (!queue_.empty()) {
    const auto rest = std::span(*queue_.front()).subspan(sentOfFront_);
    const ssize_t count = ::send(g_socket_get_fd(socket_.get()), rest.data(), rest.size(),
                                 MSG_NOSIGNAL | MSG_DONTWAIT);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno == EAGAIN) break;
    if (count < 0) {
      fail();
      return false;
    }
    queued_ -= static_cast<std::size_t>(count);
    sentOfFront_ += static_cast<std::size_t>(count);
    if (sentOfFront_ < queue_.front()->size()) continue;
    sentOfFront_ = 0;
    queue_.pop_front();
  }
  if (queue_.empty()) {
    writeSource_.reset();
  } else if (!writeSource_) {
    writeSource_ = watchSocket(socket_.get(), G_IO_OUT, writable, this);
  }
  return true;
}

void StreamClient::fail() {
  failed_ = true;
  queue_.clear();
  queued_ = 0;
  g_socket_close(socket_.get(), nullptr);
  readSource_.reset();
  writeSource_.reset();
}

}  // namespace device
