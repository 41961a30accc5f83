#include "addon/libs/vigil_pack_lib/factory/guard_factory.h"

#include <gtest/gtest.h>
#include <jansson.h>

#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "addon/libs/vigil_pack_lib/factory/area_guard_factory.h"
#include "addon/libs/vigil_pack_lib/guard/area_guard.h"
#include "base/json_auto_ptr.h"
#include "config/status_exception.h"
#include "src/addon/objects.h"
#include "src/addon/profiles.h"
#include "src/addon/recording_producer.h"
#include "src/events/wrapper_test_base.h"

namespace {

constexpr int MISSING = 4;
constexpr int INVALID = 8;
constexpr int CONTRADICTION = 16;

// What a refused profile is told: the message and the status.
struct Refusal {
  std::string message;
  int status = 0;
  bool operator==(const Refusal&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Refusal& refusal) {
  return out << refusal.status << " " << refusal.message;
}

const Refusal ACCEPTED;

constexpr const char* SIZE_PERSPECTIVE =
    R"([{"type":"sizePerspective","data":[10,10],"active":true}])";

// Shows what was read.
class OpenFactory : public AreaGuardFactory {
 public:
  using AreaGuardFactory::AreaGuardFactory;
  using GuardFactory::eventDuration;
  using GuardFactory::excludeAreas;
  using GuardFactory::fence;
  using GuardFactory::filters;
  using GuardFactory::getPreset;
  using GuardFactory::includeArea;
  using GuardFactory::loiteringArea;
  using GuardFactory::perspectiveBars;
};

class GuardFactoryTest : public InitializedWrapperTest {
 protected:
  Refusal parse(const Profile& profile) { return parseText(profile.text()); }

  Refusal parseText(const std::string& text) {
    factory = std::make_unique<OpenFactory>(rotation, boundaries, producer);
    json_error_t error;
    const JsonAutoPtr document(json_loads(text.c_str(), 0, &error));
    if (!document) {
      throw std::runtime_error(text + ": " + error.text);
    }
    try {
      factory->parseJson(document.get());
    } catch (const StatusException& exception) {
      EXPECT_FALSE(factory->isOk());
      return {exception.what(), static_cast<int>(exception.getStatus())};
    }
    EXPECT_TRUE(factory->isOk());
    return ACCEPTED;
  }

  Refusal parseTriggers(const std::string& triggers) {
    Profile profile;
    profile.triggers = triggers;
    return parse(profile);
  }

  Refusal parseVertices(const std::string& vertices) {
    return parseTriggers(R"([{"type":"includeArea","data":)" + vertices + "}]");
  }

  Refusal parseFilters(const std::string& filters) {
    Profile profile;
    profile.filters = filters;
    return parse(profile);
  }

  Refusal parseFilter(const std::string& type, const std::string& rest) {
    return parseFilters(R"([{"type":")" + type + "\"," + rest + "}]");
  }

  Refusal parseName(const std::string& name) {
    Profile profile;
    profile.name = "\"" + name + "\"";
    return parse(profile);
  }

  Refusal parsePresets(const std::string& presets) {
    Profile profile;
    profile.presets = presets;
    return parse(profile);
  }

  Refusal parsePerspective(const std::string& perspective) {
    Profile profile;
    profile.perspective = perspective;
    return parse(profile);
  }

  static void makeMechanical() { FakeParameters::set("root.Properties.PTZ.PTZ", "yes"); }

  static std::string vertices(int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
      text += (i > 0 ? ",[" : "[") + std::to_string(0.01 * i) + "," +
              std::to_string(0.0025 * i * i) + "]";
    }
    return "[" + text + "]";
  }

  int rotation = 0;
  DataBoundaries boundaries;
  RecordingProducer producer;
  std::unique_ptr<OpenFactory> factory;
};

// ---- The profile itself ----

TEST_F(GuardFactoryTest, ReadsAProfile) {
  ASSERT_EQ(parse(Profile()), ACCEPTED);
  EXPECT_EQ(factory->getName(), "Door");
  EXPECT_EQ(factory->getUid(), 7);
  EXPECT_EQ(factory->getCamera(), 1);
  ASSERT_TRUE(factory->includeArea);
  EXPECT_EQ(*factory->includeArea, Polygon(-2048, 2048, -2048, 2048));
}

TEST_F(GuardFactoryTest, BeforeReadingNothingIsOk) {
  const OpenFactory fresh(0, boundaries, producer);
  EXPECT_FALSE(fresh.isOk());
  EXPECT_EQ(fresh.getUid(), -1);
}

TEST_F(GuardFactoryTest, GuardDataMustBeWholeAndOfTheRightTypes) {
  const Refusal expected{"Could not unpack data for the guard", MISSING};
  for (std::string Profile::*const member : {&Profile::name, &Profile::uid, &Profile::camera}) {
    Profile profile;
    profile.*member = "";
    EXPECT_EQ(parse(profile), expected);
    profile.*member = "[]";
    EXPECT_EQ(parse(profile), expected);
  }
  Profile profile;
  profile.eventDuration = R"("long")";
  EXPECT_EQ(parse(profile), expected);
}

