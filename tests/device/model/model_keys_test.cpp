#include "model/model_keys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jansson.h>
#include <unistd.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/json_auto_ptr.h"
#include "model/model.h"
#include "support/source_folder.h"
#include "support/temporary_folder.h"

namespace device {
namespace {

using testing::StartsWith;

// What has to be set for a key to be reached at all.
struct Need {
  std::string_view prefix;
  const char* file;
};

constexpr Need NEEDS[] = {
    {"head.zoom.table[]",
     R"({"head": {"zoom": {"curve": "table",
                           "table": [{"position": 0, "field": 60}, {"position": 1, "field": 3}]}}})"},
    {"scenery[]", R"({"scenery": [{"x_m": 0, "y_m": 9, "width_m": 5, "depth_m": 2,
                                   "height_m": 2}]})"},
    {"detections.ghosts[]",
     R"({"detections": {"ghosts": [{"kind": "tree", "x_m": 0, "y_m": 9, "width_m": 2,
                                    "length_m": 5, "per_minute": 1}]}})"},
    {"head.pan.low", R"({"head": {"pan": {"endless": false, "low": -170, "high": 170}}})"},
    {"head.pan.high", R"({"head": {"pan": {"endless": false, "low": -170, "high": 170}}})"},
};

// A key's place in a file: an object's members and an array's first elements.
std::vector<std::string> stepsTo(std::string_view name) {
  std::vector<std::string> steps;
  std::string step;
  for (const char letter : name) {
    if (letter == '.' || letter == '[') {
      if (!step.empty()) {
        steps.push_back(std::exchange(step, ""));
      }
      if (letter == '[') {
        steps.emplace_back("[");
      }
    } else if (letter != ']') {
      step += letter;
    }
  }
  steps.push_back(step);
  return steps;
}

void put(json_t* json, const std::vector<std::string>& steps, json_t* value) {
  for (std::size_t i = 0; i + 1 < steps.size(); ++i) {
    if (steps[i] == "[") {
      json = json_array_get(json, 0);
      continue;
    }
    json_t* next = json_object_get(json, steps[i].c_str());
    if (!next) {
      next = json_object();
      json_object_set_new(json, steps[i].c_str(), next);
    }
    json = next;
  }
  json_object_set_new(json, steps.back().c_str(), value);
}

std::string placeOf(std::string_view name) {
  std::string place(name);
  for (std::size_t at = place.find("[]"); at != std::string::npos; at = place.find("[]")) {
    place.replace(at, 2, "[0]");
  }
  return place;
}

class ModelKeyTest : public testing::TestWithParam<ModelKey> {
 protected:
  // What is said to the plain model with another value of the key; empty when it is taken.
  std::string answerTo(json_t* value) {
    json_error_t error;
    const JsonAutoPtr json(json_load_file((modelsFolder() / "perfect.json").c_str(), 0, &error));
    const std::string_view name = GetParam().name;
    for (const Need& need : NEEDS) {
      if (name.starts_with(need.prefix)) {
        const JsonAutoPtr more(json_loads(need.file, 0, &error));
        json_object_update_recursive(json.get(), more.get());
      }
    }
    put(json.get(), stepsTo(name), value);
    json_dump_file(json.get(), file.c_str(), 0);
    try {
      loadModel(file);
    } catch (const ModelError& fault) {
      return fault.what();
    }
    return {};
  }

  std::string refusal() const {
    return file.string() + ": " + placeOf(GetParam().name) + ": must ";
  }

  const TemporaryFolder folder;
  const std::filesystem::path file = folder / "model.json";
};

TEST_P(ModelKeyTest, AValueOfAnotherKindIsRefusedWithTheKeysName) {
  EXPECT_THAT(answerTo(json_null()), StartsWith(refusal()));
}

TEST_P(ModelKeyTest, AValueOutOfBoundsIsRefusedWithTheKeysName) {
  const ModelKey& key = GetParam();
  if (key.kind == KeyKind::number) {
    EXPECT_THAT(answerTo(json_real(key.low - 0.01)), StartsWith(refusal()));
    EXPECT_THAT(answerTo(json_real(key.high + 0.01)), StartsWith(refusal()));
  }
  if (key.kind == KeyKind::whole) {
    EXPECT_THAT(answerTo(json_integer(static_cast<json_int_t>(key.low) - 1)),
                StartsWith(refusal()));
    EXPECT_THAT(answerTo(json_integer(static_cast<json_int_t>(key.high) + 1)),
                StartsWith(refusal()));
  }
  if (!key.choices.empty()) {
    EXPECT_THAT(answerTo(json_string("another")), StartsWith(refusal() + "be one of "));
  }
}

TEST_P(ModelKeyTest, AKeyThatNobodyKnowsIsRefusedWithItsName) {
  if (GetParam().kind != KeyKind::section) {
    return;
  }
  EXPECT_EQ(answerTo(json_pack("{s:i}", "nothing", 1)),
            file.string() + ": " + placeOf(GetParam().name) + ".nothing: is unknown");
}

std::string testNameOf(const testing::TestParamInfo<ModelKey>& info) {
  std::string name;
  for (const char letter : info.param.name) {
    name += std::isalnum(static_cast<unsigned char>(letter)) != 0 ? letter : '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Keys, ModelKeyTest,
                         testing::ValuesIn(modelKeys().begin(), modelKeys().end()), testNameOf);

}  // namespace
}  // namespace device
