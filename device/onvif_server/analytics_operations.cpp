#include "onvif_server/analytics_operations.h"

#include <algorithm>
#include <utility>

#include "onvif/fault.h"
#include "onvif/namespaces.h"
#include "onvif_server/notification.h"

namespace device::onvif {
namespace {

constexpr char MODULE[] = "sv:Tracker";
constexpr char RULE[] = "tt:CellMotionDetector";  // under which clients know such alarms

// Names in values; the writer sees only those of elements.
Attribute moduleVocabulary() {
  return {"xmlns:sv", ns::OWN_TOPICS};
}

Attribute ruleVocabulary() {
  return {"xmlns:tt", ns::SCHEMA};
}

Tag moduleTag(const std::string& name) {
  return Tag(name, moduleVocabulary(), Attribute("Name", "Tracker"), Attribute("Type", MODULE),
             Tag("tt:Parameters"));
}

Tag ruleTag(const std::string& name, const std::string& rule) {
  return Tag(name, ruleVocabulary(), Attribute("Name", rule), Attribute("Type", RULE),
             Tag("tt:Parameters"));
}

std::vector<Tag> ruleTags(const std::string& name, const std::vector<std::string>& rules) {
  std::vector<Tag> tags;
  for (const std::string& rule : rules) {
    tags.push_back(ruleTag(name, rule));
  }
  return tags;
}

Tag capabilities() {
  return Tag("tan:GetServiceCapabilitiesResponse",
             Tag("tan:Capabilities", Attribute("RuleSupport", true),
                 Attribute("AnalyticsModuleSupport", true),
                 Attribute("CellBasedSceneDescriptionSupported", false)));
}

Tag supportedModules() {
  return Tag(
      "tan:GetSupportedAnalyticsModulesResponse",
      Tag("tan:SupportedAnalyticsModules",
          Tag("tt:AnalyticsModuleDescription", moduleVocabulary(), Attribute("Name", MODULE),
              Attribute("fixed", true), Attribute("maxInstances", 1), Tag("tt:Parameters"))));
}

Tag supportedRules() {
  return Tag("tan:GetSupportedRulesResponse",
             Tag("tan:SupportedRules",
                 Tag("tt:RuleDescription", ruleVocabulary(), Attribute("Name", RULE),
                     Attribute("fixed", true), Tag("tt:Parameters"), ruleMessagesTag())));
}

}  // namespace

Tag analyticsConfigurationTag(const std::string& name, const CameraProfile& profile,
                              const std::vector<std::string>& rules) {
  return Tag(name, Attribute("token", profile.analytics()), Tag("tt:Name", profile.name),
             Tag("tt:UseCount", USES),
             Tag("tt:AnalyticsEngineConfiguration", moduleTag("tt:AnalyticsModule")),
             Tag("tt:RuleEngineConfiguration", ruleTags("tt:Rule", rules)));
}

AnalyticsOperations::AnalyticsOperations(const std::vector<CameraProfile>& profiles,
                                         RulesOf rulesOf)
    : profiles(profiles), rulesOf(std::move(rulesOf)) {}

void AnalyticsOperations::addTo(Operations& operations) {
  const auto add = [&](const char* name, Operations::Function function,
                       Access access = Access::user) {
    operations.add(ns::ANALYTICS, name, access, std::move(function));
  };
  add(
      "GetServiceCapabilities", [](const Request&) { return capabilities(); }, Access::anybody);
  add("GetSupportedAnalyticsModules", [this](const Request& request) {
    analyticsOf(request);
    return supportedModules();
  });
  add("GetAnalyticsModules", [this](const Request& request) {
    analyticsOf(request);
    return Tag("tan:GetAnalyticsModulesResponse", moduleTag("tan:AnalyticsModule"));
  });
  add("GetSupportedRules", [this](const Request& request) {
    analyticsOf(request);
    return supportedRules();
  });
  add("GetRules", [this](const Request& request) {
    return Tag("tan:GetRulesResponse",
               ruleTags("tan:Rule", rulesOf(analyticsOf(request).analytics())));
  });
}

// The first profile of the configuration.
const CameraProfile& AnalyticsOperations::analyticsOf(const Request& request) const {
  const std::string token = requiredText(request, ns::ANALYTICS, "ConfigurationToken");
  const auto found = std::ranges::find_if(
      profiles, [&](const CameraProfile& profile) { return profile.analytics() == token; });
  if (found == profiles.end()) {
    throw invalidArgument("ter:NoConfig", "There is no configuration " + token);
  }
  return *found;
}

}  // namespace device::onvif
