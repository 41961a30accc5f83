#ifndef DEVICE_RTSP_STREAM_FEEDS_H
#define DEVICE_RTSP_STREAM_FEEDS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "base/mutex.h"
#include "picture/painter.h"
#include "rtsp/stream_entry.h"
#include "world/overview_camera.h"

namespace device {

// What a stream shows at a moment.
struct StreamScene {
  OverviewCamera camera;
  Things things;
  std::int64_t time = 0;  // microseconds of the monotonic clock
  double light = 1;
};

// A scene to be painted, and where its picture goes.
struct StreamTask {
  std::size_t stream = 0;
  StreamScene scene;
  std::vector<StreamEntry> entries;
};

// Leads scenes from the main loop to the painter, and documents of metadata to whoever reads them;
// tells who does. A scene that nobody has painted in time gives way to the next one of its stream.
// Any thread may call.
class StreamFeeds {
 public:
  explicit StreamFeeds(std::size_t streams) : scenes(streams) {}

  void open(StreamEntry entry) EXCLUDES(mutex);
  void close(const GstAppSrc* source) EXCLUDES(mutex);

  // Whether anybody wants its pictures; its metadata.
  bool isWatched(std::size_t stream) EXCLUDES(mutex);
  bool isRead(std::size_t stream) EXCLUDES(mutex);
  void put(std::size_t stream, StreamScene scene) EXCLUDES(mutex);

  // Those to which metadata go, each with its number.
  std::vector<StreamEntry> readers(std::size_t stream) EXCLUDES(mutex);

  // Somebody begins to play a stream. Each is told once, however many begin meanwhile.
  void begin(std::size_t stream) EXCLUDES(mutex);
  std::vector<std::size_t> takeBegun() EXCLUDES(mutex);

  // Waits for a scene; nothing after the end.
  std::optional<StreamTask> take() EXCLUDES(mutex);
  void end() EXCLUDES(mutex);

 private:
  bool hasEntry(std::size_t stream, bool ofPictures) REQUIRES(mutex);
  std::vector<StreamEntry> entriesOf(std::size_t stream, bool ofPictures) REQUIRES(mutex);

  Mutex mutex;
  Condition changed;
  bool isOver GUARDED_BY(mutex) = false;
  std::vector<std::optional<StreamScene>> scenes GUARDED_BY(mutex);
  std::size_t next GUARDED_BY(mutex) = 0;  // the stream whose turn it is
  std::vector<StreamEntry> entries GUARDED_BY(mutex);
  std::uint64_t lastNumber GUARDED_BY(mutex) = 0;
  std::set<std::size_t> begun GUARDED_BY(mutex);
};

}  // namespace device

#endif
