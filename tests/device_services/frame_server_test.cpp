#include "services/frame_server.h"

#include <gtest/gtest.h>

#include "socket_client.h"
#include "support/temporary_folder.h"

namespace device {
namespace {

using namespace std::string_literals;

std::string header(std::uint32_t length, std::uint64_t time) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(length >> shift);
  }
  for (int shift = 56; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(time >> shift);
  }
  return bytes;
}

// "frame", then the mask as a byte.
std::vector<std::uint8_t> encode(int mask) {
  return {'f', 'r', 'a', 'm', 'e', static_cast<std::uint8_t>(mask)};
}

TEST(SceneHandshakeTest, RequestNamesPropertiesInOrderAndChannelFromOne) {
  const auto answer = sceneHandshake("1.0 OPEN 0 1 1 2", 2);
  EXPECT_EQ("1.0 OK\0"s, answer.reply);
  ASSERT_TRUE(answer.request);
  EXPECT_EQ(1, answer.request->channel);
  EXPECT_EQ(6, answer.request->mask);
  EXPECT_EQ(1, sceneHandshake("1.0 OPEN 1 0 0 1", 1).request->mask);
}

TEST(SceneHandshakeTest, OtherRequestsAreRefused) {
  for (const char* line :
       {"", "1.0", "1.0 OPEN 1 1 1", "1.0 OPEN 1 1 1 0", "1.0 OPEN 1 1 1 3", "1.0 OPEN 1 1 1 -1",
        "1.0 OPEN 1 1 2 1", "1.0 OPEN 1 1 1 x", "1.0 OPEN 1 1 1 1x", "1.0 CLOSE 1 1 1 1",
        "2.0 OPEN 1 1 1 1", "1.0 OPEN 1 1 0 0 1"}) {
    const auto answer = sceneHandshake(line, 2);
    EXPECT_EQ("1.0 ERROR\0"s, answer.reply) << line;
    EXPECT_FALSE(answer.request) << line;
  }
}

TEST(SceneHandshakeTest, NewerVersionIsToldWhichOneIsSpoken) {
  const auto answer = sceneHandshake("1.1 OPEN 0 1 1 1 1", 1);
  EXPECT_EQ("1.0 ERROR\0"s, answer.reply);
  EXPECT_FALSE(answer.request);
}

TEST(SubscriberHandshakeTest, ChannelCountsFromZeroAndMaskIsANumber) {
  const auto answer = subscriberHandshake("SUBSCRIBE 1 14", 2);
  EXPECT_EQ("OK\n", answer.reply);
  ASSERT_TRUE(answer.request);
  EXPECT_EQ(1, answer.request->channel);
  EXPECT_EQ(14, answer.request->mask);
}

TEST(SubscriberHandshakeTest, OtherRequestsAreRefused) {
  for (const char* line : {"", "SUBSCRIBE", "SUBSCRIBE 0", "SUBSCRIBE 2 14", "SUBSCRIBE -1 14",
                           "SUBSCRIBE 0 16", "SUBSCRIBE 0 -1", "SUBSCRIBE 0 14 1", "LISTEN 0 14"}) {
    const auto answer = subscriberHandshake(line, 2);
    EXPECT_EQ("NO\n", answer.reply) << line;
    EXPECT_FALSE(answer.request) << line;
  }
}

class FrameServerTest : public testing::Test {
 protected:
  // Subscribes and waits for the answer.
  void subscribe(SocketClient& client, const std::string& request) {
    client.send(request + "\n");
    ASSERT_EQ("OK\n", client.receiveUntil('\n'));
  }

  TemporaryFolder folder;
  FrameServer server{folder / "subscriber", subscriberHandshake, 2};
};

TEST_F(FrameServerTest, SceneSocketAnswersAndSendsFramedPayloads) {
  FrameServer scenes(folder / "scenes", sceneHandshake, 1);
  SocketClient client(folder / "scenes");
  client.send("1.0 OPEN 0 1 1 1\n");
  EXPECT_EQ("1.0 OK\0"s, client.receiveUntil('\0'));
  scenes.publish(0, 0x0102030405060708, encode);
  EXPECT_EQ(header(6, 0x0102030405060708) + "frame\x06", client.receive(18));
}

TEST_F(FrameServerTest, SubscriberSocketAnswersAndSendsFramedPayloads) {
  SocketClient client(folder / "subscriber");
  subscribe(client, "SUBSCRIBE 0 14");
  server.publish(0, 77, encode);
  EXPECT_EQ(header(6, 77) + "frame\x0e", client.receive(18));
}

TEST_F(FrameServerTest, ClientsGetTheirOwnChannelAndProperties) {
  SocketClient first(folder / "subscriber");
  SocketClient second(folder / "subscriber");
  subscribe(first, "SUBSCRIBE 0 2");
  subscribe(second, "SUBSCRIBE 1 4");
  server.publish(1, 5, encode);
  server.publish(0, 6, encode);
  EXPECT_EQ(header(6, 6) + "frame\x02", first.receive(18));
  EXPECT_EQ(header(6, 5) + "frame\x04", second.receive(18));
  EXPECT_EQ(0u, first.waiting() + second.waiting());
}

