#include "model/section.h"

#include <sstream>
#include <stdexcept>
#include <utility>

#include "base/text.h"
#include "model/model_error.h"

namespace device {
namespace {

std::string joined(const std::string& place, std::string_view key) {
  if (place.empty() || key.empty()) {
    return place + std::string(key);
  }
  return place + "." + std::string(key);
}

bool isChoice(std::string_view choices, const std::string& text) {
  std::istringstream words{std::string(choices)};
  std::string word;
  while (words >> word) {
    if (word == text) {
      return true;
    }
  }
  return choices.empty();
}

}  // namespace

Section::Section(const json_t* json, std::string file) : Section(json, std::move(file), "", "") {}

Section::Section(const json_t* json, std::string file, std::string place, std::string pattern)
    : json(json), file(std::move(file)), place(std::move(place)), pattern(std::move(pattern)) {
  if (json && !json_is_object(json)) {
    fail("", "must be an object");
  }
  refuseUnknown();
}

void Section::fail(std::string_view key, const std::string& reason) const {
  const std::string where = joined(place, key);
  throw ModelError(file + ": " + (where.empty() ? "" : where + ": ") + reason);
}

bool Section::has(std::string_view key) const {
  return find(key) != nullptr;
}

double Section::number(std::string_view key) const {
  const ModelKey& known = keyOf(key);
  return number(key, known.low, known.high);
}

double Section::number(std::string_view key, double low, double high) const {
  const ModelKey& known = keyOf(key);
  const json_t* value = findOrStandard(known, key);
  if (!value) {
    return text::toNumber<double>(*known.standard).value();
  }
  const double result = json_number_value(value);
  if (!json_is_number(value) || !(result >= low && result <= high)) {
    fail(key, "must be a number from " + shortText(low) + " to " + shortText(high));
  }
  return result;
}

int Section::whole(std::string_view key) const {
  const ModelKey& known = keyOf(key);
  return whole(key, static_cast<int>(known.low), static_cast<int>(known.high));
}

int Section::whole(std::string_view key, int low, int high) const {
  const ModelKey& known = keyOf(key);
  const json_t* value = findOrStandard(known, key);
  if (!value) {
    return static_cast<int>(text::toNumber<double>(*known.standard).value());
  }
  const json_int_t result = json_integer_value(value);
  if (!json_is_integer(value) || result < low || result > high) {
    fail(key, "must be a whole number from " + std::to_string(low) + " to " + std::to_string(high));
  }
  return static_cast<int>(result);
}

bool Section::flag(std::string_view key) const {
  const ModelKey& known = keyOf(key);
  const json_t* value = findOrStandard(known, key);
  if (!value) {
    return *known.standard == "true";
  }
  if (!json_is_boolean(value)) {
    fail(key, "must be true or false");
  }
  return json_is_true(value);
}

std::string Section::text(std::string_view key) const {
  const ModelKey& known = keyOf(key);
  const json_t* value = findOrStandard(known, key);
  if (!value) {
    return std::string(*known.standard);
  }
  if (!json_is_string(value)) {
    fail(key, "must be a text");
  }
  const std::string result = json_string_value(value);
  if (!isChoice(known.choices, result)) {
    fail(key, "must be one of " + boundsText(known));
  }
  return result;
}

std::map<std::string, std::string> Section::texts(std::string_view key) const {
  std::map<std::string, std::string> result;
  const json_t* object = findOrStandard(keyOf(key), key);
  if (!object) {
    return result;
  }
  if (!json_is_object(object)) {
    fail(key, "must be an object");
  }
  const char* name = nullptr;
  json_t* value = nullptr;
  json_object_foreach(const_cast<json_t*>(object), name, value) {
    if (!json_is_string(value)) {
      fail(std::string(key) + "." + name, "must be a text");
    }
    result[name] = json_string_value(value);
  }
  return result;
}

Section Section::section(std::string_view key) const {
  return {findOrStandard(keyOf(key), key), file, joined(place, key), joined(pattern, key)};
}

std::vector<Section> Section::sections(std::string_view key) const {
  std::vector<Section> result;
  const json_t* list = findOrStandard(keyOf(key), key);
  if (!list) {
    return result;
  }
  if (!json_is_array(list)) {
    fail(key, "must be an array");
  }
  for (std::size_t i = 0; i < json_array_size(list); ++i) {
    result.push_back({json_array_get(list, i), file,
                      joined(place, key) + "[" + std::to_string(i) + "]",
                      joined(pattern, key) + "[]"});
  }
  return result;
}

// Reading what no key is about is a fault of the program.
const ModelKey& Section::keyOf(std::string_view key) const {
  const std::string name = joined(pattern, key);
  const ModelKey* known = findModelKey(name);
  if (!known) {
    throw std::logic_error(name + " is read, but no key of models");
  }
  return *known;
}

const json_t* Section::find(std::string_view key) const {
  return json_object_get(json, std::string(key).c_str());
}

const json_t* Section::findOrStandard(const ModelKey& known, std::string_view key) const {
  const json_t* value = find(key);
  if (!value && !known.standard) {
    fail(key, "is missing");
  }
  return value;
}

// Members that nobody reads are mistakes.
void Section::refuseUnknown() const {
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(const_cast<json_t*>(json), key, value) {
    if (!findModelKey(joined(pattern, key))) {
      fail(key, "is unknown");
    }
  }
}

}  // namespace device
