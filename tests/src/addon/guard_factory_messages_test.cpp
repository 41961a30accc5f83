// Everything that a refused profile can be told: clients match messages and statuses.
#include <gtest/gtest.h>
#include <jansson.h>

#include <array>
#include <string>

#include "addon/libs/vigil_pack_lib/factory/area_guard_factory.h"
#include "base/json_auto_ptr.h"
#include "config/status_exception.h"
#include "src/addon/profiles.h"
#include "src/addon/recording_producer.h"
#include "src/events/wrapper_test_base.h"

namespace {

// Where a text belongs in the profile, the text, and what is told of it.
struct Case {
  std::string Profile::*member;
  std::string text;
  int status;
  std::string message;
};

std::string filter(const std::string& type, const std::string& rest) {
  return R"([{"type":")" + type + "\"" + rest + "}]";
}

std::string twice(const std::string& entry) {
  return "[" + entry + "," + entry + "]";
}

std::string bars(const std::string& rest) {
  return "[{" + rest + "}]";
}

class GuardFactoryMessagesTest : public InitializedWrapperTest {
 protected:
  // "status message"; empty when the profile is accepted.
  std::string answerTo(const Profile& profile) {
    const JsonAutoPtr document(json_loads(profile.text().c_str(), 0, nullptr));
    EXPECT_TRUE(document) << profile.text();
    try {
      AreaGuardFactory(0, boundaries, producer).parseJson(document.get());
    } catch (const StatusException& refusal) {
      return std::to_string(static_cast<int>(refusal.getStatus())) + " " + refusal.what();
    }
    return "";
  }

  template <typename Cases>
  void expectRefusals(const Cases& cases) {
    for (const Case& one : cases) {
      Profile profile;
      profile.*one.member = one.text;
      EXPECT_EQ(answerTo(profile), std::to_string(one.status) + " " + one.message) << one.text;
    }
  }

  DataBoundaries boundaries;
  RecordingProducer producer;
};

constexpr auto NAME = &Profile::name;
constexpr auto UID = &Profile::uid;
constexpr auto TRIGGERS = &Profile::triggers;
constexpr auto FILTERS = &Profile::filters;
constexpr auto PERSPECTIVE = &Profile::perspective;
constexpr auto PRESETS = &Profile::presets;

TEST_F(GuardFactoryMessagesTest, OfTheProfileItself) {
  expectRefusals(std::to_array<Case>({
      {UID, R"("7")", 4, "Could not unpack data for the guard"},
      {UID, "2147483648", 8, "Incorrect parameter value for the guard"},
      {NAME, R"("")", 8, "The name of the profile is not valid"},
      {PRESETS, "[1]", 16,
       "This device is a non-ptz device and the configuration should not contain any presets"},
  }));
}

TEST_F(GuardFactoryMessagesTest, OfPresetsOfAMechanicalHead) {
  FakeParameters::set("root.Properties.PTZ.PTZ", "yes");
  expectRefusals(std::to_array<Case>({
      {PRESETS, "[1,2]", 16, "The configuration contains too many presets"},
      {PRESETS, R"(["1"])", 4, "Could not unpack preset number"},
      {PRESETS, "[-3]", 8, "Could not unpack preset number"},
      {PRESETS, "[32768]", 8, "Could not unpack preset number"},
  }));
}

TEST_F(GuardFactoryMessagesTest, OfTriggers) {
  const std::string area = R"({"type":"includeArea","data":)" + SQUARE + "}";
  expectRefusals(std::to_array<Case>({
      {TRIGGERS, "", 4, "Could not find the 'triggers' tag"},
      {TRIGGERS, "[]", 16, "Could not find any triggers"},
      {TRIGGERS, "[{}]", 4, "Could not unpack trigger name"},
      {TRIGGERS, filter("colour", ""), 4, "Unknown trigger colour"},
      {TRIGGERS, filter("excludeArea", ""), 4, "Unknown trigger excludeArea"},
      {TRIGGERS, filter("timeShortLivedLimit", ""), 4, "Unknown trigger timeShortLivedLimit"},
      {TRIGGERS, twice(area), 16, "The configuration contains too many include area triggers"},
      {TRIGGERS, filter("fence", ""), 16, "The configuration contains too many fence triggers"},
      {TRIGGERS, filter("loiteringArea", ""), 16,
       "The configuration contains too many loitering area triggers"},
      {TRIGGERS, filter("includeArea", ""), 4, "Could not get the data for an include area"},
      {TRIGGERS, filter("includeArea", R"(,"data":[])"), 8, "Too few verticies in a trigger"},
      {TRIGGERS, filter("includeArea", R"(,"data":[[0,0],[0,1],[1]])"), 4,
       "Could not unpack a point for a trigger"},
      {TRIGGERS, filter("includeArea", R"(,"data":[[0,0],[0,1],[2,0]])"), 8,
       "Trigger values out of bounds"},
  }));
  boundaries.verticesMax = 3;
  expectRefusals(
      std::to_array<Case>({{TRIGGERS, "[" + area + "]", 8, "Too many verticies in a trigger"}}));
  EXPECT_EQ(log.count("An include area has 0 vertices\n"), 1);
  EXPECT_EQ(log.count("An include area has 4 vertices\n"), 1);
}

