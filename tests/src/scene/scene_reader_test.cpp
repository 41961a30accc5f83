#include "scene/scene_reader.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "base/file_descriptor.h"
#include "fakes/log_capture.h"
#include "support/open_descriptors.h"
#include "support/temporary_folder.h"

namespace {

using namespace std::string_literals;
using testing::MatchesRegex;

const API_Version OLD("1.0");
const API_Version NEW("1.1");
constexpr std::int32_t LARGEST = 16 << 20;

void sendAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    ASSERT_GT(count, 0);
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

// What has arrived so far.
std::string receiveWaiting(int fd) {
  std::array<char, 4096> buffer;
  const ssize_t count = recv(fd, buffer.data(), buffer.size(), MSG_DONTWAIT);
  return count > 0 ? std::string(buffer.data(), static_cast<std::size_t>(count)) : std::string();
}

// A path in a folder of its own, of that many characters where a length is given.
class SocketPath {
 public:
  explicit SocketPath(std::size_t length = 0) {
    if (length > path.size()) {
      path.resize(length, 's');
    }
  }

  const std::string& get() const { return path; }

 private:
  TemporaryFolder folder;
  std::string path = folder / "s";
};

int listenAt(const std::string& path) {
  const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), std::min(path.size(), sizeof(address.sun_path)));
  if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
      listen(fd, 1) != 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

TEST(SceneReaderConnect, ReachesTheListeningService) {
  const SocketPath path;
  const FileDescriptor listener(listenAt(path.get()));
  ASSERT_GE(listener.get(), 0);
  const LogCapture log;
  const int fd = SceneReader::connect(path.get());
  ASSERT_GE(fd, 0);
  const FileDescriptor service(accept(listener.get(), nullptr, nullptr));
  sendAll(service.get(), "1.0 OK\0"s);
  EXPECT_TRUE(SceneReader::initialize(fd, 2, 1, OLD).success);
  EXPECT_EQ("1.0 OPEN 0 1 0 1\n", receiveWaiting(service.get()));
  SceneReader::disconnect(fd);
  EXPECT_FALSE(isOpen(fd));
  EXPECT_TRUE(log.lines().empty());
}

TEST(SceneReaderConnect, FailureIsLoggedAsAnError) {
  const SocketPath path;
  const LogCapture log;
  EXPECT_EQ(-1, SceneReader::connect(path.get()));
  ASSERT_EQ(1u, log.lines().size());
  EXPECT_EQ(LOG_ERR, log.lines()[0].priority);
  EXPECT_THAT(log.lines()[0].text,
              MatchesRegex("Could not connect to service, result: -?[0-9]+\n\n"));
}

TEST(SceneReaderConnect, FailureLeavesNoDescriptorOpen) {
  const SocketPath path;
  const auto before = openDescriptors();
  for (int i = 0; i < 10; ++i) {
    SceneReader::connect(path.get());
  }
  EXPECT_EQ(before, openDescriptors());
}

TEST(SceneReaderConnect, UsesAtMost108CharactersOfThePath) {
  const SocketPath path(108);
  const FileDescriptor listener(listenAt(path.get()));
  ASSERT_GE(listener.get(), 0);
  for (const std::string& given : {path.get(), path.get() + "and more"}) {
    const int fd = SceneReader::connect(given);
    EXPECT_GE(fd, 0) << given.size();
    if (fd >= 0) {
      SceneReader::disconnect(fd);
    }
    const FileDescriptor service(accept4(listener.get(), nullptr, nullptr, SOCK_NONBLOCK));
  }
}

TEST(SceneReaderConnect, AServiceWithAFullQueueIsNotWaitedFor) {
  const SocketPath path;
  const FileDescriptor listener(listenAt(path.get()));
  ASSERT_GE(listener.get(), 0);
  std::vector<FileDescriptor> waiting;
  const LogCapture log;
  const auto begin = std::chrono::steady_clock::now();
  while (log.lines().empty() && waiting.size() < 100) {
    waiting.emplace_back(SceneReader::connect(path.get()));
  }
  // A wait would last for as long as a send may.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
  ASSERT_EQ(1u, log.lines().size());
  EXPECT_EQ("Could not connect to service, result: -1\n\n", log.lines()[0].text);
  EXPECT_EQ(-1, waiting.back().get());
}

