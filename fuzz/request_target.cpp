// The API: requests as the web server hands them over, one after the other, up to their answers.
//
// The input is text: requests, each ended by a zero. One that begins with "?" comes as a query. "#"
// and "$" begin what the configuration file and the settings file hold at first; "!" says that with
// the next request no file can be brought to storage.
#include <gio/gio.h>
#include <jansson.h>
#include <ovhttp.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "base/glib_ptr.h"
#include "base/json_auto_ptr.h"
#include "base/json_text.h"
#include "camera/configuration_parser.h"
#include "cgi/cgi_callback.h"
#include "cgi/tracker_cgi_handler.h"
#include "config/constants.h"
#include "fuzz/configuration_rules.h"
#include "fuzz/daemon.h"
#include "fuzz/require.h"
#include "tracker/tracker_guard_factory.h"

namespace {

using fuzz::decode;
using fuzz::require;

// One of several cameras, beside a head that it does not move itself.
const fuzz::DeviceFacts DEVICE{.cameras = 2, .hasPresets = false, .profilesPerCamera = 3};

constexpr const char* CONFIGURATION = "config.json";
constexpr const char* HEADER = "Content-Type: application/json\r\nStatus: 200 OK\r\n\r\n";
constexpr std::size_t MOST_REQUESTS = 8;
constexpr std::size_t LONGEST_REPAIR = 600;  // the rule takes quadratic time

constexpr const char* SUCCESS = "";
constexpr const char* INTERNAL = "1000";
constexpr const char* VERSION_NOT_SUPPORTED = "2000";
constexpr const char* MALFORMED = "2001";
constexpr const char* CONTRADICTION = "2002";
constexpr const char* MISSING = "2003";
constexpr const char* INVALID = "2004";
constexpr const char* METHOD_NOT_FOUND = "2005";

const std::map<std::string, std::string> MESSAGES{
    {MALFORMED, "The configuration was not formatted correctly, i.e. does not follow json-scheme"},
    {MISSING, "A mandatory parameter is missing"},
    {INVALID, "The configuration contains an invalid parameter"},
    {CONTRADICTION,
     "Parts of the configuration contradict each other, e.g several profiles have the same id"},
    {METHOD_NOT_FOUND, "The requested CGI method was not found"},
    {VERSION_NOT_SUPPORTED, "The requested version of the application is not supported."},
    {INTERNAL, "An error occurred inside the application."}};

using Json = const json_t*;

std::string dump(Json value) {
  return toText(value, constants::JSON_DUMP_FLAGS);
}

Json paramsOf(Json request) {
  return json_object_get(request, "params");
}

std::string textOf(Json object, const char* key, const std::string& otherwise) {
  const char* const text = json_string_value(json_object_get(object, key));
  return text != nullptr ? text : otherwise;
}

// ---- The input ----

struct Request {
  std::string text;
  bool isQuery = false;
  bool isStorageWorking = true;
};

struct Session {
  std::optional<std::string> configuration;
  std::optional<std::string> settings;
  std::vector<Request> requests;
};

Session sessionOf(const std::string& input) {
  Session session;
  Request next;
  std::size_t begin = 0;
  while (begin < input.size() && session.requests.size() < MOST_REQUESTS) {
    const std::size_t end = std::min(input.find('\0', begin), input.size());
    const std::string part = input.substr(begin, end - begin);
    begin = end + 1;
    const char kind = part.empty() ? '\0' : part.front();
    if (kind == '#') {
      session.configuration = part.substr(1);
    } else if (kind == '$') {
      session.settings = part.substr(1);
    } else if (kind == '!') {
      next.isStorageWorking = false;
    } else {
      next.isQuery = kind == '?';
      next.text = next.isQuery ? part.substr(1) : part;
      session.requests.push_back(next);
      next = Request();
    }
  }
  return session;
}

// ---- The program ----

class Api {
 public:
  explicit Api(Daemon& daemon)
      : handler(daemon.getCameras(), versions, daemon.storage().path(CONFIGURATION), boundaries,
                defaults, parser, daemon.getTracker()) {}

