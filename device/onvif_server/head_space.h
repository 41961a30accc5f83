#ifndef DEVICE_ONVIF_SERVER_HEAD_SPACE_H
#define DEVICE_ONVIF_SERVER_HEAD_SPACE_H

#include <vector>

#include "head/head.h"
#include "onvif/ptz_space.h"
#include "onvif/tag.h"

namespace device::onvif {

// The head's angles and zoom positions in the spaces in which clients speak of them. Degrees are
// the head's own. Generic positions go from -1 to 1 over its whole range, generic ways have the
// same unit; zoom goes from 0 to 1. All functions throw Fault for a space that there is not, and
// for numbers beyond a space's range.
class HeadSpace {
 public:
  explicit HeadSpace(const HeadSetup& setup) : setup(setup) {}

  // Where the head is, in the generic spaces.
  Vector2 panTiltOf(const HeadStatus& status) const;
  Vector1 zoomOf(double zoom) const;

  // Where it is to go.
  HeadPosition target(const PtzVector& position, const HeadStatus& from) const;

  // Where a way from its position ends, be it beyond a limit, at which the head stops.
  HeadPosition targetOfWay(const PtzVector& way, const HeadStatus& from) const;

  // Percent of full speed, signed.
  HeadCommand velocity(const PtzVector& velocity) const;

  // The percent of full speed for pan and tilt; the axes have one limit, the greater of both.
  int panTiltSpeed(const PtzVector& speed) const;
  int zoomSpeed(const PtzVector& speed) const;

  // Every space with its range, as tt:SupportedPTZSpaces and the options list them.
  std::vector<Tag> tags() const;

 private:
  Vector2 degreesOfPosition(const Vector2& position) const;
  HeadPosition targetOfPanTiltWay(const Vector2& way, const HeadStatus& from) const;

  const HeadSetup& setup;
};

Tag rangeTag(const std::string& name, const std::string& uri, double lowX, double highX,
             double lowY, double highY);
Tag rangeTag(const std::string& name, const std::string& uri, double low, double high);

}  // namespace device::onvif

#endif
