#include "web_server/device_metrics.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <variant>

#include "web_server/event_json.h"
#include "web_server/json_values.h"

namespace device {

namespace {

constexpr std::string_view OWN = "MiruPlatform/SentrelVideo/";
constexpr std::string_view CAMERA = "Camera";
constexpr std::string_view PROFILE = "Profile";
constexpr const char* STEP_TEXTS[] = {"0.02", "0.05", "0.1", "0.2", "0.5", "1.0"};
constexpr char CONNECTING[] = "connecting";
constexpr const char* STATES[] = {"stopped", CONNECTING, "autotuning", "running"};
// Of the application's API; whatever else is asked for is one more label, not many.
constexpr const char* METHODS[] = {"getSupportedVersions",
                                   "getSentrel",
                                   "setSentrel",
                                   "getConfiguration",
                                   "setConfiguration",
                                   "getConfigurationCapabilities",
                                   "startVisualConfirmation",
                                   "stopVisualConfirmation",
                                   "sendAlarmEvent"};
constexpr char OTHER_METHOD[] = "other";
constexpr char CHANGING_METHOD[] = "setConfiguration";

using Labels = MetricsText::Labels;

const EventValue* valueOf(const Event& event, std::string_view name) {
  const auto found = std::ranges::find(event.keys, name, &EventKey::name);
  return found != event.keys.end() && found->value ? &*found->value : nullptr;
}

bool isActive(const Event& event) {
  const EventValue* value = valueOf(event, "active");
  const bool* active = value != nullptr ? std::get_if<bool>(value) : nullptr;
  return active != nullptr && *active;
}

JsonAutoPtr objectOf(const std::string& text) {
  return JsonAutoPtr(json_loads(text.c_str(), JSON_DISABLE_EOF_CHECK, nullptr));
}

std::string methodOf(const std::string& request) {
  const JsonAutoPtr json = objectOf(request);
  const char* method = json_string_value(json_object_get(json.get(), "method"));
  const auto* known = std::ranges::find(METHODS, std::string_view(method != nullptr ? method : ""));
  return known != std::end(METHODS) ? *known : OTHER_METHOD;
}

// The last of the application's own topics; empty for others.
std::string nameOf(const Event& event) {
  const std::string topic = brokerTopic(event);
  return topic.starts_with(OWN) ? topic.substr(OWN.size()) : "";
}

void writeScore(MetricsText* text, const Report& report) {
  const RunningScore score = report.runningScore();
  const TuningFigures tuning = report.tuning();
  text->family("sentrelvideo_scored_seconds", MetricType_e::counter,
               "Time over which following is judged.");
  text->sample(score.seconds);
  if (score.inPicture) {
    text->family("sentrelvideo_in_picture_ratio", MetricType_e::gauge,
                 "Share of the time with somebody in which the one to follow was in the picture.");
    text->sample(*score.inPicture);
  }
  if (score.rms) {
    text->family("sentrelvideo_target_error_degrees", MetricType_e::gauge,
                 "Error to the one who is followed, root of its mean square.");
    text->sample(*score.rms);
  }
  text->family("sentrelvideo_tuning_attempts", MetricType_e::counter, "Attempts to tune the head.");
  text->sample(tuning.attempts);
  text->family("sentrelvideo_tuning_failed_attempts", MetricType_e::counter,
               "Attempts to tune the head that failed.");
  text->sample(tuning.failedAttempts);
}

void writeBrokers(MetricsText* text, const std::vector<MqttPublisher::Health>& brokers) {
  const auto each = [&](const char* name, MetricType_e type, const char* help, auto value) {
    text->family(name, type, help);
    for (std::size_t i = 0; i < brokers.size(); ++i) {
      text->sample(static_cast<double>(value(brokers[i])), {{"broker", std::to_string(i + 1)}});
    }
  };
  if (brokers.empty()) {
    return;
  }
  using Health = MqttPublisher::Health;
  each("sentrelvideo_mqtt_connected", MetricType_e::gauge, "Whether the broker is there.",
       [](const Health& health) { return health.isConnected ? 1 : 0; });
  each("sentrelvideo_mqtt_connects", MetricType_e::counter, "Connections made to the broker.",
       [](const Health& health) { return health.connects; });
  each("sentrelvideo_mqtt_outbox_messages", MetricType_e::gauge,
       "Alarms that the broker has not acknowledged.",
       [](const Health& health) { return health.waiting; });
  each("sentrelvideo_mqtt_dropped", MetricType_e::counter,
       "Alarms given up since the outbox was made.",
       [](const Health& health) { return health.dropped; });
}

// Seconds of wall-clock time at which this process began, by what the system tells of it.
double processStart() {
  std::ifstream stat("/proc/self/stat");
  const std::string line{std::istreambuf_iterator<char>(stat), {}};
  std::size_t place = line.rfind(')');
  constexpr int START_FIELD = 20;  // behind the name
  for (int field = 0; field < START_FIELD && place != std::string::npos; ++field) {
    place = line.find(' ', place + 1);
  }
  if (place == std::string::npos) {
    return 0;
  }
  timespec boot{};
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &boot);
  clock_gettime(CLOCK_REALTIME, &now);
  const double started = std::stod(line.substr(place)) / static_cast<double>(sysconf(_SC_CLK_TCK));
  return static_cast<double>(now.tv_sec - boot.tv_sec) + started;
}

void writeProcess(MetricsText* text) {
  text->family("process_cpu_seconds", MetricType_e::counter, "Processor time of the device.");
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  text->sample(static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9);

  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages >> pages;
  text->family("process_resident_memory_bytes", MetricType_e::gauge,
               "Memory of the device that is resident.");
  text->sample(static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE)));

  static const double START = processStart();  // the clock may be set later
  text->family("process_start_time_seconds", MetricType_e::gauge,
               "When the device started, since 1970.");
  text->sample(START);

  std::error_code error;
  const auto open = std::distance(std::filesystem::directory_iterator("/proc/self/fd", error), {});
  text->family("process_open_fds", MetricType_e::gauge, "Descriptors that the device has open.");
  text->sample(static_cast<double>(open - 1));  // but for the one that counts them
}

}  // namespace

