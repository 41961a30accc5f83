#include "score/score_sample.h"

#include <cstdio>

namespace device {

ScoreSetup scoreSetupOf(const Model& model) {
  ScoreSetup setup{.mastHeight = model.world.mastHeight};
  const auto resolution = model.headParameters.find("Image.I0.Appearance.Resolution");
  int width = 0;
  int height = 0;
  if (resolution != model.headParameters.end() &&
      std::sscanf(resolution->second.c_str(), "%dx%d", &width, &height) == 2 && width > 0 &&
      height > 0) {
    setup.pictureWidth = width;
    setup.pictureHeight = height;
  }
  return setup;
}

HeadPose poseOf(const HeadStatus& head) {
  return {.pan = head.pan, .tilt = head.tilt, .field = head.pictureWidth};
}

HeadPose homePose(const HeadSetup& head) {
  return {.pan = head.home.pan,
          .tilt = head.home.tilt,
          .field = Head::fieldAngle(head, head.home.zoom)};
}

}  // namespace device