  std::string ask(const Request& request) {
    const GHashTablePtr parameters(g_hash_table_new(g_str_hash, g_str_equal));
    std::string body = request.text;
    if (!request.isQuery) {
      g_hash_table_insert(parameters.get(), const_cast<char*>(OV_HTTP_BODY), body.data());
    }
    const GObjectPtr<GOutputStream> out(g_memory_output_stream_new_resizable());
    FakeStorage::setWorking(request.isStorageWorking);
    CGI_Callback::handle("/api/sentrelvideo", request.isQuery ? "GET" : "POST",
                         request.isQuery ? body.c_str() : nullptr, parameters.get(), out.get(),
                         static_cast<CGI_Handler*>(&handler));
    FakeStorage::setWorking(true);
    GMemoryOutputStream* const memory = G_MEMORY_OUTPUT_STREAM(out.get());
    return {static_cast<const char*>(g_memory_output_stream_get_data(memory)),
            g_memory_output_stream_get_data_size(memory)};
  }

 private:
  static constexpr const char* VERSIONS[] = {"1.0"};

  const API_VersionHandler versions{VERSIONS, 1};
  const DataBoundaries boundaries;
  const DefaultValues defaults;
  ConfigurationParser<TrackerGuardFactory> parser;
  TrackerCGI_Handler handler;
};

// What a request may change.
struct State {
  std::string configuration;  // the file
  std::string settings;       // the file
  std::set<int> profiles;     // of those that were ever named
  int drawing = -1;           // the profile whose drawings are on
  std::string tracker;        // its state and settings, as the API tells them

  bool operator==(const State&) const = default;
};

// ---- The rules ----

// While the text is no JSON: what follows the last brace but the very last character is cut off.
std::string repaired(std::string text) {
  while (!decode(text)) {
    const std::size_t brace = text.size() < 2 ? text.npos : text.rfind('}', text.size() - 2);
    if (brace == text.npos) {
      return text;
    }
    text.resize(brace + 1);
  }
  return text;
}

struct Version {
  bool isValid = false;
  bool isSupported = false;
};

// "MAJOR.MINOR"; there is none but 1.0.
Version versionOf(Json request) {
  const std::string text = textOf(request, "apiVersion", "");
  const std::size_t point = text.find('.');
  if (point == text.npos) {
    return {};
  }
  const std::string parts[] = {text.substr(0, point), text.substr(point + 1)};
  std::array<long double, 2> numbers{};
  for (int i = 0; i < 2; ++i) {
    if (parts[i].empty() || parts[i].find_first_not_of("0123456789") != text.npos) {
      return {};
    }
    numbers[i] = std::strtold(parts[i].c_str(), nullptr);
    if (numbers[i] > INT32_MAX) {
      return {};
    }
  }
  return {.isValid = true, .isSupported = numbers[0] == 1 && numbers[1] == 0};
}

struct Settings {
  std::string state = "stopped";
  bool switchObject = false;
  json_int_t timePerObject = 5;
  bool returnToHome = false;
  json_int_t returnToHomeTimeout = 5;

  JsonAutoPtr toJson() const {
    return JsonAutoPtr(json_pack(
        "{s:s, s:b, s:I, s:i, s:i, s:b, s:I, s:i, s:i}", "state", state.c_str(), "switchObject",
        int{switchObject}, "timePerObject", timePerObject, "minTimePerObject", 1,
        "maxTimePerObject", 60, "returnToHome", int{returnToHome}, "returnToHomeTimeout",
        returnToHomeTimeout, "minReturnToHomeTimeout", 1, "maxReturnToHomeTimeout", 60));
  }

