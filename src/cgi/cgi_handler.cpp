#include "cgi/cgi_handler.h"

#include <syslog.h>

#include <array>
#include <exception>
#include <limits>
#include <utility>

#include "addon/libs/vigil_pack_lib/profile/cgi_pack.h"
#include "config/json_parser.h"
#include "config/persistent_config_handler.h"
#include "events/camera_info.h"

namespace {

using enum StatusCode_e;

void logFailure(const char* reason, const std::string& text) {
  syslog(LOG_ERR, "%s\n", reason);
  syslog(LOG_ERR, "%s\n", text.c_str());
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
      parser(parser) {}

// ---- Entry and dispatch ----

CGI_Header CGI_Handler::extractHeader(const std::string& text) const {
  return CGI_Header(text, versionHandler);
}

CGI_HandlerResult CGI_Handler::handleRequest(const std::string& text) {
  const CGI_Header header = extractHeader(text);
  if (!header.ok) {
    header.logNotOk(text, versionHandler);
    return CGI_HandlerResult(header.status);
  }
  try {
    return handleRequestedCgi(text, header.method);
  } catch (const std::exception& problem) {
    logFailure(problem.what(), text);
  } catch (...) {
    logFailure("An unknown exception occurred", text);
  }
  return CGI_HandlerResult(internalError);
}

CGI_HandlerResult CGI_Handler::handleRequestedCgi(const std::string& text,
                                                  const std::string& method) {
  using Handler = CGI_HandlerResult (CGI_Handler::*)(const std::string&);
  struct Method {
    const char* name;
    Handler handle;
  };
  static constexpr std::array METHODS{
      Method{"setConfiguration", &CGI_Handler::handleSetRequest},
      Method{"getConfiguration", &CGI_Handler::handleGetRequest},
      Method{"startVisualConfirmation", &CGI_Handler::handleStartVisualConfirmation},
      Method{"sendAlarmEvent", &CGI_Handler::handleSendAlarmEvent},
      Method{"stopVisualConfirmation", &CGI_Handler::handleStopVisualConfirmation},
      Method{"getSupportedVersions", &CGI_Handler::handleGetSupportedVersions},
      Method{"getConfigurationCapabilities", &CGI_Handler::handleConfigurationCapabilities}};
  for (const Method& known : METHODS) {
    if (method == known.name) {
      return (this->*known.handle)(text);
    }
  }
  return CGI_HandlerResult(method == "missingMethod" ? missingParameter : methodNotFound);
}

CGI_HandlerResult CGI_Handler::runHandler(const std::string& text, const Action& action) {
  try {
    return CGI_HandlerResult(ok, action());
  } catch (const StatusException& problem) {
    logFailure(problem.what(), text);
    return CGI_HandlerResult(problem.getStatus());
  }
}

JsonAutoPtr CGI_Handler::decodeParams(const std::string& text, const std::string& method) {
  JsonParser request;
  throwIf(!request.decode(text), "Could not decode the " + method + " json data", malformed);
  json_t* params = json_object_get(request.get(), "params");
  throwIf(params == nullptr, "Could not decode the params for " + method, malformed);
  return JsonAutoPtr(json_incref(params));
}

// ---- Configuration ----

CGI_HandlerResult CGI_Handler::handleSetRequest(const std::string& text) {
  const int status = parser.parse(text, boundaries);
  if (status != 0) {
    syslog(LOG_ERR, "%s\n", text.c_str());
    return CGI_HandlerResult(static_cast<StatusCode_e>(status));
  }
  if (!saveConfiguration(text)) {
    return CGI_HandlerResult(saveFailed);
  }
  cameraContainer.updateWithNewConfiguration(parser.createConfigurations());
  return CGI_HandlerResult(ok);
}

bool CGI_Handler::saveConfiguration(const std::string& text) const {
  JsonParser document;
  if (!document.decode(text)) {
    return false;
  }
  updateQuery(document.get());
  return PersistentConfigHandler::save(document.get(), configurationPath);
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

CGI_HandlerResult CGI_Handler::handleGetRequest(const std::string& text) {
  return runHandler(text, [this] { return readStoredParams(); });
}

JsonAutoPtr CGI_Handler::readStoredParams() const {
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

CGI_HandlerResult CGI_Handler::handleConfigurationCapabilities(const std::string& text) {
  return runHandler(text, [this] { return CGI_Pack(boundaries, defaults).capabilities(); });
}

// ---- Profiles ----

int CGI_Handler::unpackProfile(const std::string& text, const std::string& method) {
  const JsonAutoPtr params = decodeParams(text, method);
  json_int_t profile = 0;
  throwIf(json_unpack(params.get(), "{s:I}", "profile", &profile) != 0,
          "Could not unpack data for profile uid for " + method, missingParameter);
  throwIf(!std::in_range<std::int32_t>(profile), "Incorrect profile uid for " + method,
          invalidParameter);
  return static_cast<int>(profile);
}

CGI_HandlerResult CGI_Handler::handleStartVisualConfirmation(const std::string& text) {
  return runHandler(text, [&] {
    const int profile = unpackProfile(text, "startVisualConfirmation");
    throwIf(!cameraContainer.enableVisualConfirmation(profile),
            "Could not enable visual confirmation", contradiction);
    return JsonAutoPtr();
  });
}

CGI_HandlerResult CGI_Handler::handleStopVisualConfirmation(const std::string&) {
  cameraContainer.disableVisualConfirmation();
  return CGI_HandlerResult(ok);
}

CGI_HandlerResult CGI_Handler::handleSendAlarmEvent(const std::string& text) {
  return runHandler(text, [&] {
    const int profile = unpackProfile(text, "sendAlarmEvent");
    throwIf(!cameraContainer.doesProfileExist(profile), "Profile does not exist", invalidParameter);
    throwIf(!cameraContainer.sendAlarmEvent(profile), "Could not send alarm event", internalError);
    return JsonAutoPtr();
  });
}

// ---- Versions ----

CGI_HandlerResult CGI_Handler::handleGetSupportedVersions(const std::string& text) {
  return runHandler(text, [this] {
    try {
      return packSupportedVersions();
    } catch (const StatusException& problem) {
      syslog(LOG_ERR,
             "An exception occurred when packing the response to GetSupportedVersions: %s\n",
             problem.what());
      throw;
    }
  });
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
