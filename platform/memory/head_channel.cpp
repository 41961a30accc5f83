#include "memory/head_channel.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "memory/device.h"

namespace {

struct Channel {
  std::string request;  // that has not ended
  std::string answers;  // that have not been read
};

std::map<int, Channel>& channels() {
  static std::map<int, Channel> s_channels;
  return s_channels;
}

ssize_t without(int error) {
  errno = error;
  return -1;
}

void answerLines(Channel& channel) {
  for (std::size_t end = channel.request.find('\n'); end != std::string::npos;
       end = channel.request.find('\n')) {
    const std::string_view line = std::string_view(channel.request).substr(0, end);
    channel.answers += memory::device()->answerOfHead(line) + "\n";
    channel.request.erase(0, end + 1);
  }
}

}  // namespace

extern "C" {

int connect(int fd, const sockaddr*, socklen_t) {
  if (memory::device() == nullptr) {
    return static_cast<int>(without(ECONNREFUSED));
  }
  channels()[fd] = {};
  return 0;
}

ssize_t send(int fd, const void* data, size_t size, int) {
  const auto channel = channels().find(fd);
  if (channel == channels().end() || memory::device() == nullptr) {
    return without(EPIPE);
  }
  channel->second.request.append(static_cast<const char*>(data), size);
  answerLines(channel->second);
  return static_cast<ssize_t>(size);
}

ssize_t recv(int fd, void* data, size_t size, int) {
  const auto channel = channels().find(fd);
  if (channel == channels().end()) {
    return without(ENOTCONN);
  }
  std::string& answers = channel->second.answers;
  const std::size_t count = std::min(size, answers.size());
  std::memcpy(data, answers.data(), count);
  answers.erase(0, count);
  return static_cast<ssize_t>(count);
}

}  // extern "C"
