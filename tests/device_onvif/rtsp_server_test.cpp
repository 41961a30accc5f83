#include "rtsp/rtsp_server.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/main_loop.h"

namespace device {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;
using testing::Not;

// A raw picture is greater than all that an entry holds of itself.
constexpr int WIDTH = 640;
constexpr int HEIGHT = 368;
constexpr std::size_t PICTURE_SIZE = 640 * 368 * 3;

constexpr char INTERLEAVED[] = "Transport: RTP/AVP/TCP;unicast;interleaved=0-1\r\n";

// A client that speaks RTSP by hand. The server has threads of its own.
class RawClient {
 public:
  explicit RawClient(std::uint16_t port)
      : socket(g_socket_new(G_SOCKET_FAMILY_IPV4, G_SOCKET_TYPE_STREAM, G_SOCKET_PROTOCOL_TCP,
                            nullptr)) {
    const GObjectPtr<GSocketAddress> address(
        g_inet_socket_address_new_from_string("127.0.0.1", port));
    EXPECT_TRUE(g_socket_connect(socket.get(), address.get(), nullptr, nullptr));
    g_socket_set_blocking(socket.get(), FALSE);
  }

  void say(const std::string& text) {
    for (std::size_t said = 0; said < text.size();) {
      g_socket_condition_wait(socket.get(), G_IO_OUT, nullptr, nullptr);
      const gssize count =
          g_socket_send(socket.get(), text.data() + said, text.size() - said, nullptr, nullptr);
      if (count < 0) {
        return;  // it has ended
      }
      said += static_cast<std::size_t>(count);
    }
  }

  // Lines: more headers, each with its end.
  void request(const std::string& method, const std::string& uri, const std::string& lines = "") {
    say(method + ' ' + uri + " RTSP/1.0\r\nCSeq: 1\r\n" + lines + "\r\n");
  }

  bool hasHeard(const std::string& text) {
    listen();
    return heard.find(text) != std::string::npos;
  }

  bool hasEnded() {
    listen();
    return isOver;
  }

  const std::string& all() const { return heard; }

 private:
  void listen() {
    std::array<char, 4096> part{};
    ErrorSlot error;
    for (gssize count = 1; count > 0 && !isOver;) {
      count = g_socket_receive(socket.get(), part.data(), part.size(), nullptr, error.out());
      heard.append(part.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
      isOver = count == 0 ||
               (count < 0 && !g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK));
    }
  }

  GObjectPtr<GSocket> socket;
  std::string heard;
  bool isOver = false;
};

class RtspServerLimitsTest : public testing::Test {
 protected:
  void start(const RtspLimits& limits = {}) {
    StreamOptions options;
    options.limits = limits;
    options.faults = faults;
    server = std::make_unique<RtspServer>(
        options, std::vector<StreamSetup>{{"camera", WIDTH, HEIGHT}}, feeds);
  }

  std::string address(const std::string& place) const {
    return "rtsp://127.0.0.1:" + std::to_string(server->port()) + "/camera" + place;
  }

  GObjectPtr<GstAppSrc> documents() {
    std::vector<StreamEntry> readers = feeds->readers(0);
    return readers.empty() ? nullptr : std::move(readers[0].source);
  }

  GObjectPtr<GstAppSrc> pictures() {
    feeds->put(
        0, {OverviewCamera({.position = {0, 0, 5}, .horizontalFov = 60, .distortion = {}}), {}, 0});
    std::optional<StreamTask> task = feeds->take();
    return task->entries.empty() ? nullptr : std::move(task->entries[0].source);
  }

  // Of the metadata alone, while documents come; the reply.
  std::string setUp(RawClient& client) {
    client.request("SETUP", address("/metadata/stream=0"), INTERLEAVED);
    EXPECT_TRUE(feedUntil([&] { return client.hasHeard("\r\n\r\n"); }));
    return client.all();
  }

  static std::string sessionLine(const std::string& reply) {
    const std::size_t begin = reply.find("Session: ");
    EXPECT_NE(std::string::npos, begin) << reply;
    return reply.substr(begin, reply.find_first_of(";\r", begin) - begin) + "\r\n";
  }

  static void push(GstAppSrc* source, std::size_t size) {
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, size, nullptr);
    gst_buffer_memset(buffer, 0, ' ', size);
    GST_BUFFER_PTS(buffer) = gst_element_get_current_running_time(GST_ELEMENT(source));
    gst_app_src_push_buffer(source, buffer);
  }

