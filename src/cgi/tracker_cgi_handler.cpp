#include "cgi/tracker_cgi_handler.h"

#include <cmath>
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

// ---- What the predictive way knows ----

json_t* numberJson(double value) {
  return std::isfinite(value) ? json_real(value) : json_null();
}

json_t* axisJson(const AxisInsight& axis) {
  return json_pack("{s:o, s:o, s:o, s:o}", "deadTime", numberJson(axis.deadTime), "speed",
                   numberJson(axis.speed), "acceleration", numberJson(axis.acceleration), "ratio",
                   numberJson(axis.ratio));
}

json_t* headJson(const std::optional<HeadInsight>& head) {
  return !head ? json_null()
               : json_pack("{s:o, s:o, s:o}", "pan", axisJson(head->pan), "tilt",
                           axisJson(head->tilt), "misfit", numberJson(head->misfit));
}

json_t* aimJson(const std::optional<AimInsight>& aim) {
  return !aim ? json_null()
              : json_pack("{s:o, s:o, s:o, s:o, s:o, s:o, s:o}", "pan", numberJson(aim->pan),
                          "tilt", numberJson(aim->tilt), "width", numberJson(aim->width), "height",
                          numberJson(aim->height), "deviation", numberJson(aim->deviation), "ahead",
                          numberJson(aim->ahead), "gap", numberJson(aim->gap));
}

json_t* personJson(const PersonInsight& person) {
  return json_pack(
      "{s:I, s:[o, o], s:[o, o], s:[o, o, o], s:o, s:o, s:b, s:b}", "identity",
      static_cast<json_int_t>(person.identity), "place", numberJson(person.x), numberJson(person.y),
      "velocity", numberJson(person.velocityX), numberJson(person.velocityY), "covariance",
      numberJson(person.varianceX), numberJson(person.covariance), numberJson(person.varianceY),
      "height", numberJson(person.height), "unseen", numberJson(person.unseen), "wanted",
      static_cast<int>(person.isWanted), "followed", static_cast<int>(person.isFollowed));
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
              {"getSentrel", [this](const CGI_Request&) { return getSentrel(); }},
              {"getFollowing", [this](const CGI_Request&) { return getFollowing(); },
               [this] { return this->tracker.isPredicting(); }}});
}

CGI_HandlerResult TrackerCGI_Handler::handleSetSentrel(const std::string& text) {
  return handleRequestedCgi(text, "setSentrel");
}

CGI_HandlerResult TrackerCGI_Handler::handleGetSentrel(const std::string& text) {
  return handleRequestedCgi(text, "getSentrel");
}

CGI_HandlerResult TrackerCGI_Handler::handleGetFollowing(const std::string& text) {
  return handleRequestedCgi(text, "getFollowing");
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

JsonAutoPtr TrackerCGI_Handler::getFollowing() const {
  const std::optional<Insight> insight = tracker.insight();
  throwIf(!insight, "The predictive way of following is not at work", methodNotFound);
  JsonAutoPtr people(json_array());
  for (const PersonInsight& person : insight->people) {
    json_array_append_new(people.get(), personJson(person));
  }
  return JsonAutoPtr(json_pack("{s:o, s:o, s:O}", "head", headJson(insight->head), "aim",
                               aimJson(insight->aim), "people", people.get()));
}
