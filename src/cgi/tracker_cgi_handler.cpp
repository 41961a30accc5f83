#include "cgi/tracker_cgi_handler.h"

#include <optional>

namespace {

using enum StatusCode_e;

constexpr int MIN_SECONDS = 1;
constexpr int MAX_SECONDS = 60;

// The value of an optional key; nothing when it is missing or of another type.
std::optional<bool> unpackBool(json_t* params, const char* key) {
  int value = 0;
  if (json_unpack(params, "{s:b}", key, &value) != 0) {
    return std::nullopt;
  }
  return value != 0;
}

std::optional<int> unpackSeconds(json_t* params, const char* key) {
  json_int_t value = 0;
  if (json_unpack(params, "{s:I}", key, &value) != 0) {
    return std::nullopt;
  }
  throwIf(value < MIN_SECONDS || value > MAX_SECONDS,
          std::string("Invalid value for parameter '") + key + "'", invalidParameter);
  return static_cast<int>(value);
}

}  // namespace

TrackerCGI_Handler::TrackerCGI_Handler(CameraContainer& cameraContainer,
                                       const API_VersionHandler& versionHandler,
                                       const std::string& configurationPath,
                                       const DataBoundaries& boundaries,
                                       const DefaultValues& defaults, ConfigurationParserI& parser,
                                       Tracker& tracker)
    : CGI_Handler(cameraContainer, versionHandler, configurationPath, boundaries, defaults, parser),
      tracker(tracker) {
  addMethods({{"setSentrel", [this](const CGI_Request& request) { return setSentrel(request); }},
              {"getSentrel", [this](const CGI_Request&) { return getSentrel(); }}});
}

CGI_HandlerResult TrackerCGI_Handler::handleSetSentrel(const std::string& text) {
  return handleRequestedCgi(text, "setSentrel");
}

CGI_HandlerResult TrackerCGI_Handler::handleGetSentrel(const std::string& text) {
  return handleRequestedCgi(text, "getSentrel");
}

JsonAutoPtr TrackerCGI_Handler::setSentrel(const CGI_Request& request) {
  json_t* params = request.getParams("setSentrel");
  if (const auto enable = unpackBool(params, "enable")) {
    tracker.enableSentrel(*enable);
  }
  if (const auto switchObject = unpackBool(params, "switchObject")) {
    tracker.setSwitchObject(*switchObject);
  }
  if (const auto seconds = unpackSeconds(params, "timePerObject")) {
    tracker.setTimePerObject(*seconds);
  }
  if (const auto returnToHome = unpackBool(params, "returnToHome")) {
    tracker.setReturnToHomeEnabled(*returnToHome);
  }
  if (const auto seconds = unpackSeconds(params, "returnToHomeTimeout")) {
    tracker.setReturnToHomeTimeout(*seconds);
  }
  return JsonAutoPtr();
}

JsonAutoPtr TrackerCGI_Handler::getSentrel() const {
  return JsonAutoPtr(
      json_pack("{s:s, s:b, s:i, s:i, s:i, s:b, s:i, s:i, s:i}",  //
                "state", tracker.getStateString().c_str(),        //
                "switchObject", static_cast<int>(tracker.getSwitchObject()), "timePerObject",
                tracker.getTimePerObject(), "minTimePerObject", MIN_SECONDS, "maxTimePerObject",
                MAX_SECONDS,  //
                "returnToHome", static_cast<int>(tracker.getReturnToHomeEnabled()),
                "returnToHomeTimeout", tracker.getReturnToHomeTimeout(), "minReturnToHomeTimeout",
                MIN_SECONDS, "maxReturnToHomeTimeout", MAX_SECONDS));
}
