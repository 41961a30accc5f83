#ifndef DEVICE_WEB_SERVER_WEB_INTERFACE_H
#define DEVICE_WEB_SERVER_WEB_INTERFACE_H

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/units.h"
#include "report/report.h"
#include "services/event_service.h"
#include "services/parameter_store.h"
#include "services/periodic_timer.h"
#include "services/ptz_service.h"
#include "services/served_head.h"
#include "services/syslog_server.h"
#include "web_server/device_api.h"
#include "web_server/device_metrics.h"
#include "web_server/discovery.h"
#include "web_server/event_json.h"
#include "web_server/following_watch.h"
#include "web_server/last_minute.h"
#include "web_server/mqtt_publisher.h"
#include "web_server/site_about.h"
#include "web_server/web_server.h"
#include "world/frame.h"

namespace device {

// What the web interface shows; all of it outlives the interface.
struct WebSources {
  std::string name;                               // of what the device is
  int cameras = 0;                                // its overview cameras
  std::function<std::string()> model;             // the device itself, as modelJson tells it
  std::function<std::string(double time)> world;  // who is there, as worldJson tells it; null where
                                                  // nobody knows
  std::function<std::vector<PersonView>(double time)> people;  // likewise
  ServedHead& head;
  EventService& events;
  ParameterStore& parameters;
  std::function<double()> seconds;                   // since the device's start
  std::function<void(const std::string&)> announce;  // tells the user something
  const Report* report = nullptr;                    // whose running score is told, if there is one
  // Of a device that keeps the way of following; without, the parameter alone is set.
  DeviceApi::KeepFollowing keepFollowing = nullptr;
};

// The device as seen over the network: the web server with its streams of events, of all that the
// page shows, and the messages for a broker.
//
//   GET /events  the application's events, "event" and "undeclared" messages
//   GET /live    the page's stream, which begins with the last minute
//   GET /metrics what the device counts, for Prometheus
//   POST /api/device  the device's own settings (DeviceApi)
//
// and what web_server/calibration_api.h tells, with the device's own head.
class WebInterface {
 public:
  // application: its local socket. Throws std::runtime_error when the server cannot listen.
  WebInterface(const WebOptions& options, const std::string& application, WebSources sources,
               const WebServerLimits& limits = {});
  WebInterface(const WebInterface&) = delete;
  WebInterface& operator=(const WebInterface&) = delete;

  std::string url() const { return server.url(); }

  // channel counts from 0; time: seconds since the device's start.
  void frame(double time, int channel, const Frame& frame);
  void headCall(HeadCall_e call, double seconds);
  void log(double time, const SyslogLine& line);
  void daemonRunning(bool isRunning);

  // For who does not start the application himself: each second it is looked whether it answers.
  void watchApplication();

  // Asks the application; answer is null when there is none.
  void ask(const std::string& body, std::function<void(const std::string* answer)> done) {
    server.ask(body, std::move(done));
  }

  // Answers what is posted to a path of the device's own.
  void addAnswer(const std::string& path, WebServer::Answerer answerer) {
    server.addAnswer(path, std::move(answerer));
  }

  // Is told the body of each request from the network that the application has answered.
  void observeRequests(WebServer::Observer observer) {
    server.observeRequests(std::move(observer));
  }

 private:
  static constexpr std::size_t LOG_LINES = 200;        // told to a new reader
  static constexpr std::int64_t LIVE_PERIOD = 100000;  // microseconds
  static constexpr std::int64_t NEWS_PERIOD = 500000;  // microseconds
  // A configuration or a start declares many; no entity is to vanish in the midst of it.
  static constexpr std::int64_t SETTLING = units::fromSeconds(2);
  // How often the last minute is added to, and the application is asked what it thinks; without
  // readers it is asked at every fifth time only.
  static constexpr std::int64_t MINUTE_PERIOD = 250000;
  static constexpr std::int64_t QUESTION_PERIOD = 200000;
  static constexpr int UNREAD_QUESTIONS = 5;
  static constexpr std::int64_t APPLICATION_PERIOD = units::fromSeconds(1);
  static constexpr std::int64_t ANSWER_PERIOD = units::fromSeconds(10);
  static constexpr std::int64_t SCORE_PERIOD = units::fromSeconds(1);

  void observeEvents();
  void event(const Event& given);
  void undeclared(const Event& event);
  bool isDeclared(const std::string& topic) const;
  std::string topicOf(const Event& event) const;
  void declarationsChanged() { lastDeclaration = g_get_monotonic_time(); }
  void tellAbout();
  void tellDiscovery();
  WebServer::Page makeMetrics(const char* accept) const;
  EventPlace placeOf(const Event& event) const;
  std::string presentEvents() const;
  std::string liveOpening();
  void sendLive();
  void keepMoment();
  void askWhatItThinks();
  void lookForApplication();
  void lookForAnswer();
  std::string followingMessage() const;
  std::string scoreMessage() const;
  void tellNews();

  WebSources sources;
  bool running = false;
  std::deque<std::string> logLines;  // messages of the stream
  LastMinute lastMinute;
  int unreadQuestions = 0;  // that were left out
  DeviceMetrics metrics;
  WebServer server;
  EventStream& events;
  EventStream& live;
  FollowingWatch following;
  DeviceApi deviceApi;
  SiteAbout about;
  const std::string prefix;  // of topics at a broker
  const std::string start = isoTime(g_get_real_time());
  std::map<std::string, std::uint64_t> sent;  // events by topic
  std::vector<std::unique_ptr<MqttPublisher>> publishers;
  std::optional<Discovery> discovery;
  std::optional<std::int64_t> lastDeclaration;  // monotonic microseconds; none since it was told
  PeriodicTimer liveTimer;
  PeriodicTimer minuteTimer;
  PeriodicTimer questionTimer;
  bool isAnswerAwaited = false;
  bool isAnswering = true;  // as far as it was asked
  PeriodicTimer answerTimer;
  PeriodicTimer newsTimer;
  PeriodicTimer scoreTimer;
  bool isLookedFor = false;
  std::optional<PeriodicTimer> applicationTimer;
};

}  // namespace device

#endif
