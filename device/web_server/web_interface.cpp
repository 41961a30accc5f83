#include "web_server/web_interface.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "web_server/calibration_api.h"
#include "web_server/json_values.h"
#include "web_server/live_json.h"

namespace device {

namespace {

constexpr char ABOUT[] = "SentrelVideo/about";
constexpr char PRESENCE_QUESTION[] = R"({"method": "getSupportedVersions"})";

bool isOfApplication(const Event& event) {
  return !EventService::isOfDevice(event);
}

// Of the broker with that number, from 1.
std::filesystem::path outboxOf(const BrokerOptions& options, std::size_t number) {
  if (options.state.empty()) {
    return {};
  }
  std::error_code ignored;  // the outbox will tell
  std::filesystem::create_directories(options.state, ignored);
  return options.state / ("alarms-" + std::to_string(number) + ".sqlite");
}

std::vector<std::unique_ptr<MqttPublisher>> makePublishers(const BrokerOptions& options) {
  std::vector<std::unique_ptr<MqttPublisher>> publishers;
  for (const BrokerHosts& hosts : options.brokers) {
    publishers.push_back(std::make_unique<MqttPublisher>(
        MqttPublisher::Settings{.hosts = hosts,
                                .site = options.site,
                                .login = options.login,
                                .tls = options.tls,
                                .outbox = outboxOf(options, publishers.size() + 1)}));
  }
  return publishers;
}

// Comes with every frame, and is outdated by the next one.
bool isDrawing(const Event& event) {
  return valueOf<std::string>(event.keys, "svgframe").has_value();
}

}  // namespace

WebInterface::WebInterface(const WebOptions& options, const std::string& application,
                           WebSources sources, const WebServerLimits& limits)
    : sources(std::move(sources)),
      server(options, application, limits),
      events(server.addStream("/events", [this] { return presentEvents(); })),
      live(server.addStream("/live", [this] { return liveOpening(); })),
      following(
          this->sources.parameters,
          [this](const std::string& body, std::function<void(const std::string*)> done) {
            server.ask(body, std::move(done));
          },
          [this] { live.send(followingMessage()); }),
      deviceApi(
          this->sources.parameters, [this] { live.send(followingMessage()); },
          this->sources.keepFollowing),
      about(
          [this](const std::string& body, std::function<void(const std::string*)> done) {
            server.ask(body, std::move(done));
          },
          [this] { tellAbout(); },
          options.broker.site.empty() ? SiteAbout::Scope_e::versions : SiteAbout::Scope_e::all),
      prefix(topicPrefix(options.broker.site)),
      publishers(makePublishers(options.broker)),
      liveTimer(LIVE_PERIOD, [this] { sendLive(); }),
      minuteTimer(MINUTE_PERIOD, [this] { keepMoment(); }),
      questionTimer(QUESTION_PERIOD, [this] { askWhatItThinks(); }),
      answerTimer(ANSWER_PERIOD, [this] { lookForAnswer(); }),
      newsTimer(NEWS_PERIOD, [this] { tellNews(); }),
      scoreTimer(SCORE_PERIOD, [this] {
        if (this->sources.report != nullptr && live.hasReaders()) {
          live.send(scoreMessage());
        }
      }) {
  server.addPage(WebServer::METRICS_PATH,
                 [this](const char* accept) { return makeMetrics(accept); });
  server.observeAnswers([this](const WebServer::Exchange& exchange) {
    metrics.request(exchange.request, exchange.status, exchange.answer, exchange.seconds);
    about.take(exchange.request);
  });
  if (!options.broker.discovery.empty()) {
    discovery.emplace(options.broker.discovery, options.broker.site, url());
  }
  tellAbout();
  server.addAnswer("/api/device", [this](const std::string& body) {
    return WebAnswer{.body = deviceApi.answer(body)};
  });
  observeEvents();
  offerCalibration(
      server, [&head = this->sources.head](double pan, double tilt, std::optional<double> zoom) {
        HeadCommand command;
        command.pan = {MoveKind::continuous, pan};
        command.tilt = {MoveKind::continuous, tilt};
        if (zoom) {
          command.zoom = {MoveKind::continuous, *zoom};
        }
        head.command(command);
      });
}

void WebInterface::frame(double time, int channel, const Frame& frame) {
  metrics.frame(channel, frame.objects.size(), static_cast<double>(g_get_real_time()) / 1e6);
  if (live.hasReaders()) {
    live.send(streamMessage("frame", frameJson(time, channel + 1, frame)));
  }
}

void WebInterface::headCall(HeadCall_e call, double seconds) {
  metrics.headCall(call, units::toSeconds(g_get_monotonic_time()), seconds);
}

void WebInterface::log(double time, const SyslogLine& line) {
  logLines.push_back(streamMessage("log", logJson(time, line)));
  if (logLines.size() > LOG_LINES) {
    logLines.pop_front();
  }
  live.send(logLines.back());
}

void WebInterface::daemonRunning(bool isRunning) {
  if (std::exchange(running, isRunning) == isRunning) {
    return;
  }
  live.send(streamMessage("daemon", daemonJson(isRunning)));
}

void WebInterface::watchApplication() {
  applicationTimer.emplace(APPLICATION_PERIOD, [this] { lookForApplication(); });
}

void WebInterface::lookForApplication() {
  if (std::exchange(isLookedFor, true)) {
    return;
  }
  server.ask(PRESENCE_QUESTION, [this](const std::string* answer) {
    isLookedFor = false;
    daemonRunning(answer != nullptr);
  });
}

// An application that hangs tells its last state for ever.
void WebInterface::lookForAnswer() {
  if (std::exchange(isAnswerAwaited, true)) {
    isAnswering = false;
    return;
  }
  server.ask(PRESENCE_QUESTION, [this](const std::string* answer) {
    isAnswerAwaited = false;
    isAnswering = answer != nullptr;
  });
}

void WebInterface::observeEvents() {
  declarationsChanged();
  for (const auto& [id, declared] : sources.events.getTable().getEvents()) {
    if (isOfApplication(declared) && !declared.stateless) {
      event(declared);
    }
  }
  sources.events.observe([this](const Event& sent) {
    if (isOfApplication(sent)) {
      event(sent);
    }
  });
  // A stateful event has a state from its declaration on.
  sources.events.observeDeclared([this](const Event& declared) {
    if (isOfApplication(declared) && !declared.stateless) {
      event(declared);
      about.outdate();  // it has come, or is configured
    }
    declarationsChanged();
  });
  sources.events.observeUndeclared([this](const Event& gone) {
    if (isOfApplication(gone)) {
      undeclared(gone);
    }
    declarationsChanged();
  });
}

void WebInterface::event(const Event& given) {
  Event event = given;
  if (event.time <= 0) {
    event.time = g_get_real_time();  // the sender gave none
  }
  metrics.event(event);
  const std::string topic = topicOf(event);
  ++sent[topic];
  const std::string json = eventJson(event, placeOf(event));
  if (!isDrawing(event)) {
    lastMinute.takeEvent(sources.seconds(), json);
  }
  // First, so that what a page has shown is kept, however the device ends.
  for (const auto& publisher : publishers) {
    if (event.stateless) {
      publisher->publish(topic, json);
    } else if (isAlarm(event)) {
      publisher->alarm(topic, json);
    } else {
      publisher->retain(topic, json);
    }
  }
  const std::string message = streamMessage("event", json);
  events.send(message);
  live.send(message);
}

void WebInterface::undeclared(const Event& event) {
  const std::string message = streamMessage("undeclared", undeclaredJson(event));
  events.send(message);
  live.send(message);
  const std::string topic = topicOf(event);
  if (event.stateless || isDeclared(topic)) {
    return;
  }
  metrics.undeclared(event);
  for (const auto& publisher : publishers) {
    publisher->clear(topic);
  }
}

std::string WebInterface::topicOf(const Event& event) const {
  return prefix.empty() ? brokerTopic(event) : prefix + plainTopic(brokerTopic(event));
}

// Another event may have the topics of one that has gone.
bool WebInterface::isDeclared(const std::string& topic) const {
  return std::ranges::any_of(sources.events.getTable().getEvents(), [&](const auto& item) {
    const Event& event = item.second;
    return isOfApplication(event) && !event.stateless && topicOf(event) == topic;
  });
}

EventPlace WebInterface::placeOf(const Event& event) const {
  const auto found = sent.find(topicOf(event));
  return {start, found == sent.end() ? 0 : found->second};
}

std::string WebInterface::presentEvents() const {
  std::string text;
  for (const auto& [id, event] : sources.events.getTable().getEvents()) {
    if (isOfApplication(event) && !event.stateless) {
      text += streamMessage("event", eventJson(event, placeOf(event)));
    }
  }
  return text;
}

std::string WebInterface::liveOpening() {
  std::string text = streamMessage("model", sources.model());
  text += streamMessage("daemon", daemonJson(running));
  text += streamMessage("history", lastMinute.json(sources.seconds()));
  text += followingMessage();
  text += presentEvents();
  for (const std::string& line : logLines) {
    text += line;
  }
  text += scoreMessage();
  return text;
}

void WebInterface::sendLive() {
  if (!live.hasReaders()) {
    return;
  }
  const double now = sources.seconds();
  live.send(streamMessage("head", headJson(now, sources.head.presentStatus())));
  if (sources.world) {
    live.send(streamMessage("world", sources.world(now)));
  }
}

// Whether or not anybody looks on: the page that is opened next begins with it.
void WebInterface::keepMoment() {
  const double now = sources.seconds();
  lastMinute.takeMoment(now, sources.head.presentStatus(),
                        sources.people ? sources.people(now) : std::vector<PersonView>{});
  if (following.expectation()) {
    lastMinute.takeExpectation(now, *following.expectation());
  }
}

void WebInterface::askWhatItThinks() {
  if (!live.hasReaders() && ++unreadQuestions < UNREAD_QUESTIONS) {
    return;
  }
  unreadQuestions = 0;
  following.look(running);
}

std::string WebInterface::followingMessage() const {
  return streamMessage("following", following.json(sources.seconds()));
}

std::string WebInterface::scoreMessage() const {
  if (sources.report == nullptr) {
    return {};
  }
  return streamMessage("score", runningScoreJson(sources.seconds(), sources.report->runningScore(),
                                                 sources.report->tuning()));
}

// Who sees many sites is told which this is and where its page is.
void WebInterface::tellAbout() {
  if (prefix.empty()) {
    return;
  }
  const JsonAutoPtr json(json_object());
  json_object_set_new(json.get(), "version", json_string(DEVICE_VERSION));
  json_object_set_new(json.get(), "model", jsonText(sources.name));
  json_object_set_new(json.get(), "cameras", json_integer(sources.cameras));
  json_object_set_new(json.get(), "url", jsonText(server.urlElsewhere()));
  json_object_set_new(json.get(), "start", jsonText(start));
  about.writeTo(json.get());
  for (const auto& publisher : publishers) {
    publisher->retainBeyond(prefix + ABOUT, lineOf(json.get()));
  }
}

void WebInterface::tellDiscovery() {
  const bool isDue =
      discovery && lastDeclaration && g_get_monotonic_time() - *lastDeclaration >= SETTLING;
  if (!isDue) {
    return;
  }
  lastDeclaration.reset();
  const std::optional<std::string> message =
      discovery->message(sources.events.getTable().getEvents());
  for (const auto& publisher : publishers) {
    if (message) {
      publisher->retainBeyond(discovery->topic(), *message);
    } else {
      publisher->clear(discovery->topic());
    }
  }
}

WebServer::Page WebInterface::makeMetrics(const char* accept) const {
  DeviceMetrics::Present present{.api = about.apiVersions(),
                                 .isAnswering = isAnswering,
                                 .cameras = sources.cameras,
                                 .brokers = {},
                                 .report = sources.report};
  for (const auto& publisher : publishers) {
    present.brokers.push_back(publisher->getHealth());
  }
  const MetricsForm_e form = formFor(accept);
  return {MetricsText::contentType(form), metrics.text(form, present)};
}

void WebInterface::tellNews() {
  tellDiscovery();
  about.look();
  for (const auto& publisher : publishers) {
    for (const std::string& news : publisher->takeNews()) {
      sources.announce(news);
    }
  }
}

}  // namespace device