  static guint64 waiting(GstAppSrc* source) {
    guint64 buffers = 0;
    g_object_get(source, "current-level-buffers", &buffers, nullptr);
    return buffers;
  }

  // Documents come until something holds.
  bool feedUntil(const std::function<bool()>& condition) {
    return iterateUntil([&] {
      if (const GObjectPtr<GstAppSrc> source = documents()) {
        push(source.get(), 100);
      }
      return condition();
    });
  }

  std::shared_ptr<StreamFeeds> feeds = std::make_shared<StreamFeeds>(1);
  std::shared_ptr<StreamFaults> faults;
  std::unique_ptr<RtspServer> server;
};

// A client that begins gets what waits at once, and is cut off when that is too much.
TEST_F(RtspServerLimitsTest, TenDocumentsWaitForAPictureThatDoesNotComeYet) {
  start();
  RawClient client(server->port());
  client.request("DESCRIBE", address(""));
  ASSERT_TRUE(iterateUntil([&] { return documents() != nullptr; }));
  const GObjectPtr<GstAppSrc> source = documents();
  for (int i = 0; i < 50; ++i) {
    push(source.get(), 100);
  }
  EXPECT_LE(waiting(source.get()), 10U);
  const GObjectPtr<GstAppSrc> picture = pictures();
  ASSERT_TRUE(picture);
  EXPECT_TRUE(feedUntil([&] {
    push(picture.get(), PICTURE_SIZE);
    return client.hasHeard("200 OK");
  }));
}

TEST_F(RtspServerLimitsTest, TwoRawPicturesWaitForTheirEncoder) {
  start();
  RawClient client(server->port());
  client.request("DESCRIBE", address(""));
  ASSERT_TRUE(iterateUntil([&] { return documents() != nullptr; }));
  const GObjectPtr<GstAppSrc> source = pictures();
  ASSERT_TRUE(source);
  bool hadTwo = false;
  EXPECT_TRUE(feedUntil([&] {
    for (int i = 0; i < 3; ++i) {
      push(source.get(), PICTURE_SIZE);
      EXPECT_LE(waiting(source.get()), 2U);
      hadTwo = hadTwo || waiting(source.get()) == 2;
    }
    return client.hasHeard("200 OK");
  }));
  EXPECT_TRUE(hadTwo);
}

TEST_F(RtspServerLimitsTest, OthersAreAnsweredWhileAClientWaitsForItsFirstDocument) {
  start();
  RawClient waits(server->port());
  waits.request("DESCRIBE", address("/metadata"));
  ASSERT_TRUE(iterateUntil([&] { return documents() != nullptr; }));
  RawClient other(server->port());
  other.request("OPTIONS", "*");
  EXPECT_TRUE(iterateUntil([&] { return other.hasHeard("200 OK") || waits.hasHeard("RTSP"); }));
  EXPECT_EQ("", waits.all());
  EXPECT_TRUE(feedUntil([&] { return waits.hasHeard("200 OK"); }));
}

TEST_F(RtspServerLimitsTest, MetadataAreNamedAsTheyAreRegistered) {
  start();
  for (const char* kind : {"", "+gzip"}) {
    const std::string place = *kind == '\0' ? "/metadata" : "/metadata/gzip";
    const std::string line = std::string("a=rtpmap:107 vnd.onvif.metadata") + kind + "/90000\r\n";
    RawClient client(server->port());
    client.request("DESCRIBE", address(place));
    EXPECT_TRUE(feedUntil([&] { return client.hasHeard("a=control:stream=0"); }));
    EXPECT_THAT(client.all(), HasSubstr(line));
  }
}

TEST_F(RtspServerLimitsTest, CameraThatIsAwayOrHasForgottenTheUserLetsNobodyIn) {
  faults = std::make_shared<StreamFaults>(1);
  start();
  RawClient before(server->port());
  before.request("OPTIONS", "*");
  ASSERT_TRUE(iterateUntil([&] { return before.hasHeard("200 OK"); }));
  faults->isUserForgotten = true;
  RawClient stranger(server->port());
  stranger.request("DESCRIBE", address("/metadata"));
  EXPECT_TRUE(iterateUntil([&] { return stranger.hasHeard("401 Unauthorized"); }));
  faults->isAway = true;
  server->endConnections();
  EXPECT_TRUE(iterateUntil([&] { return before.hasEnded(); }));
  RawClient late(server->port());
  EXPECT_TRUE(iterateUntil([&] { return late.hasEnded(); }));
}

