#ifndef DEVICE_FLEET_FLEET_PAGE_H
#define DEVICE_FLEET_FLEET_PAGE_H

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fleet/fleet_listener.h"
#include "fleet/fleet_options.h"
#include "fleet/history_reader.h"
#include "fleet/site_table.h"
#include "services/periodic_timer.h"
#include "web_server/web_server.h"

namespace device {

// All sites of a fleet on one page, in the main loop of its thread.
//
//   GET /sites    everything that is known of them (SiteTable::everything)
//   GET /changes  a stream of "changes" messages, at most one a second
//   GET /history  the last alarms that the cluster has kept (HistoryReader), of all sites or of
//                 ?site=NAME; 404 where none is read
//
// Who opens the stream first and then asks for everything misses nothing.
class FleetPage {
 public:
  // announce tells the user something. Throws std::runtime_error when it cannot listen.
  FleetPage(const FleetOptions& options, std::function<void(const std::string&)> announce);

  std::string url() const { return server.url(); }

 private:
  static constexpr char SITES_PATH[] = "/sites";
  static constexpr char CHANGES_PATH[] = "/changes";
  static constexpr char HISTORY_PATH[] = "/history";
  static constexpr std::int64_t LISTENING_PERIOD = 100000;  // microseconds
  static constexpr std::int64_t CHANGES_PERIOD = 1000000;   // microseconds
  // Of what was told and of what was kept, each time: when a page connects these may be a hundred
  // thousand, and nobody who looks at it waits for them.
  static constexpr std::size_t MESSAGES_AT_ONCE = 2000;
  static constexpr std::size_t KEPT_AT_ONCE = 5000;

  struct Broker {
    std::unique_ptr<FleetListener> listener;
    std::deque<FleetListener::Message> messages;  // that the table has not taken yet
  };

  void askHistory(const std::string& query, WebServer::Reply reply);
  void listen();
  void takeMessages(std::size_t index);
  void lookForMissing();
  void answered(const HistoryReader::Alarms* alarms);
  void takeKept();
  void tellChanges();

  std::function<void(const std::string&)> announce;
  SiteTable sites;
  WebServer server;
  EventStream& changes;
  std::optional<HistoryReader> history;
  bool isAsked = false;           // the history, for what is missing
  std::vector<JsonAutoPtr> kept;  // that the table has not taken yet; the next one is the last
  std::vector<Broker> brokers;
  PeriodicTimer listeningTimer;
  PeriodicTimer changesTimer;
};

}  // namespace device

#endif
