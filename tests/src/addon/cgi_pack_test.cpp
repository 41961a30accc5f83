#include "addon/libs/vigil_pack_lib/factory/cgi_pack.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "base/json_text.h"
#include "src/config/json_memory.h"
#include "src/events/wrapper_test_base.h"

namespace {

using Points = std::vector<std::pair<double, double>>;

class CgiPackTest : public InitializedWrapperTest {
 protected:
  static void expectEqual(const JsonAutoPtr& value, const std::string& text) {
    json_error_t error;
    const JsonAutoPtr expected(json_loads(text.c_str(), 0, &error));
    ASSERT_TRUE(expected) << error.text << " in " << text;
    ASSERT_TRUE(value);
    EXPECT_TRUE(json_equal(value.get(), expected.get())) << toText(value.get(), JSON_SORT_KEYS);
  }

  static void expectMember(const JsonAutoPtr& object, const char* key, const std::string& text) {
    const JsonAutoPtr expected(json_loads(text.c_str(), JSON_DECODE_ANY, nullptr));
    ASSERT_TRUE(expected) << text;
    EXPECT_TRUE(json_equal(json_object_get(object.get(), key), expected.get())) << key;
  }

  // What the areas have in common.
  static void expectArea(const JsonAutoPtr& area, const char* type, int minInstances,
                         int maxInstances, int defaultInstance) {
    expectMember(area, "type", '"' + std::string(type) + '"');
    expectMember(area, "min", "[-1.0, -1.0]");
    expectMember(area, "max", "[1.0, 1.0]");
    expectMember(area, "minNbrVertices", "3");
    expectMember(area, "maxNbrVertices", "20");
    expectMember(area, "minNbrInstances", std::to_string(minInstances));
    expectMember(area, "maxNbrInstances", std::to_string(maxInstances));
    expectMember(area, "defaultInstance", std::to_string(defaultInstance));
  }

  static Points defaultPoints(const JsonAutoPtr& area) {
    Points points;
    std::size_t index = 0;
    json_t* point = nullptr;
    json_array_foreach(json_object_get(area.get(), "default"), index, point) {
      EXPECT_EQ(json_array_size(point), 2U);
      points.emplace_back(json_number_value(json_array_get(point, 0)),
                          json_number_value(json_array_get(point, 1)));
    }
    return points;
  }

  // The value of that type in any depth, null when there is none.
  static json_t* findType(json_t* value, const char* type) {
    const char* const own = json_string_value(json_object_get(value, "type"));
    if (own != nullptr && std::strcmp(own, type) == 0) {
      return value;
    }
    json_t* found = nullptr;
    const char* key = nullptr;
    json_t* member = nullptr;
    json_object_foreach(value, key, member) {
      found = found != nullptr ? found : findType(member, type);
    }
    std::size_t index = 0;
    json_array_foreach(value, index, member) {
      found = found != nullptr ? found : findType(member, type);
    }
    return found;
  }

  // What the whole description says of that type.
  JsonAutoPtr piece(const char* type) const {
    const JsonAutoPtr all = pack.capabilities();
    return JsonAutoPtr(json_incref(findType(all.get(), type)));
  }

  static std::set<std::string> typesOf(const json_t* list) {
    std::set<std::string> types;
    std::size_t index = 0;
    json_t* element = nullptr;
    json_array_foreach(list, index, element) {
      types.insert(json_string_value(json_object_get(element, "type")));
    }
    return types;
  }

  static bool isCorner(std::pair<double, double> point, double size) {
    return std::abs(point.first) == size && std::abs(point.second) == size;
  }

  DataBoundaries boundaries;
  DefaultValues defaults;
  const CGI_Pack pack{boundaries, defaults};
};

TEST_F(CgiPackTest, DescribesProfilesOfAFixedCamera) {
  expectEqual(pack.profiles(), R"({"minNbrProfilesPerCamera": 0, "maxNbrProfilesPerCamera": 3,
                                  "minLengthName": 1, "maxLengthName": 15})");
}

// What kind of device it is is read once for the process: the test runs in a process of its own, as
// ctest runs it.
TEST_F(CgiPackTest, DescribesProfilesOfAMechanicalHead) {
  FakeParameters::set("root.Properties.PTZ.PTZ", "yes");
  expectEqual(pack.profiles(), R"({"minNbrProfilesPerCamera": 0, "maxNbrProfilesPerCamera": 10,
                                  "minLengthName": 1, "maxLengthName": 15})");
}