TEST_F(GuardFactoryMessagesTest, OfTriggersWhereTheLimitsAreRaised) {
  boundaries.includeAreasMax = 2;
  boundaries.fencesMax = 2;
  boundaries.loiteringAreasMax = 2;
  const std::string line = R"(,"data":[[0,0],[0,1],[1,1]])";
  const std::string fence = R"({"type":"fence","alarmDirection":"both")" + line + "}";
  const std::string area = ",\"data\":" + SQUARE;
  const std::string loitering = R"({"type":"loiteringArea","conditions":[])" + area + "}";
  expectRefusals(std::to_array<Case>({
      {TRIGGERS, twice(R"({"type":"includeArea")" + area + "}"), 16,
       "Only one include area per profile is allowed"},
      {TRIGGERS, twice(fence), 16, "Only one fence per profile is allowed"},
      {TRIGGERS, twice(loitering), 16, "Only one loitering area per profile is allowed"},
      {TRIGGERS, filter("fence", ""), 4, "Could not get the data for fence line"},
      {TRIGGERS, filter("fence", line), 8, "Could not get the direction for fence"},
      {TRIGGERS, filter("fence", line + R"(,"alarmDirection":1)"), 4,
       "Could not get the direction for fence (Unpack failed)"},
      {TRIGGERS, filter("fence", line + R"(,"alarmDirection":"up")"), 8,
       "Could not get the direction for fence"},
      {TRIGGERS, filter("fence", R"(,"alarmDirection":"up","data":[])"), 8,
       "Could not get the direction for fence"},
      {TRIGGERS, filter("fence", R"(,"alarmDirection":"both","data":[[0,0]])"), 8,
       "Too few verticies in a trigger"},
      {TRIGGERS, filter("loiteringArea", ""), 4, "Could not get the data for a loitering area"},
      {TRIGGERS, filter("loiteringArea", R"(,"data":[])"), 4,
       "Could not get the conditions for a loitering area"},
      {TRIGGERS, filter("loiteringArea", R"(,"data":[],"conditions":[{}])"), 8,
       "Too few verticies in a trigger"},
  }));
  EXPECT_EQ(log.count("A fence has 1 vertices\n"), 1);
}

TEST_F(GuardFactoryMessagesTest, OfConditionsWhereTheLimitsAreRaised) {
  boundaries.loiteringAreasMax = 1;
  boundaries.conditionParameters = {2, 1, 4, 3, 6, 5, 8, 7};
  const auto condition = [](const std::string& text) {
    return filter("loiteringArea", ",\"data\":" + SQUARE + ",\"conditions\":[{" + text + "}]");
  };
  expectRefusals(std::to_array<Case>({
      {TRIGGERS, condition(""), 4, "Could not unpack trigger condition name"},
      {TRIGGERS, condition(R"("type":"crowd")"), 8, "Unknown trigger condition: crowd"},
      {TRIGGERS, condition(R"("type":"individual")"), 4,
       "Could not unpack an individual condition"},
      {TRIGGERS, condition(R"("type":"individual","data":3,"active":true)"), 8,
       "Incorrect parameter value for the individual condition"},
      {TRIGGERS, condition(R"("type":"group")"), 4, "Could not unpack a group condition"},
      {TRIGGERS, condition(R"("type":"group","data":2,"active":true)"), 8,
       "Incorrect parameter value for the group condition"},
      {TRIGGERS, condition(R"("type":"objectStopped")"), 4,
       "Could not unpack an object stopped condition"},
      {TRIGGERS, condition(R"("type":"objectStopped","data":[5],"active":true)"), 8,
       "Wrong number of params for the objectStopped condition."},
      {TRIGGERS, condition(R"("type":"objectStopped","data":[5,6],"active":true)"), 8,
       "Incorrect parameter value for object stopped condition"},
      {TRIGGERS, condition(R"("type":"objectStopped","data":[7,8],"active":true)"), 8,
       "Incorrect parameter value for object stopped condition"},
  }));
  Profile profile;
  for (const char* accepted :
       {R"("type":"individual","data":2,"active":true)", R"("type":"group","data":3,"active":true)",
        R"("type":"objectStopped","data":[5,8],"active":false)"}) {
    profile.triggers = condition(accepted);
    EXPECT_EQ(answerTo(profile), "") << accepted;
  }
}