  // As the API tells them.
  static Settings fromJson(Json data) {
    return {
        .state = textOf(data, "state", ""),
        .switchObject = json_is_true(json_object_get(data, "switchObject")),
        .timePerObject = json_integer_value(json_object_get(data, "timePerObject")),
        .returnToHome = json_is_true(json_object_get(data, "returnToHome")),
        .returnToHomeTimeout = json_integer_value(json_object_get(data, "returnToHomeTimeout"))};
  }

  // Takes the settings in order, up to the first that is out of range. The code of the answer.
  std::string change(Json params) {
    const Json enable = json_object_get(params, "enable");
    if (json_is_true(enable) && state == "stopped") {
      state = "connecting";
    }
    if (json_is_false(enable)) {
      state = "stopped";
    }
    return takeSwitch(params, "switchObject", switchObject) &&
                   takeSeconds(params, "timePerObject", timePerObject) &&
                   takeSwitch(params, "returnToHome", returnToHome) &&
                   takeSeconds(params, "returnToHomeTimeout", returnToHomeTimeout)
               ? SUCCESS
               : INVALID;
  }

 private:
  static bool takeSwitch(Json params, const char* key, bool& value) {
    const Json given = json_object_get(params, key);
    if (json_is_boolean(given)) {
      value = json_is_true(given);
    }
    return true;
  }

  static bool takeSeconds(Json params, const char* key, json_int_t& value) {
    const Json given = json_object_get(params, key);
    if (!json_is_integer(given)) {
      return true;
    }
    if (json_integer_value(given) < 1 || json_integer_value(given) > 60) {
      return false;
    }
    value = json_integer_value(given);
    return true;
  }
};

// Whether a request names a profile, be it one that there may be.
bool namesNumber(Json request) {
  return json_is_integer(json_object_get(paramsOf(request), "profile"));
}

// The profile that a request names; nothing for a number that no uid can be.
std::optional<int> profileOf(Json request) {
  const Json profile = json_object_get(paramsOf(request), "profile");
  const json_int_t uid = json_integer_value(profile);
  if (!json_is_integer(profile) || uid < INT32_MIN || uid > INT32_MAX) {
    return std::nullopt;
  }
  return static_cast<int>(uid);
}

// ---- One session ----

class Judge {
 public:
  Judge(Daemon& daemon, Api& api) : daemon(daemon), api(api), after(look()) {}

  void ask(const Request& asked) {
    request = decode(repairedText(asked));
    rememberProfiles();
    before = std::move(after);
    before.profiles = existingProfiles();
    const std::string text = api.ask(asked);
    readAnswer(text);
    after = look();
    checkHeader();
    checkMethod(asked);
  }

 private:
  static std::string repairedText(const Request& request) {
    const std::string found = CGI_Callback::repairTail(request.text);
    if (request.text.size() > LONGEST_REPAIR) {
      return found;
    }
    const std::string expected = repaired(request.text);
    require(static_cast<bool>(decode(found)) == static_cast<bool>(decode(expected)),
            "what can be repaired is repaired");
    require(!decode(expected) || found == expected, "stray bytes behind the last brace are cut off",
            found);
    return found;
  }

  void rememberProfiles() {
    for (const auto& profile : fuzz::profilesOf(request.get())) {
      uids.insert(profile.uid);
    }
    if (const auto profile = profileOf(request.get())) {
      uids.insert(*profile);
    }
  }

  std::set<int> existingProfiles() {
    std::set<int> existing;
    for (const int uid : uids) {
      if (daemon.getCameras().doesProfileExist(uid)) {
        existing.insert(uid);
      }
    }
    return existing;
  }

  State look() {
    State state;
    state.configuration = daemon.storage().read(CONFIGURATION);
    state.settings = daemon.storage().read(Daemon::SETTINGS);
    state.drawing = daemon.getCameras().getVisualConfIdNbr();
    state.profiles = existingProfiles();
    state.tracker = api.ask({.text = R"({"apiVersion":"1.0","method":"getSentrel"})"});
    return state;
  }

  static Settings settingsOf(const State& state) {
    const JsonAutoPtr answer = decode(state.tracker.substr(std::string(HEADER).size()));
    return Settings::fromJson(json_object_get(answer.get(), "data"));
  }

