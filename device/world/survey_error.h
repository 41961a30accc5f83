#ifndef DEVICE_WORLD_SURVEY_ERROR_H
#define DEVICE_WORLD_SURVEY_ERROR_H

namespace device {

// How well somebody measured the mast.
struct SurveyError {
  double mastHeight = 0;  // share of the height, upwards or downwards
  double offset = 0;      // metres in x and in y of each camera, each to either side
};

}  // namespace device

#endif
