#ifndef CONFIG_DATA_BOUNDARIES_H
#define CONFIG_DATA_BOUNDARIES_H

#include <array>
#include <cstdint>

// The limits of the configuration. All bounds are inclusive.
struct DataBoundaries {
  std::int32_t shortLivedMax = 5;  // seconds
  std::int32_t shortLivedMin = 1;
  std::int32_t excludeAreasMax = 3;  // per profile
  std::int32_t excludeAreasMin = 0;
  std::int32_t includeAreasMax = 1;
  std::int32_t includeAreasMin = 1;
  std::int32_t loiteringAreasMax = 0;
  std::int32_t loiteringAreasMin = 0;
  std::int32_t fencesMax = 0;
  std::int32_t fencesMin = 0;
  std::int32_t verticesMax = 20;
  std::int32_t verticesMin = 3;
  // Maximum and minimum for the individual and the group condition, then for the object-stopped
  // condition's two parameters.
  std::array<std::int32_t, 8> conditionParameters{};
  std::int32_t sizePercentWidthMax = 100;
  std::int32_t sizePercentWidthMin = 3;
  std::int32_t sizePercentHeightMax = 100;
  std::int32_t sizePercentHeightMin = 3;
  std::int32_t swayingPercentMax = 20;
  std::int32_t swayingPercentMin = 3;
  std::int32_t presetsPerProfileMax = 1;
  std::int32_t nameLengthMin = 1;  // characters
  std::int32_t nameLengthMax = 15;
  std::int32_t profilesPerCameraMin = 0;
  std::int32_t profilesFixedCameraMax = 3;
  std::int32_t profilesMechanicalPtzMax = 10;
  std::int32_t profilesMultiCameraMax = 3;

  // For the device at hand; asks it, so not before sdk_wrapper_init.
  std::int32_t getMaxNumberProfilesPerCamera() const;
};

#endif
