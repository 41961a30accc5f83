#include "rtsp/stream_feeds.h"

#include <algorithm>
#include <utility>

namespace device {

void StreamFeeds::open(StreamEntry entry) {
  const LockGuard lock(mutex);
  entry.number = ++lastNumber;
  entries.push_back(std::move(entry));
}

void StreamFeeds::close(const GstAppSrc* source) {
  const LockGuard lock(mutex);
  std::erase_if(entries, [&](const StreamEntry& entry) { return entry.source.get() == source; });
}

bool StreamFeeds::isWatched(std::size_t stream) {
  const LockGuard lock(mutex);
  return hasEntry(stream, true);
}

bool StreamFeeds::isRead(std::size_t stream) {
  const LockGuard lock(mutex);
  return hasEntry(stream, false);
}

std::vector<StreamEntry> StreamFeeds::readers(std::size_t stream) {
  const LockGuard lock(mutex);
  return entriesOf(stream, false);
}

void StreamFeeds::put(std::size_t stream, StreamScene scene) {
  {
    const LockGuard lock(mutex);
    scenes[stream] = std::move(scene);
  }
  changed.notifyAll();
}

void StreamFeeds::begin(std::size_t stream) {
  const LockGuard lock(mutex);
  begun.insert(stream);
}

std::vector<std::size_t> StreamFeeds::takeBegun() {
  const LockGuard lock(mutex);
  std::vector<std::size_t> taken(begun.begin(), begun.end());
  begun.clear();
  return taken;
}

std::optional<StreamTask> StreamFeeds::take() {
  const LockGuard lock(mutex);
  while (!isOver) {
    for (std::size_t turn = 0; turn < scenes.size(); ++turn) {
      const std::size_t stream = (next + turn) % scenes.size();
      std::optional<StreamScene>& scene = scenes[stream];
      if (scene.has_value()) {
        next = stream + 1;
        StreamTask task{stream, std::move(*scene), entriesOf(stream, true)};
        scene.reset();
        return task;
      }
    }
    changed.wait(mutex);
  }
  return std::nullopt;
}

void StreamFeeds::end() {
  {
    const LockGuard lock(mutex);
    isOver = true;
  }
  changed.notifyAll();
}

bool StreamFeeds::hasEntry(std::size_t stream, bool ofPictures) {
  return std::ranges::any_of(entries, [&](const StreamEntry& entry) {
    return entry.stream == stream && isPicture(entry) == ofPictures;
  });
}

std::vector<StreamEntry> StreamFeeds::entriesOf(std::size_t stream, bool ofPictures) {
  std::vector<StreamEntry> found;
  for (const StreamEntry& entry : entries) {
    if (entry.stream == stream && isPicture(entry) == ofPictures) {
      auto* source = static_cast<GstAppSrc*>(g_object_ref(entry.source.get()));
      found.push_back(
          {stream, entry.codec, GObjectPtr<GstAppSrc>(source), entry.stamps, entry.number});
    }
  }
  return found;
}

}  // namespace device
