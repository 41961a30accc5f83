#ifndef DEVICE_ONVIF_SERVER_METADATA_H
#define DEVICE_ONVIF_SERVER_METADATA_H

#include <cstdint>
#include <string>
#include <vector>

#include "onvif/tag.h"
#include "onvif_server/notification.h"
#include "world/frame.h"
#include "world/overview_camera.h"

namespace device::onvif {

// Documents of a metadata stream. Each is whole in itself.

// What the analytics of a camera report on one picture, in the coordinates of the upright picture:
// -1 to 1, y upwards. time: of the picture, microseconds since 1970.
std::string analyticsDocument(const Frame& frame, const OverviewCamera& camera, std::int64_t time);

std::string eventDocument(const std::vector<Notification>& notifications);

// status: the element tt:PTZStatus.
std::string ptzDocument(Tag status);

}  // namespace device::onvif

#endif
