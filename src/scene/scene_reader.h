#ifndef SCENE_SCENE_READER_H
#define SCENE_SCENE_READER_H

#include <cstdint>
#include <string>

#include "app/api_version.h"
#include "scene/scene_frame.h"
#include "scene/scene_reader_result.h"

// Scene frames over the local stream socket of the scene service: plain functions on a descriptor,
// which its owner uses from one thread at a time. Reads block until the service sends or closes;
// one that stops for 5 s within an answer or a frame has failed.
class SceneReader {
 public:
  SceneReader() = delete;

  static constexpr const char* SCENE_SOCKET_PATH = "/var/run/strata/scenes";

  // A connected descriptor, or -1 (logged), at once also when the service does not accept.
  static int connect(const std::string& path);

  static void disconnect(int fd);

  // Asks for the stream of a channel (from 1) with the properties of the mask, in the words of the
  // given version.
  static SceneReaderResult initialize(int fd, std::int32_t propertyMask, int channel,
                                      const API_Version& version);

  // Reads one frame, for which it waits as long as it takes. False when the stream has ended, the
  // length is below 1 or above 16 MiB. A frame whose payload comes short is zero at its end, and
  // the stream has ended.
  static bool readScene(int fd, SceneFrame& frame);
};

#endif
