#include "scene/scene_reader.h"

#include <poll.h>
#include <sys/socket.h>
#include <syslog.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <string_view>

#include "base/big_endian.h"
#include "base/file_descriptor.h"
#include "base/local_socket.h"
#include "scene/mote_utils.h"
#include "scene/scene_properties.h"

namespace {

constexpr std::chrono::seconds SERVICE_TIMEOUT{5};
constexpr int NOT_CONNECTED = -1;
constexpr int NO_TIMEOUT = -1;
constexpr std::size_t MAX_ANSWER_LENGTH = 100;
constexpr std::size_t SKIPPED_HEADER_BYTES = 8;
constexpr std::int32_t MAX_FRAME_LENGTH = 16 * 1024 * 1024;
constexpr std::array CAPABILITIES{SCENE_BOUNDING_BOX, SCENE_POLYGON, SCENE_VELOCITY,
                                  SCENE_CONFIDENCE};

// Receives exactly that many bytes; only the end of the stream is no failure to be logged.
bool readFromSocket(int fd, void* buffer, std::size_t count) {
  if (local_socket::receiveAll(fd, {static_cast<std::uint8_t*>(buffer), count})) {
    return true;
  }
  if (errno != 0) {
    syslog(LOG_WARNING, "readFromSocket: Receive failed.\n");
  }
  return false;
}

std::string createRequest(std::int32_t propertyMask, int channel, const API_Version& version) {
  std::string request = version.toString() + " OPEN";
  for (const std::int32_t capability : CAPABILITIES) {
    if (MoteUtils::areCapabilitiesSupported(version, capability)) {
      request += (propertyMask & capability) != 0 ? " 1" : " 0";
    }
  }
  return request + " " + std::to_string(channel) + "\n";
}

// The answer up to its zero byte, or what of it could be read.
std::string readAnswer(int fd) {
  std::string answer;
  while (answer.size() < MAX_ANSWER_LENGTH) {
    char byte = 0;
    if (!readFromSocket(fd, &byte, 1)) {
      syslog(LOG_WARNING, "Read failed\n");
      return answer;
    }
    if (byte == '\0') {
      return answer;
    }
    answer += byte;
  }
  syslog(LOG_WARNING, "Reached max_len without match\n");
  return answer;
}

// A scene in which nothing happens may be silent for any time; within a frame a silent service has
// failed.
void waitForFrame(int fd) {
  pollfd input{.fd = fd, .events = POLLIN, .revents = 0};
  while (fd >= 0 && poll(&input, 1, NO_TIMEOUT) == -1 && errno == EINTR) {
  }
}

}  // namespace

// A full queue is not waited for: whoever connects must be able to end, and tries again anyway.
int SceneReader::connect(const std::string& path) {
  FileDescriptor fd = local_socket::connectTo(path, {}, local_socket::LongPath::cut);
  if (!fd.isOpen() || !local_socket::setTimeout(fd.get(), SERVICE_TIMEOUT)) {
    syslog(LOG_ERR, "Could not connect to service, result: %i\n\n", NOT_CONNECTED);
    return NOT_CONNECTED;
  }
  return fd.release();
}

void SceneReader::disconnect(int fd) {
  FileDescriptor(fd).reset();
}

SceneReaderResult SceneReader::initialize(int fd, std::int32_t propertyMask, int channel,
                                          const API_Version& version) {
  if (fd < 0) {
    syslog(LOG_WARNING, "Invalid scene descriptor: %i\n\n", fd);
    return {};
  }
  const std::string request = createRequest(propertyMask, channel, version);
  if (send(fd, request.data(), request.size(), MSG_NOSIGNAL) <= 0) {
    return {};
  }
  return SceneReaderResult(readAnswer(fd));
}

bool SceneReader::readScene(int fd, SceneFrame& frame) {
  waitForFrame(fd);
  std::array<std::uint8_t, 4> lengthBytes{};
  std::array<char, SKIPPED_HEADER_BYTES> skipped{};
  if (!readFromSocket(fd, lengthBytes.data(), lengthBytes.size()) ||
      !readFromSocket(fd, skipped.data(), skipped.size())) {
    return false;
  }
  const auto length = static_cast<std::int32_t>(fromBigEndian(lengthBytes));
  if (length < 1 || length > MAX_FRAME_LENGTH) {
    return false;
  }
  const auto size = static_cast<std::size_t>(length);
  frame.data.reset(static_cast<char*>(std::calloc(size, 1)));
  if (frame.data == nullptr) {
    return false;
  }
  frame.size = size;
  // A short payload shows up as a failure on the next frame, for which nothing more may come.
  if (!readFromSocket(fd, frame.data.get(), size)) {
    shutdown(fd, SHUT_RDWR);
  }
  return true;
}
