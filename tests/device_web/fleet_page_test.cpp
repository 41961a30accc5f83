#include "fleet/fleet_page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "broker.h"
#include "fleet/fleet_listener.h"
#include "fleet/fleet_options.h"
#include "history_node.h"
#include "web_client.h"
#include "web_server/mqtt_publisher.h"

namespace {

std::int64_t s_jump = 0;  // microseconds by which the clock was set

}  // namespace

// In place of the library's.
extern "C" gint64 g_get_real_time() {
  return std::chrono::duration_cast<std::chrono::microseconds>(
             std::chrono::system_clock::now().time_since_epoch())
             .count() +
         s_jump;
}

namespace device {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// Real brokers, a site's real publisher and the page.
class FleetPageTest : public testing::Test {
 protected:
  static MqttPublisher::Settings siteAt(BrokerHosts hosts) {
    MqttPublisher::Settings settings;
    settings.hosts = std::move(hosts);
    settings.site = "north";
    settings.reconnect = std::chrono::milliseconds(10);
    return settings;
  }

  FleetPage& open(const std::vector<BrokerHosts>& brokers) {
    FleetOptions options;
    options.web.port = 0;
    options.web.broker.brokers = brokers;
    options.history = history;
    options.historyBounds = historyBounds;
    page.emplace(options, [this](const std::string& text) { news.push_back(text); });
    const std::string url = page->url();
    port =
        static_cast<std::uint16_t>(std::stoi(url.substr(std::string("http://127.0.0.1:").size())));
    return *page;
  }

  bool shows(const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + BROKER_PATIENCE;
    while (std::chrono::steady_clock::now() < deadline) {
      if (WebClient(port).get("/sites").body.find(text) != std::string::npos) {
        return true;
      }
      g_main_context_iteration(nullptr, TRUE);
    }
    return false;
  }

  std::vector<std::string> news;
  std::optional<FleetPage> page;
  std::uint16_t port = 0;
  std::optional<HistoryAccess> history;
  HistoryReader::Bounds historyBounds;
};

TEST_F(FleetPageTest, SiteComesAndGoes) {
  const Broker broker;
  open({{{"127.0.0.1", broker.getPort()}}});
  WebClient reader(port);
  reader.get("/changes");
  EXPECT_THAT(reader.message(), HasSubstr("event: begin"));
  {
    MqttPublisher site(siteAt({{"127.0.0.1", broker.getPort()}}));
    site.retain("sites/north/MiruPlatform/SentrelVideo/state", R"({"data":{"value":"running"}})");
    EXPECT_THAT(reader.message(), HasSubstr(R"("name":"north")"));
    EXPECT_TRUE(shows(R"("online":"online","silent":false,"state":"running")"));
  }
  EXPECT_TRUE(shows(R"("online":"offline")"));
  EXPECT_THAT(news, Contains(HasSubstr(": connected")));
}

TEST_F(FleetPageTest, ClockThatJumpsMakesNoSiteSilent) {
  constexpr std::int64_t DAY = 86400000000;
  open({{{"127.0.0.1", ReservedPort().getNumber()}}});
  const auto seconds = [this] {
    const std::string told = WebClient(port).get("/sites").body;
    return std::stoll(told.substr(told.rfind(':') + 1));
  };
  const std::int64_t before = seconds();
  EXPECT_NEAR(static_cast<double>(g_get_real_time()) / 1e6, static_cast<double>(before), 3600);
  for (const std::int64_t jump : {DAY, -DAY}) {
    s_jump = jump;
    EXPECT_NEAR(static_cast<double>(before), static_cast<double>(seconds()), 3600);
  }
  s_jump = 0;
}

TEST_F(FleetPageTest, ListenerTellsWhatABrokerRepeatsFromWhatIsNew) {
  const Broker broker;
  Subscriber site(broker.getPort());
  const std::string topic = "sites/north/SentrelVideo/device";
  site.publish(topic, "online");
  ASSERT_TRUE(site.sees(topic, "online"));
  FleetListener listener({{"127.0.0.1", broker.getPort()}}, {});
  std::vector<FleetListener::Message> messages;
  const auto hasAnother = [&](std::size_t count) {
    return site.runUntil([&] {
      for (FleetListener::Message& message : listener.takeMessages()) {
        messages.push_back(std::move(message));
      }
      return messages.size() >= count;
    });
  };
  ASSERT_TRUE(hasAnother(1));
  EXPECT_TRUE(messages[0].isRetained);
  site.publish(topic, "offline");
  ASSERT_TRUE(hasAnother(2));
  EXPECT_EQ("offline", messages[1].payload);
  EXPECT_FALSE(messages[1].isRetained);
}

// As a node that has taken the subscription and then tells nothing of it.
TEST_F(FleetPageTest, HostAtWhichNoSiteIsHeardIsLeftForTheNextOne) {
  const Broker silent;
  const Broker other;
  Subscriber repeated(silent.getPort());
  repeated.publish("sites/south/SentrelVideo/device", "online");  // what it repeats is no word
  repeated.drain();
  MqttPublisher::Settings settings = siteAt({{"127.0.0.1", other.getPort()}});
  settings.repeat = std::chrono::milliseconds(50);
  MqttPublisher site(settings);
  FleetListener listener({{"127.0.0.1", silent.getPort()}, {"127.0.0.1", other.getPort()}}, {},
                         std::chrono::milliseconds(300));
  const std::string topic = "sites/north/SentrelVideo/device";
  bool isHeard = false;
  std::vector<std::string> news;
  EXPECT_TRUE(repeated.runUntil([&] {
    for (const FleetListener::Message& message : listener.takeMessages()) {
      isHeard = isHeard || message.topic == topic;
    }
    std::ranges::move(listener.takeNews(), std::back_inserter(news));
    return isHeard && news.size() >= 3;
  }));
  const auto told = [](const Broker& broker, const char* what) {
    return "MQTT broker 127.0.0.1 port " + std::to_string(broker.getPort()) + ": " + what;
  };
  EXPECT_THAT(news, ElementsAre(told(silent, "connected"), told(silent, "no site was heard"),
                                told(other, "connected")));
}

TEST_F(FleetPageTest, HostsAreLeftEverMoreRarelyWhereThereIsNoSite) {
  const Broker broker;
  const Broker other;
  Subscriber clock(broker.getPort());
  FleetListener listener({{"127.0.0.1", broker.getPort()}, {"127.0.0.1", other.getPort()}}, {},
                         std::chrono::milliseconds(20));
  const auto begin = std::chrono::steady_clock::now();
  std::size_t left = 0;
  EXPECT_TRUE(clock.runUntil([&] {
    left += listener.takeMessages().size();  // of lost connections; there are no others
    return left == 3;
  }));
  // 20, 40 and 80 ms, and a second's pause after each but the last.
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2140));
  EXPECT_THAT(listener.takeNews(),
              ElementsAre(HasSubstr(": connected"), HasSubstr(": no site was heard")));
}