TEST(SceneReaderConnect, WhatIsSentAndReceivedLaterIsLimitedToFiveSeconds) {
  const SocketPath path;
  const FileDescriptor listener(listenAt(path.get()));
  const FileDescriptor client(SceneReader::connect(path.get()));
  ASSERT_GE(client.get(), 0);
  EXPECT_EQ(0, fcntl(client.get(), F_GETFL) & O_NONBLOCK);
  for (const int option : {SO_RCVTIMEO, SO_SNDTIMEO}) {
    timeval limit{};
    socklen_t size = sizeof(limit);
    ASSERT_EQ(0, getsockopt(client.get(), SOL_SOCKET, option, &limit, &size));
    EXPECT_EQ(5, limit.tv_sec) << option;
    EXPECT_EQ(0, limit.tv_usec) << option;
  }
}

TEST(SceneReaderConnect, KnowsTheServicesPath) {
  EXPECT_STREQ("/var/run/strata/scenes", SceneReader::SCENE_SOCKET_PATH);
}

// Both ends of a stream; the test plays the service. What it writes waits in the socket, so that
// most of it can be written beforehand.
class SceneReaderStream : public testing::Test {
 protected:
  SceneReaderStream() : SceneReaderStream(SOCK_STREAM) {}
  explicit SceneReaderStream(int type) {
    std::array<int, 2> ends = {-1, -1};
    if (socketpair(AF_UNIX, type, 0, ends.data()) != 0) {
      throw std::runtime_error("no socket pair");
    }
    readerEnd = FileDescriptor(ends[0]);
    serviceEnd = FileDescriptor(ends[1]);
    LogCapture::clear();
  }

  int reader() const { return readerEnd.get(); }
  int service() const { return serviceEnd.get(); }
  void closeService() { serviceEnd.reset(); }
  void answer(std::string_view bytes) { sendAll(service(), bytes); }
  std::string request() const { return receiveWaiting(service()); }

  SceneReaderResult initialize(std::int32_t mask = 2, int channel = 1,
                               const API_Version& version = OLD) {
    return SceneReader::initialize(reader(), mask, channel, version);
  }

 private:
  FileDescriptor readerEnd;
  FileDescriptor serviceEnd;
};

using SceneReaderHandshake = SceneReaderStream;

TEST_F(SceneReaderHandshake, InvalidDescriptorIsLogged) {
  const SceneReaderResult result = SceneReader::initialize(-1, 14, 1, OLD);
  EXPECT_FALSE(result.success);
  EXPECT_FALSE(result.version.isValid());
  EXPECT_EQ(1, LogCapture::count(LOG_WARNING, "Invalid scene descriptor: -1\n\n"));
  EXPECT_EQ(1u, LogCapture::lines().size());
}

TEST_F(SceneReaderHandshake, InvalidDescriptorIsLoggedWithItsNumber) {
  SceneReader::initialize(-7, 14, 1, OLD);
  EXPECT_EQ(1, LogCapture::count(LOG_WARNING, "Invalid scene descriptor: -7\n\n"));
}

struct RequestCase {
  const char* version;
  std::int32_t mask;
  int channel;
  const char* line;
};

class SceneReaderRequest : public SceneReaderStream,
                           public testing::WithParamInterface<RequestCase> {};

TEST_P(SceneReaderRequest, NamesTheSupportedCapabilitiesAndTheChannel) {
  const auto& [version, mask, channel, line] = GetParam();
  answer(version + " OK\0"s);
  EXPECT_TRUE(initialize(mask, channel, API_Version(version)).success);
  EXPECT_EQ(line, request());
  EXPECT_TRUE(LogCapture::lines().empty());
}

INSTANTIATE_TEST_SUITE_P(VersionsAndMasks, SceneReaderRequest,
                         testing::Values(RequestCase{"1.0", 3, 1, "1.0 OPEN 1 1 0 1\n"},
                                         RequestCase{"1.0", 14, 4, "1.0 OPEN 0 1 1 4\n"},
                                         RequestCase{"1.0", 0, 1, "1.0 OPEN 0 0 0 1\n"},
                                         RequestCase{"1.0", 7, 12, "1.0 OPEN 1 1 1 12\n"},
                                         RequestCase{"1.1", 3, 1, "1.1 OPEN 1 1 0 0 1\n"},
                                         RequestCase{"1.1", 14, 2, "1.1 OPEN 0 1 1 1 2\n"},
                                         RequestCase{"1.1", 8, 1, "1.1 OPEN 0 0 0 1 1\n"},
                                         RequestCase{"1.1", 15, 123, "1.1 OPEN 1 1 1 1 123\n"}));

// Keeps the bounds of what is sent.
class SceneReaderPackets : public SceneReaderStream {
 protected:
  SceneReaderPackets() : SceneReaderStream(SOCK_SEQPACKET) {}
};

