#ifndef CAMERA_CONFIGURATION_PARSER_I_H
#define CAMERA_CONFIGURATION_PARSER_I_H

#include <string>

#include "camera/camera_configuration_container.h"
#include "config/data_boundaries.h"
#include "config/status_exception.h"

// Checks a configuration document and turns it into the configurations of cameras.
class ConfigurationParserI {
 public:
  virtual ~ConfigurationParserI() = default;

  // Decodes and checks a whole document; the status, 0 when it is good. The first failure is logged
  // and nothing of the document is kept.
  virtual int parse(const std::string& text, const DataBoundaries& boundaries) = 0;

  // Of the document parsed last.
  virtual StatusCode_e status() const = 0;

  // The active cameras with new guards, which declare their events and join the tracker.
  virtual CameraConfigurationContainer createConfigurations() const = 0;

  // Drops what was parsed.
  virtual void clear() = 0;
};

#endif