TEST_F(GuardFactoryTest, NumbersOfTheGuardBeyond32BitsAreOutOfBounds) {
  const Refusal expected{"Incorrect parameter value for the guard", INVALID};
  for (const char* number : {"2147483648", "-2147483649", "4294967303", "9223372036854775807"}) {
    for (std::string Profile::*const member : {&Profile::uid, &Profile::camera}) {
      Profile profile;
      profile.*member = number;
      EXPECT_EQ(parse(profile), expected) << number;
    }
  }
  Profile profile;
  profile.uid = "2147483647";
  ASSERT_EQ(parse(profile), ACCEPTED);
  EXPECT_EQ(factory->getUid(), 2147483647);
  profile.uid = "-2147483648";
  ASSERT_EQ(parse(profile), ACCEPTED);
  EXPECT_EQ(factory->getUid(), -2147483647 - 1);
}

TEST_F(GuardFactoryTest, WhatIsMissingIsToldBeforeWhatIsOutOfBounds) {
  Profile profile;
  profile.uid = "4294967303";
  profile.camera = "";
  EXPECT_EQ(parse(profile), (Refusal{"Could not unpack data for the guard", MISSING}));
}

// Each section is broken, and mended one after the other.
TEST_F(GuardFactoryTest, SectionsAreReadInTheirOrder) {
  Profile profile;
  profile.name = "\"\"";
  profile.triggers = "[]";
  profile.perspective = "[{}]";
  profile.filters = "[{}]";
  profile.presets = "[1]";
  EXPECT_EQ(parse(profile).message, "The name of the profile is not valid");
  profile.name = R"("Door")";
  EXPECT_EQ(parse(profile).message, "Could not find any triggers");
  profile.triggers = Profile().triggers;
  EXPECT_EQ(parse(profile).message, "Could not unpack a perspective bar");
  profile.perspective = "";
  EXPECT_EQ(parse(profile).message, "Could not unpack exclusion filter name");
  profile.filters = SIZE_PERSPECTIVE;  // is refused when all has been read, for want of bars
  EXPECT_EQ(parse(profile).message,
            "This device is a non-ptz device and the configuration should not contain any presets");
  profile.presets = "";
  EXPECT_EQ(parse(profile).message,
            "A valid perspective is required too use the size perspective filter");
}

TEST_F(GuardFactoryTest, APlainGuardNeedsNoPriority) {
  Profile profile;
  profile.priority = "";
  EXPECT_EQ(parse(profile), ACCEPTED);
}

TEST_F(GuardFactoryTest, ANameOf15CharactersIsAcceptedOneOf16Refused) {
  const Refusal expected{"The name of the profile is not valid", INVALID};
  EXPECT_EQ(parseName(std::string(15, 'x')), ACCEPTED);
  EXPECT_EQ(parseName(std::string(16, 'x')), expected);
  EXPECT_EQ(parseName("x"), ACCEPTED);
  EXPECT_EQ(parseName(""), expected);
}

TEST_F(GuardFactoryTest, NamesAreCountedInCharacters) {
  std::string name;
  for (int i = 0; i < 15; ++i) {
    name += "\xc3\xa9";
  }
  EXPECT_EQ(parseName(name), ACCEPTED);
  EXPECT_EQ(parseName(name + "\xc3\xa9").status, INVALID);
  EXPECT_EQ(parseName("\xf0\x9f\x9a\xaa door \xe2\x82\xac"), ACCEPTED);
}

TEST_F(GuardFactoryTest, ANameHoldingAnAngleBracketIsRefused) {
  const Refusal expected{"The name of the profile is not valid", INVALID};
  EXPECT_EQ(parseName("a<b"), expected);
  EXPECT_EQ(parseName("a>b"), expected);
  EXPECT_EQ(parseName("a&b"), ACCEPTED);
}

TEST_F(GuardFactoryTest, NamesAreTrimmed) {
  EXPECT_EQ(parseName("  Front door  "), ACCEPTED);
  EXPECT_EQ(factory->getName(), "Front door");
  EXPECT_EQ(parseName("   ").status, INVALID);
  EXPECT_EQ(parseName(" " + std::string(15, 'x') + " "), ACCEPTED);
}

TEST_F(GuardFactoryTest, ChecksNamesOnTheirOwn) {
  const OpenFactory fresh(0, boundaries, producer);
  EXPECT_TRUE(fresh.isProfileNameValid("Door"));
  EXPECT_FALSE(fresh.isProfileNameValid(""));
  EXPECT_FALSE(fresh.isProfileNameValid("<"));
}

TEST_F(GuardFactoryTest, TheEventDurationIsFiveSecondsOrWhatTheProfileSays) {
  EXPECT_EQ(parse(Profile()), ACCEPTED);
  EXPECT_EQ(factory->eventDuration, 5'000'000);
  Profile profile;
  profile.eventDuration = "1234";
  EXPECT_EQ(parse(profile), ACCEPTED);
  EXPECT_EQ(factory->eventDuration, 1234);
}