TEST_F(RtspServerLimitsTest, StreamIsClosedOverAndOverWhileThatIsWanted) {
  faults = std::make_shared<StreamFaults>(1, 200);
  start();
  RawClient client(server->port());
  const std::string session = sessionLine(setUp(client));
  client.request("PLAY", address("/metadata"), session);
  ASSERT_TRUE(feedUntil([&] { return client.hasHeard("RTP-Info"); }));
  const std::int64_t begun = g_get_monotonic_time();
  feedUntil([&] { return client.hasEnded() || g_get_monotonic_time() - begun > 500000; });
  EXPECT_FALSE(client.hasEnded());
  faults->streams[0].closes = true;
  EXPECT_TRUE(feedUntil([&] { return client.hasEnded(); }));
}

// The library would take them in, and with them what a page in a browser sends.
TEST_F(RtspServerLimitsTest, RtspWithinHttpIsRefused) {
  start();
  RawClient answers(server->port());
  answers.say(
      "GET / HTTP/1.0\r\nx-sessioncookie: one\r\nAccept: application/x-rtsp-tunnelled\r\n\r\n");
  ASSERT_TRUE(iterateUntil([&] { return answers.hasHeard("HTTP/1.0 200"); }));
  RawClient questions(server->port());
  const std::string text = "OPTIONS " + address("") + " RTSP/1.0\r\nCSeq: 1\r\n\r\n";
  const GTextPtr body(g_base64_encode(reinterpret_cast<const guchar*>(text.data()), text.size()));
  questions.say(
      "POST / HTTP/1.0\r\nx-sessioncookie: one\r\nContent-Type: application/x-rtsp-tunnelled\r\n"
      "Content-Length: 32767\r\n\r\n");
  questions.say(body.get());
  EXPECT_TRUE(iterateUntil([&] { return answers.hasHeard("RTSP/1.0 "); }));
  EXPECT_TRUE(answers.hasHeard("RTSP/1.0 403")) << answers.all();
}

TEST_F(RtspServerLimitsTest, DatagramsAreRefused) {
  start();
  RawClient client(server->port());
  client.request("SETUP", address("/metadata/stream=0"),
                 "Transport: RTP/AVP;unicast;client_port=5000-5001\r\n");
  EXPECT_TRUE(feedUntil([&] { return client.hasHeard("RTSP/1.0 "); }));
  EXPECT_TRUE(client.hasHeard("RTSP/1.0 461")) << client.all();
}

TEST_F(RtspServerLimitsTest, BodyAbove64KibibytesIsNotWaitedFor) {
  start();
  RawClient client(server->port());
  client.request("OPTIONS", "*", "Content-Length: 65537\r\n");
  EXPECT_TRUE(iterateUntil([&] { return client.hasEnded() || client.hasHeard("RTSP/1.0 4"); }));
}

TEST_F(RtspServerLimitsTest, BodyOf64KibibytesIsWaitedFor) {
  start();
  RawClient client(server->port());
  client.request("OPTIONS", "*", "Content-Length: 65536\r\n");
  client.say(std::string(65536, ' '));
  EXPECT_TRUE(iterateUntil([&] { return client.hasHeard("RTSP/1.0 ") || client.hasEnded(); }));
  EXPECT_TRUE(client.hasHeard("RTSP/1.0 200 OK")) << client.all();
}

// A minute is what holds where no time is told.
TEST_F(RtspServerLimitsTest, SessionHasAMinuteUnlessToldOtherwise) {
  start();
  RawClient client(server->port());
  const std::string reply = setUp(client);
  EXPECT_THAT(reply, HasSubstr("\r\nSession: "));
  EXPECT_THAT(reply, Not(HasSubstr("timeout")));
}

TEST_F(RtspServerLimitsTest, ConnectionsAre128UnlessToldOtherwise) {
  start();
  std::vector<std::unique_ptr<RawClient>> clients;
  const auto come = [&] {
    clients.push_back(std::make_unique<RawClient>(server->port()));
    clients.back()->request("OPTIONS", "*");
    EXPECT_TRUE(iterateUntil([&] { return clients.back()->hasHeard("200 OK"); }));
  };
  while (clients.size() < 128) {
    come();
  }
  RawClient& first = *clients.front();
  first.request("DESCRIBE", address("/nothing"));
  EXPECT_TRUE(iterateUntil([&] { return first.hasHeard("404") || first.hasEnded(); }));
  EXPECT_FALSE(first.hasEnded());
  come();
  EXPECT_TRUE(iterateUntil([&] { return first.hasEnded(); }));
  EXPECT_FALSE(clients[1]->hasEnded());
}

