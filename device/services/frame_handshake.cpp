#include "services/frame_handshake.h"

#include <vector>

#include "base/text.h"

namespace device {

namespace {

using namespace std::string_view_literals;

constexpr int ALL_PROPERTIES = FRAME_BOX | FRAME_POLYGON | FRAME_VELOCITY | FRAME_LOW_CONFIDENT;
constexpr std::size_t SCENE_PROPERTIES = 3;  // of version 1.0, in the order of their bits

constexpr std::string_view BLANK = " ";

// With the zero byte that ends an answer.
constexpr std::string_view SCENE_OK = "1.0 OK\0"sv;
constexpr std::string_view SCENE_ERROR = "1.0 ERROR\0"sv;

std::optional<int> channelIn(std::string_view text, int first, int channels) {
  const auto number = text::toNumber<int>(text);
  if (!number || *number < first || *number >= first + channels) {
    return std::nullopt;
  }
  return *number - first;
}

std::optional<FrameRequest> parseSceneRequest(std::string_view line, int channels) {
  const auto tokens = text::words(line, BLANK);
  if (tokens.size() != 3 + SCENE_PROPERTIES) {
    return std::nullopt;
  }
  if (tokens[0] != "1.0" || tokens[1] != "OPEN") {
    return std::nullopt;
  }
  FrameRequest request;
  for (std::size_t i = 0; i < SCENE_PROPERTIES; ++i) {
    const std::string_view token = tokens[2 + i];
    if (token != "0" && token != "1") {
      return std::nullopt;
    }
    if (token == "1") {
      request.mask |= 1 << i;
    }
  }
  const auto channel = channelIn(tokens.back(), 1, channels);
  if (!channel) {
    return std::nullopt;
  }
  request.channel = *channel;
  return request;
}

std::optional<FrameRequest> parseSubscription(std::string_view line, int channels) {
  const auto tokens = text::words(line, BLANK);
  if (tokens.size() != 3 || tokens[0] != "SUBSCRIBE") {
    return std::nullopt;
  }
  const auto channel = channelIn(tokens[1], 0, channels);
  const auto mask = text::toNumber<int>(tokens[2]);
  if (!channel || !mask || (*mask & ~ALL_PROPERTIES) != 0) {
    return std::nullopt;
  }
  return FrameRequest{*channel, *mask};
}

}  // namespace

HandshakeAnswer sceneHandshake(std::string_view line, int channels) {
  const auto request = parseSceneRequest(line, channels);
  return {std::string(request ? SCENE_OK : SCENE_ERROR), request};
}

HandshakeAnswer subscriberHandshake(std::string_view line, int channels) {
  const auto request = parseSubscription(line, channels);
  return {request ? "OK\n" : "NO\n", request};
}

}  // namespace device
