#include "web_server/mqtt_publisher.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <sys/resource.h>
#include <sys/select.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/file_descriptor.h"
#include "broker.h"
#include "certificates.h"

namespace device {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;
using testing::Not;
using testing::Pair;

using Milliseconds = std::chrono::milliseconds;

// A port on which somebody may wait; not more than so many, and one, until they are taken.
class Listener {
 public:
  explicit Listener(int most, in_addr_t host = INADDR_LOOPBACK) {
    sockaddr_in address = addressOf(host, 0);
    socklen_t size = sizeof(address);
    EXPECT_EQ(0, bind(descriptor.get(), reinterpret_cast<sockaddr*>(&address), size));
    EXPECT_EQ(0, listen(descriptor.get(), most));
    EXPECT_EQ(0, getsockname(descriptor.get(), reinterpret_cast<sockaddr*>(&address), &size));
    port = ntohs(address.sin_port);
  }

  int get() const { return descriptor.get(); }
  int getPort() const { return port; }

  FileDescriptor connected() const {
    FileDescriptor client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = addressOf(INADDR_LOOPBACK, port);
    EXPECT_EQ(0, connect(client.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)));
    return client;
  }

 private:
  static sockaddr_in addressOf(in_addr_t host, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(host);
    return address;
  }

  const FileDescriptor descriptor{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
  std::uint16_t port = 0;
};

// A host that takes the connection and then says nothing, or nothing of what it was told.
class SilentBroker {
 public:
  enum class Word { none, allButAcknowledgements, oneAcknowledgement };

  explicit SilentBroker(Word word = Word::none) {
    if (word != Word::none) {
      thread = std::thread([this, word] { serve(word == Word::oneAcknowledgement); });
    }
  }
  SilentBroker(const SilentBroker&) = delete;
  SilentBroker& operator=(const SilentBroker&) = delete;
  ~SilentBroker() {
    shutdown(listener.get(), SHUT_RDWR);
    if (thread.joinable()) {
      thread.join();
    }
  }

  int getPort() const { return listener.getPort(); }

 private:
  void serve(bool acknowledges) {
    for (;;) {
      const FileDescriptor device(accept(listener.get(), nullptr, nullptr));
      if (!device.isOpen()) {
        return;
      }
      constexpr std::array<char, 4> TAKEN = {0x20, 2, 0, 0};  // CONNACK
      constexpr std::array<char, 2> HERE = {'\xd0', 0};       // PINGRESP
      std::array<char, 4096> told{};
      recv(device.get(), told.data(), told.size(), 0);
      ::send(device.get(), TAKEN.data(), TAKEN.size(), MSG_NOSIGNAL);
      bool isDue = acknowledges;
      for (ssize_t size = 0; (size = recv(device.get(), told.data(), told.size(), 0)) > 0;) {
        if ((told[0] & 0xf0) == 0x30 && std::exchange(isDue, false)) {  // a short PUBLISH
          const std::size_t number = 4 + static_cast<std::size_t>(told[3]);
          const std::array<char, 4> taken = {0x40, 2, told.at(number), told.at(number + 1)};
          ::send(device.get(), taken.data(), taken.size(), MSG_NOSIGNAL);
        }
        if (size == 2 && told[0] == '\xc0') {  // PINGREQ
          ::send(device.get(), HERE.data(), HERE.size(), MSG_NOSIGNAL);
        }
      }
    }
  }

  const Listener listener{16};
  std::thread thread;
};

constexpr const char* AVAILABILITY = MqttPublisher::AVAILABILITY;

class MqttPublisherTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(access(BROKER_PROGRAM, X_OK), 0)
        << "the broker is not installed (package mosquitto, see script/bootstrap)";
  }

  static MqttPublisher::Settings settingsFor(std::vector<int> ports) {
    MqttPublisher::Settings settings{.reconnect = Milliseconds(20)};
    for (const int port : ports) {
      settings.hosts.push_back({"127.0.0.1", port});
    }
    return settings;
  }

  static std::unique_ptr<MqttPublisher> publisherFor(int port) {
    return std::make_unique<MqttPublisher>(settingsFor({port}));
  }

  // Waits for news with this in it.
  static bool tells(MqttPublisher& publisher, const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + BROKER_PATIENCE;
    while (std::chrono::steady_clock::now() < deadline) {
      for (const std::string& news : publisher.takeNews()) {
        if (news.find(text) != std::string::npos) {
          return true;
        }
      }
      usleep(1000);  // between two looks
    }
    return false;
  }

  static bool becomes(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + BROKER_PATIENCE;
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
      usleep(1000);  // between two looks
    }
    return condition();
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
  const Listener listener(4);
  MqttPublisher::Settings settings = settingsFor({listener.getPort()});
  settings.patience = Milliseconds(50);
  auto publisher = std::make_unique<MqttPublisher>(settings);
  // It gives up and comes again.
  for (int i = 0; i < 2; ++i) {
    const FileDescriptor client(accept(listener.get(), nullptr, nullptr));
    EXPECT_TRUE(client.isOpen());
    publisher->retain("a", "1");
  }
  publisher.reset();
}

