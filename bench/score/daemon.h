#ifndef SCORE_DAEMON_H
#define SCORE_DAEMON_H

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "camera/camera_container.h"
#include "tracker/tracker.h"

namespace score {

// The daemon without its transports and its API, as its main builds it: cameras, guards and the
// tracker, on the platform in memory. One at a time.
class Daemon {
 public:
  // localdata: the folder of its settings.
  explicit Daemon(const std::filesystem::path& localdata);
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;
  ~Daemon();

  // What the daemon makes of the device when nobody has configured it.
  static std::string defaultConfiguration();

  // Takes a configuration document for all cameras. Throws std::runtime_error when it is refused.
  void configure(const std::string& document);

  // ... for one camera alone, the others stay as they are; without a document it watches nothing.
  void configureCamera(int camera, const std::optional<std::string>& document);

  // A frame has come in for a camera, counted from 1.
  void receive(int camera, std::span<const std::uint8_t> frame);

 private:
  Tracker* tracker;
  std::unique_ptr<CameraContainer> cameras;
};

}  // namespace score

#endif
