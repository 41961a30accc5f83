#ifndef DEVICE_ONVIF_SERVER_EVENT_OPERATIONS_H
#define DEVICE_ONVIF_SERVER_EVENT_OPERATIONS_H

#include <glib.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "onvif_server/notification.h"
#include "onvif_server/operations.h"
#include "onvif_server/pull_points.h"
#include "services/event_service.h"
#include "services/periodic_timer.h"

namespace device::onvif {

// The event service: what the device and the daemon tell, at pull points.
class EventOperations {
 public:
  static constexpr std::int64_t USUAL_LIFETIME = 60000000;   // microseconds
  static constexpr std::int64_t MOST_LIFETIME = 3600000000;  // microseconds
  static constexpr std::int64_t MOST_PATIENCE = 30000000;    // microseconds, of one pull
  static constexpr std::size_t MOST_AT_ONCE = 256;           // notifications

  // The events outlive the service. The clock is that of the points' and pulls' times.
  explicit EventOperations(EventService& events, PullPoints::Clock clock = g_get_monotonic_time);
  EventOperations(const EventOperations&) = delete;
  EventOperations& operator=(const EventOperations&) = delete;

  void addTo(Operations& operations);

  // Is called with all that is told to pull points when something happens.
  using Observer = std::function<void(const std::vector<Notification>& notifications)>;
  void observe(Observer given) { observer = std::move(given); }

  // What the head's presets are called; "Preset 1" unless it is told.
  void namePresets(PresetName given) { presetName = std::move(given); }

  // All properties as they are now.
  std::vector<Notification> present() const;

  // The rules of a configuration of analytics that may raise an alarm now, each once.
  std::vector<std::string> rulesOf(const std::string& analytics) const;

  std::size_t pullPoints() const { return points.size(); }

  // Forgets points and answers pulls whose time is over, which a timer does, too.
  void update() { points.update(); }

 private:
  static constexpr std::int64_t PERIOD = 50000;  // microseconds

  void publish(const std::vector<Notification>& notifications);
  void changed(const Event& event);
  void declared(const Event& event);
  void undeclared(const Event& event);
  static std::int64_t lifetimeOf(const Request& request, const std::string& nameSpace,
                                 const std::string& name);
  static int pointOf(const Request& request);
  std::vector<Tag> times(int point, const std::string& prefix) const;

  Tag capabilities() const;
  Tag properties() const;
  Tag create(const Request& request);
  void pull(const Request& request, const Operations::Answer& answer);
  Tag renew(const Request& request);
  Tag unsubscribe(const Request& request);
  Tag synchronize(const Request& request);

  EventService& events;
  PullPoints points;
  Observer observer;
  PresetName presetName;
  std::shared_ptr<EventOperations*> self = std::make_shared<EventOperations*>(this);
  PeriodicTimer timer;
};

}  // namespace device::onvif

#endif
