#ifndef DEVICE_WORLD_WORLD_SETUP_H
#define DEVICE_WORLD_WORLD_SETUP_H

#include <string>
#include <vector>

#include "world/detection_setup.h"
#include "world/frame_link.h"
#include "world/mounting.h"
#include "world/overview_camera.h"
#include "world/scenery.h"
#include "world/survey_error.h"
#include "world/tracks.h"

namespace device {

// One video channel.
struct ChannelSetup {
  std::string name;
  OverviewCameraSetup camera;  // as the parameters say, but for its place, which is the truth
  MountingError mountingError;
  FrameLinkSetup frames;
  bool movesWithHead = false;  // the channel's lens sits on the head and looks where it looks
};

// The mast, what hangs on it, and where people walk around it.
struct WorldSetup {
  double mastHeight = 0;     // metres; head and overview cameras stand there together
  double homePan = 0;        // degrees, where the head looks at home
  double stageDistance = 0;  // metres from the mast's foot to the middle of where people walk
  double stageTurn = 0;      // degrees by which recordings are turned against a camera's axis
  std::vector<ChannelSetup> channels;
  SurveyError surveyError;

  double peopleHeight = PERSON_HEIGHT;  // metres, mean
  double peopleHeightDeviation = 0;     // metres
  DetectionSetup detections;
  std::vector<Block> scenery;
  std::string scene = "square";  // one of sceneNames()
};

}  // namespace device

#endif