TEST_F(MqttPublisherTest, SiteTellsItsAvailabilityUnderItsName) {
  const Broker broker;
  Subscriber subscriber(broker.getPort());
  MqttPublisher::Settings settings = settingsFor({broker.getPort()});
  settings.site = "north-1";
  auto publisher = std::make_unique<MqttPublisher>(settings);
  EXPECT_TRUE(subscriber.sees("sites/north-1/SentrelVideo/device", "online"));
  publisher.reset();
  EXPECT_TRUE(subscriber.sees("sites/north-1/SentrelVideo/device", "offline"));
  for (const BrokerMessage& message : subscriber.messages) {
    EXPECT_THAT(message.topic, testing::StartsWith("sites/north-1/"));
  }
}

TEST_F(MqttPublisherTest, LastWillOfASiteIsUnderItsName) {
  const Broker broker;
  const pid_t device = fork();
  if (device == 0) {
    MqttPublisher::Settings settings = settingsFor({broker.getPort()});
    settings.site = "north-1";
    const MqttPublisher publisher(settings);
    for (;;) {
      pause();
    }
  }
  Subscriber subscriber(broker.getPort());
  EXPECT_TRUE(subscriber.sees("sites/north-1/SentrelVideo/device", "online"));
  kill(device, SIGKILL);
  waitpid(device, nullptr, 0);
  EXPECT_TRUE(subscriber.sees("sites/north-1/SentrelVideo/device", "offline"));
}

// The broker's log has "as ID (p2, c1, k5)": protocol, clean session, keep-alive.
TEST_F(MqttPublisherTest, SiteHasOneClientIdAndAKeepAliveOfFiveSeconds) {
  Broker broker;
  MqttPublisher::Settings settings = settingsFor({broker.getPort()});
  settings.site = "north-1";
  {
    MqttPublisher publisher(settings);
    EXPECT_TRUE(tells(publisher, "connected"));
  }
  EXPECT_THAT(broker.getLog(), HasSubstr(" as sentrelvideo_north-1 (p2, c1, k5)"));
}

TEST_F(MqttPublisherTest, WithoutASiteTheClientHasNoNameOfItsOwn) {
  Broker broker;
  {
    const auto publisher = publisherFor(broker.getPort());
    EXPECT_TRUE(tells(*publisher, "connected"));
  }
  EXPECT_THAT(broker.getLog(), Not(HasSubstr("sentrelvideo_")));
}

TEST_F(MqttPublisherTest, HostsAreTriedInTurn) {
  const ReservedPort nobodys;
  Broker first;
  Broker second;
  second.stop();
  MqttPublisher publisher(settingsFor({nobodys.getNumber(), first.getPort(), second.getPort()}));
  publisher.retain("a", "1");
  {
    Subscriber subscriber(first.getPort());
    ASSERT_TRUE(subscriber.sees("a", "1"));
  }
  first.stop(SIGKILL);
  second.start();
  Subscriber subscriber(second.getPort());
  EXPECT_TRUE(subscriber.sees("a", "1"));
  EXPECT_TRUE(subscriber.sees(AVAILABILITY, "online"));
}

// As in a device with many clients; select() knows none of these.
TEST_F(MqttPublisherTest, DescriptorsBeyondTheFirstThousandWillDo) {
  const Broker broker;
  Subscriber subscriber(broker.getPort());
  rlimit many{};
  ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &many));
  many.rlim_cur = many.rlim_max;
  ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &many));
  std::vector<FileDescriptor> used;
  while (used.empty() || used.back().get() < FD_SETSIZE) {
    used.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
    ASSERT_TRUE(used.back().isOpen());
  }
  MqttPublisher publisher(settingsFor({broker.getPort()}));
  publisher.retain("a", "1");
  EXPECT_TRUE(subscriber.sees("a", "1"));
  EXPECT_TRUE(subscriber.sees(AVAILABILITY, "online"));
  publisher.retain("a", "2");
  EXPECT_TRUE(subscriber.sees("a", "2"));
}

TEST_F(MqttPublisherTest, HostThatHangsIsLeftForTheNextOne) {
  const Broker hanging;
  const Broker other;
  MqttPublisher publisher(settingsFor({hanging.getPort(), other.getPort()}));
  ASSERT_TRUE(tells(publisher, "port " + std::to_string(hanging.getPort()) + ": connected"));
  hanging.send(SIGSTOP);
  publisher.retain("a", "1");
  Subscriber subscriber(other.getPort());
  EXPECT_TRUE(subscriber.sees("a", "1"));
}

