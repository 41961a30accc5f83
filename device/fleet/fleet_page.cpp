#include "fleet/fleet_page.h"

#include <utility>

#include "base/units.h"

namespace device {

namespace {

double now() {
  return units::toSeconds(g_get_real_time());
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
    history.emplace(*options.history);
    server.addQuestion(HISTORY_PATH, [this](const std::string& query, WebServer::Reply reply) {
      askHistory(query, std::move(reply));
    });
  }
  for (const BrokerHosts& hosts : options.web.broker.brokers) {
    listeners.push_back(std::make_unique<FleetListener>(hosts, options.web.broker));
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
  for (std::size_t broker = 0; broker < listeners.size(); ++broker) {
    for (const FleetListener::Message& message : listeners[broker]->takeMessages()) {
      if (message.topic.empty()) {
        sites.brokerLost(broker);
      } else {
        sites.take(broker, message.topic, message.payload, now(), message.isRetained);
      }
    }
    for (const std::string& news : listeners[broker]->takeNews()) {
      announce(news);
    }
  }
}

void FleetPage::tellChanges() {
  const std::string changed = sites.changes(now());
  if (!changed.empty()) {
    changes.send(streamMessage("changes", changed));
  }
}

}  // namespace device