// A cluster remembers for whoever asks for more, and goes on with it when his node has died.
TEST_F(FleetPageTest, BrokerKeepsNothingForAPage) {
  const Broker broker;
  {
    const FleetListener listener({{"127.0.0.1", broker.getPort()}}, {});
    const auto deadline = std::chrono::steady_clock::now() + BROKER_PATIENCE;
    while (broker.getLog().find("sites/# (QoS") == std::string::npos &&
           std::chrono::steady_clock::now() < deadline) {
      usleep(1000);  // between two looks
    }
  }
  EXPECT_THAT(broker.getLog(), HasSubstr("sites/# (QoS 0)"));
}

// More than is taken at once.
TEST_F(FleetPageTest, WhatABrokerRepeatsIsTakenWhole) {
  constexpr int SITES = 5000;
  const Broker broker;
  Subscriber sites(broker.getPort());
  for (int site = 1; site <= SITES; ++site) {
    sites.publish("sites/s" + std::to_string(site) + "/SentrelVideo/device", "online");
  }
  sites.drain();
  open({{{"127.0.0.1", broker.getPort()}}});
  const auto deadline = std::chrono::steady_clock::now() + BROKER_PATIENCE;
  const auto shown = [this] {
    const std::string body = WebClient(port).get("/sites").body;
    int count = 0;
    for (std::size_t at = 0; (at = body.find("\"online\":\"online\"", at)) != std::string::npos;
         ++at) {
      ++count;
    }
    return count;
  };
  while (shown() < SITES && std::chrono::steady_clock::now() < deadline) {
    g_main_context_iteration(nullptr, TRUE);
  }
  EXPECT_EQ(SITES, shown());
}

TEST_F(FleetPageTest, PageTakesTheNextHostWhenOneIsKilled) {
  Broker first;
  const Broker second;
  open({{{"127.0.0.1", first.getPort()}, {"127.0.0.1", second.getPort()}}});
  MqttPublisher site(siteAt({{"127.0.0.1", second.getPort()}}));
  MqttPublisher other(siteAt({{"127.0.0.1", first.getPort()}}));
  EXPECT_TRUE(shows(R"("online":"online")"));
  first.stop(SIGKILL);
  EXPECT_TRUE(shows(R"("online":"unknown")"));
  EXPECT_TRUE(shows(R"("online":"online")"));
}