TEST_F(MqttPublisherTest, EachHostThatIsAwayIsToldOfOnce) {
  const ReservedPort first;
  const ReservedPort second;
  MqttPublisher::Settings settings = settingsFor({first.getNumber(), second.getNumber()});
  settings.reconnect = Milliseconds(1);
  MqttPublisher publisher(settings);
  Broker broker;  // takes its time to start: many tries
  EXPECT_EQ(2u, publisher.takeNews().size());
  EXPECT_EQ(0u, publisher.takeNews().size());
}

TEST_F(MqttPublisherTest, PausesDifferByChance) {
  std::minstd_rand chance(1);
  auto least = Milliseconds::max();
  auto most = Milliseconds::min();
  for (int i = 0; i < 1000; ++i) {
    const Milliseconds pause = MqttPublisher::pauseOf(Milliseconds(2000), chance);
    least = std::min(least, pause);
    most = std::max(most, pause);
  }
  EXPECT_THAT(least.count(), testing::AllOf(testing::Ge(1000), testing::Lt(1100)));
  EXPECT_THAT(most.count(), testing::AllOf(testing::Le(3000), testing::Gt(2900)));
}

TEST_F(MqttPublisherTest, PauseGrowsWhileHostsTakeNoConnection) {
  std::vector<std::int64_t> pauses;
  for (const int refusals : {0, 1, 2, 3, 4, 5, 6, 1000}) {
    pauses.push_back(MqttPublisher::meanPause(Milliseconds(2000), refusals).count());
  }
  EXPECT_THAT(pauses, testing::ElementsAre(2000, 2000, 2000, 4000, 8000, 16000, 16000, 16000));
}

// The least that nine pauses can be: half of 20, 20, 40, 80 and five times 160 ms.
TEST_F(MqttPublisherTest, BrokerThatRefusesIsAskedEverMoreRarely) {
  const Listener listener(1);
  const MqttPublisher publisher(settingsFor({listener.getPort()}));
  const auto refuse = [&listener] {
    constexpr unsigned char UNAVAILABLE[] = {0x20, 2, 0, 3};  // CONNACK
    char request[200];
    const FileDescriptor device(accept(listener.get(), nullptr, nullptr));
    ASSERT_LT(0, recv(device.get(), request, sizeof(request), 0));
    ASSERT_EQ(4, ::send(device.get(), UNAVAILABLE, sizeof(UNAVAILABLE), 0));
    while (recv(device.get(), request, sizeof(request), 0) > 0) {
    }
  };
  refuse();
  const auto first = std::chrono::steady_clock::now();
  for (int i = 0; i < 9; ++i) {
    refuse();
  }
  EXPECT_GE(std::chrono::steady_clock::now() - first, Milliseconds(480));
}

// As where power or the way to it has failed: nobody answers, not even with a refusal.
TEST_F(MqttPublisherTest, HostThatCannotBeReachedHasRefusedNobody) {
  const Listener listener(0, INADDR_ANY);
  const FileDescriptor first = listener.connected();  // it is full
  MqttPublisher::Settings settings = settingsFor({});
  settings.patience = Milliseconds(50);
  for (const char* host : {"127.0.0.1", "127.0.0.2", "127.0.0.3"}) {
    settings.hosts.push_back({host, listener.getPort()});
  }
  MqttPublisher publisher(settings);
  ASSERT_TRUE(
      tells(publisher, "127.0.0.3 port " + std::to_string(listener.getPort()) + ": no answer"));
  EXPECT_EQ(0, publisher.getHealth().refusals);
}

TEST_F(MqttPublisherTest, HostWhereNobodyListensHasRefusedNobody) {
  const ReservedPort nobodys;
  MqttPublisher publisher(settingsFor({nobodys.getNumber()}));
  ASSERT_TRUE(tells(publisher, "MQTT broker"));
  EXPECT_EQ(0, publisher.getHealth().refusals);
}

TEST_F(MqttPublisherTest, HostThatIsSilentHasRefusedUntilAnotherOneTakesTheDevice) {
  const SilentBroker silent;
  Broker broker;
  broker.stop();
  MqttPublisher::Settings settings = settingsFor({silent.getPort(), broker.getPort()});
  settings.patience = Milliseconds(200);
  MqttPublisher publisher(settings);
  ASSERT_TRUE(tells(publisher, ": no answer"));
  EXPECT_LT(0, publisher.getHealth().refusals);
  broker.start();
  EXPECT_TRUE(becomes([&] { return publisher.getHealth().refusals == 0; }));
}

TEST_F(MqttPublisherTest, HostThatAcknowledgesNothingIsLeftForTheNextOne) {
  const SilentBroker forgetful(SilentBroker::Word::allButAcknowledgements);
  const Broker other;
  MqttPublisher::Settings settings = settingsFor({forgetful.getPort(), other.getPort()});
  settings.repeat = Milliseconds(100);
  MqttPublisher publisher(settings);
  publisher.alarm("a", "1");
  Subscriber subscriber(other.getPort());
  EXPECT_TRUE(subscriber.sees("a", "1"));
  EXPECT_TRUE(tells(publisher, ": nothing is acknowledged"));
}

