#include "events/dummy_event_producer.h"

#include <memory>

#include "app/lock_order.h"
#include "base/mutex.h"

namespace {

Mutex s_instanceMutex ACQUIRED_AFTER(lock_order::RETRY) ACQUIRED_BEFORE(lock_order::EVENTS);
std::unique_ptr<DummyEventProducer> s_instance GUARDED_BY(s_instanceMutex);
int s_referenceCount GUARDED_BY(s_instanceMutex) = 0;

}  // namespace

DummyEventProducer& DummyEventProducer::getInstance() {
  const LockGuard lock(s_instanceMutex);
  if (s_instance == nullptr) {
    s_instance = std::make_unique<DummyEventProducer>();
  }
  ++s_referenceCount;
  return *s_instance;
}

void DummyEventProducer::releaseInstance() {
  const LockGuard lock(s_instanceMutex);
  if (--s_referenceCount <= 0) {
    s_referenceCount = 0;
    s_instance.reset();
  }
}

StateEventProducerHandle DummyEventProducer::registerEvent(std::int32_t camera,
                                                           const std::string& name,
                                                           const std::string&) {
  return {name, camera, 0};
}

void DummyEventProducer::unregisterEvent(const StateEventProducerHandle&) {}
void DummyEventProducer::sendStartEvent(const StateEventProducerHandle&, std::int64_t) {}
void DummyEventProducer::sendEndEvent(const StateEventProducerHandle&, std::int64_t) {}
void DummyEventProducer::sendEndEvent(const StateEventProducerHandle&) {}
