#include "cgi/cgi_handler.h"

#include <syslog.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <limits>
#include <utility>

#include "addon/libs/vigil_pack_lib/factory/cgi_pack.h"
#include "config/json_parser.h"
#include "config/persistent_config_handler.h"
#include "events/camera_info.h"

namespace {

using enum StatusCode_e;

void logFailure(const char* reason, const std::string& text) {
  syslog(LOG_ERR, "%s\n", reason);
  syslog(LOG_ERR, "%s\n", text.c_str());
}

// The profile that a request names; method stands in the messages.
int unpackProfile(const CGI_Request& request, const std::string& method) {
  json_int_t profile = 0;
  throwIf(json_unpack(request.getParams(method), "{s:I}", "profile", &profile) != 0,
          "Could not unpack data for profile uid for " + method, missingParameter);
  throwIf(!std::in_range<std::int32_t>(profile), "Incorrect profile uid for " + method,
          invalidParameter);
  return static_cast<int>(profile);
}

// A copy that can be changed where a stored document differs from the request. Documents may be
// large: what stays the same is shared.
JsonAutoPtr copyToStore(const json_t* document) {
  if (CameraInfo::isMechanicalPTZ()) {
    return JsonAutoPtr(json_deep_copy(document));
  }
  JsonAutoPtr copy(json_copy(const_cast<json_t*>(document)));
  const JsonAutoPtr params(json_copy(json_object_get(document, "params")));
  return json_object_set(copy.get(), "params", params.get()) == 0 ? copy : JsonAutoPtr();
}

}  // namespace

CGI_Handler::CGI_Handler(CameraContainer& cameraContainer, const API_VersionHandler& versionHandler,
                         const std::string& configurationPath, const DataBoundaries& boundaries,
                         const DefaultValues& defaults, ConfigurationParserI& parser)
    : cameraContainer(cameraContainer),
      versionHandler(versionHandler),
      configurationPath(configurationPath),
      boundaries(boundaries),
      defaults(defaults),
      parser(parser) {
  addMethods(
      {{"setConfiguration",
        [this](const CGI_Request& request) { return setConfiguration(request); }},
       {"getConfiguration", [this](const CGI_Request&) { return getConfiguration(); }},
       {"startVisualConfirmation",
        [this](const CGI_Request& request) { return startVisualConfirmation(request); }},
       {"sendAlarmEvent", [this](const CGI_Request& request) { return sendAlarmEvent(request); }},
       {"stopVisualConfirmation", [this](const CGI_Request&) { return stopVisualConfirmation(); }},
       {"getSupportedVersions", [this](const CGI_Request&) { return getSupportedVersions(); }},
       {"getConfigurationCapabilities", [this](const CGI_Request&) {
          return CGI_Pack(this->boundaries, this->defaults).capabilities();
        }}});
}

// ---- Entry and dispatch ----

CGI_HandlerResult CGI_Handler::handleRequest(const CGI_Request& request) {
  if (!request.header.ok) {
    request.header.logNotOk(request.text, versionHandler);
    return CGI_HandlerResult(request.header.status);
  }
  try {
    return handleRequestedCgi(request, request.header.method);
  } catch (const std::exception& problem) {
    logFailure(problem.what(), request.text);
  } catch (...) {
    logFailure("An unknown exception occurred", request.text);
  }
  return CGI_HandlerResult(internalError);
}

CGI_HandlerResult CGI_Handler::handleRequestedCgi(const CGI_Request& request,
                                                  const std::string& method) {
  const auto found = std::ranges::find(methods, method, &Method::name);
  if (found == methods.end() || !found->isOffered()) {
    return CGI_HandlerResult(method == "missingMethod" ? missingParameter : methodNotFound);
  }
  try {
    return CGI_HandlerResult(ok, found->action(request));
  } catch (const StatusException& problem) {
    logFailure(problem.what(), request.text);
    return CGI_HandlerResult(problem.getStatus());
  }
}

void CGI_Handler::addMethods(const std::vector<Method>& added) {
  methods.insert(methods.end(), added.begin(), added.end());
}

// ---- Texts ----

CGI_Request CGI_Handler::read(const std::string& text) const {
  return CGI_Request(DecodedText::exactly(text), versionHandler);
}

CGI_HandlerResult CGI_Handler::handleRequest(const std::string& text) {
  return handleRequest(read(text));
}

CGI_Header CGI_Handler::extractHeader(const std::string& text) const {
  return CGI_Header(text, versionHandler);
}

CGI_HandlerResult CGI_Handler::handleRequestedCgi(const std::string& text,
                                                  const std::string& method) {
  return handleRequestedCgi(read(text), method);
}

CGI_HandlerResult CGI_Handler::handleSetRequest(const std::string& text) {
  return handleRequestedCgi(text, "setConfiguration");
}

CGI_HandlerResult CGI_Handler::handleGetRequest(const std::string& text) {
  return handleRequestedCgi(text, "getConfiguration");
}

CGI_HandlerResult CGI_Handler::handleStartVisualConfirmation(const std::string& text) {
  return handleRequestedCgi(text, "startVisualConfirmation");
}

CGI_HandlerResult CGI_Handler::handleStopVisualConfirmation(const std::string& text) {
  return handleRequestedCgi(text, "stopVisualConfirmation");
}

CGI_HandlerResult CGI_Handler::handleSendAlarmEvent(const std::string& text) {
  return handleRequestedCgi(text, "sendAlarmEvent");
}