TEST_F(GuardFactoryTest, TheEventDurationIsAtMostADayEitherWay) {
  Profile profile;
  for (const std::int64_t accepted : {3'600'000'000, 86'400'000'000, -1L, -86'400'000'000}) {
    profile.eventDuration = std::to_string(accepted);
    ASSERT_EQ(parse(profile), ACCEPTED) << accepted;
    EXPECT_EQ(factory->eventDuration, accepted);
  }
  for (const char* refused : {"86400000001", "-86400000001", "9223372036854775807"}) {
    profile.eventDuration = refused;
    EXPECT_EQ(parse(profile), (Refusal{"Incorrect parameter value for the guard", INVALID}))
        << refused;
  }
}

// ---- Triggers ----

TEST_F(GuardFactoryTest, TriggersMustBeThere) {
  EXPECT_EQ(parseTriggers(""), (Refusal{"Could not find the 'triggers' tag", MISSING}));
  EXPECT_EQ(parseTriggers("[]"), (Refusal{"Could not find any triggers", CONTRADICTION}));
}

TEST_F(GuardFactoryTest, ATriggerNeedsAType) {
  const Refusal expected{"Could not unpack trigger name", MISSING};
  EXPECT_EQ(parseTriggers("[{}]"), expected);
  EXPECT_EQ(parseTriggers(R"([{"type":3}])"), expected);
  EXPECT_EQ(parseTriggers("[1]"), expected);
}

TEST_F(GuardFactoryTest, AnUnknownTriggerIsNamed) {
  EXPECT_EQ(parseTriggers(R"([{"type":"tripwire","data":[]}])"),
            (Refusal{"Unknown trigger tripwire", MISSING}));
}

TEST_F(GuardFactoryTest, AnIncludeAreaFollowedByAnythingIsRefusedAtTheIncludeArea) {
  const std::string area = R"({"type":"includeArea","data":)" + SQUARE + "}";
  const Refusal expected{"The configuration contains too many include area triggers",
                         CONTRADICTION};
  EXPECT_EQ(parseTriggers("[" + area + "," + area + "]"), expected);
  EXPECT_EQ(parseTriggers("[" + area + R"(,{"type":"tripwire"}])"), expected);
  EXPECT_EQ(parseTriggers("[" + area + ",1]"), expected);
}

TEST_F(GuardFactoryTest, ASecondIncludeAreaIsRefusedEvenWhereTheLimitIsRaised) {
  boundaries.includeAreasMax = 2;
  const std::string area = R"({"type":"includeArea","data":)" + SQUARE + "}";
  EXPECT_EQ(parseTriggers("[" + area + "," + area + "]"),
            (Refusal{"Only one include area per profile is allowed", CONTRADICTION}));
}

TEST_F(GuardFactoryTest, AnIncludeAreaNeedsData) {
  EXPECT_EQ(parseTriggers(R"([{"type":"includeArea"}])"),
            (Refusal{"Could not get the data for an include area", MISSING}));
}

TEST_F(GuardFactoryTest, AreasHaveThreeToTwentyVertices) {
  const Refusal tooFew{"Too few verticies in a trigger", INVALID};
  const Refusal tooMany{"Too many verticies in a trigger", INVALID};
  EXPECT_EQ(parseVertices("[]"), tooFew);
  EXPECT_EQ(parseVertices(vertices(2)), tooFew);
  EXPECT_EQ(parseVertices(vertices(3)), ACCEPTED);
  EXPECT_EQ(parseVertices(vertices(20)), ACCEPTED);
  EXPECT_EQ(factory->includeArea->getVertices().size(), 20U);
  EXPECT_EQ(parseVertices(vertices(21)), tooMany);
}

TEST_F(GuardFactoryTest, AVertexIsExactlyTwoNumbers) {
  const Refusal expected{"Could not unpack a point for a trigger", MISSING};
  for (const char* vertex : {"[0]", "[0,0,0]", R"(["0","0"])", "{}", "1", "null"}) {
    EXPECT_EQ(parseVertices(std::string("[[0,0],[0,1],") + vertex + "]"), expected) << vertex;
  }
  EXPECT_EQ(parseVertices("[[0,0],[0,1],[1,0]]"), ACCEPTED) << "whole numbers are numbers";
}

TEST_F(GuardFactoryTest, VerticesLieInThePicture) {
  const Refusal expected{"Trigger values out of bounds", INVALID};
  EXPECT_EQ(parseVertices("[[-1.0,-1.0],[-1.0,1.0],[1.0,1.0]]"), ACCEPTED);
  for (const char* vertex : {"[1.0001,0]", "[-1.0001,0]", "[0,1.0001]", "[0,-1.0001]", "[0,1e9]"}) {
    EXPECT_EQ(parseVertices(std::string("[[0,0],[0,1],") + vertex + "]"), expected) << vertex;
  }
}

TEST_F(GuardFactoryTest, VerticesAreScaledAndRoundedHalvesAwayFromZero) {
  ASSERT_EQ(parseVertices("[[1.0,-0.5],[0.0001220703125,-0.0001220703125],[0.0003662109375,0]]"),
            ACCEPTED);
  const std::vector<Point> expected{{4096, -2048}, {1, -1}, {2, 0}};
  EXPECT_EQ(factory->includeArea->getVertices(), expected);
}

TEST_F(GuardFactoryTest, RandomVerticesAreScaled) {
  std::mt19937 random(5);
  std::uniform_int_distribution<int> hundredThousandths(-100'000, 100'000);
  for (int run = 0; run < 100; ++run) {
    std::string text;
    std::vector<Point> expected;
    for (int i = 0; i < 5; ++i) {
      int values[2];
      for (int& value : values) {
        value = hundredThousandths(random);
      }
      const auto decimal = [](int value) { return std::to_string(value) + "e-5"; };
      // 4096 v / 100000, rounded in whole numbers.
      const auto scaled = [](int value) {
        const int magnitude = (std::abs(value) * 8192 + 100'000) / 200'000;
        return value < 0 ? -magnitude : magnitude;
      };
      text += (i > 0 ? ",[" : "[") + decimal(values[0]) + "," + decimal(values[1]) + "]";
      expected.push_back(pointAt(scaled(values[0]), scaled(values[1])));
    }
    ASSERT_EQ(parseVertices("[" + text + "]"), ACCEPTED);
    EXPECT_EQ(factory->includeArea->getVertices(), expected) << text;
  }
}

// ---- Fences, where the limit is raised ----

class FenceFactoryTest : public GuardFactoryTest {
 protected:
  FenceFactoryTest() {
    boundaries.fencesMax = 2;
    boundaries.verticesMin = 2;
  }

  Refusal parseFence(const std::string& rest) {
    return parseTriggers(R"([{"type":"fence")" + rest + "}]");
  }
};

constexpr const char* LINE = R"(,"data":[[0,0],[0.5,0]])";

TEST_F(GuardFactoryTest, AFenceIsAlwaysRefused) {
  const Refusal expected{"The configuration contains too many fence triggers", CONTRADICTION};
  EXPECT_EQ(parseTriggers(R"([{"type":"fence"}])"), expected);
  EXPECT_EQ(
      parseTriggers(R"([{"type":"fence","data":[[0,0],[0.5,0],[1,1]],"alarmDirection":"both"}])"),
      expected);
}

TEST_F(FenceFactoryTest, AFenceNeedsData) {
  EXPECT_EQ(parseFence(R"(,"alarmDirection":"both")"),
            (Refusal{"Could not get the data for fence line", MISSING}));
}

TEST_F(FenceFactoryTest, AFenceNeedsADirection) {
  EXPECT_EQ(parseFence(LINE), (Refusal{"Could not get the direction for fence", INVALID}));
  EXPECT_EQ(parseFence(std::string(LINE) + R"(,"alarmDirection":3)"),
            (Refusal{"Could not get the direction for fence (Unpack failed)", MISSING}));
}

TEST_F(FenceFactoryTest, ReadsEachDirection) {
  const std::pair<const char*, FenceDirection_e> directions[] = {
      {"leftToRight", FenceDirection_e::leftToRight},
      {"rightToLeft", FenceDirection_e::rightToLeft},
      {"both", FenceDirection_e::both}};
  for (const auto& [text, direction] : directions) {
    ASSERT_EQ(parseFence(std::string(LINE) + R"(,"alarmDirection":")" + text + "\""), ACCEPTED);
    ASSERT_TRUE(factory->fence);
    EXPECT_EQ(factory->fence->getFenceDirection(), direction) << text;
    EXPECT_EQ(factory->fence->getPoints(), (std::vector<Point>{{0, 0}, {2048, 0}}));
  }
}

TEST_F(FenceFactoryTest, AFenceKeepsTheRulesOfVertices) {
  EXPECT_EQ(parseFence(R"(,"data":[[0,0]],"alarmDirection":"both")"),
            (Refusal{"Too few verticies in a trigger", INVALID}));
  EXPECT_EQ(parseFence(R"(,"data":[[0,0],[2,0]],"alarmDirection":"both")"),
            (Refusal{"Trigger values out of bounds", INVALID}));
  EXPECT_EQ(parseFence(R"(,"data":[[0,0],[2]],"alarmDirection":"both")"),
            (Refusal{"Could not unpack a point for a trigger", MISSING}));
}

TEST_F(FenceFactoryTest, ASecondFenceIsRefused) {
  const std::string fence =
      std::string(R"({"type":"fence")") + LINE + R"(,"alarmDirection":"both"})";
  EXPECT_EQ(parseTriggers("[" + fence + "," + fence + "]"),
            (Refusal{"Only one fence per profile is allowed", CONTRADICTION}));
}

TEST_F(FenceFactoryTest, WithoutAnIncludeAreaThereIsNoGuard) {
  ASSERT_EQ(parseFence(std::string(LINE) + R"(,"alarmDirection":"both")"), ACCEPTED);
  EXPECT_EQ(factory->createGuard(), nullptr);
}

// ---- Loitering areas, where the limit is raised ----

class LoiteringFactoryTest : public GuardFactoryTest {
 protected:
  LoiteringFactoryTest() { boundaries.loiteringAreasMax = 2; }

  Refusal parseLoitering(const std::string& rest) {
    return parseTriggers(R"([{"type":"loiteringArea")" + rest + "}]");
  }

  Refusal parseCondition(const std::string& condition) {
    return parseLoitering(",\"data\":" + SQUARE + ",\"conditions\":[" + condition + "]");
  }
};

TEST_F(GuardFactoryTest, ALoiteringAreaIsAlwaysRefused) {
  EXPECT_EQ(
      parseTriggers(R"([{"type":"loiteringArea"}])"),
      (Refusal{"The configuration contains too many loitering area triggers", CONTRADICTION}));
}

TEST_F(LoiteringFactoryTest, ALoiteringAreaNeedsDataAndConditions) {
  EXPECT_EQ(parseLoitering(R"(,"conditions":[])"),
            (Refusal{"Could not get the data for a loitering area", MISSING}));
  EXPECT_EQ(parseLoitering(",\"data\":" + SQUARE),
            (Refusal{"Could not get the conditions for a loitering area", MISSING}));
}

TEST_F(LoiteringFactoryTest, ReadsAnArea) {
  ASSERT_EQ(parseCondition(R"({"type":"individual","data":0,"active":true})"), ACCEPTED);
  ASSERT_TRUE(factory->loiteringArea);
  EXPECT_EQ(factory->loiteringArea->area, Polygon(-2048, 2048, -2048, 2048));
  ASSERT_EQ(factory->loiteringArea->conditions.size(), 1U);
  EXPECT_EQ(factory->loiteringArea->conditions[0].type, "individual");
  EXPECT_TRUE(factory->loiteringArea->conditions[0].active);
}

TEST_F(LoiteringFactoryTest, ASecondAreaIsRefused) {
  const std::string area = R"({"type":"loiteringArea","conditions":[],"data":)" + SQUARE + "}";
  EXPECT_EQ(parseTriggers("[" + area + "," + area + "]"),
            (Refusal{"Only one loitering area per profile is allowed", CONTRADICTION}));
}

TEST_F(LoiteringFactoryTest, AConditionNeedsAType) {
  EXPECT_EQ(parseCondition("{}"), (Refusal{"Could not unpack trigger condition name", MISSING}));
}

TEST_F(LoiteringFactoryTest, AnUnknownConditionIsNamed) {
  EXPECT_EQ(parseCondition(R"({"type":"crowd","data":0,"active":true})").message,
            "Unknown trigger condition: crowd");
}

TEST_F(LoiteringFactoryTest, ConditionsMustBeWhole) {
  EXPECT_EQ(parseCondition(R"({"type":"individual"})"),
            (Refusal{"Could not unpack an individual condition", MISSING}));
  EXPECT_EQ(parseCondition(R"({"type":"group"})"),
            (Refusal{"Could not unpack a group condition", MISSING}));
  EXPECT_EQ(parseCondition(R"({"type":"objectStopped"})"),
            (Refusal{"Could not unpack an object stopped condition", MISSING}));
}

TEST_F(LoiteringFactoryTest, ConditionsKeepTheirLimits) {
  EXPECT_EQ(parseCondition(R"({"type":"individual","data":1,"active":true})"),
            (Refusal{"Incorrect parameter value for the individual condition", INVALID}));
  EXPECT_EQ(parseCondition(R"({"type":"group","data":-1,"active":true})"),
            (Refusal{"Incorrect parameter value for the group condition", INVALID}));
  EXPECT_EQ(parseCondition(R"({"type":"objectStopped","data":[1,1],"active":true})"),
            (Refusal{"Incorrect parameter value for object stopped condition", INVALID}));
  EXPECT_EQ(parseCondition(R"({"type":"objectStopped","data":[0],"active":true})"),
            (Refusal{"Wrong number of params for the objectStopped condition.", INVALID}));
  EXPECT_EQ(parseCondition(R"({"type":"objectStopped","data":[0,0],"active":true})"), ACCEPTED);
}

// ---- Filters ----

TEST_F(GuardFactoryTest, FiltersMustBeThere) {
  EXPECT_EQ(parseFilters(""), (Refusal{"Could not find the 'filters' tag", MISSING}));
  EXPECT_EQ(parseFilters("[]"), ACCEPTED);
}

TEST_F(GuardFactoryTest, AFilterNeedsAType) {
  const Refusal expected{"Could not unpack exclusion filter name", MISSING};
  EXPECT_EQ(parseFilters("[{}]"), expected);
  EXPECT_EQ(parseFilters("[1]"), expected);
}

TEST_F(GuardFactoryTest, AFilterOfAnUnknownTypeIsNamed) {
  EXPECT_EQ(parseFilter("colour", R"("data":1,"active":true)"),
            (Refusal{"Unknown exclusion filter: colour", INVALID}));
}

TEST_F(GuardFactoryTest, ASizeFilterPercentKeepsItsLimits) {
  const auto parseSize = [&](const std::string& data) {
    return parseFilter("sizePercentage", "\"data\":" + data + ",\"active\":true");
  };
  const Refusal incorrect{"Incorrect parameter value for size filter percent", INVALID};
  EXPECT_EQ(parseSize("[3,3]"), ACCEPTED);
  EXPECT_EQ(parseSize("[100,100]"), ACCEPTED);
  EXPECT_EQ(parseSize("[2,3]"), incorrect);
  EXPECT_EQ(parseSize("[3,2]"), incorrect);
  EXPECT_EQ(parseSize("[101,100]"), incorrect);
  EXPECT_EQ(parseSize("[100,101]"), incorrect);
  EXPECT_EQ(parseSize("[4294967306,10]"), incorrect) << "10 when it is cut to 32 bits";
  EXPECT_EQ(parseSize("[10,4294967306]"), incorrect) << "10, too";
  const Refusal notRead{"Could not unpack a size filter percent", MISSING};
  for (const char* data : {"[5]", "[5,5,5]", "[5.5,5]", "5", R"(["5","5"])"}) {
    EXPECT_EQ(parseSize(data), notRead) << data;
  }
}

TEST_F(GuardFactoryTest, ALifetimeFilterKeepsItsLimits) {
  const auto parseLifetime = [&](const std::string& data) {
    return parseFilter("timeShortLivedLimit", "\"data\":" + data + ",\"active\":true");
  };
  const Refusal incorrect{"Incorrect parameter value for object lifetime filter", INVALID};
  EXPECT_EQ(parseLifetime("1"), ACCEPTED);
  EXPECT_EQ(parseLifetime("5"), ACCEPTED);
  EXPECT_EQ(parseLifetime("0"), incorrect);
  EXPECT_EQ(parseLifetime("6"), incorrect);
  EXPECT_EQ(parseLifetime("4294967298"), incorrect) << "2 when it is cut to 32 bits";
  EXPECT_EQ(parseLifetime("-4294967294"), incorrect) << "2, too";
  EXPECT_EQ(parseLifetime("[1]"), (Refusal{"Could not unpack an object lifetime filter", MISSING}));
}

TEST_F(GuardFactoryTest, ASwayingFilterKeepsItsLimits) {
  const auto parseSwaying = [&](const std::string& data) {
    return parseFilter("distanceSwayingObject", "\"data\":" + data + ",\"active\":true");
  };
  const Refusal incorrect{"Incorrect parameter value for swaying filter percent", INVALID};
  EXPECT_EQ(parseSwaying("3"), ACCEPTED);
  EXPECT_EQ(parseSwaying("20"), ACCEPTED);
  EXPECT_EQ(parseSwaying("2"), incorrect);
  EXPECT_EQ(parseSwaying("21"), incorrect);
  EXPECT_EQ(parseSwaying("4294967306"), incorrect) << "10 when it is cut to 32 bits";
  EXPECT_EQ(parseSwaying("-4294967286"), incorrect) << "10, too";
  EXPECT_EQ(parseSwaying("5.0"), (Refusal{"Could not unpack a swaying filter", MISSING}));
}

TEST_F(GuardFactoryTest, EveryFilterNeedsActive) {
  EXPECT_EQ(parseFilter("sizePercentage", R"("data":[5,5])").status, MISSING);
  EXPECT_EQ(parseFilter("sizePerspective", R"("data":[5,5])"),
            (Refusal{"Could not unpack a size filter perspective", MISSING}));
  EXPECT_EQ(parseFilter("timeShortLivedLimit", R"("data":1)").status, MISSING);
  EXPECT_EQ(parseFilter("distanceSwayingObject", R"("data":5,"active":1)").status, MISSING);
}

TEST_F(GuardFactoryTest, FiltersAreActiveWhereTheProfileSaysSo) {
  for (const bool active : {true, false}) {
    ASSERT_EQ(parseFilter("timeShortLivedLimit",
                          std::string(R"("data":1,"active":)") + (active ? "true" : "false")),
              ACCEPTED);
    const std::unique_ptr<Guard> guard = factory->createGuard();
    TrackingObject object = tracked(Observation{}.at(0, 0));
    EXPECT_EQ(guard->canObjectTriggerAlarm(object), !active);
  }
}

TEST_F(GuardFactoryTest, FiltersRememberUnderTheProfilesUid) {
  ASSERT_EQ(parseFilter("distanceSwayingObject", R"("data":5,"active":true)"), ACCEPTED);
  const std::unique_ptr<Guard> guard = factory->createGuard();
  TrackingObject object = tracked(Observation{}.at(0, 0));
  guard->updateFilterData(object);
  EXPECT_NE(object.getData("swaying_filter_7"), nullptr);
}

TEST_F(GuardFactoryTest, AFourthExcludeAreaIsRefused) {
  const std::string area = R"({"type":"excludeArea","data":)" + SQUARE + "}";
  EXPECT_EQ(parseFilters("[" + area + "," + area + "," + area + "]"), ACCEPTED);
  EXPECT_EQ(factory->excludeAreas.size(), 3U);
  EXPECT_EQ(parseFilters("[" + area + "," + area + "," + area + "," + area + "]"),
            (Refusal{"The configuration contains too many exclude areas", INVALID}));
}

TEST_F(GuardFactoryTest, AnExcludeAreaNeedsDataThatKeepsTheRulesOfVertices) {
  EXPECT_EQ(parseFilters(R"([{"type":"excludeArea"}])"),
            (Refusal{"Could not get the data for an exclude area", INVALID}));
  EXPECT_EQ(parseFilter("excludeArea", R"("data":[[0,0],[0,1]])"),
            (Refusal{"Too few verticies in a trigger", INVALID}));
  EXPECT_EQ(parseFilter("excludeArea", R"("data":[[0,0],[0,1],[2,0]])"),
            (Refusal{"Trigger values out of bounds", INVALID}));
}

TEST_F(GuardFactoryTest, AnExcludeAreaIsAlwaysEffective) {
  ASSERT_EQ(parseFilter("excludeArea", "\"active\":false,\"data\":" + SQUARE), ACCEPTED);
  const std::unique_ptr<Guard> guard = factory->createGuard();
  TrackingObject object = tracked(Observation{}.at(0, 0));
  ParsedScene scene = sceneOf(1, {&object});
  EXPECT_FALSE(guard->updateObjectsAndGetAlarms(scene).anyAlarm);
}

// ---- Perspective ----

std::string bar(const std::string& points, const std::string& height = "100") {
  return R"({"type":"bar","height":)" + height + ",\"data\":" + points + "}";
}

TEST_F(GuardFactoryTest, ASizeFilterPerspectiveKeepsItsLimits) {
  const auto parseSize = [&](const std::string& data) {
    return parseFilter("sizePerspective", "\"data\":" + data + ",\"active\":false");
  };
  const Refusal incorrect{"Incorrect parameter value for size filter perspective", INVALID};
  EXPECT_EQ(parseSize("[0,0]"), ACCEPTED);
  EXPECT_EQ(parseSize("[2147483647,2147483647]"), ACCEPTED);
  EXPECT_EQ(parseSize("[2147483648,0]"), incorrect);
  EXPECT_EQ(parseSize("[0,2147483648]"), incorrect);
  EXPECT_EQ(parseSize("[-1,0]"), incorrect);
  EXPECT_EQ(parseSize("[0,-1]"), incorrect);
  EXPECT_EQ(parseSize("[0]"), (Refusal{"Could not unpack a size filter perspective", MISSING}));
}

TEST_F(GuardFactoryTest, AnActivePerspectiveFilterNeedsAPerspective) {
  EXPECT_EQ(parseFilters(SIZE_PERSPECTIVE),
            (Refusal{"A valid perspective is required too use the size perspective filter",
                     CONTRADICTION}));
}

TEST_F(GuardFactoryTest, OnlyOneKindOfSizeFilterCanBeActive) {
  const auto parseBoth = [&](const char* percent, const char* perspective) {
    return parseFilters(std::string(R"([{"type":"sizePercentage","data":[5,5],"active":)") +
                        percent + R"(},{"type":"sizePerspective","data":[5,5],"active":)" +
                        perspective + "}]");
  };
  EXPECT_EQ(parseBoth("true", "true"),
            (Refusal{"Only one type of size filter can be active", CONTRADICTION}));
  EXPECT_EQ(parseBoth("true", "false"), ACCEPTED);
  EXPECT_EQ(parseBoth("false", "false"), ACCEPTED);
}

TEST_F(GuardFactoryTest, BarsAreValidatedBeforeThePerspectiveFilterIsMade) {
  Profile profile;
  profile.filters = SIZE_PERSPECTIVE;
  profile.perspective = "[" + bar("[[0,0],[0,0.5]]") + "]";
  EXPECT_EQ(parse(profile),
            (Refusal{"There must be at least two perspective bars", CONTRADICTION}));
  // The higher bar looks larger.
  profile.perspective = "[" + bar("[[0,0.2],[0,0.9]]") + "," + bar("[[0,-0.8],[0,-0.6]]") + "]";
  EXPECT_EQ(parse(profile),
            (Refusal{"One or more of the perspective bars have invalid values", CONTRADICTION}));
  profile.perspective = "[" + bar("[[0,0.2],[0,0.4]]") + "," + bar("[[0,-0.8],[0,-0.1]]") + "]";
  EXPECT_EQ(parse(profile), ACCEPTED);
  rotation = 180;
  EXPECT_EQ(parse(profile).status, CONTRADICTION);
}

TEST_F(GuardFactoryTest, ABarIsMeasuredAlongThePicturesUpwardDirection) {
  for (const int upright : {0, 180}) {
    rotation = upright;
    ASSERT_EQ(parsePerspective("[" + bar("[[0.25,-0.5],[0.75,1.0]]", "7") + "]"), ACCEPTED);
    ASSERT_EQ(factory->perspectiveBars.size(), 1U);
    EXPECT_EQ(factory->perspectiveBars[0].position, -2048);
    EXPECT_EQ(factory->perspectiveBars[0].otherEnd, 4096);
    EXPECT_EQ(factory->perspectiveBars[0].height, 7);
  }
  for (const int turned : {90, 270}) {
    rotation = turned;
    ASSERT_EQ(parsePerspective("[" + bar("[[0.25,-0.5],[0.75,1.0]]", "7") + "]"), ACCEPTED);
    EXPECT_EQ(factory->perspectiveBars[0].position, 1024);
    EXPECT_EQ(factory->perspectiveBars[0].otherEnd, 3072);
  }
}

TEST_F(GuardFactoryTest, BarsAreChecked) {
  const std::pair<std::string, Refusal> cases[] = {
      {"[{}]", {"Could not unpack a perspective bar", MISSING}},
      {R"([{"type":"bar","data":[]}])", {"Could not unpack a perspective bar", MISSING}},
      {R"([{"height":3,"data":[]}])", {"Could not unpack a perspective bar", MISSING}},
      {"[" + bar("[[0,0],[0,1]]", "4294967396") + "]",  // 100 when it is cut to 32 bits
       {"Could not unpack a perspective bar", INVALID}},
      {R"([{"type":"bar","height":3}])", {"Could not get the data for a perspective bar", INVALID}},
      {R"([{"type":"cube","height":3,"data":[[0,0],[0,1]]}])",
       {"Unknown type of perspective.", INVALID}},
      {"[" + bar("[[0,0]]") + "]", {"A perspective bar should have two points", INVALID}},
      {"[" + bar("[[0,0],[0,1],[1,1]]") + "]",
       {"A perspective bar should have two points", INVALID}},
      {"[" + bar("[[0,0],[0]]") + "]", {"Could not unpack a point for a perspective bar", INVALID}},
      {"[" + bar("[[0,0],[0,1.5]]") + "]", {"Incorrect perspective point value", INVALID}},
      {"[" + bar("[[-1.5,0],[0,1]]") + "]", {"Incorrect perspective point value", INVALID}}};
  for (const auto& [perspective, refusal] : cases) {
    EXPECT_EQ(parsePerspective(perspective), refusal) << perspective;
  }
}

TEST_F(GuardFactoryTest, ABarOutOfBoundsIsLogged) {
  parsePerspective("[" + bar("[[0,0],[0.25,1.5]]") + "]");
  EXPECT_EQ(log.count("Perspective parameter is out of bounds: x=0.250000 y=1.500000\n"), 1);
}

// ---- Presets ----

TEST_F(GuardFactoryTest, AFixedDeviceHasNoPresets) {
  EXPECT_EQ(parsePresets(""), ACCEPTED);
  EXPECT_EQ(factory->getPreset(), PRESET_NOT_BOUND);
  EXPECT_EQ(parsePresets("[]"), ACCEPTED);
  EXPECT_EQ(factory->getPreset(), PRESET_NOT_BOUND);
  EXPECT_EQ(parsePresets("[1]"), (Refusal{"This device is a non-ptz device and the configuration "
                                          "should not contain any presets",
                                          CONTRADICTION}));
}

TEST_F(GuardFactoryTest, AMechanicalHeadMayHaveOnePreset) {
  makeMechanical();
  EXPECT_EQ(parsePresets(""), ACCEPTED);
  EXPECT_EQ(factory->getPreset(), PRESET_NOT_BOUND);
  EXPECT_EQ(parsePresets("[]"), ACCEPTED);
  EXPECT_EQ(factory->getPreset(), PRESET_NOT_BOUND);
  EXPECT_EQ(parsePresets("[3]"), ACCEPTED);
  EXPECT_EQ(factory->getPreset(), 3);
  EXPECT_EQ(parsePresets("[-1]"), ACCEPTED);
  EXPECT_EQ(factory->getPreset(), PRESET_ANY);
  EXPECT_EQ(parsePresets("[-2]"), ACCEPTED);
  EXPECT_EQ(factory->getPreset(), PRESET_NOT_BOUND);
  EXPECT_EQ(parsePresets("[32767]"), ACCEPTED);
  EXPECT_EQ(factory->getPreset(), 32767);
  for (const char* number : {"-3", "32768", "4294967299", "-4294967293", "65539"}) {
    EXPECT_EQ(parsePresets(std::string("[") + number + "]"),
              (Refusal{"Could not unpack preset number", INVALID}))
        << number;
  }
  EXPECT_EQ(parsePresets("[1,2]"),
            (Refusal{"The configuration contains too many presets", CONTRADICTION}));
  EXPECT_EQ(parsePresets(R"(["3"])"), (Refusal{"Could not unpack preset number", MISSING}));
}

// ---- The guard ----

TEST_F(GuardFactoryTest, BuildsAnAreaGuardOfTheProfile) {
  ASSERT_EQ(parse(Profile()), ACCEPTED);
  const std::unique_ptr<Guard> guard = factory->createGuard();
  ASSERT_NE(dynamic_cast<AreaGuard*>(guard.get()), nullptr);
  EXPECT_EQ(guard->getName(), "Door");
  EXPECT_EQ(guard->getUid(), 7);
  EXPECT_EQ(guard->getCamera(), 1);
  TrackingObject inside = tracked(Observation{.id = 1}.at(0, 0));
  TrackingObject outside = tracked(Observation{.id = 2}.at(3000, 0));
  ParsedScene scene = sceneOf(1, {&inside, &outside});
  const AlarmData data = guard->updateObjectsAndGetAlarms(scene);
  EXPECT_TRUE(data.didTriggerAlarm(1));
  EXPECT_FALSE(data.didTriggerAlarm(2));
}

TEST_F(GuardFactoryTest, OneProfileBuildsSeveralGuards) {
  ASSERT_EQ(parseFilters(R"([{"type":"timeShortLivedLimit","data":1,"active":true},)"
                         R"({"type":"excludeArea","data":[[-1,-1],[-1,1],[0,1],[0,-1]]}])"),
            ACCEPTED);
  std::unique_ptr<Guard> first = factory->createGuard();
  const std::unique_ptr<Guard> second = factory->createGuard();
  first.reset();
  factory.reset();
  TrackingObject left = tracked(Observation{.id = 1}.at(-1000, 0));
  TrackingObject right = tracked(Observation{.id = 2}.at(1000, 0));
  EXPECT_FALSE(second->canObjectTriggerAlarm(right));
  left.update(Observation{.id = 1, .time = 1'000'000}.at(-1000, 0));
  right.update(Observation{.id = 2, .time = 1'000'000}.at(1000, 0));
  ParsedScene scene = sceneOf(1'000'000, {&left, &right});
  const AlarmData data = second->updateObjectsAndGetAlarms(scene);
  EXPECT_FALSE(data.didTriggerAlarm(1));
  EXPECT_TRUE(data.didTriggerAlarm(2));
}

TEST_F(GuardFactoryTest, TheGuardHoldsItsAlarmForTheProfilesDuration) {
  Profile profile;
  profile.eventDuration = "1000";
  ASSERT_EQ(parse(profile), ACCEPTED);
  const std::unique_ptr<Guard> guard = factory->createGuard();
  TrackingObject object = tracked(Observation{}.at(0, 0));
  ParsedScene seen = sceneOf(100, {&object});
  guard->checkObjects(seen);
  ParsedScene held(1100, false);
  guard->checkObjects(held);
  EXPECT_EQ(producer.take(), std::vector<std::string>({"start 100"}));
  ParsedScene over(1101, false);
  guard->checkObjects(over);
  EXPECT_EQ(producer.take(), std::vector<std::string>({"end 1101"}));
}

TEST_F(GuardFactoryTest, TheGuardIsBoundToTheProfilesPreset) {
  makeMechanical();
  ASSERT_EQ(parsePresets("[3]"), ACCEPTED);
  const std::unique_ptr<Guard> guard = factory->createGuard();
  guard->handleArrivingAtPreset(2, 100);
  EXPECT_FALSE(guard->shouldDataBeProcessed(100));
  guard->handleArrivingAtPreset(3, 100);
  EXPECT_TRUE(guard->shouldDataBeProcessed(100));
}

}  // namespace
