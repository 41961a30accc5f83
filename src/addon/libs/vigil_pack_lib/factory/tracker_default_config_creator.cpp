#include "addon/libs/vigil_pack_lib/factory/tracker_default_config_creator.h"

#include <syslog.h>

JsonAutoPtr TrackerDefaultConfigCreator::createProfile(const DefaultValues& defaults,
                                                       int camera) const {
  constexpr int DEFAULT_PRIORITY = 1;
  JsonAutoPtr profile = DefaultConfigCreator::createProfile(defaults, camera);
  const JsonAutoPtr priority(json_pack("{s:i}", "priority", DEFAULT_PRIORITY));
  if (!priority) {
    syslog(LOG_ERR, "Cannot create priority information for a default profile\n");
    return profile;
  }
  if (json_object_update(profile.get(), priority.get()) != 0) {
    syslog(LOG_ERR, "Cannot update the profile with property information\n");
  }
  return profile;
}
