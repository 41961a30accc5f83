#include "web_server/web_interface.h"

#include <algorithm>
#include <utility>

#include "web_server/event_json.h"
#include "web_server/live_json.h"

namespace device {

namespace {

bool isOfApplication(const Event& event) {
  return !EventService::isOfDevice(event);
}

}  // namespace

WebInterface::WebInterface(const WebOptions& options, const std::string& application,
                           WebSources sources, const WebServerLimits& limits)
    : sources_(std::move(sources)),
      server_(options, application, limits),
      events_(server_.addStream("/events", [this] { return presentEvents(); })),
      live_(server_.addStream("/live", [this] { return liveOpening(); })),
      publisher_(options.broker ? std::make_unique<MqttPublisher>(*options.broker) : nullptr),
      liveTimer_(kLivePeriod, [this] { sendLive(); }),
      newsTimer_(kNewsPeriod, [this] { tellNews(); }) {
  observeEvents();
}

void WebInterface::frame(double time, int channel, const Frame& frame) {
  if (live_.hasReaders()) live_.send(streamMessage("frame", frameJson(time, channel + 1, frame)));
}

void WebInterface::log(double time, const SyslogLine& line) {
  log_.push_back(streamMessage("log", logJson(time, line)));
  if (log_.size() > kLogLines) log_.pop_front();
  live_.send(log_.back());
}

void WebInterface::daemonRunning(bool running) {
  if (std::exchange(running_, running) == running) return;
  live_.send(streamMessage("daemon", daemonJson(running)));
}

void WebInterface::observeEvents() {
  for (const auto& [id, declared] : sources_.events.table().events()) {
    if (isOfApplication(declared) && !declared.stateless) event(declared);
  }
  sources_.events.observe([this](const Event& sent) {
    if (isOfApplication(sent)) event(sent);
  });
  // A stateful event has a state from its declaration on.
  sources_.events.observeDeclared([this](const Event& declared) {
    if (isOfApplication(declared) && !declared.stateless) event(declared);
  });
  sources_.events.observeUndeclared([this](const Event& gone) {
    if (isOfApplication(gone)) undeclared(gone);
  });
}

void WebInterface::event(const Event& sent) {
  Event event = sent;
  if (event.time <= 0) event.time = g_get_real_time();  // the sender gave none
  const std::string json = eventJson(event);
  const std::string message = streamMessage("event", json);
  events_.send(message);
  live_.send(message);
  if (!publisher_) return;
  if (event.stateless) {
    publisher_->publish(brokerTopic(event), json);
  } else {
    publisher_->retain(brokerTopic(event), json);
  }
}

void WebInterface::undeclared(const Event& event) {
  const std::string message = streamMessage("undeclared", undeclaredJson(event));
  events_.send(message);
  live_.send(message);
  if (!publisher_ || event.stateless) return;
  const std::string topic = brokerTopic(event);
  if (!isDeclared(topic)) publisher_->clear(topic);
}

// Another event may have the topics of one that has gone.
bool WebInterface::isDeclared(const std::string& topic) const {
  return std::ranges::any_of(sources_.events.table().events(), [&](const auto& item) {
    const Event& event = item.second;
    return isOfApplication(event) && !event.stateless && brokerTopic(event) == topic;
  });
}

std::string WebInterface::presentEvents() const {
  std::string text;
  for (const auto& [id, event] : sources_.events.table().events()) {
    if (isOfApplication(event) && !event.stateless) {
      text += streamMessage("event", eventJson(event));
    }
  }
  return text;
}

std::string WebInterface::liveOpening() const {
  std::string text =
      streamMessage("model", modelJson(sources_.model, sources_.run, sources_.world));
  text += streamMessage("daemon", daemonJson(running_));
  text += presentEvents();
  for (const std::string& line : log_) text += line;
  return text;
}

void WebInterface::sendLive() {
  if (!live_.hasReaders()) return;
  const double now = sources_.seconds();
  live_.send(streamMessage("head", headJson(now, sources_.drive.head().status())));
  live_.send(streamMessage(
      "world", worldJson(now, sources_.world.people(now), sources_.model.world.mastHeight)));
}

void WebInterface::tellNews() {
  if (!publisher_) return;
  for (const std::string& news : publisher_->takeNews()) sources_.announce(news);
}

}  // namespace device
