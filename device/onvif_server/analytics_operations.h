#ifndef DEVICE_ONVIF_SERVER_ANALYTICS_OPERATIONS_H
#define DEVICE_ONVIF_SERVER_ANALYTICS_OPERATIONS_H

#include <functional>
#include <string>
#include <vector>

#include "onvif/tag.h"
#include "onvif_server/camera_profile.h"
#include "onvif_server/operations.h"

namespace device::onvif {

// The names of the rules that a configuration of analytics has now.
using RulesOf = std::function<std::vector<std::string>(const std::string& analytics)>;

// What a camera's analytics are, as both media services and the profiles tell it: one module, which
// finds the objects, and the rules that decide about alarms.
Tag analyticsConfigurationTag(const std::string& name, const CameraProfile& profile,
                              const std::vector<std::string>& rules);

// The analytics service. Modules and rules are the camera's own: they can be read, not changed.
class AnalyticsOperations {
 public:
  // The profiles outlive the service.
  AnalyticsOperations(const std::vector<CameraProfile>& profiles, RulesOf rulesOf);

  void addTo(Operations& operations);

 private:
  const CameraProfile& analyticsOf(const Request& request) const;

  const std::vector<CameraProfile>& profiles;
  RulesOf rulesOf;
};

}  // namespace device::onvif

#endif