TEST_F(GuardFactoryMessagesTest, OfFilters) {
  const std::string area = R"({"type":"excludeArea","data":)" + SQUARE + "}";
  expectRefusals(std::to_array<Case>({
      {FILTERS, "", 4, "Could not find the 'filters' tag"},
      {FILTERS, "[{}]", 4, "Could not unpack exclusion filter name"},
      {FILTERS, filter("colour", ""), 8, "Unknown exclusion filter: colour"},
      {FILTERS, filter("includeArea", ""), 8, "Unknown exclusion filter: includeArea"},
      {FILTERS, filter("sizePercentage", ""), 4, "Could not unpack a size filter percent"},
      {FILTERS, filter("sizePercentage", R"(,"data":[101,5],"active":true)"), 8,
       "Incorrect parameter value for size filter percent"},
      {FILTERS, filter("sizePerspective", ""), 4, "Could not unpack a size filter perspective"},
      {FILTERS, filter("sizePerspective", R"(,"data":[-1,5],"active":true)"), 8,
       "Incorrect parameter value for size filter perspective"},
      {FILTERS, filter("timeShortLivedLimit", ""), 4, "Could not unpack an object lifetime filter"},
      {FILTERS, filter("timeShortLivedLimit", R"(,"data":6,"active":true)"), 8,
       "Incorrect parameter value for object lifetime filter"},
      {FILTERS, filter("distanceSwayingObject", ""), 4, "Could not unpack a swaying filter"},
      {FILTERS, filter("distanceSwayingObject", R"(,"data":21,"active":true)"), 8,
       "Incorrect parameter value for swaying filter percent"},
      {FILTERS, filter("excludeArea", ""), 8, "Could not get the data for an exclude area"},
      {FILTERS, filter("excludeArea", R"(,"data":[])"), 8, "Too few verticies in a trigger"},
      {FILTERS, "[" + area + "," + area + "," + area + R"(,{"type":"excludeArea"}])", 8,
       "The configuration contains too many exclude areas"},
      {FILTERS, filter("sizePerspective", R"(,"data":[5,5],"active":true)"), 16,
       "A valid perspective is required too use the size perspective filter"},
      {FILTERS,
       R"([{"type":"sizePercentage","data":[5,5],"active":true},)"
       R"({"type":"sizePerspective","data":[5,5],"active":true}])",
       16, "Only one type of size filter can be active"},
  }));
  EXPECT_EQ(log.count("An include area has 0 vertices\n"), 1) << "of an exclude area, too";
}

TEST_F(GuardFactoryMessagesTest, OfThePerspective) {
  const std::string bar = R"("type":"bar","height":3)";
  expectRefusals(std::to_array<Case>({
      {PERSPECTIVE, bars(""), 4, "Could not unpack a perspective bar"},
      {PERSPECTIVE, bars(R"("type":"bar","height":2147483648)"), 8,
       "Could not unpack a perspective bar"},
      {PERSPECTIVE, bars(bar), 8, "Could not get the data for a perspective bar"},
      {PERSPECTIVE, bars(R"("type":"cube","height":3,"data":[])"), 8,
       "Unknown type of perspective."},
      {PERSPECTIVE, bars(bar + R"(,"data":[])"), 8, "A perspective bar should have two points"},
      {PERSPECTIVE, bars(bar + R"(,"data":[[0,0],[1]])"), 8,
       "Could not unpack a point for a perspective bar"},
      {PERSPECTIVE, bars(bar + R"(,"data":[[0,0],[0,2]])"), 8, "Incorrect perspective point value"},
  }));
}

TEST_F(GuardFactoryMessagesTest, OfBarsThatASizeFilterNeeds) {
  Profile profile;
  profile.filters = filter("sizePerspective", "");
  profile.perspective = R"([{"type":"bar","height":3,"data":[[0,0],[0,0.5]]}])";
  EXPECT_EQ(answerTo(profile), "16 There must be at least two perspective bars")
      << "before the filter is read";
  profile.perspective = twice(R"({"type":"bar","height":3,"data":[[0,0],[0,0.5]]},)"
                              R"({"type":"bar","height":3,"data":[[0,0],[0,0.25]]})");
  EXPECT_EQ(answerTo(profile), "16 One or more of the perspective bars have invalid values");
}

}  // namespace
