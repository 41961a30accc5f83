#ifndef DEVICE_ONVIF_SERVER_PTZ_OPERATIONS_H
#define DEVICE_ONVIF_SERVER_PTZ_OPERATIONS_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "onvif_server/camera_profile.h"
#include "onvif_server/head_space.h"
#include "onvif_server/operations.h"
#include "services/head_drive.h"

namespace device::onvif {

// The head's own configuration, by the name that a service gives it.
Tag ptzConfigurationTag(const std::string& name, const HeadSetup& setup);

// The PTZ service: moves the head beside whoever else does; the last command counts. Moves do not
// wait; a speed ends by itself when its time is over.
class PtzOperations {
 public:
  static constexpr int MOST_PRESETS = 100;
  static constexpr std::int64_t LEAST_TIMEOUT = 100000;   // microseconds
  static constexpr std::int64_t MOST_TIMEOUT = 60000000;  // microseconds

  // Microseconds since 1970.
  using WallClock = std::function<std::int64_t()>;

  // All outlive the service.
  PtzOperations(const std::vector<CameraProfile>& profiles, HeadDrive& drive, WallClock clock);

  void addTo(Operations& operations);

  // Where the head is and whether it moves, as an element of that name; without a time, it is the
  // same for the same state.
  Tag statusTag(const std::string& name, bool withTime) const;

  // Whether the head is to claim motion, though it stands.
  void claimMotion(std::function<bool()> given) { claimsMotion = std::move(given); }

  // What a preset is called, by the client that set it or by its number.
  std::string nameOf(int preset) const;

 private:
  void requireHead(const Request& request) const;
  PtzVector requiredVector(const Request& request, const char* name) const;
  void goTo(const HeadPosition& target, const PtzVector& asked, const PtzVector& speed);

  Tag nodes() const;
  Tag node(const Request& request) const;
  Tag configurations() const;
  Tag configuration(const Request& request) const;
  Tag compatibleConfigurations(const Request& request) const;
  Tag configurationOptions(const Request& request) const;
  Tag status(const Request& request);
  Tag continuousMove(const Request& request);
  Tag absoluteMove(const Request& request);
  Tag relativeMove(const Request& request);
  Tag stop(const Request& request);
  Tag goHome(const Request& request);
  Tag setHome(const Request& request) const;
  Tag presets(const Request& request);
  Tag setPreset(const Request& request);
  Tag goToPreset(const Request& request);
  Tag removePreset(const Request& request);
  int presetOf(const Request& request);
  int freePreset();

  const std::vector<CameraProfile>& profiles;
  HeadDrive& drive;
  WallClock clock;
  HeadSpace spaces;
  std::function<bool()> claimsMotion = [] { return false; };
  std::map<int, std::string> presetNames;  // that clients gave
};

}  // namespace device::onvif

#endif