TEST_F(SceneReaderPackets, RequestIsSentInOneCall) {
  for (const char byte : "1.0 OK\0"s) {
    answer(std::string_view(&byte, 1));
  }
  EXPECT_TRUE(initialize(6, 3).success);
  EXPECT_EQ("1.0 OPEN 0 1 1 3\n", request());
  EXPECT_EQ("", request());
}

TEST_F(SceneReaderHandshake, AcceptedVersionComesFromTheAnswer) {
  answer("1.2 OK\0"s);
  const SceneReaderResult result = initialize();
  EXPECT_TRUE(result.success);
  EXPECT_EQ("1.2", result.version.toString());
}

TEST_F(SceneReaderHandshake, RefusalTellsTheServicesVersion) {
  answer("1.1 NO\0"s);
  const SceneReaderResult result = initialize();
  EXPECT_FALSE(result.success);
  EXPECT_TRUE(result.version == NEW);
}

TEST_F(SceneReaderHandshake, AnswersOfOtherFormsFail) {
  for (const std::string& text : {"1.2 OK extra\0"s, "OK\0"s, "\0"s, "OK 1.0 \0"s}) {
    answer(text);
    EXPECT_FALSE(initialize().success) << text;
  }
}

TEST_F(SceneReaderHandshake, ReadsNoFurtherThanTheZero) {
  answer("1.0 OK\0frame"s);
  EXPECT_TRUE(initialize().success);
  EXPECT_EQ("frame", receiveWaiting(reader()));
}

TEST_F(SceneReaderHandshake, AnswerMayComeInPieces) {
  std::thread service([this] {
    for (const char byte : "1.0 OK\0"s) {
      answer(std::string_view(&byte, 1));
    }
  });
  const SceneReaderResult result = initialize();
  service.join();
  EXPECT_TRUE(result.success);
  EXPECT_TRUE(LogCapture::lines().empty());
}

TEST_F(SceneReaderHandshake, AnswerCutOffIsLoggedAndUsed) {
  answer("1.0 OK");
  shutdown(service(), SHUT_WR);
  const SceneReaderResult result = initialize();
  EXPECT_TRUE(result.success);
  EXPECT_TRUE(result.version == OLD);
  EXPECT_EQ(1, LogCapture::count(LOG_WARNING, "Read failed\n"));
  EXPECT_EQ(1u, LogCapture::lines().size());
}

TEST_F(SceneReaderHandshake, NoAnswerAtAllIsLogged) {
  shutdown(service(), SHUT_WR);
  EXPECT_FALSE(initialize().success);
  EXPECT_EQ(1, LogCapture::count(LOG_WARNING, "Read failed\n"));
}

TEST_F(SceneReaderHandshake, AHundredBytesWithoutZeroAreLogged) {
  answer(std::string(101, 'x'));
  EXPECT_FALSE(initialize().success);
  EXPECT_EQ(1, LogCapture::count(LOG_WARNING, "Reached max_len without match\n"));
  EXPECT_EQ("x", receiveWaiting(reader()));
}

TEST_F(SceneReaderHandshake, AHundredBytesWithoutZeroAreUsed) {
  answer("1.0 OK" + std::string(94, ' '));
  EXPECT_TRUE(initialize().success);
  EXPECT_EQ(1, LogCapture::count(LOG_WARNING, "Reached max_len without match\n"));
  EXPECT_EQ(1u, LogCapture::lines().size());
}

TEST_F(SceneReaderHandshake, AZeroAsTheHundredthByteIsInTime) {
  answer("1.0 OK" + std::string(93, ' ') + "\0"s);
  EXPECT_TRUE(initialize().success);
  EXPECT_TRUE(LogCapture::lines().empty());
}

// A signal for the broken pipe would end the test program.
TEST_F(SceneReaderHandshake, RequestToAServiceThatHasGoneFailsWithoutASignal) {
  closeService();
  const SceneReaderResult result = initialize();
  EXPECT_FALSE(result.success);
  EXPECT_FALSE(result.version.isValid());
  EXPECT_FALSE(LogCapture::has("Read failed\n"));
}

std::string header(std::int32_t length) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(static_cast<std::uint32_t>(length) >> shift);
  }
  return bytes + "skipped!";
}

std::string bytesOf(const SceneFrame& frame) {
  return {frame.data.get(), frame.size};
}

class SceneReaderFrames : public SceneReaderStream {
 protected:
  bool read(SceneFrame& frame) { return SceneReader::readScene(reader(), frame); }
  void expectNoFrame() {
    SceneFrame frame;
    EXPECT_FALSE(read(frame));
  }
  void expectFrame(const std::string& payload) {
    SceneFrame frame;
    ASSERT_TRUE(read(frame));
    ASSERT_TRUE(frame.data);
    EXPECT_EQ(payload, bytesOf(frame));
  }
};

