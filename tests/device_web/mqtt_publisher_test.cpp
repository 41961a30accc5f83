#include "web_server/mqtt_publisher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "base/file_descriptor.h"
#include "broker.h"

namespace device {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Key;
using testing::Not;
using testing::Pair;

using Milliseconds = std::chrono::milliseconds;

constexpr const char* AVAILABILITY = MqttPublisher::AVAILABILITY;

class MqttPublisherTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(access(BROKER_PROGRAM, X_OK), 0)
        << "the broker is not installed (package mosquitto, see script/bootstrap)";
  }

  static std::unique_ptr<MqttPublisher> publisherFor(int port) {
    return std::make_unique<MqttPublisher>(BrokerAddress{"127.0.0.1", port}, Milliseconds(20));
  }

  // What a subscriber who comes now is told.
  static std::map<std::string, std::string> retainedAt(int port) {
    Subscriber subscriber(port);
    subscriber.drain();
    std::map<std::string, std::string> retained;
    for (const BrokerMessage& message : subscriber.messages) {
      if (message.retained) {
        retained[message.topic] = message.payload;
      }
    }
    return retained;
  }
};

TEST_F(MqttPublisherTest, StatesAreRetainedAndPulsesAreNot) {
  const Broker broker;
  Subscriber early(broker.getPort());
  const auto publisher = publisherFor(broker.getPort());
  ASSERT_TRUE(early.sees(AVAILABILITY, "online"));
  publisher->retain("a/state", "1");
  publisher->publish("a/pulse", "x");
  publisher->retain("a/state", "2");
  publisher->retain("a/last", "3");
  ASSERT_TRUE(early.sees("a/last", "3"));
  EXPECT_TRUE(early.sees("a/state", "1"));
  EXPECT_TRUE(early.sees("a/pulse", "x"));

  Subscriber late(broker.getPort());
  ASSERT_TRUE(late.sees("a/state", "2"));
  ASSERT_TRUE(late.sees("a/last", "3"));
  EXPECT_TRUE(late.find("a/state", "2")->retained);
  EXPECT_EQ(nullptr, late.find("a/pulse", "x"));
  EXPECT_EQ(nullptr, late.find("a/state", "1"));
}

TEST_F(MqttPublisherTest, ClearedStateIsGone) {
  const Broker broker;
  Subscriber subscriber(broker.getPort());
  const auto publisher = publisherFor(broker.getPort());
  ASSERT_TRUE(subscriber.sees(AVAILABILITY, "online"));
  publisher->retain("a", "1");
  publisher->clear("a");
  ASSERT_TRUE(subscriber.sees("a", ""));
  EXPECT_THAT(retainedAt(broker.getPort()), Not(Contains(Key("a"))));
}

TEST_F(MqttPublisherTest, BrokerThatComesLaterIsToldEverything) {
  Broker broker;
  broker.stop();
  const auto publisher = publisherFor(broker.getPort());
  publisher->retain("a", "1");
  publisher->retain("b", "2");
  publisher->clear("b");
  broker.start();
  Subscriber subscriber(broker.getPort());
  ASSERT_TRUE(subscriber.sees(AVAILABILITY, "online"));
  EXPECT_THAT(retainedAt(broker.getPort()), Contains(Pair("a", "1")));
  EXPECT_EQ(nullptr, subscriber.find("b", "2"));
}

TEST_F(MqttPublisherTest, BrokerThatForgotIsToldThePresentStatesAgain) {
  Broker broker(false);
  const auto publisher = publisherFor(broker.getPort());
  publisher->retain("changes", "old");
  publisher->retain("stays", "same");
  {
    Subscriber subscriber(broker.getPort());
    ASSERT_TRUE(subscriber.sees(AVAILABILITY, "online"));
    ASSERT_TRUE(subscriber.sees("changes", "old"));
  }
  broker.stop(SIGKILL);
  publisher->retain("changes", "new");
  broker.start();
  Subscriber subscriber(broker.getPort());
  ASSERT_TRUE(subscriber.sees(AVAILABILITY, "online"));
  const auto retained = retainedAt(broker.getPort());
  EXPECT_THAT(retained, Contains(Pair("changes", "new")));
  EXPECT_THAT(retained, Contains(Pair("stays", "same")));
}

