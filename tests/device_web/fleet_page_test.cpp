#include "fleet/fleet_page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "broker.h"
#include "fleet/fleet_listener.h"
#include "fleet/fleet_options.h"
#include "web_client.h"
#include "web_server/mqtt_publisher.h"

namespace device {
namespace {

using testing::Contains;
using testing::HasSubstr;

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