// As one that is overloaded: all would come back to it at once, with all that they have to tell.
TEST_F(MqttPublisherTest, HostThatAcknowledgesNothingIsAskedEverMoreRarely) {
  const SilentBroker forgetful(SilentBroker::Word::allButAcknowledgements);
  MqttPublisher::Settings settings = settingsFor({forgetful.getPort()});
  settings.repeat = Milliseconds(20);
  MqttPublisher publisher(settings);
  EXPECT_TRUE(becomes([&] { return publisher.getHealth().refusals > 2; }));
}

TEST_F(MqttPublisherTest, HostThatAcknowledgesNothingMoreHasRefused) {
  const SilentBroker forgetful(SilentBroker::Word::oneAcknowledgement);
  MqttPublisher::Settings settings = settingsFor({forgetful.getPort()});
  settings.repeat = Milliseconds(20);
  MqttPublisher publisher(settings);
  EXPECT_TRUE(tells(publisher, ": nothing is acknowledged"));
  EXPECT_TRUE(becomes([&] { return publisher.getHealth().refusals > 0; }));
}

TEST_F(MqttPublisherTest, HealthTellsTheConnection) {
  Broker broker;
  MqttPublisher publisher(settingsFor({broker.getPort()}));
  ASSERT_TRUE(tells(publisher, "connected"));
  Subscriber subscriber(broker.getPort());
  ASSERT_TRUE(subscriber.sees(AVAILABILITY, "online"));
  EXPECT_TRUE(publisher.getHealth().isConnected);
  EXPECT_EQ(1u, publisher.getHealth().connects);
  broker.stop();
  ASSERT_TRUE(tells(publisher, "MQTT broker"));
  EXPECT_TRUE(becomes([&] { return !publisher.getHealth().isConnected; }));
  EXPECT_EQ(1u, publisher.getHealth().connects);
}

TEST_F(MqttPublisherTest, BrokerAsksForUserAndPassword) {
  const TemporaryFolder folder;
  ASSERT_EQ(
      0, std::system(
             ("mosquitto_passwd -b -c " + folder.path("passwords") + " north 'the word'").c_str()));
  const Broker broker(true, "password_file " + folder.path("passwords") + "\n");
  MqttPublisher::Settings settings = settingsFor({broker.getPort()});
  settings.login = BrokerLogin{"north", "another"};
  {
    MqttPublisher publisher(settings);
    EXPECT_TRUE(tells(publisher, "not authorised"));
  }
  settings.login->password = "the word";
  MqttPublisher publisher(settings);
  EXPECT_TRUE(tells(publisher, "connected"));
}

// Nothing but a repetition brings back what another has taken away.
TEST_F(MqttPublisherTest, PresentValuesAreToldAgainAfterAWhile) {
  const Broker broker;
  MqttPublisher::Settings settings = settingsFor({broker.getPort()});
  settings.repeat = Milliseconds(100);
  MqttPublisher publisher(settings);
  publisher.retain("a", "1");
  Subscriber subscriber(broker.getPort());
  ASSERT_TRUE(subscriber.sees("a", "1"));
  ASSERT_TRUE(subscriber.sees(AVAILABILITY, "online"));
  for (int i = 0; i < 2; ++i) {
    subscriber.publish("a", "");
    subscriber.publish(AVAILABILITY, "");
    ASSERT_TRUE(subscriber.sees("a", ""));
    ASSERT_TRUE(subscriber.sees(AVAILABILITY, ""));
    subscriber.messages.clear();
    EXPECT_TRUE(subscriber.sees("a", "1"));
    EXPECT_TRUE(subscriber.sees(AVAILABILITY, "online"));
  }
}

TEST_F(MqttPublisherTest, ValuesAreToldAgainEveryMinuteUnlessToldOtherwise) {
  EXPECT_EQ(std::chrono::seconds(60), MqttPublisher::Settings().repeat);
}

class MqttOutboxTest : public MqttPublisherTest {
 protected:
  MqttPublisher::Settings settingsOf(int port) const {
    MqttPublisher::Settings settings = settingsFor({port});
    settings.outbox = file;
    return settings;
  }

  std::size_t waitingInFile() const { return AlarmOutbox(file).getWaiting().size(); }

  // The broker keeps what this one is to be told while it is away.
  static void subscribe(int port) { const Subscriber viewer(port, "viewer"); }

  TemporaryFolder folder;
  const std::filesystem::path file = folder / "alarms";
};

