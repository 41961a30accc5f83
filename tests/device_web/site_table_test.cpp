#include "fleet/site_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace device {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
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
            R"("alarm":"Camera1ProfileANY","nice":"Door","time":"T1","active":true,"start":"S",)"
            R"("seq":1}],)"
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

TEST_F(SiteTableTest, SiteOfWhichNothingIsLeftAtAnyBrokerIsNoMore) {
  take("sites/north/SentrelVideo/device", "online");
  table.take(1, "sites/north/SentrelVideo/device", "online", NOON);
  take("sites/north/SentrelVideo/about", R"({"url":"http://north/","start":"S"})");
  take(own + "state", R"({"data":{"value":"running"}})");
  take(own + "isSentreling", R"({"data":{"active":true}})");
  take(own + "Camera1Profile1", alarm(true, 1));
  take("sites/south/SentrelVideo/device", "online");
  table.changes(NOON);
  for (const char* topic : {"MiruPlatform/SentrelVideo/Camera1Profile1", "SentrelVideo/device",
                            "MiruPlatform/SentrelVideo/isSentreling", "SentrelVideo/about",
                            "MiruPlatform/SentrelVideo/state"}) {
    take(std::string("sites/north/") + topic, "");
    EXPECT_THAT(everything(), HasSubstr("north")) << topic;
  }
  EXPECT_THAT(table.changes(NOON), HasSubstr(R"("gone":[])"));
  table.take(1, "sites/north/SentrelVideo/device", "", NOON);  // as the other broker forgets it
  EXPECT_THAT(everything(), Not(HasSubstr(R"("name":"north")")));
  EXPECT_THAT(table.changes(NOON), HasSubstr(R"({"sites":[],"gone":["north"],"alarms":[])"));
  EXPECT_THAT(table.changes(NOON + 200), Not(HasSubstr("north"))) << "once";
}

TEST_F(SiteTableTest, EachThatIsLeftOfASiteKeepsIt) {
  const std::string about = "sites/north/SentrelVideo/about";
  const std::vector<std::pair<std::string, std::string>> words = {
      {"sites/north/SentrelVideo/device", "offline"},
      {about, R"({"url":"http://north/"})"},
      {about, R"({"model":"k47"})"},
      {about, R"({"version":"1.0.0"})"},
      {about, R"({"start":"S"})"},
      {own + "state", R"({"data":{"value":"running"}})"},
      {own + "isSentreling", R"({"data":{"active":true}})"},
      {own + "Camera1Profile1", alarm(false, 1)}};
  for (const auto& [topic, payload] : words) {
    take(topic, payload);
    take("sites/north/VideoSource/MotionAlarm/1", "");
    EXPECT_THAT(everything(), HasSubstr(R"("name":"north")")) << payload;
    take(topic, "");
    EXPECT_THAT(everything(), Not(HasSubstr(R"("name":"north")"))) << payload;
  }
}

TEST_F(SiteTableTest, SiteThatComesBackIsNotGone) {
  take("sites/north/SentrelVideo/device", "online");
  take("sites/north/SentrelVideo/device", "");
  take("sites/north/SentrelVideo/device", "online");
  const std::string told = table.changes(NOON);
  EXPECT_THAT(told, HasSubstr(R"("name":"north")"));
  EXPECT_THAT(told, HasSubstr(R"("gone":[])"));
  take("sites/south/SentrelVideo/device", "");
  EXPECT_EQ("", table.changes(NOON)) << "who was never there is not gone";
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

// As "alarm seq" of those that the page has told as new since the last call.
std::vector<std::string> newAlarms(SiteTable* table, double now) {
  std::vector<std::string> texts;
  const JsonAutoPtr told(json_loads(table->changes(now).c_str(), 0, nullptr));
  const json_t* alarms = json_object_get(told.get(), "alarms");
  for (std::size_t index = 0; index < json_array_size(alarms); ++index) {
    const json_t* entry = json_array_get(alarms, index);
    texts.push_back(textOf(entry, "alarm") + ' ' +
                    std::to_string(json_integer_value(json_object_get(entry, "seq"))));
  }
  return texts;
}

class SiteTableGapTest : public SiteTableTest {
 protected:
  // What was kept of these numbers; odd ones are raised.
  void takeKept(int first, int last, const std::string& start = "S") {
    std::vector<JsonAutoPtr> kept;
    for (int seq = first; seq <= last; ++seq) {
      const JsonAutoPtr event(json_loads(alarm(seq % 2 == 1, seq, start).c_str(), 0, nullptr));
      kept.push_back(alarmEntry("north", "Camera1", event.get()));
    }
    table.takeKept(kept);
  }

  void tell(int seq, double now, const std::string& start = "S") {
    take(own + "Camera1", alarm(seq % 2 == 1, seq, start), now);
  }

  // The table is looked through ten times a second.
  std::vector<std::string> news(double now) {
    table.missingSince(now);
    return newAlarms(&table, now);
  }
};

TEST_F(SiteTableGapTest, WhatWasNotToldIsLookedForAndListedBeforeWhatFollowedIt) {
  tell(1, NOON);
  tell(1, NOON + 60);  // told again: nothing is missing
  EXPECT_THAT(newAlarms(&table, NOON + 60), ElementsAre("Camera1 1"));
  EXPECT_FALSE(table.missingSince(NOON + 60));
  tell(4, NOON + 70);
  EXPECT_FALSE(table.missingSince(NOON + 71));
  EXPECT_EQ(NOON + 60, table.missingSince(NOON + 72));
  EXPECT_FALSE(table.missingSince(NOON + 72));  // it has been asked for
  takeKept(1, 5);
  EXPECT_THAT(news(NOON + 73), ElementsAre("Camera1 4", "Camera1 2", "Camera1 3"));
  const std::string all = everything();
  EXPECT_LT(all.find("\"T2\""), all.find("\"T3\""));
  EXPECT_LT(all.find("\"T3\""), all.find("\"T4\""));
  takeKept(1, 5);
  EXPECT_THAT(news(NOON + 200), IsEmpty());
  EXPECT_EQ(0u, table.takeLost());
}

TEST_F(SiteTableGapTest, ValueThatSeemedToBeNoChangeIsOneOnceTheMissingOneIsFound) {
  tell(1, NOON);
  tell(3, NOON + 10);
  EXPECT_THAT(newAlarms(&table, NOON), ElementsAre("Camera1 1"));
  takeKept(2, 2);
  EXPECT_THAT(news(NOON + 11), ElementsAre("Camera1 2", "Camera1 3"));
  EXPECT_LT(everything().find("\"T2\""), everything().find("\"T3\""));
  EXPECT_THAT(everything(), HasSubstr("\"T3\""));
}

TEST_F(SiteTableGapTest, WhatABrokerTellsLateFillsTheGapToo) {
  tell(1, NOON);
  tell(4, NOON + 10);
  tell(3, NOON + 11);
  tell(7, NOON + 12);
  tell(2, NOON + 13);
  takeKept(5, 6);
  EXPECT_THAT(news(NOON + 14), ElementsAre("Camera1 1", "Camera1 4", "Camera1 7", "Camera1 2",
                                           "Camera1 3", "Camera1 5", "Camera1 6"));
}

TEST_F(SiteTableGapTest, WhatIsNowhereIsAskedForFourTimesAndCounted) {
  tell(1, NOON);
  tell(4, NOON + 10);
  std::vector<double> asked;
  for (double after = 0; after < 1000; ++after) {
    if (table.missingSince(NOON + 10 + after)) {
      asked.push_back(after);
    }
  }
  EXPECT_THAT(asked, ElementsAre(2, 10, 42, 170));
  EXPECT_EQ(2u, table.takeLost());
  EXPECT_EQ(0u, table.takeLost());
  takeKept(1, 4);
  EXPECT_THAT(news(NOON + 2000), ElementsAre("Camera1 1", "Camera1 4"));
}

TEST_F(SiteTableGapTest, WhoLeavesOutNumbersAgainAndAgainIsNotFollowedForEver) {
  const auto tellNumber = [&](const std::string& seq, double now) {
    take(own + "Camera2", R"({"data":{"active":true},"start":"S","seq":)" + seq + "}", now);
  };
  double now = NOON;
  for (int seq = 1; table.takeLost() == 0 && now < NOON + 3000; seq += 2, ++now) {
    tell(seq, now);
    table.missingSince(now);
  }
  EXPECT_LT(now, NOON + 1200);
  tellNumber("-9223372036854775808", NOON);
  tellNumber("9223372036854775807", NOON);
  for (double after = 0; after < 400; ++after) {
    table.missingSince(NOON + after);
  }
  EXPECT_EQ(SiteTable::MOST_LOST, table.takeLost());  // and not 2^53 of them
}

// A node that is behind repeats what was told before the value that got lost.
TEST_F(SiteTableGapTest, WhatABrokerRepeatsDoesNotTellThatNothingWasMissing) {
  tell(1, NOON);
  table.take(BROKER, own + "Camera1", alarm(true, 1), NOON + 100, true);
  tell(4, NOON + 110);
  EXPECT_EQ(NOON, table.missingSince(NOON + 120));
}

// The node may be behind with the later one, too, of which the rest was lost.
TEST_F(SiteTableGapTest, LaterValueThatABrokerRepeatsDoesNotTellThatNothingHasComeSince) {
  tell(1, NOON);
  table.take(BROKER, own + "Camera1", alarm(false, 2), NOON + 100, true);
  tell(5, NOON + 110);
  EXPECT_EQ(NOON, table.missingSince(NOON + 120));
}

// What a page is told when it begins may be as old as a site may be silent.
TEST_F(SiteTableGapTest, FirstValueThatABrokerRepeatsMayBeAsOldAsASiteMayBeSilent) {
  table.take(BROKER, own + "Camera1", alarm(true, 1), NOON, true);
  tell(4, NOON + 10);
  EXPECT_EQ(NOON - SiteTable::SILENCE, table.missingSince(NOON + 20));
  tell(4, NOON + 70);
  tell(7, NOON + 80);
  takeKept(2, 3);
  EXPECT_EQ(NOON - SiteTable::SILENCE, table.missingSince(NOON + 90)) << "the gap that is open";
}

TEST_F(SiteTableGapTest, NoMoreIsListedOfAGapThanTheListHolds) {
  const int last = 3 * static_cast<int>(SiteTable::LAST_ALARMS);
  tell(1, NOON);
  tell(last, NOON + 10);
  newAlarms(&table, NOON + 10);
  takeKept(2, last - 1);
  const std::vector<std::string> late = news(NOON + 20);
  ASSERT_EQ(SiteTable::LAST_ALARMS, late.size());
  EXPECT_EQ("Camera1 " + std::to_string(last - 1), late.back());
  EXPECT_EQ(0u, table.takeLost());
}

TEST_F(SiteTableGapTest, LateValueWhoseFollowersHaveLeftTheListIsNotTheLatestOne) {
  const auto fill = [this](int alarms) {
    for (int seq = 1; seq <= alarms; ++seq) {
      take(own + "Camera2", alarm(seq % 2 == 1, seq));
    }
  };
  tell(1, NOON);
  tell(4, NOON + 10);
  fill(static_cast<int>(SiteTable::LAST_ALARMS));
  newAlarms(&table, NOON + 10);
  takeKept(2, 3);
  EXPECT_THAT(news(NOON + 11), ElementsAre("Camera1 2", "Camera1 3"));  // a page sorts them
  EXPECT_EQ(std::string::npos, everything().find(R"("alarm":"Camera1")"));
  EXPECT_NE(std::string::npos, everything().find("\"T1\""));  // Camera2's first one
}

TEST_F(SiteTableGapTest, FirstWordOfADeviceIsNoGapAndANewStartBeginsWithItsDeclaration) {
  tell(7, NOON);
  tell(2, NOON + 10, "T");
  EXPECT_FALSE(table.missingSince(NOON + 100));
  tell(5, NOON + 110, "U");
  EXPECT_EQ(NOON + 10, table.missingSince(NOON + 120));
  takeKept(2, 4, "U");
  table.missingSince(NOON + 121);
  EXPECT_EQ(0u, table.takeLost());
}

// Of two brokers the one that was away tells what had waited, when the other has told more.
TEST_F(SiteTableGapTest, ValueOfAFormerStartIsNoLaterOne) {
  tell(1, NOON, "2026-02");
  tell(2, NOON + 1, "2026-01");  // its clock was set back
  tell(3, NOON + 2, "2026-01");
  newAlarms(&table, NOON + 2);
  tell(2, NOON + 3, "2026-02");
  tell(9, NOON + 4, "2026-02");
  EXPECT_THAT(news(NOON + 20), IsEmpty());
  EXPECT_THAT(everything(), HasSubstr(R"("alarms":["Camera1"],"url")"));
  EXPECT_FALSE(table.missingSince(NOON + 30));
}

TEST_F(SiteTableGapTest, FormerStartIsOneThoughItsValueWasCleared) {
  take("sites/north/SentrelVideo/device", "offline");  // or all would be forgotten with the value
  tell(3, NOON, "2026-01");
  take(own + "Camera1", "", NOON + 1);
  tell(1, NOON + 2, "2026-02");
  newAlarms(&table, NOON + 2);
  tell(4, NOON + 3, "2026-01");
  EXPECT_THAT(newAlarms(&table, NOON + 3), IsEmpty());
  tell(2, NOON + 4, "2026-02");
  EXPECT_THAT(newAlarms(&table, NOON + 4), ElementsAre("Camera1 2"));
}

// A page that has just begun knows of no former start: the device's word of itself puts it right.
TEST_F(SiteTableGapTest, PresentStartWinsAgainstAFormerOneThatWasTakenForNew) {
  const std::string about = "sites/north/SentrelVideo/about";
  table.take(BROKER, about, R"({"start":"2026-01"})", NOON, true);
  tell(1, NOON, "2026-02");
  tell(7, NOON + 1, "2026-01");
  newAlarms(&table, NOON + 1);
  tell(2, NOON + 2, "2026-02");
  EXPECT_THAT(newAlarms(&table, NOON + 2), IsEmpty()) << "taken for a former start's";
  take(about, R"({"start":"2026-02"})", NOON + 3);
  table.take(BROKER, about, R"({"start":"2026-01"})", NOON + 4, true);  // a node is behind
  tell(4, NOON + 5, "2026-02");
  EXPECT_THAT(newAlarms(&table, NOON + 5), ElementsAre("Camera1 4"));
  tell(8, NOON + 6, "2026-01");
  tell(5, NOON + 7, "2026-02");
  EXPECT_THAT(newAlarms(&table, NOON + 7), ElementsAre("Camera1 5"));
}

TEST_F(SiteTableGapTest, EarlierStartThatABrokerRepeatsIsNoLaterOne) {
  tell(3, NOON, "2026-02");
  newAlarms(&table, NOON);
  table.take(BROKER, own + "Camera1", alarm(false, 8, "2026-01"), NOON + 1, true);
  tell(4, NOON + 2, "2026-02");
  EXPECT_THAT(newAlarms(&table, NOON + 2), ElementsAre("Camera1 4"));
  EXPECT_FALSE(table.missingSince(NOON + 30));
}

TEST_F(SiteTableGapTest, LookAtWhichNothingCouldBeToldIsNone) {
  tell(1, NOON);
  tell(4, NOON + 10);
  double now = NOON + 10;
  for (int times = 0; times < 3 * SiteTable::MOST_LOOKS; ++now) {
    if (table.missingSince(now)) {
      table.lookedInVain(now);
      ++times;
    }
    ASSERT_LT(now, NOON + 200);
  }
  EXPECT_EQ(0u, table.takeLost());
  EXPECT_FALSE(table.missingSince(now + SiteTable::ANSWER - 2));
  EXPECT_EQ(NOON, table.missingSince(now + SiteTable::ANSWER));
  takeKept(2, 3);
  EXPECT_THAT(news(now + SiteTable::ANSWER),
              ElementsAre("Camera1 1", "Camera1 4", "Camera1 2", "Camera1 3"));
}

TEST_F(SiteTableGapTest, WhatIsMissingOfAnAlarmThatIsGoneIsLookedForYet) {
  tell(1, NOON);
  tell(4, NOON + 10);
  take(own + "Camera1", "", NOON + 11);
  EXPECT_EQ(NOON, table.missingSince(NOON + 20));
  takeKept(2, 3);
  EXPECT_THAT(news(NOON + 21), ElementsAre("Camera1 1", "Camera1 4", "Camera1 2", "Camera1 3"));
}

// As a device does that starts again.
TEST_F(SiteTableGapTest, WhatIsMissingIsLookedForAlsoOnceTheAlarmIsDeclaredAnew) {
  for (const bool isCleared : {true, false}) {
    table = SiteTable();
    tell(1, NOON);
    tell(4, NOON + 10);
    if (isCleared) {
      take(own + "Camera1", "", NOON + 11);
    }
    tell(1, NOON + 11, "T");
    EXPECT_EQ(NOON, table.missingSince(NOON + 20));
    takeKept(2, 3);
    EXPECT_THAT(news(NOON + 21), testing::IsSupersetOf({"Camera1 2", "Camera1 3"}));
    EXPECT_EQ(0u, table.takeLost());
  }
}

TEST_F(SiteTableGapTest, GapThatCannotBeLookedForHasABound) {
  double now = NOON;
  for (int seq = 1; table.takeLost() == 0 && now < NOON + 3000; seq += 2, ++now) {
    tell(seq, now);
    if (table.missingSince(now)) {
      table.lookedInVain(now);
    }
  }
  EXPECT_LT(now, NOON + 1200);
}

TEST_F(SiteTableGapTest, AlarmsThatAreGoneMakeRoom) {
  const int many = 2 * static_cast<int>(SiteTable::MOST_PLACES);
  for (int number = 1; number <= many; ++number) {
    const std::string topic = own + "Camera" + std::to_string(number);
    take(topic, alarm(true, 1));
    if (number < many) {
      take(topic, "");
    }
  }
  EXPECT_THAT(everything(),
              HasSubstr(R"("alarms":["Camera)" + std::to_string(many) + R"("],"url")"));
}

TEST_F(SiteTableTest, AlarmThatIsUndeclaredIsGone) {
  take("sites/north/SentrelVideo/device", "online");
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
