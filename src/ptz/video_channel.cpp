#include "ptz/video_channel.h"

#include <fixmath.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>

#include "app/clock.h"
#include "base/units.h"
#include "events/parameter.h"
#include "ptz/bearing.h"

namespace {

constexpr int Q12_ENTRY = 12;
constexpr int Q16_ENTRY = 16;
constexpr double FIXED_ONE = 65536.0;
constexpr std::size_t LONGEST_RESOLUTION = 20;
constexpr std::int64_t ATTEMPT_PERIOD = units::fromSeconds(1);

double fromQ12(std::int16_t value) {
  return static_cast<double>(static_cast<float>(value) * fx_xtof_tab[Q12_ENTRY]);
}

double fromFixed(std::int32_t value) {
  return static_cast<double>(static_cast<float>(value) * fx_xtof_tab[Q16_ENTRY]);
}

// Truncated; what no integer can hold becomes the nearest that can, and what is no number 0.
std::int32_t saturate(double value) {
  using Limits = std::numeric_limits<std::int32_t>;
  if (std::isnan(value)) {
    return 0;
  }
  return static_cast<std::int32_t>(std::clamp<double>(value, Limits::min(), Limits::max()));
}

std::int32_t toFixed(double degrees) {
  const double scaled = static_cast<double>(static_cast<float>(degrees)) * FIXED_ONE;
  return saturate(scaled + (scaled > 0.0 ? 0.5 : -0.5));
}

int truncate(double value) {
  return saturate(value);
}

bool isSideways(std::int32_t rotation) {
  return rotation == 90 || rotation == 270;
}

// The middle and both ends of an extent, as pixels of the picture.
struct PixelRange {
  PixelRange(double middle, double extent, int size)
      : first(toPixel(middle - extent * 0.5, size)),
        centre(toPixel(middle, size)),
        last(toPixel(middle + extent * 0.5, size)) {}

  static int toPixel(double value, int size) {
    return std::clamp(truncate(value), 0, std::max(size - 1, 0));
  }

  int first;
  int centre;
  int last;
};

}  // namespace

VideoChannel::VideoChannel(int channel)
    : channel(channel), fov(static_cast<std::uint32_t>(channel)) {}

bool VideoChannel::init() {
  width = 0;
  height = 0;
  auto geometry = readGeometry(channel, fov.getSensorRotation());
  if (!geometry) {
    return false;
  }
  const bool isComplete = geometry->isMounted;
  apply(std::move(*geometry));
  return isComplete;
}

bool VideoChannel::isMounted(int channel) {
  const auto geometry = readGeometry(channel, 0);
  return geometry && geometry->isMounted;
}

// Nothing when the picture's size is not known.
std::optional<VideoChannel::Geometry> VideoChannel::readGeometry(int channel,
                                                                 std::int32_t rotation) {
  Geometry geometry;
  geometry.rotation = rotation;
  if (!getCameraResolution(channel, geometry.width, geometry.height)) {
    return std::nullopt;
  }
  if (isSideways(rotation)) {
    std::swap(geometry.width, geometry.height);
  }
  geometry.context.reset(ptzmath_context_create());
  ptzmath_set_pic_dim(geometry.context.get(), geometry.width, geometry.height);
  geometry.isMounted = ptzmath_get_remote_center(geometry.context.get(), channel + 1) != -1;
  return geometry;
}

void VideoChannel::apply(Geometry geometry) {
  context = std::move(geometry.context);
  width = geometry.width;
  height = geometry.height;
  appliedRotation = geometry.rotation;
}

// A device that cannot tell at the moment is not asked for each pixel.
void VideoChannel::followRotation() {
  const std::int32_t rotation = fov.getSensorRotation();
  if (rotation == appliedRotation) {
    return;
  }
  const std::int64_t now = utils::monotonicTime();
  if (lastAttempt != 0 && now - lastAttempt < ATTEMPT_PERIOD) {
    return;
  }
  auto geometry = readGeometry(channel, rotation);
  const bool isComplete = geometry && geometry->isMounted;
  if (isComplete) {
    apply(std::move(*geometry));
  }
  lastAttempt = isComplete ? 0 : now;
}