TEST_F(RtspServerLimitsTest, OldestConnectionWithoutASessionGivesWay) {
  start({.connections = 4});
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < 5; ++i) {
    clients.push_back(std::make_unique<RawClient>(server->port()));
    clients.back()->request("OPTIONS", "*");
    EXPECT_TRUE(iterateUntil([&] { return clients.back()->hasHeard("200 OK"); }));
  }
  EXPECT_TRUE(iterateUntil([&] { return clients.front()->hasEnded(); }));
  for (int i = 1; i < 5; ++i) {
    EXPECT_FALSE(clients[static_cast<std::size_t>(i)]->hasEnded()) << i;
  }
}

TEST_F(RtspServerLimitsTest, ConnectionWithoutASessionEndsWithItsTime) {
  start({.silence = seconds(0), .look = milliseconds(20)});
  RawClient client(server->port());
  EXPECT_TRUE(iterateUntil([&] { return client.hasEnded(); }));
}

TEST_F(RtspServerLimitsTest, ConnectionWithASessionStays) {
  start({.connections = 1});
  RawClient client(server->port());
  ASSERT_THAT(setUp(client), HasSubstr("RTSP/1.0 200 OK"));
  RawClient other(server->port());
  EXPECT_TRUE(iterateUntil([&] { return other.hasEnded(); }));
  EXPECT_FALSE(client.hasEnded());
}

// Whoever knows a session may name it in any connection.
TEST_F(RtspServerLimitsTest, ConnectionsThatNameAnothersSessionGiveWay) {
  start({.connections = 3});
  RawClient owner(server->port());
  const std::string session = sessionLine(setUp(owner));
  RawClient borrower(server->port());
  RawClient second(server->port());
  for (RawClient* each : {&borrower, &second}) {
    each->request("OPTIONS", address("/metadata"), session);
    ASSERT_TRUE(iterateUntil([&] { return each->hasHeard("200 OK"); }));
  }
  RawClient newcomer(server->port());
  newcomer.request("OPTIONS", "*");
  EXPECT_TRUE(iterateUntil([&] { return borrower.hasEnded() || newcomer.hasEnded(); }));
  EXPECT_FALSE(newcomer.hasEnded());
  EXPECT_FALSE(second.hasEnded());
  EXPECT_FALSE(owner.hasEnded());
}

TEST_F(RtspServerLimitsTest, SessionsAreSoManyAndNoMore) {
  start({.sessions = 1});
  RawClient first(server->port());
  EXPECT_THAT(setUp(first), HasSubstr("RTSP/1.0 200 OK"));
  RawClient second(server->port());
  EXPECT_THAT(setUp(second), HasSubstr("RTSP/1.0 503"));
}

// Its client is still there, and says nothing.
TEST_F(RtspServerLimitsTest, SilentSessionMakesRoomAfterItsTime) {
  start({.sessions = 1, .silence = seconds(1), .grace = seconds(0), .look = milliseconds(20)});
  RawClient silent(server->port());
  ASSERT_THAT(setUp(silent), HasSubstr("RTSP/1.0 200 OK"));
  bool isRoom = false;
  EXPECT_TRUE(iterateUntil([&] {
    RawClient next(server->port());
    isRoom = isRoom || setUp(next).find("RTSP/1.0 200 OK") != std::string::npos;
    return isRoom;
  }));
}

TEST_F(RtspServerLimitsTest, EndsWhileClientsPlay) {
  start();
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < 5; ++i) {
    RawClient& client = *clients.emplace_back(std::make_unique<RawClient>(server->port()));
    client.request("PLAY", address("/metadata"), sessionLine(setUp(client)));
    ASSERT_TRUE(feedUntil([&] { return client.hasHeard("\r\n\r\n$"); }));
  }
  server.reset();
  for (const auto& client : clients) {
    EXPECT_TRUE(iterateUntil([&] { return client->hasEnded(); }));
  }
  EXPECT_TRUE(iterateUntil([&] { return !feeds->isRead(0); }));
}

}  // namespace
}  // namespace device
