#include "events/dummy_event_producer.h"

#include <memory>
#include <mutex>

namespace {

std::mutex s_instanceMutex;
std::unique_ptr<DummyEventProducer> s_instance;
int s_referenceCount = 0;

}  // namespace

DummyEventProducer& DummyEventProducer::getInstance() {
  const std::lock_guard lock(s_instanceMutex);
  if (s_instance == nullptr) {
    s_instance = std::make_unique<DummyEventProducer>();
  }
  ++s_referenceCount;
  return *s_instance;
}

void DummyEventProducer::releaseInstance() {
  const std::lock_guard lock(s_instanceMutex);
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
