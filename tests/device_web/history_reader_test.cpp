#include "fleet/history_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/file_descriptor.h"
#include "base/glib_ptr.h"
#include "fleet/alarm_entry.h"
#include "history_node.h"
#include "web_server/event_json.h"

namespace device {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

WebAnswer answerTo(HistoryReader* reader, const std::function<void(WebServer::Reply)>& ask) {
  std::optional<WebAnswer> answer;
  ask([&](const WebAnswer& given) { answer = given; });
  const auto deadline = std::chrono::steady_clock::now() + BROKER_PATIENCE;
  while (!answer && std::chrono::steady_clock::now() < deadline) {
    usleep(1000);  // between two looks
    reader->deliver();
  }
  return answer.value_or(WebAnswer{.status = 0, .body = ""});
}

WebAnswer ask(HistoryReader* reader, const std::string& site) {
  return answerTo(reader, [&](WebServer::Reply reply) { reader->ask(site, std::move(reply)); });
}

// As "site seq"; "fault" where it cannot be read, "none" where nothing is answered.
std::vector<std::string> alarmsSince(HistoryReader* reader, const std::string& time) {
  std::optional<std::vector<std::string>> alarms;
  answerTo(reader, [&](WebServer::Reply reply) {
    reader->askSince(time, [&alarms, reply = std::move(reply)](const HistoryReader::Alarms* kept) {
      alarms.emplace(kept == nullptr ? 1 : 0, "fault");
      for (const JsonAutoPtr& entry : kept != nullptr ? *kept : HistoryReader::Alarms()) {
        alarms->push_back(textOf(entry.get(), "site") + ' ' +
                          std::to_string(EventNumber::of(entry.get()).count));
      }
      reply({});
    });
  });
  return alarms.value_or(std::vector<std::string>{"none"});
}

std::size_t alarmsIn(const WebAnswer& answer) {
  std::size_t count = 0;
  for (std::size_t at = answer.body.find("\"site\""); at != std::string::npos;
       at = answer.body.find("\"site\"", at + 1)) {
    ++count;
  }
  return count;
}

TEST(HistoryReaderTest, AlarmsOfAllAndOfOneAreRead) {
  HistoryNode node;
  node.keepAlarms();
  for (int number = 1; number <= 1200; ++number) {
    node.tell("north", "Camera1ProfileANY", number);
  }
  node.tell("south", "CameraANY", 1201);
  node.tell("south", "state", 1203);
  node.complete();
  HistoryReader reader({.port = node.getPort(), .password = "word"});
  const WebAnswer all = ask(&reader, "");
  EXPECT_EQ(200u, all.status);
  EXPECT_THAT(all.body, AllOf(HasSubstr(R"({"since":"1702")"), HasSubstr(R"("site":"south")"),
                              HasSubstr(R"("time":"2200")"), HasSubstr(R"("time":"1702")"),
                              Not(HasSubstr(R"("time":"1701")")), Not(HasSubstr("state"))));
  const WebAnswer one = ask(&reader, "south");
  EXPECT_THAT(one.body, HasSubstr(R"({"since":"20)"));
  EXPECT_THAT(one.body, HasSubstr(R"("alarms":[{"site":"south","alarm":"CameraANY","nice":"",)"
                                  R"("time":"2201","active":true,"start":"S","seq":1201}]})"));
}

TEST(HistoryReaderTest, EverythingSinceATimeIsReadAndNotTheWholeHistory) {
  HistoryNode node;
  node.keepAlarms();
  for (int number = 1; number <= 5000; ++number) {
    node.tell("north", "Camera1ProfileANY", number);
  }
  node.complete();
  const std::string since = isoTime(g_get_real_time());
  node.tellNow("north", "Camera1ProfileANY");
  node.tellNow("south", "CameraANY");
  HistoryReader reader({.port = node.getPort(), .password = "word"}, {.time = BROKER_PATIENCE});
  const std::vector<std::string> alarms = alarmsSince(&reader, since);
  // More than the last ones, and only the 4096 that are read in the first step.
  EXPECT_THAT(alarms, AllOf(Contains("south 9999"), Contains("north 9999"), Contains("north 4500"),
                            Not(Contains("north 900"))));
  EXPECT_EQ(4096u, alarms.size());
}

TEST(HistoryReaderTest, FaultIsNoEmptyHistory) {
  HistoryReader reader(
      {.port = static_cast<std::uint16_t>(ReservedPort().getNumber()), .password = "word"});
  EXPECT_THAT(alarmsSince(&reader, isoTime(g_get_real_time())), ElementsAre("fault"));
  HistoryNode node;
  node.keepAlarms();
  HistoryReader empty({.port = node.getPort(), .password = "word"});
  EXPECT_THAT(alarmsSince(&empty, isoTime(g_get_real_time())), IsEmpty());
}

TEST(HistoryReaderTest, NoMoreIsReadThanTheBoundsAllow) {
  HistoryNode node;
  node.keepAlarms();
  for (int number = 1; number <= 5000; ++number) {
    node.tell("north", "Camera1ProfileANY", number);
  }
  node.complete();
  const HistoryAccess access{.port = node.getPort(), .password = "word"};
  HistoryReader few(access, {.messages = 100});
  EXPECT_EQ(100u, alarmsIn(ask(&few, "")));
  EXPECT_GE(101u, alarmsIn(ask(&few, "north")));
  HistoryReader hurried(access, {.time = std::chrono::milliseconds(1)});
  const WebAnswer answer = ask(&hurried, "");
  EXPECT_EQ(200u, answer.status);
  EXPECT_GT(HistoryReader::MOST, alarmsIn(answer));
  EXPECT_THAT(answer.body, HasSubstr(R"({"since":"20)"));
}

// A node that says nothing is waited for, by one question beside the other.
TEST(HistoryReaderTest, QuestionThatTakesLongHoldsUpNoOther) {
  const FileDescriptor silent(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(address);
  ASSERT_EQ(0, bind(silent.get(), reinterpret_cast<sockaddr*>(&address), size));
  ASSERT_EQ(0, listen(silent.get(), 64));
  ASSERT_EQ(0, getsockname(silent.get(), reinterpret_cast<sockaddr*>(&address), &size));
  HistoryReader reader({.port = ntohs(address.sin_port), .password = "word"},
                       {.answer = 4 * BROKER_PATIENCE});
  std::size_t answered = 0;
  for (const char* site : {"a", "b", "c", "d", "e", "a"}) {
    reader.ask(site, [&](const WebAnswer& answer) { answered += answer.status == 503u ? 1 : 0; });
  }
  std::vector<FileDescriptor> asking;
  const auto isAsked = [&] {
    pollfd asked{.fd = silent.get(), .events = POLLIN, .revents = 0};
    return poll(&asked, 1, std::chrono::milliseconds(BROKER_PATIENCE).count()) == 1;
  };
  while (asking.size() < HistoryReader::READERS && isAsked()) {
    asking.emplace_back(accept(silent.get(), nullptr, nullptr));
  }
  EXPECT_EQ(HistoryReader::READERS, asking.size());
  // With the end of one of them the next has its turn; what is asked twice is asked for once.
  asking.pop_back();
  ASSERT_TRUE(isAsked());
  asking.emplace_back(accept(silent.get(), nullptr, nullptr));
  asking.clear();
  const auto deadline = std::chrono::steady_clock::now() + BROKER_PATIENCE;
  while (answered < 6 && std::chrono::steady_clock::now() < deadline) {
    usleep(1000);  // between two looks
    reader.deliver();
  }
  EXPECT_EQ(6u, answered);
}

TEST(HistoryReaderTest, WhatCannotBeReadIsTold) {
  HistoryNode node;
  node.keepAlarms();
  HistoryReader reader({.port = node.getPort(), .password = "word"});
  EXPECT_THAT(ask(&reader, "").body, HasSubstr(R"("alarms":[]})"));
  HistoryReader stranger({.port = node.getPort(), .password = "wrong"});
  const WebAnswer refused = ask(&stranger, "");
  EXPECT_EQ(503u, refused.status);
  EXPECT_THAT(refused.body, Not(HasSubstr("wrong")));
  const ReservedPort nobody;
  HistoryReader early({.port = static_cast<std::uint16_t>(nobody.getNumber()), .password = "word"});
  EXPECT_EQ(503u, ask(&early, "").status);
}

}  // namespace
}  // namespace device
