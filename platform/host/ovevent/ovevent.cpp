#include "ovevent.h"

#include <memory>
#include <utility>

#include "ovevent/event_handler.h"
#include "ovevent/types.h"
#include "platform/arguments.h"

struct OVEventHandler {
  std::shared_ptr<EventHandler> handler;
};

using arguments::refuse;

OVEventHandler* ov_event_handler_new(void) {
  std::shared_ptr<EventHandler> handler = EventHandler::create(nullptr);
  return handler ? new OVEventHandler{std::move(handler)} : nullptr;
}

void ov_event_handler_free(OVEventHandler* handler) {
  if (handler != nullptr) {
    handler->handler->shutDown();
  }
  delete handler;
}

gboolean ov_event_handler_declare(OVEventHandler* handler, const OVEventKeyValueSet* set,
                                  gboolean stateless, uint32_t* declaration, GError** error) {
  if (handler == nullptr || set == nullptr || declaration == nullptr) {
    return refuse(error, "A handler, a set and a place for the id are needed");
  }
  return handler->handler->declare(set->keys, stateless != FALSE, *declaration, error);
}

gboolean ov_event_handler_send_event(OVEventHandler* handler, uint32_t declaration,
                                     const OVEventKeyValueSet* set, int64_t timeStamp,
                                     GError** error) {
  if (handler == nullptr || set == nullptr) {
    return refuse(error, "A handler and a set are needed");
  }
  return handler->handler->send(declaration, set->keys, timeStamp, error);
}

gboolean ov_event_handler_undeclare(OVEventHandler* handler, uint32_t declaration, GError** error) {
  if (handler == nullptr) {
    return refuse(error, "A handler is needed");
  }
  return handler->handler->undeclare(declaration, error);
}

gboolean ov_event_handler_subscribe(OVEventHandler* handler, const OVEventKeyValueSet* set,
                                    OVEventSubscriptionCallback callback, void* userData,
                                    uint32_t* subscription, GError** error) {
  if (handler == nullptr || set == nullptr || callback == nullptr || subscription == nullptr) {
    return refuse(error, "A handler, a set, a callback and a place for the id are needed");
  }
  return handler->handler->subscribe(set->keys, callback, userData, *subscription, error);
}

gboolean ov_event_handler_unsubscribe(OVEventHandler* handler, uint32_t subscription,
                                      GError** error) {
  if (handler == nullptr) {
    return refuse(error, "A handler is needed");
  }
  return handler->handler->unsubscribe(subscription, error);
}
