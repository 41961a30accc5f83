#include "web_server/site_about.h"

#include <utility>

namespace device {

namespace {

constexpr char VERSIONS[] = "apiVersions";
constexpr char STATUS[] = "configurationStatus";
constexpr char CHANGING_METHOD[] = "\"setConfiguration\"";

std::string question(const char* method) {
  return std::string(R"({"apiVersion": "1.0", "method": ")") + method + "\"}";
}

}  // namespace

SiteAbout::SiteAbout(Ask ask, std::function<void()> told)
    : ask(std::move(ask)), told(std::move(told)) {}

void SiteAbout::take(const std::string& request) {
  if (request.find(CHANGING_METHOD) != std::string::npos) {
    outdate();
  }
}

void SiteAbout::look() {
  if (awaited > 0 || !std::exchange(isDue, false)) {
    return;
  }
  awaited = 2;
  askFor("getSupportedVersions", VERSIONS, &versions);
  askFor("getConfiguration", STATUS, &status);
}

void SiteAbout::writeTo(json_t* about) const {
  if (versions) {
    json_object_set(about, VERSIONS, versions.get());
  }
  if (status) {
    json_object_set(about, STATUS, status.get());
  }
}

void SiteAbout::askFor(const char* method, const char* key, JsonAutoPtr* place) {
  ask(question(method), [this, key, place](const std::string* answer) {
    --awaited;
    const JsonAutoPtr document(
        answer != nullptr ? json_loadb(answer->data(), answer->size(), 0, nullptr) : nullptr);
    json_t* value = json_object_get(json_object_get(document.get(), "data"), key);
    if (value == nullptr) {
      return outdate();
    }
    if (json_equal(value, place->get()) == 0) {
      *place = JsonAutoPtr(json_incref(value));
      told();
    }
  });
}

}  // namespace device
