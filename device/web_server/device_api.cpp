#include "web_server/device_api.h"

#include <jansson.h>

#include <stdexcept>
#include <utility>

#include "base/text.h"
#include "web_server/json_values.h"

namespace device {

namespace {

constexpr char FOLLOWING[] = "root.SentrelVideo.Following";
constexpr char IDENTIFY[] = "root.SentrelVideo.Identify";
constexpr char PREDICTIVE[] = "predictive";
constexpr char SPECIFIED[] = "specified";
constexpr char VERSION[] = "1.0";

// What a request cannot have, with the application's code for it.
class Refusal : public std::runtime_error {
 public:
  Refusal(const char* code, const std::string& message) : runtime_error(message), code(code) {}

  const char* code;
};

std::string textAt(const json_t* object, const char* key) {
  const char* text = json_string_value(json_object_get(object, key));
  return text != nullptr ? text : "";
}

void checkRequest(const json_t* request) {
  if (!json_is_object(request)) {
    throw Refusal("2001", "The request is no JSON object");
  }
  if (textAt(request, "apiVersion").empty() || textAt(request, "method").empty()) {
    throw Refusal("2003", "A mandatory parameter is missing");
  }
  if (textAt(request, "apiVersion") != VERSION) {
    throw Refusal("2000", "The requested version is not supported");
  }
}

}  // namespace

DeviceApi::DeviceApi(ParameterStore& parameters, std::function<void()> changed,
                     KeepFollowing keepFollowing)
    : parameters(parameters),
      changed(std::move(changed)),
      keepFollowing(std::move(keepFollowing)) {}

std::string DeviceApi::followingOf(const ParameterStore& parameters) {
  return parameters.get(FOLLOWING) == PREDICTIVE ? PREDICTIVE : SPECIFIED;
}

std::string DeviceApi::answer(const std::string& body) {
  const JsonAutoPtr request(json_loadb(body.data(), body.size(), JSON_REJECT_DUPLICATES, nullptr));
  const std::string method = textAt(request.get(), "method");
  JsonAutoPtr told(json_pack("{s:s, s:o, s:o}", "apiVersion", VERSION, "context",
                             jsonText(textAt(request.get(), "context")), "method",
                             jsonText(method)));
  try {
    checkRequest(request.get());
    JsonAutoPtr data(json_object());
    if (method == "getDeviceSettings") {
      data = settings();
    } else if (method == "setDeviceSettings") {
      data = choose(json_object_get(request.get(), "params"));
    } else if (method == "identifyHead") {
      identify();
    } else {
      throw Refusal("2005", "The requested method was not found");
    }
    json_object_set(told.get(), "data", data.get());
  } catch (const Refusal& refusal) {
    json_object_set_new(told.get(), "error",
                        json_pack("{s:s, s:s}", "code", refusal.code, "message", refusal.what()));
  }
  return lineOf(told.get());
}

JsonAutoPtr DeviceApi::settings() const {
  return JsonAutoPtr(json_pack("{s:s}", "following", followingOf(parameters).c_str()));
}

JsonAutoPtr DeviceApi::choose(const json_t* params) {
  const json_t* following = json_object_get(params, "following");
  if (following == nullptr) {
    throw Refusal("2003", "A mandatory parameter is missing");
  }
  const std::string way = textAt(params, "following");
  if (way != PREDICTIVE && way != SPECIFIED) {
    throw Refusal("2004", "\"following\" is \"predictive\" or \"specified\"");
  }
  JsonAutoPtr data(json_object());
  if (keepFollowing == nullptr) {
    set(FOLLOWING, way);
    return data;
  }
  try {
    if (const std::string notice = keepFollowing(way); !notice.empty()) {
      json_object_set_new(data.get(), "notice", jsonText(notice));
    }
  } catch (const std::runtime_error& error) {
    throw Refusal("1000", error.what());
  }
  changed();
  return data;
}

// Any other text than before will do.
void DeviceApi::identify() {
  const auto count = text::leadingNumber<unsigned>(parameters.get(IDENTIFY).value_or(""));
  set(IDENTIFY, std::to_string(count ? count->value + 1 : 1));
}

void DeviceApi::set(const char* name, const std::string& value) {
  if (!parameters.set(name, value)) {
    throw Refusal("1000", std::string("The device has no parameter ") + name);
  }
  changed();
}

}  // namespace device