TEST_F(MqttOutboxTest, AlarmThatCameAndWentWithoutABrokerArrivesInOrder) {
  Broker broker;
  subscribe(broker.getPort());
  broker.stop();
  MqttPublisher publisher(settingsFor({broker.getPort()}));
  publisher.alarm("a", "1");
  publisher.alarm("b", "1");
  publisher.alarm("a", "2");
  publisher.alarm("a", "3");
  broker.start();
  Subscriber viewer(broker.getPort(), "viewer");
  ASSERT_TRUE(viewer.sees(AVAILABILITY, "online"));
  // Each edge, then the present value.
  EXPECT_THAT(viewer.payloadsOf("a"), testing::ElementsAre("1", "2", "3", "3"));
  EXPECT_THAT(viewer.payloadsOf("b"), testing::ElementsAre("1", "1"));
  EXPECT_THAT(retainedAt(broker.getPort()), Contains(Pair("a", "3")));
}

TEST_F(MqttOutboxTest, AlarmThatIsAcknowledgedIsToldNoMore) {
  const Broker broker;
  Subscriber subscriber(broker.getPort());
  {
    MqttPublisher publisher(settingsOf(broker.getPort()));
    ASSERT_TRUE(subscriber.sees(AVAILABILITY, "online"));
    publisher.alarm("a", "1");
    ASSERT_TRUE(subscriber.sees("a", "1"));
    publisher.alarm("a", "2");
    ASSERT_TRUE(subscriber.sees("a", "2"));
  }
  EXPECT_EQ(0u, waitingInFile());
  EXPECT_THAT(subscriber.payloadsOf("a"), testing::ElementsAre("1", "2"));
}

TEST_F(MqttOutboxTest, AlarmsOfADeviceThatWasKilledArriveFromTheNext) {
  Broker broker;
  subscribe(broker.getPort());
  broker.stop();
  int told[2];
  ASSERT_EQ(0, pipe(told));
  const pid_t device = fork();
  if (device == 0) {
    MqttPublisher publisher(settingsOf(broker.getPort()));
    publisher.alarm("a", "begins");
    publisher.alarm("a", "ends");
    publisher.alarm("b", "begins");
    while (write(told[1], "x", 1) == 1) {
      pause();
    }
  }
  char done = 0;
  ASSERT_EQ(1, read(told[0], &done, 1));
  kill(device, SIGKILL);
  waitpid(device, nullptr, 0);
  close(told[0]);
  close(told[1]);
  MqttPublisher publisher(settingsOf(broker.getPort()));
  publisher.alarm("a", "begins again");
  broker.start();
  Subscriber viewer(broker.getPort(), "viewer");
  ASSERT_TRUE(viewer.sees(AVAILABILITY, "online"));
  EXPECT_THAT(viewer.payloadsOf("a"),
              testing::ElementsAre("begins", "ends", "begins again", "begins again"));
  // It is over: nobody who comes now is told of it.
  EXPECT_THAT(viewer.payloadsOf("b"), testing::ElementsAre("begins", ""));
}

// Nobody would clear them but the next process, which may have other alarms.
TEST_F(MqttOutboxTest, ValuesOfADeviceThatWasKilledAreClearedByTheNextOne) {
  const Broker broker;
  Subscriber subscriber(broker.getPort());
  const pid_t device = fork();
  if (device == 0) {
    MqttPublisher publisher(settingsOf(broker.getPort()));
    publisher.retain("gone", "1");
    publisher.retain("stays", "1");
    publisher.retainBeyond("discovered", "1");
    publisher.alarm("ended", "1");
    for (;;) {
      pause();
    }
  }
  ASSERT_TRUE(subscriber.sees(AVAILABILITY, "online"));
  for (const char* topic : {"gone", "stays", "discovered", "ended"}) {
    ASSERT_TRUE(subscriber.sees(topic, "1"));
  }
  kill(device, SIGKILL);
  waitpid(device, nullptr, 0);
  {
    MqttPublisher publisher(settingsOf(broker.getPort()));
    publisher.retain("stays", "2");
    ASSERT_TRUE(subscriber.sees("stays", "2"));
    ASSERT_TRUE(subscriber.sees("gone", ""));
    ASSERT_TRUE(subscriber.sees("ended", ""));
    EXPECT_THAT(retainedAt(broker.getPort()),
                AllOf(Not(Contains(Key("gone"))), Contains(Pair("stays", "2")),
                      Not(Contains(Key("ended"))), Contains(Pair("discovered", "1"))));
  }
  EXPECT_THAT(AlarmOutbox(file).getTopics(), IsEmpty());
}

// What was cleared is cleared twice, as all is told again, also by a device that is killed. It says
// "online" a third time only after the second one was acknowledged.
TEST_F(MqttOutboxTest, TopicsThatAreClearedAreForgotten) {
  const Broker broker;
  AlarmOutbox(file).keepTopic("gone");
  Subscriber subscriber(broker.getPort());
  const pid_t device = fork();
  if (device == 0) {
    MqttPublisher::Settings settings = settingsOf(broker.getPort());
    settings.repeat = Milliseconds(2000);  // the broker's time to acknowledge
    MqttPublisher publisher(settings);
    publisher.retain("stays", "1");
    for (;;) {
      pause();
    }
  }
  ASSERT_TRUE(subscriber.runUntil([&] {
    return std::ranges::count(subscriber.messages, "online", &BrokerMessage::payload) >= 3;
  }));
  kill(device, SIGKILL);
  waitpid(device, nullptr, 0);
  EXPECT_THAT(subscriber.payloadsOf("gone"), testing::ElementsAre("", ""));
  EXPECT_THAT(AlarmOutbox(file).getTopics(), testing::ElementsAre("stays"));
}

