#ifndef CGI_CGI_HANDLER_H
#define CGI_CGI_HANDLER_H

#include <functional>
#include <string>
#include <vector>

#include "app/api_version_handler.h"
#include "camera/camera_container.h"
#include "camera/configuration_parser_i.h"
#include "cgi/cgi_handler_result.h"
#include "cgi/cgi_header.h"
#include "cgi/cgi_request.h"
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

  // What requests are to be read with.
  const API_VersionHandler& getVersionHandler() const { return versionHandler; }

  // Answers a whole request. Throws nothing.
  CGI_HandlerResult handleRequest(const CGI_Request& request);

  // For texts, which are read anew by each of these calls: a whole request, its header, and one
  // that is answered by that method, whatever its header says.
  // Only for other applications of these classes, as the methods for a text are.
  CGI_HandlerResult handleRequest(const std::string& text);
  CGI_Header extractHeader(const std::string& text) const;
  CGI_HandlerResult handleRequestedCgi(const std::string& text, const std::string& method);

  // One method each, for a text.
  CGI_HandlerResult handleSetRequest(const std::string& text);
  CGI_HandlerResult handleGetRequest(const std::string& text);
  CGI_HandlerResult handleStartVisualConfirmation(const std::string& text);
  CGI_HandlerResult handleStopVisualConfirmation(const std::string& text);
  CGI_HandlerResult handleSendAlarmEvent(const std::string& text);
  CGI_HandlerResult handleGetSupportedVersions(const std::string& text);
  CGI_HandlerResult handleConfigurationCapabilities(const std::string& text);

 protected:
  // What a method does with a request. Throws StatusException, which becomes the answer's status;
  // else gives the answer's data, null when there is none.
  using Action = std::function<JsonAutoPtr(const CGI_Request& request)>;

  // A method of the API, by its exact name. One that is not offered at the moment is as one that is
  // not there.
  struct Method {
    std::string name;
    Action action;
    std::function<bool()> isOffered = [] { return true; };
  };

  // To be called by constructors; the names must be new.
  void addMethods(const std::vector<Method>& added);

 private:
  CGI_Request read(const std::string& text) const;
  CGI_HandlerResult handleRequestedCgi(const CGI_Request& request, const std::string& method);

  JsonAutoPtr setConfiguration(const CGI_Request& request);
  JsonAutoPtr getConfiguration() const;
  JsonAutoPtr startVisualConfirmation(const CGI_Request& request);
  JsonAutoPtr stopVisualConfirmation();
  JsonAutoPtr sendAlarmEvent(const CGI_Request& request);
  JsonAutoPtr getSupportedVersions() const;

  bool saveConfiguration(const json_t* document) const;
  void updateQuery(json_t* document) const;
  static void addEmptyPTZ_PresetsIfMissing(json_t* document);
  JsonAutoPtr packSupportedVersions() const;

  CameraContainer& cameraContainer;
  const API_VersionHandler& versionHandler;
  const std::string configurationPath;
  const DataBoundaries& boundaries;
  const DefaultValues& defaults;
  ConfigurationParserI& parser;
  std::vector<Method> methods;
};

#endif
