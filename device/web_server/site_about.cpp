#include "web_server/site_about.h"

#include <algorithm>
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

SiteAbout::SiteAbout(Ask ask, std::function<void()> told, Scope_e scope)
    : ask(std::move(ask)), told(std::move(told)), scope(scope) {}

void SiteAbout::outdate() {
  isDue = true;
  rest = 0;
  resting = 0;
}

void SiteAbout::take(const std::string& request) {
  if (scope == Scope_e::all && request.find(CHANGING_METHOD) != std::string::npos) {
    outdate();
  }
}

void SiteAbout::look() {
  if (awaited > 0 || !isDue) {
    return;
  }
  if (resting > 0) {
    --resting;
    return;
  }
  isDue = false;
  isUnanswered = false;
  awaited = scope == Scope_e::all ? 2 : 1;
  askFor("getSupportedVersions", VERSIONS, &versions);
  if (scope == Scope_e::all) {
    askFor("getConfiguration", STATUS, &status);
  }
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
    const JsonAutoPtr document(
        answer != nullptr ? json_loadb(answer->data(), answer->size(), 0, nullptr) : nullptr);
    json_t* value = json_object_get(json_object_get(document.get(), "data"), key);
    if (value == nullptr) {
      isUnanswered = true;
    } else if (json_equal(value, place->get()) == 0) {
      *place = JsonAutoPtr(json_incref(value));
      told();
    }
    if (--awaited == 0) {
      conclude();
    }
  });
}

// Who has left may stay away for long, and says so by itself when he is back.
void SiteAbout::conclude() {
  rest = isUnanswered ? std::clamp(2 * rest, 1, LONGEST_REST) : 0;
  resting = rest;
  isDue = isDue || isUnanswered;
}

std::string SiteAbout::apiVersions() const {
  std::string text;
  std::size_t i = 0;
  const json_t* version = nullptr;
  json_array_foreach(versions.get(), i, version) {
    const char* name = json_string_value(version);
    text.append(i > 0 ? "," : "").append(name != nullptr ? name : "");
  }
  return text;
}

}  // namespace device
