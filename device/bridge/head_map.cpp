#include "bridge/head_map.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/units.h"
#include "onvif/ptz_space.h"

namespace device::bridge {

namespace {

using onvif::ListedSpace;
namespace space = onvif::space;

constexpr Range WHOLE{-1, 1};
constexpr double PERCENT = 100;

double width(const Range& range) {
  return range.high - range.low;
}

double within(const Range& range, double value) {
  return std::clamp(value, range.low, range.high);
}

// From one range to another, in even steps.
double mapped(double value, const Range& from, const Range& to) {
  return to.low + (value - from.low) / width(from) * width(to);
}

// The same bearing, within the range if it is there at all; else at the end that is nearer.
double bearingWithin(const Range& range, double pan) {
  for (const double turn : {0.0, units::FULL_TURN, -units::FULL_TURN}) {
    if (pan + turn >= range.low && pan + turn <= range.high) {
      return pan + turn;
    }
  }
  const double toLow = std::abs(units::wrapped(pan - range.low));
  const double toHigh = std::abs(units::wrapped(pan - range.high));
  return toLow < toHigh ? range.low : range.high;
}

double signOf(bool inverted, bool invertedSpeed) {
  return inverted != invertedSpeed ? -1 : 1;
}

// Degrees that go by the name of a generic space.
bool isOfDegrees(const Range& range) {
  return width(range) > 2 * width(WHOLE);
}

// In the range of the first listed space, of which 0 is the middle and the ends are full speed.
double share(const std::vector<ListedSpace>& spaces, const char* uri, double percent) {
  const ListedSpace* listed = onvif::findSpace(spaces, uri);
  const Range range = listed != nullptr ? listed->x : WHOLE;
  return within(range, percent / PERCENT * (percent < 0 ? -range.low : range.high));
}

std::string spaceIfListed(const std::vector<ListedSpace>& spaces, const char* uri) {
  return onvif::findSpace(spaces, uri) != nullptr ? uri : "";
}

}  // namespace

HeadMap::HeadMap(HeadFacts facts, HeadTold told) : facts(std::move(facts)), told(std::move(told)) {}

std::string HeadMap::whatIsMissing() const {
  if (inDegrees() == nullptr && !genericDegrees()) {
    return "The head does not tell degrees: enter its pan and its tilt range";
  }
  if (told.fieldAngles.low <= 0 || told.fieldAngles.high < told.fieldAngles.low) {
    return "Enter the head's field angles, fully in and fully out";
  }
  return "";
}

std::optional<HeadMap::Degrees> HeadMap::degreesOf(const Vector2& position) const {
  const std::string& given = position.space.empty() ? facts.defaultPosition : position.space;
  Degrees degrees{position.x, position.y};
  if (given == space::POSITION || given.empty()) {
    const auto axes = genericDegrees();
    if (!axes) {
      return std::nullopt;
    }
    const ListedSpace* listed = generic();
    degrees.pan = mapped(position.x, listed != nullptr ? listed->x : WHOLE, axes->pan);
    degrees.tilt =
        mapped(position.y, listed != nullptr && listed->y.isReal() ? listed->y : WHOLE, axes->tilt);
  } else if (given != space::POSITION_DEGREES) {
    return std::nullopt;
  }
  return Degrees{units::normalized(told.invertPan ? -degrees.pan : degrees.pan),
                 told.invertTilt ? -degrees.tilt : degrees.tilt};
}

Vector2 HeadMap::positionOf(const Degrees& target) const {
  const double pan = told.invertPan ? -target.pan : target.pan;
  const double tilt = told.invertTilt ? -target.tilt : target.tilt;
  if (const ListedSpace* degrees = inDegrees()) {
    const Axes ends = endsWithin({degrees->x, degrees->y});
    return {bearingWithin(ends.pan, pan), within(ends.tilt, tilt), space::POSITION_DEGREES};
  }
  const Axes axes = genericDegrees().value_or(Axes{{-180, 180}, {-90, 90}});
  const ListedSpace* listed = generic();
  const Range x = listed != nullptr ? listed->x : WHOLE;
  const Range y = listed != nullptr && listed->y.isReal() ? listed->y : WHOLE;
  const Axes ends = endsWithin(axes);
  return {mapped(bearingWithin(ends.pan, pan), axes.pan, x),
          mapped(within(ends.tilt, tilt), axes.tilt, y), space::POSITION};
}

Vector2 HeadMap::velocityOf(double panPercent, double tiltPercent) const {
  const double pan = panPercent * signOf(told.invertPan, told.invertPanSpeed);
  const double tilt = tiltPercent * signOf(told.invertTilt, told.invertTiltSpeed);
  return {share(facts.velocities, space::VELOCITY, pan),
          share(facts.velocities, space::VELOCITY, tilt),
          spaceIfListed(facts.velocities, space::VELOCITY)};
}

Vector1 HeadMap::zoomVelocityOf(double percent) const {
  return {share(facts.zoomVelocities, space::ZOOM_VELOCITY, percent),
          spaceIfListed(facts.zoomVelocities, space::ZOOM_VELOCITY)};
}

std::optional<int> HeadMap::zoomOf(const HeadReading& reading) const {
  if (reading.fieldAngle && zoomLaw(reading) == ZoomLaw::fieldAngle) {
    return zoomOfFieldAngle(*reading.fieldAngle);
  }
  if (!reading.zoom) {
    return std::nullopt;
  }
  return zoomOfFieldAngle(fieldAngleOfPosition(*reading.zoom));
}

int HeadMap::zoomOfFieldAngle(double degrees) const {
  const double ratio = told.fieldAngles.high / told.fieldAngles.low;
  if (!(ratio > 1) || !(degrees > 0)) {
    return LEAST_ZOOM;
  }
  const double magnification = std::clamp(told.fieldAngles.high / degrees, 1.0, ratio);
  const double zoom = LEAST_ZOOM + (magnification - 1) / (ratio - 1) * MOST_ZOOM;
  return std::clamp(static_cast<int>(std::lround(zoom)), LEAST_ZOOM, MOST_ZOOM);
}

double HeadMap::fieldAngleOfZoom(double zoom) const {
  const double ratio = told.fieldAngles.high / told.fieldAngles.low;
  return told.fieldAngles.high / ((ratio - 1) * (zoom - LEAST_ZOOM) / MOST_ZOOM + 1);
}

Vector1 HeadMap::zoomPositionOf(double zoom) const {
  const double angle = fieldAngleOfZoom(zoom);
  const ListedSpace* millimetres = onvif::findSpace(facts.zoomPositions, space::ZOOM_MILLIMETRES);
  if (millimetres != nullptr && told.sensorWidth > 0) {
    const double length = told.sensorWidth / 2 / std::tan(units::toRadians(angle) / 2);
    return {within(millimetres->x, length), space::ZOOM_MILLIMETRES};
  }
  const auto& table = told.zoomTable;
  const ListedSpace* listed = isTableInMillimetres()
                                  ? millimetres
                                  : onvif::findSpace(facts.zoomPositions, space::ZOOM_POSITION);
  const Range range = listed != nullptr ? listed->x : Range{0, 1};
  const std::string uri = listed != nullptr ? listed->uri : "";
  if (table.size() < 2) {
    return {mapped(zoom, {LEAST_ZOOM, MOST_ZOOM}, range), uri};
  }
  for (std::size_t i = 1; i < table.size(); ++i) {
    if (angle >= table[i].fieldAngle || i + 1 == table.size()) {
      const double part = std::log(angle / table[i - 1].fieldAngle) /
                          std::log(table[i].fieldAngle / table[i - 1].fieldAngle);
      const double position =
          table[i - 1].position +
          std::clamp(part, 0.0, 1.0) * (table[i].position - table[i - 1].position);
      return {within(range, position), uri};
    }
  }
  return {range.low, uri};
}

// A table has the numbers of the status in which it was measured. Without a word of it those that
// are beyond the generic range are millimetres.
bool HeadMap::isTableInMillimetres() const {
  if (told.zoomUnit != ZoomUnit::guessed) {
    return told.zoomUnit == ZoomUnit::millimetres;
  }
  const ListedSpace* millimetres = onvif::findSpace(facts.zoomPositions, space::ZOOM_MILLIMETRES);
  const ListedSpace* listed = onvif::findSpace(facts.zoomPositions, space::ZOOM_POSITION);
  const double farthest = told.zoomTable.empty() ? 0 : told.zoomTable.back().position;
  return millimetres != nullptr && farthest > (listed != nullptr ? listed->x.high : 1);
}

bool HeadMap::isInMillimetres(const Vector1& zoom) const {
  const std::string& given = zoom.space.empty() ? facts.defaultZoomPosition : zoom.space;
  return given == space::ZOOM_MILLIMETRES;
}

// The application takes a head whose zoom is told otherwise than it was sent for a strange one. By
// a table both are the same; what it is between its points then counts less.
ZoomLaw HeadMap::zoomLaw(const HeadReading& reading) const {
  const bool isLength = isInMillimetres(reading.zoom.value_or(Vector1()));
  const bool isByTable =
      told.zoomTable.size() >= 2 && reading.zoom && isLength == isTableInMillimetres();
  if (reading.fieldAngle && !isByTable) {
    return ZoomLaw::fieldAngle;
  }
  if (isLength && told.sensorWidth > 0) {
    return ZoomLaw::millimetres;
  }
  return isByTable ? ZoomLaw::table : ZoomLaw::guessed;
}

const ListedSpace* HeadMap::generic() const {
  return onvif::findSpace(facts.positions, space::POSITION);
}

const ListedSpace* HeadMap::inDegrees() const {
  return onvif::findSpace(facts.positions, space::POSITION_DEGREES);
}

std::optional<HeadMap::Axes> HeadMap::limits() const {
  const auto turned = [](const Range& range, bool isInverted) {
    return isInverted ? Range{-range.high, -range.low} : range;
  };
  const auto axes = genericDegrees();
  if (!axes) {
    return std::nullopt;
  }
  const Axes ends = endsWithin(*axes);
  return Axes{turned(ends.pan, told.invertPan), turned(ends.tilt, told.invertTilt)};
}

HeadMap::Axes HeadMap::endsWithin(const Axes& axes) const {
  const auto cut = [](const Range& range, const std::optional<Range>& ends) {
    const Range both =
        ends ? Range{std::max(range.low, ends->low), std::min(range.high, ends->high)} : range;
    return both.isReal() ? both : range;
  };
  return {cut(axes.pan, told.panEnds), cut(axes.tilt, told.tiltEnds)};
}

// What the user tells counts before what the head says.
std::optional<HeadMap::Axes> HeadMap::genericDegrees() const {
  const ListedSpace* degrees = inDegrees();
  const ListedSpace* listed = generic();
  const auto rangeOf = [&](const std::optional<Range>& given, auto part) -> std::optional<Range> {
    if (given) {
      return given;
    }
    if (degrees != nullptr) {
      return part(*degrees);
    }
    return listed != nullptr && isOfDegrees(part(*listed)) ? std::optional(part(*listed))
                                                           : std::nullopt;
  };
  const auto pan = rangeOf(told.pan, [](const ListedSpace& one) { return one.x; });
  const auto tilt = rangeOf(told.tilt, [](const ListedSpace& one) { return one.y; });
  return pan && tilt ? std::optional(Axes{*pan, *tilt}) : std::nullopt;
}

double HeadMap::fieldAngleOfPosition(const Vector1& zoom) const {
  HeadReading reading;
  reading.zoom = zoom;
  switch (zoomLaw(reading)) {
    case ZoomLaw::millimetres:
      return zoom.x > 0 ? units::toDegrees(2 * std::atan(told.sensorWidth / 2 / zoom.x))
                        : told.fieldAngles.high;
    case ZoomLaw::table:
      return angleByTable(zoom.x);
    case ZoomLaw::fieldAngle:
    case ZoomLaw::guessed:
      break;
  }
  const ListedSpace* listed = onvif::findSpace(facts.zoomPositions, space::ZOOM_POSITION);
  const Range range = listed != nullptr ? listed->x : Range{0, 1};
  const double part = (within(range, zoom.x) - range.low) / width(range);
  const double ratio = told.fieldAngles.high / told.fieldAngles.low;
  return told.fieldAngles.high / (1 + part * (ratio - 1));
}

// In even steps of the angle's logarithm between two points.
double HeadMap::angleByTable(double position) const {
  const auto& table = told.zoomTable;
  if (position <= table.front().position) {
    return table.front().fieldAngle;
  }
  for (std::size_t i = 1; i < table.size(); ++i) {
    if (position <= table[i].position) {
      const double part =
          (position - table[i - 1].position) / (table[i].position - table[i - 1].position);
      return table[i - 1].fieldAngle *
             std::pow(table[i].fieldAngle / table[i - 1].fieldAngle, part);
    }
  }
  return table.back().fieldAngle;
}

}  // namespace device::bridge