// Its certificate may write below its present name only.
TEST_F(MqttOutboxTest, TopicsOfAFormerNameAreLeftAlone) {
  const Broker broker;
  {
    AlarmOutbox outbox(file);
    for (const char* topic : {"sites/north/a", "sites/south/a", "a"}) {
      outbox.keepTopic(topic);
    }
  }
  Subscriber subscriber(broker.getPort());
  MqttPublisher::Settings settings = settingsOf(broker.getPort());
  settings.site = "south";
  const MqttPublisher publisher(settings);
  ASSERT_TRUE(subscriber.sees("sites/south/SentrelVideo/device", "online"));
  EXPECT_NE(nullptr, subscriber.find("sites/south/a", ""));
  EXPECT_EQ(nullptr, subscriber.find("sites/north/a", ""));
  EXPECT_EQ(nullptr, subscriber.find("a", ""));
}

TEST_F(MqttOutboxTest, AlarmThatTheBrokerHasNotAcknowledgedIsToldItAgain) {
  Broker broker;
  MqttPublisher publisher(settingsOf(broker.getPort()));
  ASSERT_TRUE(tells(publisher, "connected"));
  broker.send(SIGSTOP);
  publisher.alarm("a", "1");
  publisher.alarm("a", "2");
  EXPECT_EQ(2u, publisher.getHealth().waiting);
  broker.stop(SIGKILL);
  EXPECT_TRUE(tells(publisher, "MQTT broker"));  // the connection has ended
  EXPECT_EQ(2u, publisher.getHealth().waiting);
  broker.start();
  const auto deadline = std::chrono::steady_clock::now() + BROKER_PATIENCE;
  while (publisher.getHealth().waiting > 0 && std::chrono::steady_clock::now() < deadline) {
    usleep(1000);  // between two looks
  }
  EXPECT_EQ(0u, publisher.getHealth().waiting);
  EXPECT_THAT(retainedAt(broker.getPort()), Contains(Pair("a", "2")));
}

TEST_F(MqttOutboxTest, SitesAlarmsGoBesideWhereAHistoryIsKeptTwiceEachAndNoMore) {
  const Broker broker;
  Subscriber subscriber(broker.getPort());
  MqttPublisher::Settings settings = settingsOf(broker.getPort());
  settings.site = "north";
  settings.repeat = Milliseconds(300);
  MqttPublisher publisher(settings);
  const std::string own = "sites/north/MiruPlatform/SentrelVideo/";
  const std::string kept = "sites/north/SentrelVideo/alarms/";
  ASSERT_TRUE(subscriber.sees("sites/north/SentrelVideo/device", "online"));
  publisher.retain(own + "state", "running");
  publisher.alarm("sites/north/VideoSource/MotionAlarm/1", "motion");
  publisher.alarm(own + "Camera1", "begins");
  publisher.alarm(own + "Camera1", "ends");
  const auto hasAll = [&](std::size_t count) {
    return subscriber.runUntil(
        [&] { return subscriber.payloadsOf(own + "Camera1").size() >= count; });
  };
  ASSERT_TRUE(hasAll(7));  // both, and the last one at five repetitions
  EXPECT_THAT(subscriber.payloadsOf(kept + "Camera1"),
              testing::ElementsAre("begins", "ends", "begins", "ends"));
  EXPECT_FALSE(subscriber.hasTopic(kept + "state"));
  EXPECT_FALSE(subscriber.hasTopic(kept + "MotionAlarm/1"));
  EXPECT_THAT(retainedAt(broker.getPort()), Not(Contains(Key(kept + "Camera1"))));
  EXPECT_EQ(0u, publisher.getHealth().waiting);
}

TEST_F(MqttOutboxTest, DeviceThatLeavesTellsTheHistoryWhatItHasToldOnce) {
  const Broker broker;
  Subscriber subscriber(broker.getPort());
  MqttPublisher::Settings settings = settingsOf(broker.getPort());
  settings.site = "north";
  std::optional<MqttPublisher> publisher(settings);
  ASSERT_TRUE(subscriber.sees("sites/north/SentrelVideo/device", "online"));
  publisher->alarm("sites/north/MiruPlatform/SentrelVideo/Camera1", "begins");
  publisher->alarm("sites/north/MiruPlatform/SentrelVideo/Camera1", "ends");
  publisher.reset();
  subscriber.drain();
  EXPECT_THAT(subscriber.payloadsOf("sites/north/SentrelVideo/alarms/Camera1"),
              testing::ElementsAre("begins", "ends", "begins", "ends"));
}

