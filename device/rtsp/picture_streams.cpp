#include "rtsp/picture_streams.h"

#include <optional>
#include <string>
#include <utility>

#include "base/units.h"
#include "picture/jpeg.h"
#include "picture/painter.h"

namespace device {
namespace {

constexpr int JPEG_QUALITY = 80;

// The ground of a camera that stays where it is, is painted once.
class Canvas {
 public:
  const Picture& paint(const StreamScene& scene, const StreamSetup& setup) {
    const OverviewCameraSetup& now = scene.camera.getSetup();
    if (!ground || now.pan != pan || now.tilt != tilt || now.horizontalFov != width) {
      ground = paintGround(scene.camera, setup.width, setup.height);
      pan = now.pan;
      tilt = now.tilt;
      width = now.horizontalFov;
    }
    picture = ground;
    paintThings(scene.camera, scene.things, &*picture);
    expose(scene.light, static_cast<std::uint32_t>(scene.time), &*picture);
    return *picture;
  }

 private:
  std::optional<Picture> ground;
  std::optional<Picture> picture;
  double pan = 0;
  double tilt = 0;
  double width = 0;
};

void send(const Picture& picture, const StreamTask& task) {
  std::string jpeg;
  for (const StreamEntry& entry : task.entries) {
    if (entry.codec == StreamCodec::jpeg) {
      jpeg = jpeg.empty() ? jpegOf(picture, JPEG_QUALITY) : jpeg;
      send(entry, jpeg.data(), jpeg.size(), task.scene.time);
    } else {
      const std::size_t size = sizeof(Colour) * static_cast<std::size_t>(picture.getWidth()) *
                               static_cast<std::size_t>(picture.getHeight());
      send(entry, &picture.at(0, 0), size, task.scene.time);
    }
  }
}

std::string gzipped(const std::string& text) {
  const GObjectPtr<GZlibCompressor> compressor(
      g_zlib_compressor_new(G_ZLIB_COMPRESSOR_FORMAT_GZIP, -1));
  std::string result(text.size() + 1024, '\0');  // more than what cannot be compressed takes
  gsize read = 0;
  gsize written = 0;
  g_converter_convert(G_CONVERTER(compressor.get()), text.data(), text.size(), result.data(),
                      result.size(), G_CONVERTER_INPUT_AT_END, &read, &written, nullptr);
  result.resize(written);
  return result;
}

}  // namespace

PictureStreams::PictureStreams(const StreamOptions& options, std::vector<StreamSetup> setups,
                               SceneOf source)
    : streams(std::move(setups)),
      sceneOf(std::move(source)),
      feeds(std::make_shared<StreamFeeds>(streams.size())),
      server(options, streams, feeds),
      painter([this] { paintAll(); }),
      timer(units::MICROSECONDS_PER_SECOND / options.framesPerSecond, [this] { takeScenes(); }) {}

PictureStreams::~PictureStreams() {
  feeds->end();
  painter.join();
}

PictureStreams::Readers PictureStreams::readers(std::size_t stream) const {
  Readers numbers;
  for (const StreamEntry& entry : feeds->readers(stream)) {
    numbers.insert(entry.number);
  }
  return numbers;
}

PictureStreams::Readers PictureStreams::hearers(std::size_t stream) const {
  Readers numbers;
  for (const StreamEntry& entry : feeds->readers(stream)) {
    if (isRunning(entry)) {
      numbers.insert(entry.number);
    }
  }
  return numbers;
}

PictureStreams::Readers PictureStreams::tell(std::size_t stream, const std::string& document,
                                             std::int64_t time) {
  return tell(stream, document, time, readers(stream));
}

PictureStreams::Readers PictureStreams::tell(std::size_t stream, const std::string& document,
                                             std::int64_t time, const Readers& to) {
  Readers told;
  for (const StreamEntry& entry : feeds->readers(stream)) {
    if (!to.contains(entry.number)) {
      continue;
    }
    const bool isPlain = entry.codec == StreamCodec::metadata;
    const std::string& text = isPlain ? document : gzipped(document);
    if (send(entry, text.data(), text.size(), time)) {
      told.insert(entry.number);
    }
  }
  return told;
}

void PictureStreams::takeScenes() {
  for (std::size_t i = 0; i < streams.size(); ++i) {
    if (feeds->isWatched(i)) {
      feeds->put(i, sceneOf(i));
    }
  }
}

void PictureStreams::paintAll() const {
  std::vector<Canvas> canvases(streams.size());
  while (const std::optional<StreamTask> task = feeds->take()) {
    send(canvases[task->stream].paint(task->scene, streams[task->stream]), *task);
  }
}

}  // namespace device