TEST_F(SceneReaderFrames, LengthIsBigEndianAndEightBytesAreSkipped) {
  const std::string payload(0x0102, 'p');
  answer("\x00\x00\x01\x02"s + std::string(8, '\xff') + payload + "rest");
  expectFrame(payload);
  EXPECT_EQ("rest", receiveWaiting(reader()));
  EXPECT_TRUE(LogCapture::lines().empty());
}

TEST_F(SceneReaderFrames, FollowEachOther) {
  answer(header(3) + "one" + header(1) + "\0"s + header(5) + "three");
  expectFrame("one");
  expectFrame("\0"s);
  expectFrame("three");
}

TEST_F(SceneReaderFrames, ReplaceTheFrameGiven) {
  answer(header(5) + "first" + header(3) + "two");
  SceneFrame frame;
  ASSERT_TRUE(read(frame));
  ASSERT_TRUE(read(frame));
  EXPECT_EQ("two", bytesOf(frame));
}

TEST_F(SceneReaderFrames, OfLengthZeroAreNone) {
  answer(header(0) + header(3) + "one");
  SceneFrame frame;
  EXPECT_FALSE(read(frame));
  EXPECT_FALSE(frame.data);
  // The whole head was read.
  expectFrame("one");
}

TEST_F(SceneReaderFrames, OfNegativeLengthAreNone) {
  answer(header(-1) + header(INT32_MIN) + header(3) + "one");
  expectNoFrame();
  expectNoFrame();
  expectFrame("one");
}

TEST_F(SceneReaderFrames, AboveTheLargestLengthAreNone) {
  answer(header(LARGEST + 1) + header(INT32_MAX));
  expectNoFrame();
  expectNoFrame();
}

TEST_F(SceneReaderFrames, OfTheLargestLengthAreRead) {
  answer(header(LARGEST));
  closeService();
  SceneFrame frame;
  ASSERT_TRUE(read(frame));
  EXPECT_EQ(static_cast<std::size_t>(LARGEST), frame.size);
  EXPECT_EQ('\0', frame.data.get()[LARGEST - 1]);
}

TEST_F(SceneReaderFrames, ShortPayloadIsZeroAtItsEnd) {
  answer(header(10) + "abc");
  closeService();
  expectFrame("abc" + std::string(7, '\0'));
  expectNoFrame();
}

TEST_F(SceneReaderFrames, WithoutAnyPayloadAreAllZero) {
  answer(header(4));
  closeService();
  expectFrame(std::string(4, '\0'));
}

TEST_F(SceneReaderFrames, ClosedStreamFailsWithoutAMessage) {
  closeService();
  expectNoFrame();
  EXPECT_TRUE(LogCapture::lines().empty());
}

TEST_F(SceneReaderFrames, HeadCutOffFailsWithoutAMessage) {
  for (const std::size_t length : {1u, 3u, 4u, 7u, 11u}) {
    std::array<int, 2> ends = {-1, -1};
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()));
    const FileDescriptor readerEnd(ends[0]);
    FileDescriptor serviceEnd(ends[1]);
    sendAll(serviceEnd.get(), header(3).substr(0, length));
    serviceEnd.reset();
    SceneFrame frame;
    EXPECT_FALSE(SceneReader::readScene(readerEnd.get(), frame)) << length;
  }
  EXPECT_TRUE(LogCapture::lines().empty());
}

TEST_F(SceneReaderFrames, FailedReceiveIsLogged) {
  SceneFrame frame;
  EXPECT_FALSE(SceneReader::readScene(-1, frame));
  EXPECT_EQ(1, LogCapture::count(LOG_WARNING, "readFromSocket: Receive failed.\n"));
  EXPECT_EQ(1u, LogCapture::lines().size());
}

TEST_F(SceneReaderFrames, MayComeInPieces) {
  std::mt19937 random(7);
  std::uniform_int_distribution<int> byte(0, 255);
  std::string payload(5000, '\0');
  for (char& value : payload) {
    value = static_cast<char>(byte(random));
  }
  std::uniform_int_distribution<std::size_t> pieceLength(1, 97);
  std::thread service([&] {
    std::string stream = header(5000) + payload;
    std::string_view rest = stream;
    while (!rest.empty()) {
      const std::string_view piece = rest.substr(0, pieceLength(random));
      answer(piece);
      rest.remove_prefix(piece.size());
    }
  });
  SceneFrame frame;
  const bool isRead = read(frame);
  service.join();
  ASSERT_TRUE(isRead);
  EXPECT_EQ(payload, bytesOf(frame));
}

}  // namespace