  void readAnswer(const std::string& text) {
    require(text.starts_with(HEADER), "an answer begins with its header lines", text);
    answer = decode(text.substr(std::string(HEADER).size()));
    require(json_is_object(answer.get()), "an answer is a JSON object", text);
    const Json data = json_object_get(answer.get(), "data");
    const Json error = json_object_get(answer.get(), "error");
    require((data != nullptr) != (error != nullptr), "an answer has data or an error", text);
    require(json_object_size(answer.get()) == 4, "and its header's three members", text);
    code = textOf(error, "code", SUCCESS);
    if (error != nullptr) {
      const auto known = MESSAGES.find(code);
      require(known != MESSAGES.end() && textOf(error, "message", "") == known->second,
              "every error has a code and its message", text);
    }
  }

  void checkHeader() const {
    const Json given = answer.get();
    require(textOf(given, "apiVersion", "") == "1.0", "there is one version");
    require(textOf(given, "context", "none") == textOf(request.get(), "context", ""),
            "the context comes back");
    require(textOf(given, "method", "none") == textOf(request.get(), "method", "missingMethod"),
            "the method comes back");
  }

  void checkMethod(const Request& asked) {
    const Version version = versionOf(request.get());
    const std::string method = textOf(request.get(), "method", "missingMethod");
    if (!request) {
      expectNoChange(MALFORMED);
    } else if (!version.isValid) {
      expectNoChange(MISSING);
    } else if (!version.isSupported) {
      expectNoChange(VERSION_NOT_SUPPORTED);
    } else if (method == "setConfiguration") {
      checkSetConfiguration(asked.isStorageWorking);
    } else if (method == "getConfiguration") {
      checkGetConfiguration();
    } else if (method == "setSentrel") {
      checkSetSentrel(asked.isStorageWorking);
    } else if (method == "getSentrel") {
      expectNoChange(SUCCESS);
      expectData(settingsOf(before).toJson().get());
    } else if (method == "startVisualConfirmation") {
      checkStartDrawing();
    } else if (method == "stopVisualConfirmation") {
      before.drawing = -1;
      expectNoChange(SUCCESS);
    } else if (method == "sendAlarmEvent") {
      checkAlarm();
    } else if (method == "getSupportedVersions") {
      expectNoChange(SUCCESS);
      expectData(JsonAutoPtr(json_pack("{s:[s]}", "apiVersions", "1.0")).get());
    } else if (method == "getConfigurationCapabilities") {
      expectNoChange(SUCCESS);
      require(json_object_size(json_object_get(answer.get(), "data")) == 4,
              "there are four kinds of capabilities");
    } else {
      expectNoChange(method == "missingMethod" ? MISSING : METHOD_NOT_FOUND);
    }
  }

  void expectCode(const std::string& expected) const {
    require(code == expected, "the outcome is as it must",
            "found " + code + ", expected " + expected);
  }

  // Nothing but what is noted in the state before.
  void expectNoChange(const std::string& expected) const {
    expectCode(expected);
    require(after == before, "what is refused or only asked for changes nothing");
  }

  void expectData(Json expected) const {
    const Json data = json_object_get(answer.get(), "data");
    require(dump(data) == dump(expected), "the data is as it must", dump(data));
  }

