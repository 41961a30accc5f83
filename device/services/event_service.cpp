#include "services/event_service.h"

#include <utility>

#include "base/bus_names.h"
#include "device_dbus.h"

namespace device {

namespace {

using bus_names::EVENTS;

constexpr char DEVICE[] = "device";  // no bus client can have this name

}  // namespace

struct EventService::Handlers {
  static gboolean declare(BusEventService* skeleton, GDBusMethodInvocation* invocation,
                          GVariant* variant, gboolean stateless, gpointer self) {
    auto* service = static_cast<EventService*>(self);
    auto keys = eventKeysFromVariant(variant, StrangeValue::refuse);
    if (!keys) {
      return refuse(invocation, "A value has an unknown type");
    }
    const auto [status, id] =
        service->declareFor(sender(invocation), std::move(*keys), stateless != FALSE);
    if (status != EventStatus_e::ok) {
      return refuse(invocation, toString(status));
    }
    bus_event_service_complete_declare(skeleton, invocation, id);
    return TRUE;
  }

  static gboolean send(BusEventService* skeleton, GDBusMethodInvocation* invocation, guint32 id,
                       GVariant* variant, gint64 time, gpointer self) {
    auto* service = static_cast<EventService*>(self);
    const auto keys = eventKeysFromVariant(variant, StrangeValue::refuse);
    if (!keys) {
      return refuse(invocation, "A value has an unknown type");
    }
    const EventStatus_e status = service->sendFor(sender(invocation), id, *keys, time);
    if (status != EventStatus_e::ok) {
      return refuse(invocation, toString(status));
    }
    bus_event_service_complete_send(skeleton, invocation);
    return TRUE;
  }

  static gboolean undeclare(BusEventService* skeleton, GDBusMethodInvocation* invocation,
                            guint32 id, gpointer self) {
    auto* service = static_cast<EventService*>(self);
    const EventStatus_e status = service->undeclareFor(sender(invocation), id);
    if (status != EventStatus_e::ok) {
      return refuse(invocation, toString(status));
    }
    bus_event_service_complete_undeclare(skeleton, invocation);
    return TRUE;
  }

  static gboolean list(BusEventService* skeleton, GDBusMethodInvocation* invocation,
                       gpointer self) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a(uba(ssavusss)x)"));
    for (const auto& [id, event] : static_cast<EventService*>(self)->table.getEvents()) {
      g_variant_builder_add(&builder, "(ub@a(ssavusss)x)", id, event.stateless ? TRUE : FALSE,
                            toVariant(event.keys), event.time);
    }
    bus_event_service_complete_list(skeleton, invocation, g_variant_builder_end(&builder));
    return TRUE;
  }

  static void left(GDBusConnection*, const gchar* client, gpointer self) {
    static_cast<EventService*>(self)->clientLeft(client);
  }

  static std::string sender(GDBusMethodInvocation* invocation) {
    return g_dbus_method_invocation_get_sender(invocation);
  }

  static gboolean refuse(GDBusMethodInvocation* invocation, const char* message) {
    answerInvalidArgs(invocation, message);
    return TRUE;
  }
};

EventService::EventService(GDBusConnection* connection)
    : connection(G_DBUS_CONNECTION(g_object_ref(connection))),
      object(connection, bus_event_service_skeleton_new(), EVENTS.path) {
  g_signal_connect(object.get(), "handle-declare", G_CALLBACK(Handlers::declare), this);
  g_signal_connect(object.get(), "handle-send", G_CALLBACK(Handlers::send), this);
  g_signal_connect(object.get(), "handle-undeclare", G_CALLBACK(Handlers::undeclare), this);
  g_signal_connect(object.get(), "handle-list", G_CALLBACK(Handlers::list), this);
  name.emplace(connection, EVENTS.name);
}

EventService::~EventService() {
  for (const auto& [client, watch] : watches) {
    g_bus_unwatch_name(watch);
  }
}

std::uint32_t EventService::declare(EventKeys keys, bool stateless) {
  const auto [status, id] = declareFor(DEVICE, std::move(keys), stateless);
  g_return_val_if_fail(status == EventStatus_e::ok, 0);
  return id;
}

bool EventService::send(std::uint32_t id, const EventKeys& keys) {
  return sendFor(DEVICE, id, keys, g_get_real_time()) == EventStatus_e::ok;
}

bool EventService::isOfDevice(const Event& event) {
  return event.owner == DEVICE;
}

EventTable::Declared EventService::declareFor(const std::string& owner, EventKeys keys,
                                              bool stateless) {
  const EventTable::Declared declared =
      table.declare(owner, std::move(keys), stateless, g_get_real_time());
  if (declared.status != EventStatus_e::ok) {
    return declared;
  }
  if (owner != DEVICE) {
    watch(owner);
  }
  const Event& event = table.getEvents().at(declared.id);
  bus_event_service_emit_declared(BUS_EVENT_SERVICE(object.get()), event.id,
                                  stateless ? TRUE : FALSE, toVariant(event.keys));
  for (const Observer& observer : declaredObservers) {
    observer(table.getEvents().at(declared.id));
  }
  return declared;
}

EventStatus_e EventService::sendFor(const std::string& owner, std::uint32_t id,
                                    const EventKeys& keys, std::int64_t time) {
  const auto [status, sent] = table.send(owner, id, keys, time);
  if (status != EventStatus_e::ok) {
    return status;
  }
  bus_event_service_emit_sent(BUS_EVENT_SERVICE(object.get()), id, toVariant(sent.keys), time);
  for (const Observer& observer : observers) {
    observer(sent);
  }
  return status;
}

EventStatus_e EventService::undeclareFor(const std::string& owner, std::uint32_t id) {
  const auto found = table.getEvents().find(id);
  const Event event = found != table.getEvents().end() ? found->second : Event();
  const EventStatus_e status = table.undeclare(owner, id);
  if (status != EventStatus_e::ok) {
    return status;
  }
  undeclared(event);
  unwatchIfIdle(owner);
  return status;
}

void EventService::undeclared(const Event& event) {
  bus_event_service_emit_undeclared(BUS_EVENT_SERVICE(object.get()), event.id);
  for (const Observer& observer : undeclaredObservers) {
    observer(event);
  }
}

void EventService::watch(const std::string& client) {
  if (watches.contains(client)) {
    return;
  }
  watches[client] = g_bus_watch_name_on_connection(connection.get(), client.c_str(),
                                                   G_BUS_NAME_WATCHER_FLAGS_NONE, nullptr,
                                                   Handlers::left, this, nullptr);
}

void EventService::unwatchIfIdle(const std::string& client) {
  const auto found = watches.find(client);
  if (found == watches.end() || table.hasEventsOf(client)) {
    return;
  }
  g_bus_unwatch_name(found->second);
  watches.erase(found);
}

void EventService::clientLeft(const std::string& client) {
  const std::map<std::uint32_t, Event> before = table.getEvents();
  for (const std::uint32_t id : table.undeclareAll(client)) {
    undeclared(before.at(id));
  }
  unwatchIfIdle(client);
}

}  // namespace device
