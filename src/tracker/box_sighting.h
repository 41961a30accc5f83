#ifndef TRACKER_BOX_SIGHTING_H
#define TRACKER_BOX_SIGHTING_H

#include <optional>

#include "following/ground_position.h"
#include "geometry/polygon.h"
#include "ptz/video_channel.h"

// What the outline of an object tells of where it is. Angles are degrees in the head's frame.
struct BoxSighting {
  // Of the foot and the head. Its pan is that of the end that is not cut, where one is.
  following::Sighting sighting;
  bool isFootCut = false;  // at the picture's border: it may be anywhere beyond
  bool isHeadCut = false;
  double pan = 0.0;  // of the box' middle
  double tilt = 0.0;
  double width = 0.0;   // as seen, across the object
  double height = 0.0;  // from foot to head
};

// The foot of somebody who stands is below his head, but in a wide picture that looks down they do
// not stand above each other: he leans. So the lowest and highest point of an outline are looked
// for in the head's angles; of a box, whose corners belong to nobody, on the picture of the
// vertical through its middle. None when the camera's field of view is not known yet. The caller
// has prepared the channel.
std::optional<BoxSighting> sightingOf(const VideoChannel& channel, const Polygon& outline);

#endif