  void checkSetConfiguration(bool isStorageWorking) {
    if (!fuzz::isAcceptable(request.get(), DEVICE)) {
      expectNoChange(code);
      require(code == MALFORMED || code == MISSING || code == INVALID || code == CONTRADICTION,
              "a refused configuration is told why", code);
      return;
    }
    const std::string expected = expectedConfiguration();
    if (!isStorageWorking || !decode(expected)) {
      return expectNoChange(INTERNAL);
    }
    expectCode(SUCCESS);
    require(after.configuration == expected, "the document is stored", after.configuration);
    std::set<int> active;
    for (const auto& camera : fuzz::activeCamerasOf(request.get())) {
      active.insert(camera.id);
    }
    std::set<int> profiles;
    for (const auto& profile : fuzz::profilesOf(request.get())) {
      if (active.contains(profile.camera)) {
        profiles.insert(profile.uid);
      }
    }
    require(after.profiles == profiles, "the profiles are those of the document");
    require(after.drawing == before.drawing || after.drawing == -1, "no drawing is switched on");
    require(after.settings == before.settings && after.tracker == before.tracker,
            "nothing else is changed");
    Parser parser;
    require(parser.parse(after.configuration, DataBoundaries()) == 0,
            "what is stored is accepted at the next start");
  }

  // The request with the number that counts the changes.
  std::string expectedConfiguration() const {
    const JsonAutoPtr stored = decode(before.configuration);
    const Json number = json_object_get(paramsOf(stored.get()), "configurationStatus");
    const json_int_t last =
        std::clamp<json_int_t>(json_integer_value(number), INT32_MIN, INT32_MAX);
    const JsonAutoPtr document(json_deep_copy(request.get()));
    json_object_set_new(json_object_get(document.get(), "params"), "configurationStatus",
                        json_integer(last == INT32_MAX ? 1 : last + 1));
    return dump(document.get());
  }

  void checkGetConfiguration() {
    const JsonAutoPtr stored = decode(before.configuration);
    const Json params = paramsOf(stored.get());
    expectNoChange(params != nullptr ? SUCCESS : INTERNAL);
    if (params != nullptr) {
      expectData(params);
    }
  }

  void checkSetSentrel(bool isStorageWorking) {
    if (paramsOf(request.get()) == nullptr) {
      return expectNoChange(MALFORMED);
    }
    Settings settings = settingsOf(before);
    expectCode(settings.change(paramsOf(request.get())));
    require(dump(settingsOf(after).toJson().get()) == dump(settings.toJson().get()),
            "settings before one that is out of range are taken", after.tracker);
    if (!isStorageWorking) {
      require(after.settings == before.settings, "what cannot be stored leaves the file alone");
    }
    before.settings = after.settings;
    before.tracker = after.tracker;
    require(after == before, "nothing else is changed");
  }

  void checkStartDrawing() {
    if (paramsOf(request.get()) == nullptr) {
      return expectNoChange(MALFORMED);
    }
    const auto profile = profileOf(request.get());
    if (!profile) {
      return expectNoChange(namesNumber(request.get()) ? INVALID : MISSING);
    }
    if (!before.profiles.contains(*profile)) {
      return expectNoChange(CONTRADICTION);
    }
    before.drawing = *profile;
    expectNoChange(SUCCESS);
  }

  void checkAlarm() {
    if (paramsOf(request.get()) == nullptr) {
      return expectNoChange(MALFORMED);
    }
    const auto profile = profileOf(request.get());
    if (!profile) {
      return expectNoChange(namesNumber(request.get()) ? INVALID : MISSING);
    }
    expectNoChange(before.profiles.contains(*profile) ? SUCCESS : INVALID);
  }

  using Parser = ConfigurationParser<TrackerGuardFactory>;

  Daemon& daemon;
  Api& api;
  std::set<int> uids;
  JsonAutoPtr request;  // repaired; null when it is no JSON
  JsonAutoPtr answer;
  std::string code;
  State before;
  State after;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Session session = sessionOf(std::string(data, data + size));
  Daemon daemon(DEVICE);
  daemon.storage().remove(CONFIGURATION);
  if (session.configuration) {
    daemon.storage().write(CONFIGURATION, *session.configuration);
  }
  if (session.settings) {
    daemon.storage().write(Daemon::SETTINGS, *session.settings);
  }
  Api api(daemon);
  Judge judge(daemon, api);
  for (const Request& request : session.requests) {
    judge.ask(request);
  }
  require(daemon.storage().fileCount() <= 2, "no temporary file is left");
  return 0;
}
