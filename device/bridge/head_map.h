#ifndef DEVICE_BRIDGE_HEAD_MAP_H
#define DEVICE_BRIDGE_HEAD_MAP_H

#include <optional>
#include <utility>
#include <vector>

#include "onvif_client/head_facts.h"

namespace device::bridge {

using onvif::HeadFacts;
using onvif::HeadReading;
using onvif::Range;
using onvif::Vector1;
using onvif::Vector2;

// What a zoom position shows.
struct ZoomPoint {
  double position = 0;    // the head's own number
  double fieldAngle = 0;  // degrees across the picture

  bool operator==(const ZoomPoint&) const = default;
};

// What a zoom table's positions count; guessed: by their size.
enum class ZoomUnit { guessed, generic, millimetres };

// What the head does not say of itself, as the user tells it or the set-up has measured it.
struct HeadTold {
  std::optional<Range> pan;  // degrees at the ends of the generic range
  std::optional<Range> tilt;
  std::optional<Range> panEnds;  // degrees at which it stops, where that is short of its range
  std::optional<Range> tiltEnds;
  bool invertPan = false;  // the head's pan grows to the left; positions and speeds alike
  bool invertTilt = false;
  bool invertPanSpeed = false;  // a positive speed makes the head's own pan fall
  bool invertTiltSpeed = false;
  Range fieldAngles;                 // degrees across the picture: tele, wide
  std::vector<ZoomPoint> zoomTable;  // positions growing, angles falling; 2 or more, or none
  ZoomUnit zoomUnit = ZoomUnit::guessed;
  double sensorWidth = 0;                         // millimetres; 0: not known
  std::optional<std::pair<double, double>> home;  // pan and tilt, where the head has no home

  bool operator==(const HeadTold&) const = default;
};

// How the zoom's positions are read.
enum class ZoomLaw { fieldAngle, millimetres, table, guessed };

// From a head's numbers to degrees and to the zoom scale that the application is told, and back.
// Arithmetic on arguments. Pan is -180 to 180 and grows to the right, tilt 0 at the horizon and
// grows upwards.
class HeadMap {
 public:
  static constexpr int LEAST_ZOOM = 1;
  static constexpr int MOST_ZOOM = 9999;

  HeadMap(HeadFacts facts, HeadTold told);

  // Why positions cannot be read as degrees, for the user; empty when they can.
  std::string whatIsMissing() const;

  struct Degrees {
    double pan = 0;
    double tilt = 0;
  };
  // Nothing in a space that is neither of degrees nor the generic one.
  std::optional<Degrees> degreesOf(const Vector2& position) const;

  // Where to send the head: in degrees when the head takes those, else in its generic space; within
  // the range of either, and of where it stops.
  Vector2 positionOf(const Degrees& target) const;

  // Percent of full speed in the head's velocity space.
  Vector2 velocityOf(double panPercent, double tiltPercent) const;
  Vector1 zoomVelocityOf(double percent) const;

  // On the application's scale, LEAST_ZOOM to MOST_ZOOM, which is linear in the magnification:
  // (widest / narrowest - 1) (z - LEAST_ZOOM) / MOST_ZOOM + 1, where the magnification is how often
  // the present field angle goes into the widest.
  std::optional<int> zoomOf(const HeadReading& reading) const;
  int zoomOfFieldAngle(double degrees) const;
  double fieldAngleOfZoom(double zoom) const;
  Vector1 zoomPositionOf(double zoom) const;

  struct Axes {
    Range pan;
    Range tilt;
  };
  // How far it turns, in degrees; nothing when that is not known.
  std::optional<Axes> limits() const;

  // Whether a position is a length, and no number of its generic range.
  bool isInMillimetres(const Vector1& zoom) const;

  // What tells most at this reading.
  ZoomLaw zoomLaw(const HeadReading& reading) const;

  const HeadFacts& getFacts() const { return facts; }
  const HeadTold& getTold() const { return told; }

 private:
  const onvif::ListedSpace* generic() const;
  const onvif::ListedSpace* inDegrees() const;
  std::optional<Axes> genericDegrees() const;
  Axes endsWithin(const Axes& axes) const;
  double fieldAngleOfPosition(const Vector1& zoom) const;
  double angleByTable(double position) const;
  bool isTableInMillimetres() const;

  HeadFacts facts;
  HeadTold told;
};

}  // namespace device::bridge

#endif
