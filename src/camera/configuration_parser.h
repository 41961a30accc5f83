#ifndef CAMERA_CONFIGURATION_PARSER_H
#define CAMERA_CONFIGURATION_PARSER_H

#include <jansson.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "addon/libs/vigil_pack_lib/factory/guard_factory.h"
#include "base/json_auto_ptr.h"
#include "camera/configuration_parser_i.h"

// What parsing has in common for all kinds of guards.
class ConfigurationParserBase : public ConfigurationParserI {
 public:
  void parseDocument(const json_t* document, const DataBoundaries& boundaries) override;
  int parse(const std::string& text, const DataBoundaries& boundaries) override;
  StatusCode_e status() const override { return parseStatus; }
  CameraConfigurationContainer createConfigurations() const override;
  void clear() override;

 protected:
  // Reads one profile; throws StatusException.
  virtual std::unique_ptr<GuardFactory> createGuardFactory(
      const json_t* profile, int rotation, const DataBoundaries& boundaries) const = 0;

 private:
  struct ParsedCamera {
    std::int32_t id;
    std::int32_t rotation;
    bool active;
  };

  static JsonAutoPtr decode(const std::string& text);
  static const json_t* getParams(const json_t* document);
  void createCameras(const json_t* params);
  void checkCgiCamera(json_int_t id, json_int_t rotation, int cameraCount) const;
  void createGuardFactories(const json_t* params, const DataBoundaries& boundaries);
  static json_int_t parseCameraId(const json_t* profile);
  void checkParsedData(const DataBoundaries& boundaries) const;
  bool areAllProfileUidsUnique() const;
  bool areAllProfileCamerasKnown() const;
  bool doesAnyCameraHaveTooManyProfiles(std::int32_t maximum) const;
  const ParsedCamera* findCamera(json_int_t id) const;

  StatusCode_e parseStatus = StatusCode_e::ok;
  std::vector<ParsedCamera> cameras;
  std::vector<std::unique_ptr<GuardFactory>> factories;
};

// Parses with one kind of guard factory.
template <typename Factory>
class ConfigurationParser : public ConfigurationParserBase {
 protected:
  std::unique_ptr<GuardFactory> createGuardFactory(
      const json_t* profile, int rotation, const DataBoundaries& boundaries) const override {
    return std::make_unique<Factory>(profile, rotation, boundaries);
  }
};

#endif
