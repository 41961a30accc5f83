#include "camera/camera_configuration_container.h"

#include <syslog.h>

#include <algorithm>
#include <utility>

bool CameraConfigurationContainer::insert(CameraConfiguration configuration) {
  if (std::ranges::find(configurations, configuration) != configurations.end()) {
    syslog(LOG_WARNING,
           "Cannot insert duplicate configs in a CameraConfigurationContainer, camera nbr = %i "
           "camera rotation = %i\n",
           configuration.cameraNbr, configuration.rotation);
    return false;
  }
  configurations.push_back(std::move(configuration));
  return true;
}
