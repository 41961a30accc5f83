#ifndef DEVICE_WEB_SERVER_DEVICE_METRICS_H
#define DEVICE_WEB_SERVER_DEVICE_METRICS_H

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "report/report.h"
#include "services/event_table.h"
#include "services/ptz_service.h"
#include "web_server/metrics_text.h"
#include "web_server/mqtt_publisher.h"

namespace device {

// Counts what the device sees of its application and of itself, for whoever watches many.
class DeviceMetrics {
 public:
  // time: seconds of wall-clock time at which the frame was handed out; channel counts from 0.
  void frame(int channel, std::size_t objects, double time);

  // The application's: each value, and what ends.
  void event(const Event& event);
  void undeclared(const Event& event);

  // A request from the network, answered by the application or in its place; answer: null when the
  // application gave none.
  void request(const std::string& request, unsigned status, const std::string* answer,
               double seconds);

  // The application has called the head and waited so long for the answer. time: seconds of a clock
  // that never goes back.
  void headCall(HeadCall_e call, double time, double seconds);

  struct Present {
    std::string api = {};     // versions of the application's; empty while they are not known
    bool isAnswering = true;  // the application, when it is asked
    int cameras = 0;          // that are there; one that has never told anything is there, too
    std::vector<MqttPublisher::Health> brokers = {};
    const Report* report = nullptr;  // whose running score is told, if there is one
  };
  std::string text(MetricsForm_e form, const Present& present) const;

 private:
  struct Camera {
    std::uint64_t frames = 0;
    std::size_t objects = 0;
    std::uint64_t allObjects = 0;  // of all frames
    double time = 0;
  };
  struct Alarm {
    bool isActive = false;
    bool isDeclared = false;
    std::uint64_t count = 0;
  };
  struct Place {
    std::string camera;   // number; empty for the device's own alarm
    std::string profile;  // uid, or "ANY"
    auto operator<=>(const Place&) const = default;
  };

  struct Times {
    std::uint64_t count = 0;
    double seconds = 0;
  };
  static constexpr std::array STEP_BOUNDS = {0.02, 0.05, 0.1, 0.2, 0.5, 1.0};  // seconds

  static bool placeOf(const Event& event, Place* place);
  void writeTracker(MetricsText* text, bool isAnswering) const;
  void writeAlarms(MetricsText* text) const;
  void writeFrames(MetricsText* text, int present) const;
  void writeRequests(MetricsText* text) const;
  void writeHead(MetricsText* text) const;

  std::map<int, Camera> cameras;
  std::map<Place, Alarm> alarms;
  std::string state;  // empty while the application tells none
  bool isFollowing = false;
  std::map<std::pair<std::string, unsigned>, std::uint64_t> requests;  // by method and status
  Times answers;
  std::uint64_t configurationChanges = 0;
  std::uint64_t headOutages = 0;
  std::map<HeadCall_e, Times> headCalls;
  std::optional<double> lastMove;
  Times steps;
  std::array<std::uint64_t, STEP_BOUNDS.size()> stepCounts{};  // up to each bound
};

}  // namespace device

#endif
