#ifndef DEVICE_RTSP_PICTURE_STREAMS_H
#define DEVICE_RTSP_PICTURE_STREAMS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "rtsp/rtsp_server.h"
#include "rtsp/stream_feeds.h"
#include "services/periodic_timer.h"

namespace device {

// Offers pictures and metadata by RTSP. A stream is painted and encoded once for all who watch it,
// and not at all while nobody does. Scenes are asked for in the main loop; painting has a thread of
// its own.
class PictureStreams {
 public:
  // Called from the main loop, with the number of the stream.
  using SceneOf = std::function<StreamScene(std::size_t stream)>;

  // Throws std::runtime_error when it cannot listen, or a part of GStreamer is missing.
  PictureStreams(const StreamOptions& options, std::vector<StreamSetup> setups, SceneOf source);
  PictureStreams(const PictureStreams&) = delete;
  PictureStreams& operator=(const PictureStreams&) = delete;

  // Ends all sessions.
  ~PictureStreams();

  std::uint16_t port() const { return server.port(); }

  // Of clients, all that there are by now.
  void endConnections() { server.endConnections(); }

  // Whether anybody reads the metadata of a stream.
  bool isRead(std::size_t stream) const { return feeds->isRead(stream); }

  // Streams that somebody has begun to play since this was last asked.
  std::vector<std::size_t> takeBegun() { return feeds->takeBegun(); }

  // Those who read the metadata of a stream, by numbers that are never given twice. Who reads the
  // same variant has the same number.
  using Readers = std::set<std::uint64_t>;
  Readers readers(std::size_t stream) const;

  // Those of them who hear what they are told: not who stands, or has not begun.
  Readers hearers(std::size_t stream) const;

  // A document of metadata for whoever hears it, or for some of those who read; time: microseconds
  // of the monotonic clock. Tells who were sent it.
  Readers tell(std::size_t stream, const std::string& document, std::int64_t time);
  Readers tell(std::size_t stream, const std::string& document, std::int64_t time,
               const Readers& to);

 private:
  void takeScenes();
  void paintAll() const;

  std::vector<StreamSetup> streams;
  SceneOf sceneOf;
  std::shared_ptr<StreamFeeds> feeds;  // with the media, which end in their own time
  RtspServer server;
  std::thread painter;
  PeriodicTimer timer;
};

}  // namespace device

#endif
