#ifndef ADDON_LIBS_VIGIL_PACK_LIB_FACTORY_DEFAULT_CONFIG_CREATOR_H
#define ADDON_LIBS_VIGIL_PACK_LIB_FACTORY_DEFAULT_CONFIG_CREATOR_H

#include <string>

#include "base/json_auto_ptr.h"
#include "config/default_values.h"

// Builds the configuration document of a device that has none: every camera with one profile that
// watches almost the whole picture. Never throws; a step that fails is logged and its piece is
// missing.
class DefaultConfigCreator {
 public:
  // withPresets: profiles get an empty "presets" array.
  explicit DefaultConfigCreator(bool withPresets);
  virtual ~DefaultConfigCreator() = default;

  JsonAutoPtr create(const DefaultValues& defaults, const std::string& apiVersion) const;

 protected:
  // The profile of one camera (from 1).
  virtual JsonAutoPtr createProfile(const DefaultValues& defaults, int camera) const;

 private:
  bool withPresets;
};

#endif