void DeviceMetrics::frame(int channel, std::size_t objects, double time) {
  Camera& camera = cameras[channel];
  ++camera.frames;
  camera.objects = objects;
  camera.allObjects += objects;
  camera.time = time;
}

void DeviceMetrics::event(const Event& event) {
  const std::string name = nameOf(event);
  if (name == "state") {
    const EventValue* value = valueOf(event, "value");
    const std::string* text = value != nullptr ? std::get_if<std::string>(value) : nullptr;
    const std::string former = std::exchange(state, text != nullptr ? *text : "");
    headOutages += state == CONNECTING && (former == "autotuning" || former == "running") ? 1 : 0;
    return;
  }
  if (name == "isSentreling") {
    isFollowing = isActive(event);
    return;
  }
  Place place;
  if (!placeOf(event, &place)) {
    return;
  }
  Alarm& alarm = alarms[place];
  const bool active = isActive(event);
  alarm.count += active && !alarm.isActive ? 1 : 0;
  alarm.isActive = active;
  alarm.isDeclared = true;
}

void DeviceMetrics::undeclared(const Event& event) {
  const std::string name = nameOf(event);
  if (name == "state") {
    state.clear();
  } else if (name == "isSentreling") {
    isFollowing = false;
  }
  Place place;
  if (placeOf(event, &place)) {
    alarms[place].isActive = false;
    alarms[place].isDeclared = false;
  }
}

void DeviceMetrics::request(const std::string& request, unsigned status, const std::string* answer,
                            double seconds) {
  const std::string method = methodOf(request);
  ++requests[{method, status}];
  ++answers.count;
  answers.seconds += seconds;
  const bool isChange = method == CHANGING_METHOD && answer != nullptr &&
                        json_object_get(objectOf(*answer).get(), "data") != nullptr;
  configurationChanges += isChange ? 1 : 0;
}

void DeviceMetrics::headCall(HeadCall_e call, double time, double seconds) {
  Times& times = headCalls[call];
  ++times.count;
  times.seconds += seconds;
  if (call != HeadCall_e::move) {
    return;
  }
  if (lastMove) {
    const double step = time - *lastMove;
    ++steps.count;
    steps.seconds += step;
    for (std::size_t i = 0; i < STEP_BOUNDS.size(); ++i) {
      stepCounts[i] += step <= STEP_BOUNDS[i] ? 1 : 0;
    }
  }
  lastMove = time;
}

// CameraCProfileU, CameraCProfileANY or CameraANY.
bool DeviceMetrics::placeOf(const Event& event, Place* place) {
  const std::string name = nameOf(event);
  if (!name.starts_with(CAMERA)) {
    return false;
  }
  const std::size_t profile = name.find(PROFILE);
  if (profile == std::string::npos) {
    *place = {.camera = "", .profile = name.substr(CAMERA.size())};
  } else {
    *place = {.camera = name.substr(CAMERA.size(), profile - CAMERA.size()),
              .profile = name.substr(profile + PROFILE.size())};
  }
  return true;
}

std::string DeviceMetrics::text(MetricsForm_e form, const Present& present) const {
  MetricsText text(form);
  text.family("sentrelvideo_build", MetricType_e::info, "What runs here.");
  Labels running = {{"version", DEVICE_VERSION}};
  if (!present.api.empty()) {
    running.emplace_back("api", present.api);
  }
  text.sample(1, running);
  writeTracker(&text, present.isAnswering);
  writeAlarms(&text);
  writeFrames(&text, present.cameras);
  writeRequests(&text);
  writeHead(&text);
  if (present.report != nullptr) {
    writeScore(&text, *present.report);
  }
  writeBrokers(&text, present.brokers);
  writeProcess(&text);
  return text.finish();
}

