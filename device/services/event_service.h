#ifndef DEVICE_SERVICES_EVENT_SERVICE_H
#define DEVICE_SERVICES_EVENT_SERVICE_H

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "services/bus.h"
#include "services/event_table.h"

namespace device {

// The device's event service. Clients declare and send over the bus; the device's own services do
// so by calling it, under the owner name of the device. What a client declared is undeclared when
// it leaves the bus. Used from the thread of the main loop only.
class EventService {
 public:
  // Called with each event that was sent, all its keys included.
  using Observer = std::function<void(const Event& event)>;

  explicit EventService(GDBusConnection* connection);
  EventService(const EventService&) = delete;
  EventService& operator=(const EventService&) = delete;
  ~EventService();

  // The device's own events. declare returns the id; keys must be many and different. send stamps
  // the present time; false when there is no such event or key.
  std::uint32_t declare(EventKeys keys, bool stateless);
  bool send(std::uint32_t id, const EventKeys& keys);

  // Observers are called in the order in which they were added and stay for good.
  void observe(Observer observer) { observers.push_back(std::move(observer)); }

  // The same for events that were declared, and for those that have just been undeclared.
  void observeDeclared(Observer observer) { declaredObservers.push_back(std::move(observer)); }
  void observeUndeclared(Observer observer) { undeclaredObservers.push_back(std::move(observer)); }

  // True for an event of the device's own.
  static bool isOfDevice(const Event& event);

  const EventTable& getTable() const { return table; }

 private:
  struct Handlers;

  EventTable::Declared declareFor(const std::string& owner, EventKeys keys, bool stateless);
  EventStatus_e sendFor(const std::string& owner, std::uint32_t id, const EventKeys& keys,
                        std::int64_t time);
  EventStatus_e undeclareFor(const std::string& owner, std::uint32_t id);
  void undeclared(const Event& event);
  void watch(const std::string& client);
  void unwatchIfIdle(const std::string& client);
  void clientLeft(const std::string& client);

  GObjectPtr<GDBusConnection> connection;
  EventTable table;
  std::vector<Observer> observers;
  std::vector<Observer> declaredObservers;
  std::vector<Observer> undeclaredObservers;
  std::map<std::string, guint> watches;  // of clients with declarations
  BusObject object;
  std::optional<BusName> name;
};

}  // namespace device

#endif
