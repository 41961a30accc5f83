#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FACTORY_TRACKER_DEFAULT_CONFIG_CREATOR_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FACTORY_TRACKER_DEFAULT_CONFIG_CREATOR_H

#include "addon/libs/vigil_pack_lib/factory/default_config_creator.h"

// Gives every default profile the priority that the tracker asks for.
class TrackerDefaultConfigCreator : public DefaultConfigCreator {
 public:
  using DefaultConfigCreator::DefaultConfigCreator;

 protected:
  JsonAutoPtr createProfile(const DefaultValues& defaults, int camera) const override;
};

#endif
