#include "web_server/web_connections.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "device_services/private_bus.h"
#include "services/local_socket.h"
#include "support/temporary_folder.h"
#include "web_client.h"
#include "web_server/web_server.h"

namespace device {
namespace {

using std::chrono::milliseconds;

constexpr char API[] = "/api/sentrelvideo";
constexpr int NOTHING_THERE = 404;

class WebConnectionsTest : public testing::Test {
 protected:
  WebConnectionsTest() {
    options.port = 0;
    options.folder = folder / "web";
    // What is ended is ended for the reason that the test is about.
    limits.connections.header = limits.connections.body = limits.connections.answer =
        std::chrono::minutes(10);
    std::filesystem::create_directories(options.folder);
  }

  std::uint16_t start() {
    server = std::make_unique<WebServer>(options, socket, limits);
    return server->port();
  }

  // An application that takes requests and answers none of them.
  void hang() {
    application = std::make_unique<LocalListener>(
        socket, [this](GObjectPtr<GSocket> request) { kept.push_back(std::move(request)); });
    limits.answer = std::chrono::minutes(10);
  }

  // A connection whose request waits for the application.
  std::unique_ptr<WebClient> busyClient(std::uint16_t port, const char* source = "127.0.0.1") {
    auto client = std::make_unique<WebClient>(port, 0, source);
    client->request("POST", API, "", "Expect: 100-continue\r\nContent-Length: 2\r\n");
    EXPECT_EQ(100, client->response().status);
    client->send("{}");
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {  // until it has been read
    }
    return client;
  }

