#include "services/syslog_server.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <vector>

#include "base/file_descriptor.h"
#include "private_bus.h"
#include "support/temporary_folder.h"

namespace device {
namespace {

TEST(SyslogTest, MessageOfTheCLibraryIsTakenApart) {
  const SyslogLine line =
      parseSyslog("<11>Nov 21 01:05:00 SentrelVideo: Could not read scene.\n\n");
  EXPECT_EQ(3, line.severity);
  EXPECT_EQ("SentrelVideo", line.ident);
  EXPECT_EQ("Could not read scene.", line.text);
}

TEST(SyslogTest, ProcessIdBehindTheNameIsLeftOut) {
  const SyslogLine line = parseSyslog("<12>Jan  1 00:00:00 app[123]: a: b");
  EXPECT_EQ(4, line.severity);
  EXPECT_EQ("app", line.ident);
  EXPECT_EQ("a: b", line.text);
}

TEST(SyslogTest, WhatDoesNotFollowTheFormIsText) {
  const SyslogLine plain = parseSyslog("two words: text");
  EXPECT_EQ(5, plain.severity);
  EXPECT_EQ("", plain.ident);
  EXPECT_EQ("two words: text", plain.text);
  for (const char* odd : {"<", "<12", "<x>y", "", "<99999999999>z"}) {
    EXPECT_EQ(odd, parseSyslog(odd).text);
  }
}

TEST(SyslogTest, SeveritiesHaveNames) {
  EXPECT_STREQ("emerg", severityName(0));
  EXPECT_STREQ("err", severityName(3));
  EXPECT_STREQ("warning", severityName(4));
  EXPECT_STREQ("debug", severityName(7));
}

TEST(SyslogServerTest, DatagramsAreHandedOverAndDrainedAtTheEnd) {
  const TemporaryFolder folder;
  const std::string path = folder / "log";
  std::vector<std::string> texts;
  {
    SyslogServer server(path, [&](const SyslogLine& line) { texts.push_back(line.text); });
    const FileDescriptor fd(socket(AF_UNIX, SOCK_DGRAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const auto send = [&](const std::string& text) {
      return sendto(fd.get(), text.data(), text.size(), 0, reinterpret_cast<sockaddr*>(&address),
                    sizeof(address));
    };
    EXPECT_GT(send("<13>first"), 0);
    EXPECT_TRUE(iterateUntil([&] { return texts.size() == 1; }));
    EXPECT_GT(send("<13>second"), 0);
    EXPECT_GT(send("<13>third"), 0);
    server.drain();
  }
  EXPECT_EQ((std::vector<std::string>{"first", "second", "third"}), texts);
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace device
