#ifndef DEVICE_WORLD_DETECTION_SETUP_H
#define DEVICE_WORLD_DETECTION_SETUP_H

#include <optional>
#include <vector>

#include "world/ghosts.h"
#include "world/occlusions.h"

namespace device {

enum class VelocityKind {
  exact,  // of the person, from before and after the picture
  past,   // from past pictures only
  none    // not reported
};

// What video analytics make of what they see. Pixels are those of the upright picture; shares and
// probabilities are 0 to 1.
struct DetectionSetup {
  double vertexNoise = 0.8;  // pixels, deviation of each vertex each way
  double endNoise = 0;       // pixels, deviation of foot and head, each way; the outline follows

  double missed = 0;        // probability in each picture
  double missedSmall = 0;   // ... more, growing from 0 at smallPixels to this at no size at all
  double smallPixels = 60;  // of a person's height
  double missedHidden = 0;  // ... more, times the share that is hidden
  double leastPixels = 0;   // height below which nobody is detected

  bool hiddenByOthers = false;  // people hide each other
  double mostHidden = 0.7;      // share from which on somebody is not detected
  OcclusionSetup occlusions;

  // Two whose boxes share more than this of the smaller one are one object, until they share less
  // than half of that; 1 for never.
  double mergedFrom = 0.5;

  double memory = 0;   // seconds for which the id of somebody who is not detected is kept
  double newId = 0;    // probability of a new id all the same after a gap of 0.4 s or more
  double swapped = 0;  // probability that two who part exchange their ids

  double shadowLength = 0;  // metres on the ground for each metre of height; 0 for none
  double shadowTurn = 0;    // degrees, the direction in which shadows fall, as pan

  VelocityKind velocity = VelocityKind::exact;
  double velocityNoise = 0.02;  // deviation, share of the velocity
  int velocityPictures = 6;     // of Past

  std::vector<GhostSetup> ghosts;

  // The only person whom the analytics are sure of: objects of others alone have a low confidence.
  std::optional<int> sureOf{};
};

}  // namespace device

#endif