CGI_HandlerResult CGI_Handler::handleGetSupportedVersions(const std::string& text) {
  return handleRequestedCgi(text, "getSupportedVersions");
}

CGI_HandlerResult CGI_Handler::handleConfigurationCapabilities(const std::string& text) {
  return handleRequestedCgi(text, "getConfigurationCapabilities");
}

// ---- Configuration ----

JsonAutoPtr CGI_Handler::setConfiguration(const CGI_Request& request) {
  throwIf(!request.document, "Unable to decode Json: " + request.error, malformed);
  parser.parseDocument(request.document.get(), boundaries);
  throwIf(!saveConfiguration(request.document.get()), "Could not save the configuration",
          saveFailed);
  cameraContainer.updateWithNewConfiguration(parser.createConfigurations());
  return JsonAutoPtr();
}

bool CGI_Handler::saveConfiguration(const json_t* document) const {
  const JsonAutoPtr stored = copyToStore(document);
  updateQuery(stored.get());
  return PersistentConfigHandler::save(stored.get(), configurationPath);
}

void CGI_Handler::updateQuery(json_t* document) const {
  constexpr std::int32_t FIRST_STATUS = 1;
  std::int32_t status = PersistentConfigHandler::getConfigurationStatus(configurationPath);
  if (status == std::numeric_limits<std::int32_t>::max()) {
    syslog(LOG_WARNING, "Configuration status was reset to 1 as it exceeded int max\n");
    status = FIRST_STATUS;
  } else {
    ++status;
  }
  json_object_set_new(json_object_get(document, "params"), "configurationStatus",
                      json_integer(status));
  if (CameraInfo::isMechanicalPTZ()) {
    addEmptyPTZ_PresetsIfMissing(document);
  }
}

void CGI_Handler::addEmptyPTZ_PresetsIfMissing(json_t* document) {
  json_t* params = json_object_get(document, "params");
  if (params == nullptr) {
    syslog(LOG_ERR, "Could not get 'params'  when trying to add missing PTZ preset array\n");
    return;
  }
  json_t* profiles = JsonParser::getArray(params, "profiles");
  if (profiles == nullptr) {
    syslog(LOG_ERR, "Could not get 'profiles' when trying to add missing PTZ preset array \n");
    return;
  }
  for (std::size_t i = 0; i < json_array_size(profiles); ++i) {
    json_t* profile = json_array_get(profiles, i);
    if (profile == nullptr) {
      syslog(LOG_ERR, "Could not get the 'profile'  when trying to add missing PTZ preset array\n");
      continue;
    }
    if (json_object_get(profile, "presets") == nullptr &&
        json_object_set_new(profile, "presets", json_array()) != 0) {
      syslog(LOG_ERR, "Could not append presets array\n");
    }
  }
}

JsonAutoPtr CGI_Handler::getConfiguration() const {
  const std::string stored = PersistentConfigHandler::load(configurationPath);
  throwIf(stored.empty(), "Could not read the configuration file", fileNotReadable);
  JsonParser document;
  throwIf(!document.decode(stored), "Could not decode the json from the configuration file",
          internalError);
  const json_t* params = json_object_get(document.get(), "params");
  throwIf(params == nullptr, "Could not get 'params' from the decoded json", internalError);
  JsonAutoPtr copy(json_deep_copy(params));
  throwIf(!copy, "Could not copy 'params' from the decoded json", internalError);
  return copy;
}

// ---- Profiles ----

JsonAutoPtr CGI_Handler::startVisualConfirmation(const CGI_Request& request) {
  const int profile = unpackProfile(request, "startVisualConfirmation");
  throwIf(!cameraContainer.enableVisualConfirmation(profile),
          "Could not enable visual confirmation", contradiction);
  return JsonAutoPtr();
}

JsonAutoPtr CGI_Handler::stopVisualConfirmation() {
  cameraContainer.disableVisualConfirmation();
  return JsonAutoPtr();
}

JsonAutoPtr CGI_Handler::sendAlarmEvent(const CGI_Request& request) {
  const int profile = unpackProfile(request, "sendAlarmEvent");
  throwIf(!cameraContainer.doesProfileExist(profile), "Profile does not exist", invalidParameter);
  throwIf(!cameraContainer.sendAlarmEvent(profile), "Could not send alarm event", internalError);
  return JsonAutoPtr();
}

// ---- Versions ----

JsonAutoPtr CGI_Handler::getSupportedVersions() const {
  try {
    return packSupportedVersions();
  } catch (const StatusException& problem) {
    syslog(LOG_ERR, "An exception occurred when packing the response to GetSupportedVersions: %s\n",
           problem.what());
    throw;
  }
}

JsonAutoPtr CGI_Handler::packSupportedVersions() const {
  JsonAutoPtr versions(json_array());
  throwIf(!versions, "Could not create the versions json array", internalError);
  JsonAutoPtr response(json_object());
  throwIf(!response, "Could not create the response for GetSupportedVersions", internalError);
  JsonAutoPtr texts(json_array());
  throwIf(!texts, "Could not create a version json array", internalError);
  for (const API_Version& version : versionHandler.getVersions()) {
    throwIf(json_array_append_new(texts.get(), json_string(version.toString().c_str())) != 0,
            "Could not create a version json array", internalError);
  }
  throwIf(json_array_extend(versions.get(), texts.get()) != 0,
          "Could not extend the versions json array", internalError);
  throwIf(json_object_set(response.get(), "apiVersions", versions.get()) != 0,
          "Could not insert the apiVersions array into the response", internalError);
  return response;
}