TEST_F(CgiPackTest, DescribesPresets) {
  expectEqual(pack.presets(), R"({"maxNbrPresetsPerProfile": 1, "defaultPreset": -2})");
}

TEST_F(CgiPackTest, DescribesTheShortLivedFilter) {
  expectEqual(piece("timeShortLivedLimit"), R"({"type": "timeShortLivedLimit", "min": 1, "max": 5,
                                          "default": 1, "defaultActive": true})");
}

TEST_F(CgiPackTest, DescribesTheSwayingFilter) {
  expectEqual(piece("distanceSwayingObject"),
              R"({"type": "distanceSwayingObject", "min": 3, "max": 20,
                                       "default": 5, "defaultActive": true})");
}

TEST_F(CgiPackTest, DescribesTheSizeFilter) {
  expectEqual(piece("sizePercentage"), R"({"type": "sizePercentage", "min": [3, 3],
                                              "max": [100, 100], "default": [5, 5],
                                              "defaultActive": true})");
}

TEST_F(CgiPackTest, DescribesTheIncludeArea) {
  const JsonAutoPtr area = piece("includeArea");
  expectArea(area, "includeArea", 1, 1, 1);
  const Points points = defaultPoints(area);
  const std::set<std::pair<double, double>> corners(points.begin(), points.end());
  EXPECT_EQ(points.size(), 4U);
  EXPECT_EQ(corners, (std::set<std::pair<double, double>>{
                         {-0.97, -0.97}, {-0.97, 0.97}, {0.97, 0.97}, {0.97, -0.97}}));
}

TEST_F(CgiPackTest, DescribesTheExcludeArea) {
  const JsonAutoPtr area = piece("excludeArea");
  expectArea(area, "excludeArea", 0, 3, 0);
  EXPECT_EQ(defaultPoints(area).size(), 4U);
}

TEST_F(CgiPackTest, DescribesTheLoiteringArea) {
  const JsonAutoPtr area = piece("loiteringArea");
  expectArea(area, "loiteringArea", 0, 0, 0);
  const Points points = defaultPoints(area);
  ASSERT_EQ(points.size(), 4U);
  for (const auto& point : points) {
    EXPECT_TRUE(isCorner(point, 0.2));
  }
}

TEST_F(CgiPackTest, DescribesTheLoiteringConditions) {
  const JsonAutoPtr area = piece("loiteringArea");
  for (const char* type : {"individual", "group"}) {
    const JsonAutoPtr condition(json_incref(findType(area.get(), type)));
    expectEqual(condition, R"({"type": ")" + std::string(type) +
                               R"(", "defaultActive": false, "default": 0, "max": 0, "min": 0})");
  }
}

TEST_F(CgiPackTest, DescribesTheFence) {
  const JsonAutoPtr fence = piece("fence");
  expectMember(fence, "type", R"("fence")");
  expectMember(fence, "min", "[-1.0, -1.0]");
  expectMember(fence, "max", "[1.0, 1.0]");
  expectMember(fence, "minNbrInstances", "0");
  expectMember(fence, "maxNbrInstances", "0");
  expectMember(fence, "defaultInstance", "0");
  expectMember(fence, "defaultAlarmDirection", R"("leftToRight")");
  const Points points = defaultPoints(fence);
  ASSERT_EQ(points.size(), 2U);
  EXPECT_NE(points[0], points[1]);
  for (const auto& [x, y] : points) {
    EXPECT_LE(std::abs(x), 0.2);
    EXPECT_LE(std::abs(y), 0.2);
  }
}

TEST_F(CgiPackTest, TheLimitsAndDefaultsAreThoseHandedOver) {
  boundaries.includeAreasMax = 7;
  boundaries.verticesMax = 9;
  boundaries.shortLivedMax = 30;
  defaults.shortLived = 20;
  defaults.shortLivedActive = false;
  defaults.alarmDirection = "both";
  expectMember(piece("includeArea"), "maxNbrInstances", "7");
  expectMember(piece("excludeArea"), "maxNbrVertices", "9");
  expectMember(piece("fence"), "defaultAlarmDirection", R"("both")");
  expectEqual(piece("timeShortLivedLimit"), R"({"type": "timeShortLivedLimit", "min": 1, "max": 30,
                                          "default": 20, "defaultActive": false})");
}