TEST_F(MqttOutboxTest, AlarmThatWaitedGoesToTheHistoryInItsTurn) {
  Broker broker;
  subscribe(broker.getPort());
  broker.stop();
  MqttPublisher::Settings settings = settingsOf(broker.getPort());
  settings.site = "north";
  MqttPublisher publisher(settings);
  const std::string own = "sites/north/MiruPlatform/SentrelVideo/Camera1";
  publisher.alarm(own, "begins");
  publisher.alarm(own, "ends");
  broker.start();
  Subscriber viewer(broker.getPort(), "viewer");
  ASSERT_TRUE(viewer.sees("sites/north/SentrelVideo/device", "online"));
  EXPECT_THAT(viewer.payloadsOf("sites/north/SentrelVideo/alarms/Camera1"),
              testing::ElementsAre("begins", "ends"));
  EXPECT_THAT(viewer.payloadsOf(own), testing::ElementsAre("begins", "ends", "ends"));
}

TEST_F(MqttOutboxTest, AlarmsThatAreGivenUpAreTold) {
  const ReservedPort nobodys;
  MqttPublisher publisher(settingsOf(nobodys.getNumber()));
  for (int i = 0; i < 1003; ++i) {
    publisher.alarm("a", std::to_string(i));
  }
  EXPECT_EQ(1000u, publisher.getHealth().waiting);
  EXPECT_EQ(3u, publisher.getHealth().dropped);
  EXPECT_TRUE(tells(publisher, "3 alarms were given up"));
}

// Takes one connection, to end before it does, tells that many messages in one TLS record, and
// nothing else.
class PackingBroker {
 public:
  PackingBroker(const std::string& certificate, const std::string& key, int count)
      : context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free) {
    EXPECT_EQ(1,
              SSL_CTX_use_certificate_file(context.get(), certificate.c_str(), SSL_FILETYPE_PEM));
    EXPECT_EQ(1, SSL_CTX_use_PrivateKey_file(context.get(), key.c_str(), SSL_FILETYPE_PEM));
    thread = std::thread([this, count] { serve(count); });
  }
  PackingBroker(const PackingBroker&) = delete;
  PackingBroker& operator=(const PackingBroker&) = delete;
  ~PackingBroker() {
    shutdown(listener.get(), SHUT_RDWR);
    thread.join();
  }

  int getPort() const { return listener.getPort(); }

 private:
  void serve(int count) {
    const FileDescriptor device(accept(listener.get(), nullptr, nullptr));
    const std::unique_ptr<SSL, decltype(&SSL_free)> tls(SSL_new(context.get()), SSL_free);
    SSL_set_fd(tls.get(), device.get());
    std::array<char, 4096> told{};
    if (SSL_accept(tls.get()) != 1 || SSL_read(tls.get(), told.data(), told.size()) <= 0) {
      return;
    }
    std::string record = {0x20, 2, 0, 0};  // CONNACK
    for (int id = 1; id <= count; ++id) {
      record += {0x32, 6, 0, 1, 'a'};  // PUBLISH, to be acknowledged
      record += {static_cast<char>(id >> 8), static_cast<char>(id), 'x'};
    }
    SSL_write(tls.get(), record.data(), static_cast<int>(record.size()));
    while (SSL_read(tls.get(), told.data(), told.size()) > 0) {
    }
  }

  const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context;
  const Listener listener{1};
  std::thread thread;
};

class MqttTlsTest : public MqttPublisherTest {
 protected:
  void SetUp() override {
    MqttPublisherTest::SetUp();
    certificates.make("ca", "broker");
    certificates.make("ca", "device");
    certificates.make("other", "foreign");
    const std::string port = std::to_string(tlsPort.getNumber());
    broker.emplace(true, "listener " + port + " 127.0.0.1\ncafile " + certificates.file("ca.crt") +
                             "\ncertfile " + certificates.file("broker.crt") + "\nkeyfile " +
                             certificates.file("broker.key") + "\nrequire_certificate true\n");
  }

  MqttPublisher::Settings settingsOf(const std::string& ca, const std::string& name) const {
    MqttPublisher::Settings settings = settingsFor({tlsPort.getNumber()});
    settings.tls = BrokerTls{.ca = certificates.file(ca + ".crt"), .certificate = "", .key = ""};
    if (!name.empty()) {
      settings.tls->certificate = certificates.file(name + ".crt");
      settings.tls->key = certificates.file(name + ".key");
    }
    return settings;
  }

  static constexpr int EXPIRED = -1;  // days

  Certificates certificates;
  ReservedPort tlsPort;
  std::optional<Broker> broker;
};

TEST_F(MqttTlsTest, DeviceAndBrokerKnowEachOther) {
  Subscriber subscriber(broker->getPort());
  const MqttPublisher publisher(settingsOf("ca", "device"));
  EXPECT_TRUE(subscriber.sees(AVAILABILITY, "online"));
}

