// What the scene service answers to the request for a stream, and the frames that follow it.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fakes/log_capture.h"
#include "fuzz/fake_sockets.h"
#include "fuzz/input.h"
#include "fuzz/require.h"
#include "scene/scene_reader.h"

namespace {

using fuzz::require;

constexpr int DESCRIPTOR = 1000;  // none of the program's own
constexpr std::size_t LONGEST_ANSWER = 100;
constexpr std::size_t FRAME_HEADER = 12;
constexpr std::int64_t LONGEST_FRAME = 16 << 20;

// The words between blanks.
std::vector<std::string> wordsOf(const std::string& text) {
  std::vector<std::string> words(1);
  for (const char c : text) {
    if (c != ' ') {
      words.back() += c;
    } else if (!words.back().empty()) {
      words.emplace_back();
    }
  }
  if (words.back().empty()) {
    words.pop_back();
  }
  return words;
}

// Two numbers with a point between them.
bool isVersion(const std::string& text) {
  const std::size_t point = text.find('.');
  if (point == std::string::npos) {
    return false;
  }
  const auto isNumber = [](const std::string& digits) {
    return !digits.empty() && digits.find_first_not_of("0123456789") == std::string::npos &&
           std::stold(digits) <= INT32_MAX;
  };
  return isNumber(text.substr(0, point)) && isNumber(text.substr(point + 1));
}

// The line that asks for the stream: one number for each property that the version knows.
std::string expectedRequest(const std::string& version, int mask, int channel) {
  std::string request = version + " OPEN";
  const int known = version == "1.0" ? 3 : 4;
  for (int bit = 0; bit < known; ++bit) {
    request += (mask >> bit & 1) != 0 ? " 1" : " 0";
  }
  return request + " " + std::to_string(channel) + "\n";
}

void checkAnswer(const SceneReaderResult& result, const std::string& received) {
  require(received.size() <= LONGEST_ANSWER, "no more is read than an answer may hold");
  const std::size_t end = received.find('\0');
  require(end == std::string::npos || end + 1 == received.size(), "nothing is read behind the end");
  const std::vector<std::string> words = wordsOf(received.substr(0, end));
  require(result.success == (words.size() == 2 && words[1] == "OK"),
          "two words of which the second is OK are success, and nothing else", received);
  require(result.version.isValid() == (words.size() == 2 && isVersion(words[0])),
          "the version is the first of two words", received);
  if (result.version.isValid()) {
    require(result.version.toString() == words[0], "the version is as it was told");
  }
}

// A frame behind its header: 4 bytes of length, the highest first, and 8 that are skipped.
void checkFrame(const std::optional<SceneFrame>& frame, const std::string& received) {
  if (received.size() < FRAME_HEADER) {
    require(!frame, "without its whole header there is no frame");
    return;
  }
  std::int64_t length = static_cast<std::int8_t>(received[0]);
  for (int i = 1; i < 4; ++i) {
    length = length * 256 + static_cast<std::uint8_t>(received[i]);
  }
  require(frame.has_value() == (length >= 1 && length <= LONGEST_FRAME),
          "frames have from 1 byte to 16 MiB");
  if (!frame) {
    require(received.size() == FRAME_HEADER, "of a frame of no length nothing is read");
    return;
  }
  require(frame->size == static_cast<std::size_t>(length), "a frame is as long as it says");
  const std::string payload = received.substr(FRAME_HEADER);
  require(payload.size() <= frame->size, "the next frame's bytes are left alone");
  const std::string bytes(frame->data.get(), payload.size());
  require(bytes == payload, "a frame holds what came");
  for (std::size_t i = payload.size(); i < frame->size && i < payload.size() + 4096; ++i) {
    require(frame->data.get()[i] == 0, "what did not come is zero");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const int mask = input.between(0, 15);
  const int channel = input.between(1, 4);
  static const char* const VERSIONS[] = {"1.0", "1.1", "1.2"};
  const API_Version version(VERSIONS[input.between(0, 2)]);

  FakeSockets sockets(input);
  const SceneReaderResult result = SceneReader::initialize(DESCRIPTOR, mask, channel, version);
  const std::vector<SocketCall> calls = sockets.takeCalls();
  const bool isSent = !calls.empty() && calls[0].result == SocketCall::Result::done;
  const std::string sent = FakeSockets::bytesOf(SocketCall::Kind::send, calls);
  require(sent == expectedRequest(version.toString(), mask, channel), "the request is one line",
          sent);
  const std::string answer = FakeSockets::bytesOf(SocketCall::Kind::receive, calls);
  require(isSent || calls.size() == 1, "without a request no answer is read");
  checkAnswer(result, answer);

  bool isGoing = result.success;
  while (isGoing) {
    SceneFrame frame;
    isGoing = SceneReader::readScene(DESCRIPTOR, frame);
    checkFrame(isGoing ? std::optional<SceneFrame>(std::move(frame)) : std::nullopt,
               FakeSockets::bytesOf(SocketCall::Kind::receive, sockets.takeCalls()));
  }
  LogCapture::clear();
  return 0;
}
