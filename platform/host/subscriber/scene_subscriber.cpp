#include "subscriber/scene_subscriber.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/allocated.h"
#include "base/big_endian.h"
#include "base/local_socket.h"
#include "scene.h"

namespace {

constexpr std::size_t FRAME_HEADER_SIZE = 12;  // length and time
constexpr std::size_t SCENE_HEAD_SIZE = 8;     // what scene_area_size reads
constexpr std::size_t MAX_FRAME_SIZE = std::size_t{16} << 20;

thread_local const SceneSubscriber* t_reading = nullptr;

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// The limit holds for the whole, however it is cut into pieces.
bool receiveUntil(std::chrono::steady_clock::time_point deadline, int fd,
                  std::span<std::uint8_t> bytes) {
  for (std::uint8_t& byte : bytes) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left <= std::chrono::milliseconds(0) || !local_socket::setTimeout(fd, left) ||
        !local_socket::receiveAll(fd, {&byte, 1})) {
      return false;
    }
  }
  return true;
}

int connectionError(int reason) {
  return reason == EACCES || reason == EPERM ? VIDEO_SCENE_SUBSCRIBER_NOT_ALLOWED
                                             : VIDEO_SCENE_SUBSCRIBER_NO_PROVIDER;
}

int answerError(const std::array<std::uint8_t, 3>& answer) {
  const std::string_view text(reinterpret_cast<const char*>(answer.data()), answer.size());
  if (text == "OK\n") {
    return VIDEO_SCENE_SUBSCRIBER_OK;
  }
  return text == "NO\n" ? VIDEO_SCENE_SUBSCRIBER_NO_PROVIDER : VIDEO_SCENE_SUBSCRIBER_FAILED;
}

}  // namespace

SceneSubscriber::SceneSubscriber(std::string socketPath, int channel, data_format_t format,
                                 void* userData, std::chrono::milliseconds answerTimeout)
    : socketPath(std::move(socketPath)),
      channel(channel),
      format(format),
      userData(userData),
      answerTimeout(answerTimeout) {}

SceneSubscriber::~SceneSubscriber() {
  endReader();
}

bool SceneSubscriber::isWithinCallback() const {
  return t_reading == this;
}

int SceneSubscriber::subscribe() {
  if (isWithinCallback()) {
    return VIDEO_SCENE_SUBSCRIBER_BAD_STATE;
  }
  const int begun = beginAttempt();
  return begun == VIDEO_SCENE_SUBSCRIBER_OK ? endAttempt(ask()) : begun;
}

int SceneSubscriber::beginAttempt() {
  const LockGuard lock(mutex);
  if (isAttempting || !hasEnded) {
    return VIDEO_SCENE_SUBSCRIBER_BAD_STATE;
  }
  endReader();
  if (format != DATA_FORMAT_SCENE) {
    return VIDEO_SCENE_SUBSCRIBER_BAD_FORMAT;
  }
  stream = local_socket::connectTo(socketPath);
  if (!stream.isOpen()) {
    return connectionError(errno);
  }
  isAttempting = true;
  isCutShort = false;
  return VIDEO_SCENE_SUBSCRIBER_OK;
}

int SceneSubscriber::endAttempt(int result) {
  const LockGuard lock(mutex);
  isAttempting = false;
  if (isCutShort) {
    result = VIDEO_SCENE_SUBSCRIBER_FAILED;
  }
  if (result == VIDEO_SCENE_SUBSCRIBER_OK) {
    result = startReader();
  }
  if (result != VIDEO_SCENE_SUBSCRIBER_OK) {
    stream.reset();
  }
  return result;
}

int SceneSubscriber::unsubscribe() {
  if (isWithinCallback()) {
    return VIDEO_SCENE_SUBSCRIBER_BAD_STATE;
  }
  const LockGuard lock(mutex);
  if (isAttempting) {
    isCutShort = true;
    shutdown(stream.get(), SHUT_RDWR);
    return VIDEO_SCENE_SUBSCRIBER_OK;
  }
  return endReader() ? VIDEO_SCENE_SUBSCRIBER_OK : VIDEO_SCENE_SUBSCRIBER_BAD_STATE;
}

