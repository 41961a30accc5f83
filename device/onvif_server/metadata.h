#ifndef DEVICE_ONVIF_SERVER_METADATA_H
#define DEVICE_ONVIF_SERVER_METADATA_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "onvif/tag.h"
#include "onvif_server/notification.h"
#include "world/frame.h"
#include "world/overview_camera.h"

namespace device::onvif {

// Documents of a metadata stream. Each is whole in itself.

// In which coordinates places are told: -1 to 1 with y upwards, or pixels with y downwards, with
// the transformation to the former or without.
enum class PlaceCoordinates { normal, transformedPixels, barePixels };

// How a report is told, where it is not told as it ought to be.
struct ReportManner {
  PlaceCoordinates coordinates = PlaceCoordinates::normal;
  std::vector<std::pair<std::int32_t, std::int32_t>> renames{};  // from, to
};

// What the analytics of a camera report on one picture, in the coordinates of the upright picture.
// time: of the picture, microseconds since 1970.
std::string analyticsDocument(const Frame& frame, const OverviewCamera& camera, std::int64_t time,
                              const ReportManner& manner = {});

std::string eventDocument(const std::vector<Notification>& notifications);

// status: the element tt:PTZStatus.
std::string ptzDocument(Tag status);

}  // namespace device::onvif

#endif
