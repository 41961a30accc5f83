// Profiles of the configuration document, as texts.
#ifndef TESTS_SRC_ADDON_PROFILES_H
#define TESTS_SRC_ADDON_PROFILES_H

#include <string>

inline const std::string SQUARE = "[[-0.5,-0.5],[-0.5,0.5],[0.5,0.5],[0.5,-0.5]]";

// A profile's members; an empty one is left out.
struct Profile {
  std::string name = R"("Door")";
  std::string uid = "7";
  std::string camera = "1";
  std::string eventDuration;
  std::string priority = "3";
  std::string triggers = R"([{"type":"includeArea","data":)" + SQUARE + "}]";
  std::string filters = "[]";
  std::string presets;
  std::string perspective;

  std::string text() const {
    std::string members;
    const auto add = [&](const char* key, const std::string& value) {
      if (value.empty()) {
        return;
      }
      members += members.empty() ? "" : ",";
      members += std::string("\"") + key + "\":" + value;
    };
    add("name", name);
    add("uid", uid);
    add("camera", camera);
    add("xinternalEventDuration", eventDuration);
    add("priority", priority);
    add("triggers", triggers);
    add("filters", filters);
    add("presets", presets);
    add("perspective", perspective);
    return "{" + members + "}";
  }
};

#endif
