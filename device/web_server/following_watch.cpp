#include "web_server/following_watch.h"

#include <jansson.h>

#include <utility>

#include "base/json_auto_ptr.h"
#include "base/text.h"
#include "web_server/device_api.h"
#include "web_server/json_values.h"

namespace device {

namespace {

constexpr char QUESTION[] = R"({"apiVersion": "1.0", "method": "getFollowing"})";

LastMinute::Expectation expectationOf(const json_t* data) {
  LastMinute::Expectation expected;
  if (const json_t* aim = json_object_get(data, "aim"); json_is_object(aim)) {
    expected.aim = Direction{json_number_value(json_object_get(aim, "pan")),
                             json_number_value(json_object_get(aim, "tilt"))};
  }
  std::size_t i = 0;
  const json_t* person = nullptr;
  json_array_foreach(json_object_get(data, "people"), i, person) {
    const json_t* place = json_object_get(person, "place");
    expected.people.push_back({json_integer_value(json_object_get(person, "identity")),
                               json_number_value(json_array_get(place, 0)),
                               json_number_value(json_array_get(place, 1))});
  }
  return expected;
}

}  // namespace

FollowingWatch::FollowingWatch(const ParameterStore& parameters, Ask ask,
                               std::function<void()> told)
    : parameters(parameters), ask(std::move(ask)), told(std::move(told)) {}

// What is chosen is taken later than it is chosen: until then the application thinks on.
void FollowingWatch::look(bool isApplicationRunning) {
  if (!isApplicationRunning) {
    return forget();
  }
  const bool isExpected = !thought.empty() || DeviceApi::followingOf(parameters) == "predictive";
  if (isAwaited || !isExpected) {
    return;
  }
  isAwaited = true;
  ask(QUESTION, [this](const std::string* answer) {
    isAwaited = false;
    take(answer);
  });
}

void FollowingWatch::take(const std::string* answer) {
  const JsonAutoPtr document(
      answer != nullptr ? json_loadb(answer->data(), answer->size(), 0, nullptr) : nullptr);
  const json_t* data = json_object_get(document.get(), "data");
  if (!json_is_object(data)) {
    return forget();
  }
  thought = lineOf(data);
  expected = expectationOf(data);
  told();
}

void FollowingWatch::forget() {
  expected.reset();
  if (!std::exchange(thought, "").empty()) {
    told();
  }
}

std::string FollowingWatch::json(double time) const {
  return text::formatted("{\"time\":%.3f", time) + ",\"chosen\":\"" +
         DeviceApi::followingOf(parameters) +
         "\",\"thought\":" + (thought.empty() ? "null" : thought) + "}";
}

}  // namespace device
