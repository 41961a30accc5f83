#ifndef CAMERA_CONFIGURATION_PARSER_I_H
#define CAMERA_CONFIGURATION_PARSER_I_H

#include <jansson.h>

#include <string>

#include "camera/camera_configuration_container.h"
#include "config/data_boundaries.h"
#include "config/status_exception.h"

// Checks a configuration document and turns it into the configurations of cameras.
class ConfigurationParserI {
 public:
  virtual ~ConfigurationParserI() = default;

  // Checks a whole document. Throws StatusException at the first failure, when nothing of the
  // document is kept.
  virtual void parseDocument(const json_t* document, const DataBoundaries& boundaries) = 0;

  // The same for a text that is to be decoded, but for the failure, which is logged: the status, 0
  // when the document is good.
  virtual int parse(const std::string& text, const DataBoundaries& boundaries) = 0;

  // Of the document parsed last.
  virtual StatusCode_e status() const = 0;

  // The active cameras with new guards, which declare their events and join the tracker.
  virtual CameraConfigurationContainer createConfigurations() const = 0;

  // Drops what was parsed.
  virtual void clear() = 0;
};

#endif
