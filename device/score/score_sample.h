#ifndef DEVICE_SCORE_SCORE_SAMPLE_H
#define DEVICE_SCORE_SCORE_SAMPLE_H

#include <vector>

#include "head/head.h"
#include "model/model.h"
#include "world/direction.h"
#include "world/tracks.h"

namespace device {

// Somebody who is there.
struct ScoredPerson {
  int id = 0;                     // the same person keeps it, nobody else gets it
  GroundPoint position;           // metres, of the feet
  double height = PERSON_HEIGHT;  // metres
  bool counts = false;            // is somebody whom the head ought to follow
};

// Where a head really looks.
struct HeadPose {
  double pan = 0;     // degrees, -180 to 180 growing to the right
  double tilt = 0;    // degrees, growing upwards
  double field = 60;  // degrees across the picture's width
};

// The truth at one moment. It stands for the time since the sample before.
struct ScoreSample {
  double time = 0;  // seconds, growing from sample to sample
  HeadPose head;
  std::vector<ScoredPerson> people;  // everybody, whether they count or not
};

// What does not change in a run. The head hangs above the ground's origin.
struct ScoreSetup {
  double mastHeight = 5;    // metres
  int pictureWidth = 1920;  // pixels of the head's picture, which are square
  int pictureHeight = 1080;
};

// The mast's height, and the picture as the head's parameter Image.I0.Appearance.Resolution has it.
ScoreSetup scoreSetupOf(const Model& model);

HeadPose poseOf(const HeadStatus& head);

// Where a head looks at home.
HeadPose homePose(const HeadSetup& head);

}  // namespace device

#endif
