#include "web_server/alarm_outbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/temporary_folder.h"

namespace device {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class AlarmOutboxTest : public testing::Test {
 protected:
  static std::vector<std::string> payloadsOf(const AlarmOutbox& outbox) {
    std::vector<std::string> payloads;
    for (const AlarmOutbox::Alarm& alarm : outbox.getWaiting()) {
      payloads.push_back(alarm.payload);
    }
    return payloads;
  }

  // As another process would.
  std::vector<std::string> readAnew() const { return payloadsOf(AlarmOutbox(path)); }

  TemporaryFolder folder;
  const std::filesystem::path path = folder / "alarms";
};

TEST_F(AlarmOutboxTest, AlarmsWaitInTheirOrderAndOutliveTheOutbox) {
  {
    AlarmOutbox outbox(path);
    outbox.append("t/a", "1");
    outbox.append("t/b", "2");
    outbox.append("t/a", std::string("with \0 zero", 11));
  }
  AlarmOutbox outbox(path);
  EXPECT_THAT(payloadsOf(outbox), ElementsAre("1", "2", std::string("with \0 zero", 11)));
  EXPECT_EQ("t/b", outbox.getWaiting()[1].topic);
  outbox.append("t/a", "4");
  EXPECT_EQ("4", payloadsOf(outbox).back());
}

TEST_F(AlarmOutboxTest, TopicsAreKeptUntilTheyAreForgotten) {
  {
    AlarmOutbox outbox(path);
    for (const char* topic : {"t/a", "t/b", "t/a", "t/c"}) {
      outbox.keepTopic(topic);
    }
    outbox.forgetTopics({"t/b", "t/unknown"});
    EXPECT_THAT(outbox.getTopics(), ElementsAre("t/a", "t/c"));
  }
  AlarmOutbox outbox(path);
  EXPECT_THAT(outbox.getTopics(), ElementsAre("t/a", "t/c"));
  EXPECT_THAT(outbox.getWaiting(), IsEmpty());
}

TEST_F(AlarmOutboxTest, AcknowledgedOnesAreGoneWhereverTheyStand) {
  {
    AlarmOutbox outbox(path);
    outbox.append("t", "1");
    const std::int64_t second = outbox.append("t", "2");
    outbox.append("t", "3");
    const std::int64_t fourth = outbox.append("t", "4");
    outbox.acknowledge({fourth, second, 77});
    EXPECT_THAT(payloadsOf(outbox), ElementsAre("1", "3"));
  }
  EXPECT_THAT(readAnew(), ElementsAre("1", "3"));
}

TEST_F(AlarmOutboxTest, OldestAreGivenUpBeyondTheLimitAndCountedForGood) {
  {
    AlarmOutbox outbox(path, 2);
    for (const char* payload : {"1", "2", "3", "4"}) {
      outbox.append("t", payload);
    }
    EXPECT_THAT(payloadsOf(outbox), ElementsAre("3", "4"));
    EXPECT_EQ(2u, outbox.getDropped());
  }
  AlarmOutbox outbox(path, 2);
  EXPECT_THAT(payloadsOf(outbox), ElementsAre("3", "4"));
  EXPECT_EQ(2u, outbox.getDropped());
  outbox.append("t", "5");
  EXPECT_EQ(3u, outbox.getDropped());
}

TEST_F(AlarmOutboxTest, AlarmIsInTheFileWhenAppendHasReturned) {
  const pid_t device = fork();
  if (device == 0) {
    AlarmOutbox outbox(path);
    outbox.acknowledge({outbox.append("t", "1")});
    outbox.append("t", "2");
    outbox.append("t", "3");
    kill(getpid(), SIGKILL);
  }
  int status = 0;
  waitpid(device, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_THAT(readAnew(), ElementsAre("2", "3"));
}

TEST_F(AlarmOutboxTest, FileOfAnotherProcessIsRefused) {
  const AlarmOutbox outbox(path);
  EXPECT_THROW(AlarmOutbox{path}, std::runtime_error);
}

TEST_F(AlarmOutboxTest, FileThatCannotBeMadeIsRefusedByItsName) {
  try {
    const AlarmOutbox outbox(folder / "none/alarms");
    ADD_FAILURE() << "no error";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("none/alarms: unable to open"));
  }
}

TEST_F(AlarmOutboxTest, DamagedFileIsPutAside) {
  const std::string damage(5000, 'x');
  writeText(path, damage);
  {
    AlarmOutbox outbox(path);
    EXPECT_THAT(outbox.takeNews(), ElementsAre(HasSubstr(path.string() + ".damaged")));
    outbox.append("t", "1");
  }
  EXPECT_EQ(damage, readText(path.string() + ".damaged"));
  EXPECT_THAT(readAnew(), ElementsAre("1"));
}

// A limit of the size of files is as good as a full disk.
TEST_F(AlarmOutboxTest, AlarmsWaitInMemoryWhileTheFileCannotBeWritten) {
  std::optional<AlarmOutbox> outbox(path);
  const std::int64_t first = outbox->append("t", "1");
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{1, before.rlim_max};
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  outbox->append("t", "2");
  outbox->acknowledge({first});
  outbox->append("t", "3");
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, handler);
  EXPECT_THAT(payloadsOf(*outbox), ElementsAre("2", "3"));
  EXPECT_THAT(outbox->takeNews(), ElementsAre(HasSubstr("alarms wait in memory")));
  outbox->append("t", "4");
  EXPECT_THAT(outbox->takeNews(), IsEmpty());
  outbox.reset();
  EXPECT_THAT(readAnew(), ElementsAre("2", "3", "4"));
}

TEST_F(AlarmOutboxTest, WithoutAPathNoFileIsMade) {
  AlarmOutbox outbox("", 1);
  outbox.append("t", "1");
  outbox.append("t", "2");
  EXPECT_THAT(payloadsOf(outbox), ElementsAre("2"));
  EXPECT_EQ(1u, outbox.getDropped());
  EXPECT_EQ(0, folder.fileCount());
}

}  // namespace
}  // namespace device