template <typename Change>
int SceneSubscriber::change(Change apply) {
  if (isWithinCallback()) {
    return VIDEO_SCENE_SUBSCRIBER_BAD_STATE;
  }
  const LockGuard lock(mutex);
  if (isAttempting || !hasEnded) {
    return VIDEO_SCENE_SUBSCRIBER_BAD_STATE;
  }
  apply();
  return VIDEO_SCENE_SUBSCRIBER_OK;
}

int SceneSubscriber::setDisconnectCallback(video_scene_subscriber_disconnect_callback callback) {
  return change([&] { onDisconnect = callback; });
}

int SceneSubscriber::setMessageCallback(video_scene_subscriber_message_callback callback) {
  return change([&] { onMessage = callback; });
}

int SceneSubscriber::setEnabled(Property property, bool enabled) {
  return change([&] { properties = enabled ? properties | property : properties & ~property; });
}

// Without the mutex: the service may take its time, and the stream stays as it is meanwhile.
int SceneSubscriber::ask() const {
  const std::string request =
      "SUBSCRIBE " + std::to_string(channel) + ' ' + std::to_string(properties) + '\n';
  const auto deadline = std::chrono::steady_clock::now() + answerTimeout;
  std::array<std::uint8_t, 3> answer{};
  if (!local_socket::setTimeout(stream.get(), answerTimeout) ||
      !local_socket::sendAll(stream.get(), bytesOf(request)) ||
      !receiveUntil(deadline, stream.get(), answer)) {
    return VIDEO_SCENE_SUBSCRIBER_FAILED;
  }
  return answerError(answer);
}

int SceneSubscriber::startReader() {
  isStopping = false;
  hasEnded = false;
  try {
    reader = std::thread(&SceneSubscriber::run, this);
  } catch (const std::system_error&) {
    hasEnded = true;
    return VIDEO_SCENE_SUBSCRIBER_FAILED;
  }
  return VIDEO_SCENE_SUBSCRIBER_OK;
}

// False when there is no reader to end. One whose stream has ended is still to be joined.
bool SceneSubscriber::endReader() {
  if (!reader.joinable()) {
    return false;
  }
  isStopping = true;
  shutdown(stream.get(), SHUT_RDWR);
  reader.join();
  stream.reset();
  return true;
}

void SceneSubscriber::run() {
  t_reading = this;
  while (!isStopping && readFrame()) {
  }
  if (!isStopping && onDisconnect != nullptr) {
    onDisconnect(userData);
  }
  hasEnded = true;
}

// False when the stream has ended, stalls within a frame or can no longer be understood.
bool SceneSubscriber::readFrame() const {
  std::array<std::uint8_t, FRAME_HEADER_SIZE> header{};
  const std::span<std::uint8_t> bytes(header);
  // Frames may be as far apart as they like, but one that has begun is to end.
  if (!local_socket::setTimeout(stream.get(), std::chrono::milliseconds(0)) ||
      !local_socket::receiveAll(stream.get(), bytes.first(1)) ||
      !local_socket::setTimeout(stream.get(), answerTimeout) ||
      !local_socket::receiveAll(stream.get(), bytes.subspan(1))) {
    return false;
  }
  const std::size_t length = fromBigEndian(header);
  if (length > MAX_FRAME_SIZE) {
    return false;
  }
  Allocated<char> frame(static_cast<char*>(std::malloc(std::max<std::size_t>(length, 1))));
  if (!frame) {
    return false;
  }
  if (!local_socket::receiveAll(stream.get(),
                                {reinterpret_cast<std::uint8_t*>(frame.get()), length})) {
    return false;
  }
  if (length < SCENE_HEAD_SIZE || scene_area_size(frame.get()) != length) {
    return true;
  }
  if (onMessage != nullptr && !isStopping) {
    onMessage(frame.release(), userData);
  }
  return true;
}
