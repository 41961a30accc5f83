#include "events/dummy_event_producer.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "src/events/wrapper_test_base.h"

namespace {

using DummyEventProducerTest = InitializedWrapperTest;

TEST_F(DummyEventProducerTest, DoesNothing) {
  DummyEventProducer& producer = DummyEventProducer::getInstance();
  const StateEventProducerHandle handle = producer.registerEvent(1, "Camera1Profile7", "Nice");
  producer.sendStartEvent(handle, 1);
  producer.sendEndEvent(handle, 2);
  producer.sendEndEvent(handle);
  producer.unregisterEvent(handle);
  DummyEventProducer::releaseInstance();
  EXPECT_TRUE(FakeEvents::declarations().empty());
  EXPECT_TRUE(FakeEvents::sent().empty());
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(DummyEventProducerTest, IsSharedWhileItIsUsed) {
  DummyEventProducer& first = DummyEventProducer::getInstance();
  DummyEventProducer& second = DummyEventProducer::getInstance();
  EXPECT_EQ(&first, &second);
  DummyEventProducer::releaseInstance();
  EXPECT_EQ(&DummyEventProducer::getInstance(), &first) << "still held once";
  DummyEventProducer::releaseInstance();
  DummyEventProducer::releaseInstance();
}

TEST_F(DummyEventProducerTest, MayBeTakenAgainAfterTheLastRelease) {
  DummyEventProducer::getInstance();
  DummyEventProducer::releaseInstance();
  DummyEventProducer::getInstance().sendEndEvent({});
  DummyEventProducer::releaseInstance();
}

TEST_F(DummyEventProducerTest, ThreadsMayTakeAndReleaseIt) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int k = 0; k < 500; ++k) {
        DummyEventProducer::getInstance().sendEndEvent({});
        DummyEventProducer::releaseInstance();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

}  // namespace