TEST_F(FrameServerTest, FrameIsEncodedOnceForEachMask) {
  SocketClient first(folder / "subscriber");
  SocketClient second(folder / "subscriber");
  SocketClient third(folder / "subscriber");
  subscribe(first, "SUBSCRIBE 0 2");
  subscribe(second, "SUBSCRIBE 0 2");
  subscribe(third, "SUBSCRIBE 0 6");
  std::vector<int> masks;
  server.publish(0, 1, [&](int mask) {
    masks.push_back(mask);
    return encode(mask);
  });
  EXPECT_EQ((std::vector<int>{2, 6}), masks);
}

TEST_F(FrameServerTest, NothingIsSentBeforeTheRequest) {
  SocketClient client(folder / "subscriber");
  ASSERT_TRUE(iterateUntil([&] { return server.countClients() == 1; }));
  server.publish(0, 1, encode);
  EXPECT_EQ(0u, client.waiting());
}

TEST_F(FrameServerTest, RefusedClientGetsTheAnswerAndLosesItsConnection) {
  SocketClient client(folder / "subscriber");
  client.send("SUBSCRIBE 9 14\n");
  EXPECT_EQ("NO\n", client.receiveUntil('\n'));
  EXPECT_TRUE(client.isClosed());
  EXPECT_EQ(0u, server.countClients());
}

TEST_F(FrameServerTest, SecondRequestOfAClientIsIgnored) {
  SocketClient client(folder / "subscriber");
  subscribe(client, "SUBSCRIBE 0 2");
  client.send("SUBSCRIBE 1 4\n");
  while (g_main_context_iteration(nullptr, FALSE)) {
  }
  server.publish(1, 1, encode);
  server.publish(0, 2, encode);
  EXPECT_EQ(header(6, 2) + "frame\x02", client.receive(18));
}

TEST_F(FrameServerTest, ClientThatLeavesIsForgotten) {
  {
    SocketClient client(folder / "subscriber");
    subscribe(client, "SUBSCRIBE 0 2");
    EXPECT_EQ(1u, server.subscribers());
  }
  EXPECT_TRUE(iterateUntil([&] { return server.countClients() == 0; }));
}

TEST_F(FrameServerTest, SlowClientIsDroppedAndOthersGoOn) {
  constexpr std::size_t PAYLOAD = 100000;
  SocketClient slow(folder / "subscriber");
  SocketClient quick(folder / "subscriber");
  subscribe(slow, "SUBSCRIBE 0 2");
  subscribe(quick, "SUBSCRIBE 0 2");
  int frames = 0;
  while (server.subscribers() == 2 && frames < 1000) {
    server.publish(0, frames++, [](int) { return std::vector<std::uint8_t>(PAYLOAD, 'x'); });
    ASSERT_EQ(12 + PAYLOAD, quick.receive(12 + PAYLOAD).size());
  }
  EXPECT_EQ(1u, server.subscribers());
  EXPECT_GT(frames, static_cast<int>(FrameServer::QUEUE_LIMIT / PAYLOAD));
  EXPECT_TRUE(slow.isClosed());
  server.publish(0, 1, encode);
  EXPECT_EQ(header(6, 1) + "frame\x02", quick.receive(18));
}

TEST_F(FrameServerTest, LateReaderGetsEverythingThatFitsTheQueue) {
  constexpr int FRAMES = 8;
  constexpr std::size_t PAYLOAD = 100000;
  SocketClient client(folder / "subscriber");
  subscribe(client, "SUBSCRIBE 0 2");
  for (int i = 0; i < FRAMES; ++i) {
    server.publish(0, i, [&](int) { return std::vector<std::uint8_t>(PAYLOAD, 'a' + i); });
  }
  for (int i = 0; i < FRAMES; ++i) {
    EXPECT_EQ(header(PAYLOAD, i) + std::string(PAYLOAD, static_cast<char>('a' + i)),
              client.receive(12 + PAYLOAD));
  }
}

TEST_F(FrameServerTest, SocketIsRemovedAtTheEndAndALeftoverIsReplaced) {
  const std::string path = folder / "other";
  {
    const FrameServer other(path, subscriberHandshake, 1);
    EXPECT_TRUE(std::filesystem::exists(path));
  }
  EXPECT_FALSE(std::filesystem::exists(path));
  { const auto leftover = bindLocalSocket(path, G_SOCKET_TYPE_STREAM); }
  EXPECT_TRUE(std::filesystem::exists(path));
  EXPECT_NO_THROW(FrameServer(path, subscriberHandshake, 1));
}

}  // namespace
}  // namespace device