  TemporaryFolder folder;
  std::string socket = folder / "http/application";
  WebOptions options;
  WebServerLimits limits;
  std::vector<GObjectPtr<GSocket>> kept;
  std::unique_ptr<LocalListener> application;
  std::unique_ptr<WebServer> server;
};

// ---- Slow ones ----

TEST_F(WebConnectionsTest, ConnectionWithoutARequestIsEnded) {
  limits.connections.header = milliseconds(50);
  EXPECT_TRUE(WebClient(start()).isClosed());
}

TEST_F(WebConnectionsTest, ConnectionThatDoesNotGetToTheEndOfItsHeaderIsEnded) {
  limits.connections.header = milliseconds(100);
  WebClient client(start());
  ASSERT_TRUE(iterateUntil([&] { return server->countConnections() == 1; }));
  client.send("GET / HTTP/1.1\r\n");
  int sent = 0;
  EXPECT_TRUE(iterateUntil([&] {
    if (++sent < 1000) client.send("X");  // something comes all the time
    return server->countConnections() == 0;
  }));
  EXPECT_TRUE(client.isClosed());
}

TEST_F(WebConnectionsTest, ConnectionWhoseBodyDoesNotComeIsEnded) {
  limits.connections.body = milliseconds(50);
  WebClient client(start());
  client.request("POST", API, "", "Content-Length: 10\r\n");
  client.send("12345");
  EXPECT_TRUE(client.isClosed());
}

TEST_F(WebConnectionsTest, ConnectionThatDoesNotReadItsAnswerIsEnded) {
  constexpr std::size_t MORE_THAN_BUFFERS_HOLD = std::size_t{32} << 20;
  limits.connections.answer = milliseconds(200);
  std::ofstream(options.folder / "big.json") << std::string(MORE_THAN_BUFFERS_HOLD, ' ');
  const std::uint16_t port = start();
  WebClient slow(port, 4096);
  slow.stopReading();
  slow.request("GET", "/big.json");
  ASSERT_TRUE(iterateUntil([&] { return server->countConnections() == 1; }));
  EXPECT_TRUE(iterateUntil([&] { return server->countConnections() == 0; }));
  slow.read();
  EXPECT_TRUE(slow.isClosed());
  EXPECT_LT(slow.getReceived().size(), MORE_THAN_BUFFERS_HOLD);
}

TEST_F(WebConnectionsTest, ReaderOfAStreamStaysForAsLongAsItLikes) {
  limits.heartbeat = milliseconds(20);
  limits.connections.header = milliseconds(50);
  limits.connections.body = milliseconds(50);
  limits.connections.answer = milliseconds(50);
  const std::uint16_t port = start();
  server->addStream("/events", [] { return std::string(); });
  WebClient client(port);
  EXPECT_EQ(200, client.get("/events").status);
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(":", client.message());
  }
}

// ---- Many ----

TEST_F(WebConnectionsTest, NewOneTakesThePlaceOfTheOldestThatHasNotAsked) {
  limits.connections.ofAddress = 3;
  const std::uint16_t port = start();
  WebClient first(port);
  WebClient second(port);
  WebClient third(port);
  ASSERT_TRUE(iterateUntil([&] { return server->countConnections() == 3; }));
  second.request("POST", API, "", "Content-Length: 10\r\n");  // whose body is still to come
  EXPECT_EQ(NOTHING_THERE, WebClient(port).get("/none").status);
  EXPECT_TRUE(first.isClosed());
  WebClient fourth(port);
  ASSERT_TRUE(iterateUntil([&] { return server->countConnections() == 3; }));
  EXPECT_EQ(NOTHING_THERE, WebClient(port).get("/none").status);
  EXPECT_TRUE(second.isClosed());
  EXPECT_EQ(NOTHING_THERE, third.get("/none").status);
  EXPECT_EQ(NOTHING_THERE, fourth.get("/none").status);
}

TEST_F(WebConnectionsTest, OneWhoseAnswerIsOnItsWayKeepsItsPlace) {
  limits.connections.ofAddress = 2;
  hang();
  const std::uint16_t port = start();
  const auto first = busyClient(port);
  const auto second = busyClient(port);
  EXPECT_TRUE(WebClient(port).isClosed());
  application.reset();
  kept.clear();
  EXPECT_EQ(503, first->response().status);
  EXPECT_EQ(503, second->response().status);
  EXPECT_EQ(NOTHING_THERE, WebClient(port).get("/none").status);
}

TEST_F(WebConnectionsTest, AddressThatHasUsedItsPlacesLeavesThoseOfOthers) {
  limits.connections.ofAddress = 2;
  limits.connections.all = 4;
  hang();
  const std::uint16_t port = start();
  const auto first = busyClient(port);
  const auto second = busyClient(port);
  EXPECT_TRUE(WebClient(port).isClosed());
  WebClient idle(port, 0, "127.0.0.2");
  const auto other = busyClient(port, "127.0.0.3");
  ASSERT_EQ(4u, server->countConnections());
  // Of the four only the idle one gives its place up.
  const auto last = busyClient(port, "127.0.0.4");
  EXPECT_TRUE(idle.isClosed());
  EXPECT_TRUE(WebClient(port, 0, "127.0.0.5").isClosed());
  EXPECT_EQ(4u, server->countConnections());
}

TEST_F(WebConnectionsTest, StreamsLeaveRoomForRequests) {
  limits.connections.streams = 1;
  const std::uint16_t port = start();
  server->addStream("/events", [] { return std::string(); });
  {
    WebClient reader(port);
    EXPECT_EQ(200, reader.get("/events").status);
    const WebResponse refused = WebClient(port).get("/events");
    EXPECT_EQ(503, refused.status);
    EXPECT_EQ(R"({"error":{"code":"HTTP","message":"Too many streams are read already"}})",
              refused.body);
    EXPECT_EQ(NOTHING_THERE, WebClient(port).get("/none").status);
  }
  ASSERT_TRUE(iterateUntil([&] { return server->countConnections() == 0; }));
  EXPECT_EQ(200, WebClient(port).get("/events").status);
}

TEST_F(WebConnectionsTest, HundredsThatComeAtOnceFindAPlaceInTheQueue) {
  constexpr int MANY = 500;
  const std::uint16_t port = start();
  const GObjectPtr<GSocketAddress> address(
      g_inet_socket_address_new_from_string("127.0.0.1", port));
  std::vector<GObjectPtr<GSocket>> clients;
  for (int i = 0; i < MANY; ++i) {
    clients.emplace_back(
        g_socket_new(G_SOCKET_FAMILY_IPV4, G_SOCKET_TYPE_STREAM, G_SOCKET_PROTOCOL_TCP, nullptr));
    g_socket_set_blocking(clients.back().get(), FALSE);
    g_socket_connect(clients.back().get(), address.get(), nullptr, nullptr);
    // The system connects those for which the queue has room while the call is made.
    pollfd ready{g_socket_get_fd(clients.back().get()), POLLOUT, 0};
    ASSERT_EQ(1, poll(&ready, 1, 0)) << i;
  }
  EXPECT_EQ(NOTHING_THERE, WebClient(port).get("/none").status);
  EXPECT_LE(server->countConnections(), limits.connections.ofAddress);
}

// ---- No descriptors ----

int lowestFreeDescriptor() {
  const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(descriptor);
  return descriptor;
}

class DescriptorLimit {
 public:
  explicit DescriptorLimit(int count) {
    getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit changed{static_cast<rlim_t>(count), usual.rlim_max};
    setrlimit(RLIMIT_NOFILE, &changed);
  }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &usual); }

 private:
  rlimit usual{};
};

TEST_F(WebConnectionsTest, ServerWhoseDescriptorsRanOutAcceptsAgainByItself) {
  const std::uint16_t port = start();
  std::vector<std::unique_ptr<WebClient>> clients;
  for (int i = 0; i < 8; ++i) {
    clients.push_back(std::make_unique<WebClient>(port));
  }
  const DescriptorLimit limit(lowestFreeDescriptor() + 2);
  // Two are accepted; for the third the first one has to leave.
  EXPECT_TRUE(clients[0]->isClosed());
  clients.clear();
  EXPECT_EQ(NOTHING_THERE, WebClient(port).get("/none").status);
  EXPECT_TRUE(iterateUntil([&] { return server->countConnections() == 0; }));
}

}  // namespace
}  // namespace device