TEST_F(MqttPublisherTest, StateClearedWithoutAConnectionIsClearedAfterwards) {
  Broker broker;
  const auto publisher = publisherFor(broker.getPort());
  publisher->retain("gone", "1");
  publisher->retain("back", "1");
  {
    Subscriber subscriber(broker.getPort());
    ASSERT_TRUE(subscriber.sees("gone", "1"));
    ASSERT_TRUE(subscriber.sees("back", "1"));
    ASSERT_TRUE(subscriber.sees(AVAILABILITY, "online"));
  }
  broker.stop();
  publisher->clear("gone");
  publisher->clear("back");
  publisher->retain("back", "2");
  broker.start();
  Subscriber subscriber(broker.getPort());
  ASSERT_TRUE(subscriber.sees("back", "2"));  // comes behind what is cleared
  const auto retained = retainedAt(broker.getPort());
  EXPECT_THAT(retained, Not(Contains(Key("gone"))));
  EXPECT_THAT(retained, Contains(Pair("back", "2")));
}

TEST_F(MqttPublisherTest, DeviceThatDiesIsToldOfflineByTheBroker) {
  const Broker broker;
  const pid_t device = fork();
  if (device == 0) {
    const auto publisher = publisherFor(broker.getPort());
    publisher->retain("a", "1");
    for (;;) {
      pause();
    }
  }
  Subscriber subscriber(broker.getPort());
  EXPECT_TRUE(subscriber.sees(AVAILABILITY, "online"));
  kill(device, SIGKILL);
  waitpid(device, nullptr, 0);
  EXPECT_TRUE(subscriber.sees(AVAILABILITY, "offline"));
  EXPECT_THAT(retainedAt(broker.getPort()), Contains(Pair(AVAILABILITY, "offline")));
}

TEST_F(MqttPublisherTest, DeviceThatLeavesClearsItsStatesAndSaysSo) {
  const Broker broker;
  auto publisher = publisherFor(broker.getPort());
  for (int i = 0; i < 50; ++i) {
    publisher->retain("state/" + std::to_string(i), "1");
  }
  {
    Subscriber subscriber(broker.getPort());
    ASSERT_TRUE(subscriber.sees(AVAILABILITY, "online"));
  }
  publisher.reset();
  EXPECT_THAT(retainedAt(broker.getPort()), testing::ElementsAre(Pair(AVAILABILITY, "offline")));
}

TEST_F(MqttPublisherTest, BrokerThatIsAwayIsToldOfOnce) {
  const ReservedPort nobodys;
  const auto publisher = publisherFor(nobodys.getNumber());
  std::vector<std::string> news;
  const auto deadline = std::chrono::steady_clock::now() + BROKER_PATIENCE;
  while (news.empty() && std::chrono::steady_clock::now() < deadline) {
    news = publisher->takeNews();
    usleep(1000);
  }
  ASSERT_EQ(1u, news.size());
  EXPECT_THAT(news[0], HasSubstr("MQTT broker 127.0.0.1"));
}

TEST_F(MqttPublisherTest, BrokerThatNeverAnswersHoldsUpNobody) {
  const FileDescriptor listener(socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  ASSERT_EQ(0, bind(listener.get(), reinterpret_cast<sockaddr*>(&address), size));
  ASSERT_EQ(0, listen(listener.get(), 4));
  ASSERT_EQ(0, getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &size));
  auto publisher = std::make_unique<MqttPublisher>(
      BrokerAddress{"127.0.0.1", ntohs(address.sin_port)}, Milliseconds(1), Milliseconds(50));
  // It gives up and comes again.
  for (int i = 0; i < 2; ++i) {
    const FileDescriptor client(accept(listener.get(), nullptr, nullptr));
    EXPECT_TRUE(client.isOpen());
    publisher->retain("a", "1");
  }
  publisher.reset();
}

}  // namespace
}  // namespace device
