#ifndef DEVICE_ONVIF_CLIENT_CAMERA_CLOCK_H
#define DEVICE_ONVIF_CLIENT_CAMERA_CLOCK_H

#include <cstdint>
#include <optional>

#include "onvif/xml.h"

namespace device::onvif {

// The moment that a GetSystemDateAndTimeResponse tells, in microseconds since 1970: of UTCDateTime;
// nothing when that is missing or no date.
std::optional<std::int64_t> readCameraTime(const XmlElement& response);

// How far a camera's clock is ahead of ours, and when it has to be asked for again. Knows no clock:
// wall is our time in microseconds since 1970, monotonic that of a clock that nobody sets.
class CameraClock {
 public:
  // A clock may be set at any time, and drifts.
  static constexpr std::int64_t GOOD_FOR = 3600LL * 1000000;

  void told(std::int64_t cameraTime, std::int64_t wall, std::int64_t monotonic);
  void forget() { asked.reset(); }
  bool isKnown(std::int64_t monotonic) const;

  // The camera's time; ours where it is not known.
  std::int64_t at(std::int64_t wall) const { return wall + ahead; }

  // Microseconds.
  std::int64_t getAhead() const { return ahead; }

 private:
  std::int64_t ahead = 0;
  std::optional<std::int64_t> asked;  // monotonic
};

}  // namespace device::onvif

#endif
