#include "fleet/fleet_page.h"

#include <utility>

#include "base/units.h"

namespace device {

namespace {

double now() {
  return units::toSeconds(g_get_real_time());
}

}  // namespace

FleetPage::FleetPage(const WebOptions& options, std::function<void(const std::string&)> announce)
    : announce(std::move(announce)),
      server(options, ""),
      changes(server.addStream(CHANGES_PATH, [] { return streamMessage("begin", "{}"); })),
      listeningTimer(LISTENING_PERIOD, [this] { listen(); }),
      changesTimer(CHANGES_PERIOD, [this] { tellChanges(); }) {
  server.addPage(SITES_PATH, [this](const char*) {
    return WebServer::Page{"application/json", sites.everything(now())};
  });
  for (const BrokerHosts& hosts : options.broker.brokers) {
    listeners.push_back(std::make_unique<FleetListener>(hosts, options.broker));
  }
}

void FleetPage::listen() {
  for (std::size_t broker = 0; broker < listeners.size(); ++broker) {
    for (const FleetListener::Message& message : listeners[broker]->takeMessages()) {
      if (message.topic.empty()) {
        sites.brokerLost(broker);
      } else {
        sites.take(broker, message.topic, message.payload, now());
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