TEST_F(FleetPageTest, NothingIsForwardedToAnApplication) {
  open({{{"127.0.0.1", ReservedPort().getNumber()}}});
  EXPECT_EQ(405, WebClient(port).post("{}").status);
}

TEST_F(FleetPageTest, HistoryIsThereWhereOneIsRead) {
  open({{{"127.0.0.1", ReservedPort().getNumber()}}});
  EXPECT_EQ(404, WebClient(port).get("/history").status);
  const ReservedPort nobody;
  history = HistoryAccess{static_cast<std::uint16_t>(nobody.getNumber()), "word"};
  open({{{"127.0.0.1", ReservedPort().getNumber()}}});
  EXPECT_EQ(404, WebClient(port).get("/history?site=a.b").status);
  const WebResponse answer = WebClient(port).get("/history?site=north");
  EXPECT_EQ(503, answer.status);
  EXPECT_THAT(answer.body, HasSubstr("The history cannot be read"));
}

// The node of the history has what the broker has lost.
class FleetPageGapTest : public FleetPageTest {
 protected:
  // tellBegun: once the page has begun. Of the numbers from 2 to the last one nothing is told.
  void findWhatWasNotTold(const std::function<void()>& tellBegun, int last = 3) {
    HistoryNode node;
    node.keepAlarms();
    const Broker broker;
    Subscriber site(broker.getPort());
    history = HistoryAccess{node.getPort(), "word"};
    open({{{"127.0.0.1", broker.getPort()}}});
    const auto tell = [&](int seq, const char* active) {
      const std::string event = std::string(R"({"data":{"active":)") + active +
                                R"(},"time":"9","start":"S","seq":)" + std::to_string(seq) + "}";
      node.tell("north", "Camera1", seq);
      site.publish("sites/north/MiruPlatform/SentrelVideo/Camera1", event);
      site.drain();
    };
    tell(1, "true");
    ASSERT_TRUE(shows(R"("seq":1})"));
    tellBegun();
    for (int seq = 2; seq <= last; ++seq) {
      node.tell("north", "Camera1", seq);
    }
    tell(last + 1, "false");
    node.complete();
    ASSERT_TRUE(shows(R"("seq":)" + std::to_string(last + 1) + "}"));
    EXPECT_TRUE(shows(R"("seq":)" + std::to_string(last - 1) + "},"));
    EXPECT_TRUE(shows(R"("active":true,"start":"S","seq":)" + std::to_string(last) + "},"));
    EXPECT_THAT(news, Not(Contains(HasSubstr("neither told nor kept"))));
  }
};

TEST_F(FleetPageGapTest, WhatWasNotToldIsReadFromTheHistory) {
  findWhatWasNotTold([] {});
}

// More than the table takes at once.
TEST_F(FleetPageGapTest, LongAnswerIsTakenWhole) {
  historyBounds.time = BROKER_PATIENCE;  // on a slow machine it takes longer than a page waits
  findWhatWasNotTold([] {}, 12001);
}

// The clock was an hour ahead when the page began.
TEST_F(FleetPageGapTest, ClockThatIsSetBackHidesNothingThatWasKept) {
  constexpr std::int64_t HOUR = 3600000000;
  s_jump = HOUR;
  findWhatWasNotTold([] { s_jump = 0; });
}

TEST_F(FleetPageTest, OptionsNameABroker) {
  EXPECT_THROW(parseFleetOptions({"fleet_page"}), OptionError);
  EXPECT_THROW(parseFleetOptions({"fleet_page", "--mqtt", "a", "--site", "b"}), OptionError);
  const FleetOptions options =
      parseFleetOptions({"fleet_page", "--mqtt", "a,b", "--mqtt", "c", "--port", "0"});
  EXPECT_EQ(2u, options.web.broker.brokers.size());
  EXPECT_EQ(0, *options.web.port);
  EXPECT_FALSE(options.history);
  const TemporaryFolder folder;
  const auto withFile = [&](const std::string& text) {
    writeText(folder / "reader", text);
    return *parseFleetOptions({"fleet_page", "--mqtt", "a", "--history", folder / "reader"})
                .history;
  };
  EXPECT_EQ(4222, withFile("4222 word\n").port);
  EXPECT_EQ("word", withFile("4222 word\n").password);
  for (const char* wrong : {"", "4222", "x word", "0 word", "70000 word"}) {
    EXPECT_THROW(withFile(wrong), OptionError) << wrong;
  }
}

}  // namespace
}  // namespace device