bool VideoChannel::getCameraResolution(int channel, int& width, int& height) {
  const std::string text = utils::readParameter(
      "Image.I" + std::to_string(channel) + ".Appearance.Resolution", LONGEST_RESOLUTION);
  const std::size_t separator = text.find('x');
  if (separator == std::string::npos) {
    return false;
  }
  width = static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
  height = static_cast<int>(std::strtol(text.c_str() + separator + 1, nullptr, 10));
  return true;
}

PointF VideoChannel::toImagePosition(const Point& point) const {
  double x = fromQ12(point.x);
  double y = fromQ12(point.y);
  unrotatePosition(x, y);
  return {(x + 1.0) * width * 0.5, height - (y + 1.0) * height * 0.5};
}

PointF VideoChannel::toImageSize(const Point& size) const {
  double w = fromQ12(size.x);
  double h = fromQ12(size.y);
  unrotateSize(w, h);
  return {w * width * 0.5, h * height * 0.5};
}

PointF VideoChannel::toImageVelocity(const Point& velocity) const {
  double x = fromQ12(velocity.x);
  double y = fromQ12(velocity.y);
  unrotateVelocity(x, y);
  return {x * width * 0.5, y * height * 0.5};
}

void VideoChannel::unrotatePosition(double& x, double& y) const {
  const double oldX = x;
  const double oldY = y;
  switch (appliedRotation) {
    case 180:
      x = -oldX;
      y = -oldY;
      break;
    case 270:
      x = -oldY;
      y = oldX;
      break;
    case 90:
      x = oldY;
      y = -oldX;
      break;
    default:
      break;
  }
}

void VideoChannel::unrotateVelocity(double& x, double& y) const {
  unrotatePosition(x, y);
}

void VideoChannel::unrotateSize(double& w, double& h) const {
  if (isSideways(appliedRotation)) {
    std::swap(w, h);
  }
}

// The lens may change the field of view at any time.
void VideoChannel::applyFov() {
  ptzmath_set_horiz_fov_x(context.get(), toFixed(fov.getHorizontalFov()));
  ptzmath_set_vert_fov_x(context.get(), toFixed(fov.getVerticalFov()));
}

bool VideoChannel::getPanTilt(int x, int y, double& pan, double& tilt) {
  followRotation();
  applyFov();
  const Direction direction = toPanTilt(x, y);
  pan = direction.pan;
  tilt = direction.tilt;
  return true;
}

VideoChannel::Direction VideoChannel::toPanTilt(int x, int y) const {
  std::int32_t fixedPan = 0;
  std::int32_t fixedTilt = 0;
  ptzmath_to_ptz_x(context.get(), &fixedPan, &fixedTilt, x, y);
  return {.pan = fromFixed(fixedPan), .tilt = fromFixed(fixedTilt)};
}

bool VideoChannel::getPanTilt(const PointF& position, const PointF& size, double& pan, double& tilt,
                              double& panSpan, double& tiltSpan) {
  // Once for all pixels of the box: they belong to one picture.
  followRotation();
  applyFov();
  const PixelRange columns(position.x, size.x, width);
  const PixelRange rows(position.y, size.y, height);
  const double leftPan = toPanTilt(columns.first, rows.centre).pan;
  const double rightPan = toPanTilt(columns.last, rows.centre).pan;
  const double topTilt = toPanTilt(columns.centre, rows.first).tilt;
  const double bottomTilt = toPanTilt(columns.centre, rows.last).tilt;
  const Direction middle = toPanTilt(columns.centre, rows.centre);
  pan = middle.pan;
  tilt = middle.tilt;
  panSpan = std::abs(Bearing::shortestDiff(leftPan, rightPan));
  tiltSpan = std::abs(topTilt - bottomTilt);
  return true;
}

void VideoChannel::prepare() {
  followRotation();
  applyFov();
}

PointF VideoChannel::directionOf(const PointF& place) const {
  const Direction direction =
      toPanTilt(saturate(std::round(place.x)), saturate(std::round(place.y)));
  return {direction.pan, direction.tilt};
}

double VideoChannel::subtendedAngle(const PointF& position, double extent) const {
  const double angle = fromFixed(ptzmath_to_remote_zoom(context.get(), truncate(position.x),
                                                        truncate(position.y), truncate(extent)));
  return extent < 0.0 ? -angle : angle;
}

PointF VideoChannel::getAngle(const PointF& position, const PointF& extent) {
  applyFov();
  const double angleX = subtendedAngle(position, extent.x);
  const double angleY = subtendedAngle(position, extent.y);
  return {angleX, angleY};
}
