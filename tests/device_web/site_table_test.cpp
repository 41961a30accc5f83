#include "fleet/site_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace device {
namespace {

using testing::HasSubstr;
using testing::Not;

class SiteTableTest : public testing::Test {
 protected:
  static constexpr double NOON = 1767268800;
  static constexpr std::size_t BROKER = 0;

  void take(const std::string& topic, const std::string& payload, double now = NOON) {
    table.take(BROKER, topic, payload, now);
  }

  static std::string alarm(bool active, int seq, const std::string& start = "S") {
    return std::string(R"({"data":{"active":)") + (active ? "true" : "false") + R"(},"time":"T)" +
           std::to_string(seq) + R"(","nice":"Door","start":")" + start + R"(","seq":)" +
           std::to_string(seq) + "}";
  }

  std::string everything() const { return table.everything(NOON); }

  const std::string own = "sites/north/MiruPlatform/SentrelVideo/";
  SiteTable table;
};

TEST_F(SiteTableTest, SiteIsAsItTells) {
  take("sites/north/SentrelVideo/device", "online");
  take("sites/north/SentrelVideo/about",
       R"({"version":"1.0.0","model":"k47","url":"https://north:8080/"})");
  take(own + "state", R"({"data":{"value":"running"}})");
  take(own + "isSentreling", R"({"data":{"active":true}})");
  take(own + "Camera1ProfileANY", alarm(true, 1));
  take(own + "Camera1Profile1", alarm(false, 1));
  take(own + "xinternal_data", "{}");
  take("sites/north/VideoSource/MotionAlarm/1", alarm(true, 1), NOON + 3);
  EXPECT_EQ(R"({"sites":[{"name":"north","online":"online","silent":false,"state":"running",)"
            R"("following":true,"alarms":["Camera1ProfileANY"],"url":"https://north:8080/",)"
            R"("model":"k47","version":"1.0.0","heard":1767268803}],"alarms":[{"site":"north",)"
            R"("alarm":"Camera1ProfileANY","nice":"Door","time":"T1","active":true}],)"
            R"("now":1767268800})",
            everything());
}

TEST_F(SiteTableTest, ChangesAreToldOnceAndOnlyWhatHasChanged) {
  EXPECT_EQ("", table.changes(NOON));
  take("sites/north/SentrelVideo/device", "online");
  take("sites/south/SentrelVideo/device", "online");
  EXPECT_THAT(table.changes(NOON), HasSubstr("south"));
  EXPECT_EQ("", table.changes(NOON));
  take("sites/south/SentrelVideo/device", "online");  // told again
  EXPECT_EQ("", table.changes(NOON));
  take("sites/north/SentrelVideo/device", "offline");
  const std::string changes = table.changes(NOON);
  EXPECT_THAT(changes, HasSubstr(R"("name":"north","online":"offline")"));
  EXPECT_THAT(changes, Not(HasSubstr("south")));
}

TEST_F(SiteTableTest, AlarmThatIsToldAgainIsNoNewOne) {
  take(own + "Camera1Profile1", alarm(true, 1));
  table.take(1, own + "Camera1Profile1", alarm(true, 1), NOON);  // by the other broker
  take(own + "Camera1Profile1", alarm(false, 2));
  table.take(1, own + "Camera1Profile1", alarm(true, 1), NOON);  // which is behind
  take(own + "Camera1Profile1", alarm(true, 1, "T"));            // another start
  const std::string told = table.changes(NOON);
  EXPECT_THAT(told, HasSubstr(R"("alarms":["Camera1Profile1"])"));
  std::size_t count = 0;
  for (std::size_t at = told.find("\"nice\""); at != std::string::npos;
       at = told.find("\"nice\"", at + 1)) {
    ++count;
  }
  EXPECT_EQ(3u, count);
}

TEST_F(SiteTableTest, AlarmThatIsUndeclaredIsGone) {
  take(own + "Camera1Profile1", alarm(true, 1));
  take(own + "Camera1Profile1", "");
  EXPECT_THAT(everything(), HasSubstr(R"("alarms":[],"url")"));
}

TEST_F(SiteTableTest, SiteThatIsSilentHasGoneWhateverItsLastWordWas) {
  take("sites/north/SentrelVideo/device", "online");
  table.changes(NOON);
  EXPECT_EQ("", table.changes(NOON + 150));
  EXPECT_THAT(table.changes(NOON + 150.5), HasSubstr(R"("silent":true)"));
  EXPECT_EQ("", table.changes(NOON + 200));
  take("sites/north/SentrelVideo/device", "online", NOON + 201);
  EXPECT_THAT(table.changes(NOON + 201), HasSubstr(R"("silent":false)"));
}

// With each connection of the page a broker says again what dead sites have said.
TEST_F(SiteTableTest, WordThatABrokerRepeatsIsNoneOfTheSite) {
  const std::string topic = "sites/north/SentrelVideo/device";
  table.take(BROKER, topic, "online", NOON, true);  // of a site that is new, it may be
  EXPECT_THAT(everything(), HasSubstr(R"("heard":1767268800)"));
  table.changes(NOON);
  table.take(BROKER, topic, "online", NOON + 100, true);
  EXPECT_THAT(table.changes(NOON + 151), HasSubstr(R"("silent":true)"));
  table.brokerLost(BROKER);
  table.take(BROKER, topic, "online", NOON + 160, true);
  EXPECT_THAT(table.changes(NOON + 160), HasSubstr(R"("online":"online","silent":true)"));
  take(topic, "online", NOON + 161);
  EXPECT_THAT(table.changes(NOON + 161), HasSubstr(R"("silent":false)"));
}

TEST_F(SiteTableTest, SiteIsOnlineWhileOneOfTwoBrokersSaysSo) {
  const std::string topic = "sites/north/SentrelVideo/device";
  table.take(0, topic, "online", NOON);
  table.take(1, topic, "offline", NOON);
  EXPECT_THAT(everything(), HasSubstr(R"("online":"online")"));
  table.brokerLost(0);
  EXPECT_THAT(everything(), HasSubstr(R"("online":"offline")"));
  table.brokerLost(1);
  EXPECT_THAT(everything(), HasSubstr(R"("online":"unknown")"));
}

TEST_F(SiteTableTest, ForgedTopicsAndPayloadsAreNobody) {
  for (const char* topic :
       {"sites/no.rth/SentrelVideo/device", "sites//SentrelVideo/device", "sites/north", "sites/",
        "other/north/SentrelVideo/device", "sites/a b/SentrelVideo/device",
        "sites/123456789012345678901234567890123/SentrelVideo/device"}) {
    take(topic, "online");
  }
  EXPECT_EQ("", table.changes(NOON));
  take("sites/north/SentrelVideo/about", R"json({"url":"javascript:alert(1)","model":7})json");
  take(own + "state", R"({"data":{"value":"<b>"}})");
  take(own + "Camera1<b>", alarm(true, 1));
  take(own + "Camera1Profile1", "no JSON");
  take(own + "Camera1Profile2", std::string(SiteTable::LONGEST_PAYLOAD + 1, ' '));
  EXPECT_THAT(everything(),
              HasSubstr(R"("state":"","following":false,"alarms":[],"url":"","model":"")"));
}

TEST_F(SiteTableTest, WhatASiteTellsHasBounds) {
  for (std::size_t i = 0; i < SiteTable::MOST_ALARMS + 1; ++i) {
    take(own + "Camera" + std::to_string(i), alarm(true, 1));
  }
  EXPECT_THAT(everything(), HasSubstr("\"Camera63\""));
  EXPECT_THAT(everything(), Not(HasSubstr("\"Camera64\"")));
  for (int i = 2; i < 602; ++i) {
    take(own + "Camera1", alarm(i % 2 == 1, i));
  }
  EXPECT_THAT(everything(), HasSubstr("\"T601\""));
  EXPECT_THAT(everything(), HasSubstr("\"T102\""));
  EXPECT_THAT(everything(), Not(HasSubstr("\"T101\"")));
}

}  // namespace
}  // namespace device
