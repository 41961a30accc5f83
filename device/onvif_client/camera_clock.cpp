#include "onvif_client/camera_clock.h"

#include <glib.h>

#include "base/glib_ptr.h"
#include "base/units.h"
#include "onvif/namespaces.h"
#include "onvif_client/xml_number.h"

namespace device::onvif {
namespace {

// Out of every calendar where it is no number.
int partOf(const std::optional<XmlElement>& element, const char* name) {
  const auto number = element ? text::toNumber<int>(textOf(*element, name)) : std::nullopt;
  return number.value_or(-1);
}

}  // namespace

std::optional<std::int64_t> readCameraTime(const XmlElement& response) {
  const auto told = response.child(ns::DEVICE, "SystemDateAndTime");
  const auto utc = told ? told->child(ns::SCHEMA, "UTCDateTime") : std::nullopt;
  if (!utc) {
    return std::nullopt;
  }
  const auto date = utc->child(ns::SCHEMA, "Date");
  const auto time = utc->child(ns::SCHEMA, "Time");
  const GDateTimePtr moment(g_date_time_new_utc(partOf(date, "Year"), partOf(date, "Month"),
                                                partOf(date, "Day"), partOf(time, "Hour"),
                                                partOf(time, "Minute"), partOf(time, "Second")));
  return moment ? std::optional(units::fromSeconds(g_date_time_to_unix(moment.get())))
                : std::nullopt;
}

void CameraClock::told(std::int64_t cameraTime, std::int64_t wall, std::int64_t monotonic) {
  ahead = cameraTime - wall;
  asked = monotonic;
}

bool CameraClock::isKnown(std::int64_t monotonic) const {
  return asked && monotonic - *asked < GOOD_FOR;
}

}  // namespace device::onvif
