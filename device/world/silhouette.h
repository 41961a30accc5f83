#ifndef DEVICE_WORLD_SILHOUETTE_H
#define DEVICE_WORLD_SILHOUETTE_H

#include <cstddef>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "world/overview_camera.h"
#include "world/tracks.h"

namespace device {

inline constexpr std::size_t FEWEST_VERTICES = 8;
inline constexpr std::size_t MOST_VERTICES = 24;

// An upright rectangle of a picture.
struct PictureBox {
  PicturePoint low;
  PicturePoint high;

  double width() const { return high.x - low.x; }
  double height() const { return high.y - low.y; }
  double area() const { return width() * height(); }
};

// The smallest box around points; at least one point.
PictureBox boxOf(std::span<const PicturePoint> points);

// The area common to both boxes as a share of the smaller one's area, 0 to 1.
double overlap(const PictureBox& a, const PictureBox& b);

// A person in an upright picture.
struct Silhouette {
  std::vector<PicturePoint> outline;  // head, shoulders, legs; clipped to the picture, not closed
  PictureBox box;                     // of the clipped outline
  PicturePoint velocity;              // of the person's middle, per second
};

// What of a person is seen, and what more is taken for it.
struct Appearance {
  double low = 0;  // metres above the ground: nothing below and above is seen
  double high = std::numeric_limits<double>::infinity();
  double shadowLength = 0;  // metres on the ground for each metre of height; 0 for no shadow
  double shadowTurn = 0;    // degrees, the direction in which it falls, as pan
};

// What a camera sees of a person. Nothing when less than a tenth of the person's box is in the
// picture. The velocity is that of the whole person.
std::optional<Silhouette> silhouetteOf(const OverviewCamera& camera, const Person& person,
                                       const Appearance& appearance = {});

// The part of an outline that lies within the picture (-1 to 1 both ways); empty when there is
// none.
std::vector<PicturePoint> clippedToPicture(std::span<const PicturePoint> outline);

// The convex hull of points, counter-clockwise: the outline of several silhouettes together.
std::vector<PicturePoint> hullOf(std::vector<PicturePoint> points);

// The outline with FEWEST_VERTICES to MOST_VERTICES vertices: the longest edges are halved, or the
// vertices that tell least about the shape left out. At least two vertices.
std::vector<PicturePoint> withFitCount(std::vector<PicturePoint> outline);

}  // namespace device

#endif