void DeviceMetrics::writeTracker(MetricsText* text, bool isAnswering) const {
  text->family("sentrelvideo_up", MetricType_e::gauge,
               "Whether the application tells its state and answers.");
  text->sample(isAnswering && !state.empty() ? 1 : 0);
  text->family("sentrelvideo_state", MetricType_e::stateSet, "State of the tracker.");
  for (const char* possible : STATES) {
    text->sample(state == possible ? 1 : 0, {{"sentrelvideo_state", possible}});
  }
  text->family("sentrelvideo_following", MetricType_e::gauge,
               "Whether the tracker steers the head.");
  text->sample(isFollowing ? 1 : 0);
}

// The head as the application finds it.
void DeviceMetrics::writeHead(MetricsText* text) const {
  text->family("sentrelvideo_head_reachable", MetricType_e::gauge,
               "Whether the tracker has found its head.");
  text->sample(state == "autotuning" || state == "running" ? 1 : 0);
  text->family("sentrelvideo_head_outages", MetricType_e::counter,
               "How often the tracker has lost its head.");
  text->sample(static_cast<double>(headOutages));
  text->family("sentrelvideo_head_call_seconds", MetricType_e::summary,
               "Time until the head's answer to a command or to the question for its position.");
  for (const auto& [call, times] : headCalls) {
    const Labels label = {{"call", call == HeadCall_e::move ? "move" : "status"}};
    text->sample(static_cast<double>(times.count), label, "_count");
    text->sample(times.seconds, label, "_sum");
  }
  text->family("sentrelvideo_control_step_seconds", MetricType_e::histogram,
               "Time from one command to the head to the next.");
  for (std::size_t i = 0; i < STEP_BOUNDS.size(); ++i) {
    text->sample(static_cast<double>(stepCounts[i]), {{"le", STEP_TEXTS[i]}}, "_bucket");
  }
  text->sample(static_cast<double>(steps.count), {{"le", "+Inf"}}, "_bucket");
  text->sample(static_cast<double>(steps.count), {}, "_count");
  text->sample(steps.seconds, {}, "_sum");
}

void DeviceMetrics::writeAlarms(MetricsText* text) const {
  const auto labelsOf = [](const Place& place) {
    return Labels{{"camera", place.camera}, {"profile", place.profile}};
  };
  text->family("sentrelvideo_alarm_active", MetricType_e::gauge, "Whether there is an alarm.");
  for (const auto& [place, alarm] : alarms) {
    if (alarm.isDeclared) {
      text->sample(alarm.isActive ? 1 : 0, labelsOf(place));
    }
  }
  text->family("sentrelvideo_alarms", MetricType_e::counter, "Alarms that have begun.");
  for (const auto& [place, alarm] : alarms) {
    text->sample(static_cast<double>(alarm.count), labelsOf(place));
  }
}

void DeviceMetrics::writeFrames(MetricsText* text, int present) const {
  std::map<int, Camera> all = cameras;
  for (int channel = 0; channel < present; ++channel) {
    all.try_emplace(channel);
  }
  const auto each = [&](const char* name, MetricType_e type, const char* help, auto value) {
    text->family(name, type, help);
    for (const auto& [channel, camera] : all) {
      if (type == MetricType_e::gauge && camera.frames == 0) {
        continue;  // there is none yet
      }
      text->sample(static_cast<double>(value(camera)), {{"camera", std::to_string(channel + 1)}});
    }
  };
  each("sentrelvideo_frames", MetricType_e::counter, "Scene frames handed to the application.",
       [](const Camera& camera) { return camera.frames; });
  each("sentrelvideo_frame_timestamp_seconds", MetricType_e::gauge,
       "When the latest scene frame was handed over, since 1970.",
       [](const Camera& camera) { return camera.time; });
  each("sentrelvideo_objects", MetricType_e::gauge, "Objects in the latest scene frame.",
       [](const Camera& camera) { return camera.objects; });
  each("sentrelvideo_judged_objects", MetricType_e::counter,
       "Objects of all scene frames, each of which the application judges.",
       [](const Camera& camera) { return camera.allObjects; });
}

void DeviceMetrics::writeRequests(MetricsText* text) const {
  text->family("sentrelvideo_api_requests", MetricType_e::counter,
               "Requests to the application by method and by the status of the answer.");
  for (const auto& [asked, number] : requests) {
    text->sample(static_cast<double>(number),
                 {{"method", asked.first}, {"code", std::to_string(asked.second)}});
  }
  text->family("sentrelvideo_api_request_seconds", MetricType_e::summary,
               "Time until the application's answer.");
  text->sample(static_cast<double>(answers.count), {}, "_count");
  text->sample(answers.seconds, {}, "_sum");
  text->family("sentrelvideo_configuration_changes", MetricType_e::counter,
               "Configurations that the application has taken.");
  text->sample(static_cast<double>(configurationChanges));
}

}  // namespace device
