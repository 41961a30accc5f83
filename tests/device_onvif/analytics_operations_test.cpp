#include "onvif_server/analytics_operations.h"

#include <gtest/gtest.h>

#include "device_onvif/call.h"

namespace device::onvif {
namespace {

class AnalyticsOperationsTest : public testing::Test {
 protected:
  AnalyticsOperationsTest() { analytics.addTo(operations); }

  CallAnswer answerTo(const char* name) {
    return call(operations, ns::ANALYTICS, name,
                "<ConfigurationToken>analytics_overview1</ConfigurationToken>");
  }

  std::vector<CameraProfile> profiles = {{.token = "head", .name = "Head"},
                                         {.token = "overview1", .name = "One", .camera = 1},
                                         {.token = "overview2", .name = "Two", .camera = 2}};
  AnalyticsOperations analytics{profiles, [](const std::string& configuration) {
                                  return configuration == "analytics_overview1"
                                             ? std::vector<std::string>{"Camera1Profile1",
                                                                        "Camera1Profile2"}
                                             : std::vector<std::string>();
                                }};
  Operations operations;
};

TEST_F(AnalyticsOperationsTest, ModuleIsTheTracker) {
  const CallAnswer modules = answerTo("GetAnalyticsModules");
  ASSERT_EQ(1, modules.count("AnalyticsModule"));
  EXPECT_EQ("sv:Tracker", modules.at("AnalyticsModule").attribute("Type"));
  EXPECT_EQ(
      "sv:Tracker",
      answerTo("GetSupportedAnalyticsModules").at("AnalyticsModuleDescription").attribute("Name"));
}

TEST_F(AnalyticsOperationsTest, RulesAreThoseOfTheConfiguration) {
  const CallAnswer rules = answerTo("GetRules");
  ASSERT_EQ(2, rules.count("Rule"));
  EXPECT_EQ("Camera1Profile1", rules.at("Rule").attribute("Name"));
  EXPECT_EQ("tt:CellMotionDetector", rules.at("Rule", 1).attribute("Type"));
  EXPECT_EQ(0, call(operations, ns::ANALYTICS, "GetRules",
                    "<ConfigurationToken>analytics_overview2</ConfigurationToken>")
                   .count("Rule"));
}

// In the words of the event.
TEST_F(AnalyticsOperationsTest, RuleTellsWhatItsAlarmTells) {
  const CallAnswer rule = answerTo("GetSupportedRules").at("RuleDescription");
  EXPECT_EQ("tt:CellMotionDetector", rule.attribute("Name"));
  EXPECT_EQ("tns1:RuleEngine/CellMotionDetector/Motion", rule.at("ParentTopic").text());
  EXPECT_EQ("IsMotion", rule.at("Data").at("SimpleItemDescription").attribute("Name"));
  EXPECT_EQ(3, rule.at("Source").count("SimpleItemDescription"));
}

TEST_F(AnalyticsOperationsTest, ConfigurationIsNeededAndHasToExist) {
  for (const char* name :
       {"GetAnalyticsModules", "GetSupportedAnalyticsModules", "GetRules", "GetSupportedRules"}) {
    EXPECT_EQ("ter:InvalidArgs", faultOf(operations, ns::ANALYTICS, name)) << name;
    // The head has none.
    for (const char* token : {"x", "analytics_head"}) {
      EXPECT_EQ("ter:NoConfig",
                faultOf(operations, ns::ANALYTICS, name,
                        std::string("<ConfigurationToken>") + token + "</ConfigurationToken>"))
          << name;
    }
  }
}

TEST_F(AnalyticsOperationsTest, NothingCanBeChanged) {
  EXPECT_EQ("true", call(operations, ns::ANALYTICS, "GetServiceCapabilities")
                        .at("Capabilities")
                        .attribute("RuleSupport"));
  for (const char* name : {"CreateRules", "ModifyRules", "DeleteRules", "CreateAnalyticsModules",
                           "ModifyAnalyticsModules", "DeleteAnalyticsModules"}) {
    EXPECT_EQ(nullptr, operations.find({ns::ANALYTICS, name})) << name;
  }
}

}  // namespace
}  // namespace device::onvif
