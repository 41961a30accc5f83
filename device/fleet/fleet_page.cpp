#include "fleet/fleet_page.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <utility>

#include "base/units.h"
#include "web_server/event_json.h"

namespace device {

namespace {

// The time of day when the page began, and since then a clock that nobody sets: with a jump of a
// few minutes all sites would be silent.
double now() {
  static const std::int64_t OFFSET = g_get_real_time() - g_get_monotonic_time();
  return units::toSeconds(g_get_monotonic_time() + OFFSET);
}

}  // namespace

FleetPage::FleetPage(const FleetOptions& options, std::function<void(const std::string&)> announce)
    : announce(std::move(announce)),
      server(options.web, ""),
      changes(server.addStream(CHANGES_PATH, [] { return streamMessage("begin", "{}"); })),
      listeningTimer(LISTENING_PERIOD, [this] { listen(); }),
      changesTimer(CHANGES_PERIOD, [this] { tellChanges(); }) {
  server.addPage(SITES_PATH, [this](const char*) {
    return WebServer::Page{"application/json", sites.everything(now())};
  });
  if (options.history) {
    history.emplace(*options.history, options.historyBounds);
    server.addQuestion(HISTORY_PATH, [this](const std::string& query, WebServer::Reply reply) {
      askHistory(query, std::move(reply));
    });
  }
  for (const BrokerHosts& hosts : options.web.broker.brokers) {
    brokers.push_back(
        {.listener = std::make_unique<FleetListener>(hosts, options.web.broker), .messages = {}});
  }
}

void FleetPage::askHistory(const std::string& query, WebServer::Reply reply) {
  const GHashTablePtr fields(soup_form_decode(query.c_str()));
  const auto* site = static_cast<const char*>(g_hash_table_lookup(fields.get(), "site"));
  if (site != nullptr && !isSiteName(site)) {
    return reply({SOUP_STATUS_NOT_FOUND, R"({"error":{"message":"No site has such a name"}})"});
  }
  history->ask(site != nullptr ? site : "", std::move(reply));
}

void FleetPage::listen() {
  if (history) {
    history->deliver();
  }
  for (std::size_t broker = 0; broker < brokers.size(); ++broker) {
    takeMessages(broker);
    for (const std::string& news : brokers[broker].listener->takeNews()) {
      announce(news);
    }
  }
  takeKept();
  lookForMissing();
}

void FleetPage::takeMessages(std::size_t index) {
  Broker& broker = brokers[index];
  std::ranges::move(broker.listener->takeMessages(), std::back_inserter(broker.messages));
  for (std::size_t count = 0; count < MESSAGES_AT_ONCE && !broker.messages.empty(); ++count) {
    const FleetListener::Message& message = broker.messages.front();
    if (message.topic.empty()) {
      sites.brokerLost(index);
    } else {
      sites.take(index, message.topic, message.payload, now(), message.isRetained);
    }
    broker.messages.pop_front();
  }
}

// What was sent while nothing reached this page. Nothing is given up before an answer was taken.
void FleetPage::lookForMissing() {
  if (isAsked || !kept.empty()) {
    return;
  }
  constexpr double CLOCKS = 5;  // seconds by which the clocks of nodes may differ
  const std::optional<double> since = sites.missingSince(now());
  if (since && history) {
    // By the time of day that nodes have, too: the clock may have been set since the page began.
    isAsked = true;
    const std::int64_t ago = units::roundedFromSeconds(now() - *since + CLOCKS);
    history->askSince(isoTime(g_get_real_time() - ago),
                      [this](const HistoryReader::Alarms* alarms) { answered(alarms); });
  }
  if (const std::size_t lost = sites.takeLost(); lost > 0) {
    announce("at least " + std::to_string(lost) + " alarms' values were neither told nor kept");
  }
}

void FleetPage::answered(const HistoryReader::Alarms* alarms) {
  isAsked = false;
  if (alarms == nullptr) {
    sites.lookedInVain(now());
  } else {
    kept = *alarms;
  }
}

void FleetPage::takeKept() {
  const std::size_t count = std::min(kept.size(), KEPT_AT_ONCE);
  sites.takeKept(std::span(kept).last(count));
  kept.resize(kept.size() - count);
}

void FleetPage::tellChanges() {
  const std::string changed = sites.changes(now());
  if (!changed.empty()) {
    changes.send(streamMessage("changes", changed));
  }
}

}  // namespace device
