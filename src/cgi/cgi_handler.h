#ifndef CGI_CGI_HANDLER_H
#define CGI_CGI_HANDLER_H

#include <functional>
#include <string>

#include "app/api_version_handler.h"
#include "camera/camera_container.h"
#include "camera/configuration_parser_i.h"
#include "cgi/cgi_handler_result.h"
#include "cgi/cgi_header.h"
#include "config/data_boundaries.h"
#include "config/default_values.h"

// Answers the requests of the API that concern the configuration and its profiles. Requests come
// one at a time. Failures become a status; the precise reason goes to the log with the request's
// text.
class CGI_Handler {
 public:
  // All must outlive the handler.
  CGI_Handler(CameraContainer& cameraContainer, const API_VersionHandler& versionHandler,
              const std::string& configurationPath, const DataBoundaries& boundaries,
              const DefaultValues& defaults, ConfigurationParserI& parser);
  CGI_Handler(const CGI_Handler&) = delete;
  CGI_Handler& operator=(const CGI_Handler&) = delete;
  virtual ~CGI_Handler() = default;

  // Answers a whole request. Throws nothing.
  CGI_HandlerResult handleRequest(const std::string& text);

  CGI_Header extractHeader(const std::string& text) const;

  // Answers a request by its method.
  virtual CGI_HandlerResult handleRequestedCgi(const std::string& text, const std::string& method);

  CGI_HandlerResult handleSetRequest(const std::string& text);
  CGI_HandlerResult handleGetRequest(const std::string& text);
  CGI_HandlerResult handleStartVisualConfirmation(const std::string& text);
  CGI_HandlerResult handleStopVisualConfirmation(const std::string& text);
  CGI_HandlerResult handleSendAlarmEvent(const std::string& text);
  CGI_HandlerResult handleGetSupportedVersions(const std::string& text);
  CGI_HandlerResult handleConfigurationCapabilities(const std::string& text);

 protected:
  // What a handler does; it throws StatusException.
  using Action = std::function<JsonAutoPtr()>;

  // Runs an action and turns what it throws into a status.
  static CGI_HandlerResult runHandler(const std::string& text, const Action& action);

  // The "params" of a request; method stands in the messages.
  static JsonAutoPtr decodeParams(const std::string& text, const std::string& method);

 private:
  static int unpackProfile(const std::string& text, const std::string& method);
  bool saveConfiguration(const std::string& text) const;
  void updateQuery(json_t* document) const;
  static void addEmptyPTZ_PresetsIfMissing(json_t* document);
  JsonAutoPtr readStoredParams() const;
  JsonAutoPtr packSupportedVersions() const;

  CameraContainer& cameraContainer;
  const API_VersionHandler& versionHandler;
  const std::string configurationPath;
  const DataBoundaries& boundaries;
  const DefaultValues& defaults;
  ConfigurationParserI& parser;
};

#endif
