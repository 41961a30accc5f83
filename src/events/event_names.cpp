#include "events/event_names.h"

namespace {

constexpr const char* ANY = "ANY";

std::string cameraPrefix(std::int32_t camera) {
  return "Camera" + std::to_string(camera) + "Profile";
}

}  // namespace

namespace utils {

std::string generateEventName(std::int32_t camera, std::int32_t uid) {
  return cameraPrefix(camera) + std::to_string(uid);
}

std::string generateAnyEventName(std::int32_t camera) {
  return cameraPrefix(camera) + ANY;
}

std::string generateGlobalAnyEventName() {
  return std::string("Camera") + ANY;
}

std::string generateEventNiceName(const std::string& name, const std::string& suffix) {
  return suffix.empty() ? name : name + " (" + suffix + ")";
}

std::string generateEventLookupKey(const std::string& eventName) {
  return eventName;
}

}  // namespace utils