TEST_F(MqttTlsTest, BrokerOfAnotherAuthorityIsNotTrusted) {
  MqttPublisher publisher(settingsOf("other", "device"));
  EXPECT_TRUE(tells(publisher, "certificate verify failed"));
}

TEST_F(MqttTlsTest, BrokerWhoseCertificateNamesAnotherHostIsNotTrusted) {
  certificates.make("ca", "broker", 2, "127.0.0.2");
  broker->stop();
  broker->start();
  Subscriber subscriber(broker->getPort());
  MqttPublisher publisher(settingsOf("ca", "device"));
  EXPECT_TRUE(tells(publisher, "certificate verify failed"));
  EXPECT_EQ(nullptr, subscriber.find(AVAILABILITY, "online"));
}

// Both sides' clocks are right in the end; until then it is as if the certificate had expired.
TEST_F(MqttTlsTest, ExpiredCertificateIsNotTakenAndARenewedOneIs) {
  certificates.make("ca", "broker", EXPIRED);
  broker->stop();
  broker->start();
  MqttPublisher publisher(settingsOf("ca", "device"));
  EXPECT_TRUE(tells(publisher, "certificate verify failed"));
  certificates.make("ca", "broker");
  broker->stop();
  broker->start();
  EXPECT_TRUE(tells(publisher, "connected"));
}

TEST_F(MqttTlsTest, DeviceWhoseCertificateHasExpiredIsNotTaken) {
  certificates.make("ca", "device", EXPIRED);
  Subscriber subscriber(broker->getPort());
  MqttPublisher publisher(settingsOf("ca", "device"));
  EXPECT_TRUE(tells(publisher, "MQTT broker"));
  EXPECT_EQ(nullptr, subscriber.find(AVAILABILITY, "online"));
}

// A host that hangs takes connections all the same. As over a network, the connection is not there
// at once: the first try to get it finds the queue full, and the second one comes a second later.
TEST_F(MqttTlsTest, HostThatNeverAnswersIsAwaitedAtRest) {
  const Listener listener(0);
  const FileDescriptor first = listener.connected();
  const std::optional<BrokerTls> tls = settingsOf("ca", "device").tls;
  const MosquittoPtr client = makeMqttClient(nullptr, nullptr);
  ASSERT_EQ(MOSQ_ERR_SUCCESS, introduce(client.get(), std::nullopt, tls));
  ASSERT_EQ(MOSQ_ERR_SUCCESS, connectTo(client.get(), {"127.0.0.1", listener.getPort()}, tls));
  const FileDescriptor taken(accept(listener.get(), nullptr, nullptr));
  const FileDescriptor device(accept(listener.get(), nullptr, nullptr));
  ASSERT_TRUE(device.isOpen());
  MqttLoop loop(client.get());
  int turns = 0;
  const auto end = std::chrono::steady_clock::now() + Milliseconds(500);
  for (; std::chrono::steady_clock::now() < end; ++turns) {
    ASSERT_EQ(MOSQ_ERR_SUCCESS, loop.serve(Milliseconds(1000), false));
  }
  EXPECT_LT(turns, 20);
}

// TLS hands over what it has decrypted only to who reads on: the connection has nothing more to
// say.
TEST_F(MqttTlsTest, EverythingInOneRecordIsTaken) {
  constexpr int COUNT = 1000;  // with an answer each, more than the library has room to note
  const PackingBroker packing(certificates.file("broker.crt"), certificates.file("broker.key"),
                              COUNT);
  int taken = 0;
  const MosquittoPtr client = makeMqttClient(nullptr, &taken);
  mosquitto_message_callback_set(
      client.get(),
      [](mosquitto*, void* data, const mosquitto_message*) { ++*static_cast<int*>(data); });
  const std::optional<BrokerTls> tls = settingsOf("ca", "device").tls;
  ASSERT_EQ(MOSQ_ERR_SUCCESS, introduce(client.get(), std::nullopt, tls));
  ASSERT_EQ(MOSQ_ERR_SUCCESS, connectTo(client.get(), {"127.0.0.1", packing.getPort()}, tls));
  MqttLoop loop(client.get());
  // The client itself gives up a host that is silent.
  while (taken < COUNT && loop.serve(Milliseconds(1000), taken > 0) == MOSQ_ERR_SUCCESS) {
  }
  EXPECT_EQ(COUNT, taken);
}

TEST_F(MqttTlsTest, DeviceWithoutACertificateIsNotTaken) {
  Subscriber subscriber(broker->getPort());
  MqttPublisher nameless(settingsOf("ca", ""));
  MqttPublisher foreign(settingsOf("ca", "foreign"));
  EXPECT_TRUE(tells(nameless, "MQTT broker"));
  EXPECT_TRUE(tells(foreign, "MQTT broker"));
  EXPECT_EQ(nullptr, subscriber.find(AVAILABILITY, "online"));
}

}  // namespace
}  // namespace device
