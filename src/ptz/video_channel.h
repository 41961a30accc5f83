#ifndef PTZ_VIDEO_CHANNEL_H
#define PTZ_VIDEO_CHANNEL_H

#include <cstdint>
#include <optional>

#include "geometry/math_vector.h"
#include "geometry/point.h"
#include "geometry/point_f.h"
#include "platform/owners.h"
#include "ptz/fov.h"

// The geometry of one video channel (from 0): turns scene coordinates (Q12, y upwards) into pixels
// of its picture (origin top left, y downwards), and pixels into the head's pan and tilt in
// degrees. Used under the tracker's mutex.
class VideoChannel {
 public:
  explicit VideoChannel(int channel);

  // Builds the picture's geometry. False when the picture's size or the mounting is not known.
  bool init();

  // True when both are known: whether init() of such a channel would succeed.
  static bool isMounted(int channel);

  // The picture's size in pixels as the device states it, before rotation.
  static bool getCameraResolution(int channel, int& width, int& height);

  // Takes over a rotation that has changed, with the picture's geometry read anew. While that
  // cannot be read the old rotation holds, and the device is asked again once a second. Every
  // question for pan and tilt begins with it.
  void followRotation();

  PointF toImagePosition(const Point& point) const;

  // size holds width and height.
  PointF toImageSize(const Point& size) const;

  // Pixels per second; y stays upwards.
  PointF toImageVelocity(const Point& velocity) const;

  // From the coordinates of a sensor with the rotation taken over last to the picture's.
  void unrotatePosition(double& x, double& y) const;
  void unrotateVelocity(double& x, double& y) const;
  void unrotateSize(double& w, double& h) const;

  // Pan and tilt of one pixel; always true.
  bool getPanTilt(int x, int y, double& pan, double& tilt);

  // Pan and tilt of a box' middle and its angular width and height. What reaches beyond the picture
  // is cut.
  bool getPanTilt(const PointF& position, const PointF& size, double& pan, double& tilt,
                  double& panSpan, double& tiltSpan);

  // Takes over rotation and lens as they are now, for directionOf.
  void prepare();

  // Pan (x) and tilt (y) of the pixel at a place of the picture, which may lie beyond its border.
  PointF directionOf(const PointF& place) const;

  // The angles that an extent in pixels subtends at a position, with the extent's signs.
  PointF getAngle(const PointF& position, const PointF& extent);

  int getChannel() const { return channel; }
  int getWidth() const { return width; }
  int getHeight() const { return height; }
  const Fov& getFov() const { return fov; }

  // Number of users, kept by VideoChannels.
  std::int32_t refCount = 0;

 private:
  // What the device states of a picture.
  struct Geometry {
    PtzmathPtr context;
    int width = 0;  // pixels, after rotation
    int height = 0;
    std::int32_t rotation = 0;
    bool isMounted = false;
  };

  struct Direction {
    double pan;  // degrees
    double tilt;
  };

  static std::optional<Geometry> readGeometry(int channel, std::int32_t rotation);

  void apply(Geometry geometry);
  void applyFov();
  Direction toPanTilt(int x, int y) const;
  double subtendedAngle(const PointF& position, double extent) const;

  std::int32_t channel;
  PtzmathPtr context;
  std::int32_t width = 0;  // pixels, after rotation
  std::int32_t height = 0;
  Fov fov;
  std::int32_t appliedRotation = 0;  // the one that the context was built for
  std::int64_t lastAttempt = 0;      // to follow the rotation, in vain; 0 when none
};

#endif