TEST_F(CgiPackTest, TheWholeDescriptionHasAllPieces) {
  const JsonAutoPtr all = pack.capabilities();
  ASSERT_TRUE(all);
  EXPECT_EQ(json_object_size(all.get()), 4U);
  EXPECT_TRUE(json_equal(json_object_get(all.get(), "profiles"), pack.profiles().get()));
  EXPECT_TRUE(json_equal(json_object_get(all.get(), "presets"), pack.presets().get()));
  EXPECT_EQ(typesOf(json_object_get(all.get(), "triggers")),
            (std::set<std::string>{"includeArea", "loiteringArea", "fence"}));
  EXPECT_EQ(typesOf(json_object_get(all.get(), "filters")),
            (std::set<std::string>{"timeShortLivedLimit", "distanceSwayingObject", "sizePercentage",
                                   "excludeArea"}));
}

TEST_F(CgiPackTest, TheWholeDescriptionIsTheSameEachTime) {
  EXPECT_TRUE(json_equal(pack.capabilities().get(), pack.capabilities().get()));
}

TEST_F(CgiPackTest, AShortageOfMemoryLosesPiecesAndNothingElse) {
  const JsonAutoPtr whole = pack.capabilities();
  bool ranOut = true;
  for (int allocations = 0; ranOut; ++allocations) {
    JsonAutoPtr description;
    {
      const JsonMemory memory(allocations);
      description = pack.capabilities();
      ranOut = JsonMemory::ranOut();
    }
    EXPECT_EQ(json_equal(description.get(), whole.get()) == 1, !ranOut) << allocations;
  }
}

TEST_F(CgiPackTest, ANewObjectIsAMemberOfItsParent) {
  const JsonAutoPtr parent(json_object());
  json_t* const member = CGI_Pack::object(parent.get(), "member");
  ASSERT_TRUE(json_is_object(member));
  EXPECT_EQ(json_object_get(parent.get(), "member"), member);
  EXPECT_EQ(member->refcount, 1U) << "borrowed";
}

TEST_F(CgiPackTest, ANewArrayIsAMemberOfItsParent) {
  const JsonAutoPtr parent(json_object());
  json_t* const member = CGI_Pack::array(parent.get(), "member");
  ASSERT_TRUE(json_is_array(member));
  EXPECT_EQ(json_object_get(parent.get(), "member"), member);
}

TEST_F(CgiPackTest, WithoutAParentThereIsNoMember) {
  EXPECT_EQ(CGI_Pack::object(nullptr, "member"), nullptr);
  EXPECT_EQ(CGI_Pack::array(nullptr, "member"), nullptr);
}

TEST_F(CgiPackTest, ValuesAreInsertedAndAppended) {
  const JsonAutoPtr object(json_object());
  const JsonAutoPtr array(json_array());
  EXPECT_TRUE(CGI_Pack::insertInObject(object.get(), "one", JsonAutoPtr(json_integer(1))));
  EXPECT_TRUE(CGI_Pack::appendToArray(array.get(), JsonAutoPtr(json_integer(2))));
  expectEqual(object, R"({"one": 1})");
  expectEqual(array, "[2]");
}

TEST_F(CgiPackTest, NothingCannotBeInsertedOrAppended) {
  const JsonAutoPtr object(json_object());
  const JsonAutoPtr array(json_array());
  EXPECT_FALSE(CGI_Pack::insertInObject(object.get(), "one", JsonAutoPtr()));
  EXPECT_FALSE(CGI_Pack::appendToArray(array.get(), JsonAutoPtr()));
  EXPECT_EQ(json_object_size(object.get()), 0U);
  EXPECT_EQ(json_array_size(array.get()), 0U);
}

TEST_F(CgiPackTest, ValuesForNothingAreFreed) {
  const JsonAutoPtr value(json_integer(1));
  EXPECT_FALSE(CGI_Pack::insertInObject(nullptr, "one", value));
  EXPECT_FALSE(CGI_Pack::appendToArray(nullptr, value));
  EXPECT_EQ(value.get()->refcount, 1U);
}

}  // namespace
