#include "base/local_socket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "support/temporary_folder.h"

namespace {

std::array<FileDescriptor, 2> socketPair() {
  std::array<int, 2> ends{-1, -1};
  EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()));
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

TEST(LocalSocketTest, SendingToAPeerThatHasLeftIsAnErrorAndNoSignal) {
  std::signal(SIGPIPE, SIG_DFL);  // libraries of the process may have it ignored
  auto [mine, other] = socketPair();
  other.reset();
  EXPECT_FALSE(local_socket::sendAll(mine.get(), std::vector<std::uint8_t>{1}));
  EXPECT_EQ(EPIPE, errno);
}

TEST(LocalSocketTest, ReceivingFillsWhatWasAskedForOrFails) {
  auto [mine, other] = socketPair();
  ASSERT_TRUE(local_socket::sendAll(other.get(), std::vector<std::uint8_t>{1, 2, 3}));
  other.reset();
  std::vector<std::uint8_t> two(2);
  EXPECT_TRUE(local_socket::receiveAll(mine.get(), two));
  EXPECT_EQ((std::vector<std::uint8_t>{1, 2}), two);
  EXPECT_FALSE(local_socket::receiveAll(mine.get(), two));
  EXPECT_EQ(0, errno);
}

TEST(LocalSocketTest, APathThatIsEmptyOrTooLongIsAnError) {
  EXPECT_FALSE(local_socket::connectTo("").isOpen());
  EXPECT_FALSE(local_socket::connectTo("/" + std::string(107, 'n')).isOpen());
  EXPECT_EQ(ENAMETOOLONG, errno);
  EXPECT_FALSE(local_socket::connectTo("/" + std::string(106, 'n')).isOpen());
  EXPECT_EQ(ENOENT, errno);
}

TEST(LocalSocketTest, ALongPathCanBeCutToWhatAnAddressHolds) {
  const TemporaryFolder folder;
  const std::string longest = folder / std::string(107 - (folder / "").size(), 'n');
  ASSERT_EQ(107U, longest.size());
  const FileDescriptor service = local_socket::listenAt(longest);
  ASSERT_TRUE(service.isOpen());
  // The address of a listening socket ends with a zero byte, the cut one does not.
  EXPECT_FALSE(local_socket::connectTo(longest + "xy", {}, local_socket::LongPath::cut).isOpen());
  EXPECT_EQ(ENOENT, errno);
  EXPECT_TRUE(local_socket::connectTo(longest, {}, local_socket::LongPath::cut).isOpen());
}

// Fills the service's queue: nobody accepts.
std::vector<FileDescriptor> fillQueue(const std::string& path) {
  std::vector<FileDescriptor> waiting;
  while (true) {
    FileDescriptor next = local_socket::connectTo(path);
    if (!next.isOpen()) {
      return waiting;
    }
    waiting.push_back(std::move(next));
  }
}

TEST(LocalSocketTest, WithoutATimeOutAFullQueueIsAnErrorAtOnce) {
  const TemporaryFolder folder;
  const FileDescriptor service = local_socket::listenAt(folder / "socket");
  const auto waiting = fillQueue(folder / "socket");
  EXPECT_FALSE(waiting.empty());
  EXPECT_EQ(EAGAIN, errno);
}

TEST(LocalSocketTest, ATimeOutEndsTheWaitForAFullQueue) {
  const TemporaryFolder folder;
  const FileDescriptor service = local_socket::listenAt(folder / "socket");
  const auto waiting = fillQueue(folder / "socket");
  EXPECT_FALSE(local_socket::connectTo(folder / "socket", std::chrono::milliseconds(20)).isOpen());
  EXPECT_EQ(EAGAIN, errno);
}

TEST(LocalSocketTest, ATimeOutHoldsForWhatIsReceivedLater) {
  const TemporaryFolder folder;
  const FileDescriptor service = local_socket::listenAt(folder / "socket");
  const FileDescriptor client =
      local_socket::connectTo(folder / "socket", std::chrono::milliseconds(20));
  ASSERT_TRUE(client.isOpen());
  std::vector<std::uint8_t> one(1);
  EXPECT_FALSE(local_socket::receiveAll(client.get(), one));
  EXPECT_EQ(EAGAIN, errno);
}

TEST(LocalSocketTest, ADescriptorWaitsUnlessToldOtherwise) {
  const TemporaryFolder folder;
  const FileDescriptor service = local_socket::listenAt(folder / "socket");
  const FileDescriptor client = local_socket::connectTo(folder / "socket");
  EXPECT_EQ(0, fcntl(client.get(), F_GETFL) & O_NONBLOCK);
  ASSERT_TRUE(local_socket::setBlocking(client.get(), false));
  ASSERT_NE(0, fcntl(client.get(), F_GETFL) & O_NONBLOCK);
  std::vector<std::uint8_t> one(1);
  EXPECT_FALSE(local_socket::receiveAll(client.get(), one));
  EXPECT_EQ(EAGAIN, errno);
  ASSERT_TRUE(local_socket::setBlocking(client.get(), true));
  EXPECT_EQ(0, fcntl(client.get(), F_GETFL) & O_NONBLOCK);
  EXPECT_FALSE(local_socket::setBlocking(-1, true));
}

TEST(LocalSocketTest, APathInUseIsAnError) {
  const TemporaryFolder folder;
  const FileDescriptor first = local_socket::listenAt(folder / "socket");
  ASSERT_TRUE(first.isOpen());
  EXPECT_FALSE(local_socket::listenAt(folder / "socket").isOpen());
  EXPECT_EQ(EADDRINUSE, errno);
}

}  // namespace
