#include "config/data_boundaries.h"

#include "events/camera_info.h"

std::int32_t DataBoundaries::getMaxNumberProfilesPerCamera() const {
  if (CameraInfo::isMultiCamera()) {
    return profilesMultiCameraMax;
  }
  return CameraInfo::isMechanicalPTZ() ? profilesMechanicalPtzMax : profilesFixedCameraMax;
}
