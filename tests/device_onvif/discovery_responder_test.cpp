#include "onvif_server/discovery_responder.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "support/main_loop.h"

namespace device::onvif {
namespace {

using testing::HasSubstr;

// Others may talk in the group meanwhile.
std::string ownEndpoint() {
  return "urn:uuid:discovery-" + std::to_string(getpid());
}

// Hears all that is said to the group on loopback, and asks it.
class Neighbour {
 public:
  Neighbour() : hears(socket()), asks(socket()) {
    constexpr int ON = 1;
    ip_mreq membership{};
    inet_pton(AF_INET, DISCOVERY_GROUP, &membership.imr_multiaddr);
    inet_pton(AF_INET, "127.0.0.1", &membership.imr_interface);
    const int descriptor = g_socket_get_fd(hears.get());
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &ON, sizeof(ON));
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEPORT, &ON, sizeof(ON));
    EXPECT_TRUE(g_socket_bind(hears.get(), group.get(), TRUE, nullptr));
    EXPECT_EQ(
        0, setsockopt(descriptor, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof(membership)));
    EXPECT_EQ(0, setsockopt(g_socket_get_fd(asks.get()), IPPROTO_IP, IP_MULTICAST_IF,
                            &membership.imr_interface, sizeof(membership.imr_interface)));
  }

  void askForTheDevice() {
    const std::string text =
        "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\" xmlns:a=\"http://"
        "schemas.xmlsoap.org/ws/2004/08/addressing\" xmlns:d=\"http://schemas.xmlsoap.org/ws/"
        "2005/04/discovery\"><s:Header><a:MessageID>urn:uuid:7</a:MessageID></s:Header><s:Body>"
        "<d:Resolve><a:EndpointReference><a:Address>" +
        ownEndpoint() + "</a:Address></a:EndpointReference></d:Resolve></s:Body></s:Envelope>";
    EXPECT_EQ(
        static_cast<gssize>(text.size()),
        g_socket_send_to(asks.get(), group.get(), text.data(), text.size(), nullptr, nullptr));
  }

  // The device's own messages to the group, and its answers.
  const std::vector<std::string>& heard() { return read(hears.get(), &said); }
  const std::vector<std::string>& answers() { return read(asks.get(), &answered); }

 private:
  static GObjectPtr<GSocket> socket() {
    GObjectPtr<GSocket> made(
        g_socket_new(G_SOCKET_FAMILY_IPV4, G_SOCKET_TYPE_DATAGRAM, G_SOCKET_PROTOCOL_UDP, nullptr));
    g_socket_set_blocking(made.get(), FALSE);
    return made;
  }

  static const std::vector<std::string>& read(GSocket* from, std::vector<std::string>* to) {
    std::string datagram(65536, '\0');
    for (gssize size = 0; size >= 0;) {
      size = g_socket_receive(from, datagram.data(), datagram.size(), nullptr, nullptr);
      const std::string text =
          datagram.substr(0, static_cast<std::size_t>(std::max<gssize>(size, 0)));
      const bool isQuestion = text.find("MessageID>urn:uuid:7<") != std::string::npos;
      if (text.find(ownEndpoint()) != std::string::npos && !isQuestion) {
        to->push_back(text);
      }
    }
    return *to;
  }

  GObjectPtr<GSocket> hears;
  GObjectPtr<GSocket> asks;
  GObjectPtr<GSocketAddress> group{
      g_inet_socket_address_new_from_string(DISCOVERY_GROUP, DISCOVERY_PORT)};
  std::vector<std::string> said;
  std::vector<std::string> answered;
};

class DiscoveryResponderTest : public testing::Test {
 protected:
  void start(const DiscoveryResponder::Delay& delay) {
    responder = std::make_unique<DiscoveryResponder>(
        "127.0.0.1", 8081, "/onvif/device_service", ownEndpoint(),
        std::vector<std::string>{"onvif://www.onvif.org/type/ptz"}, delay);
  }

  Neighbour neighbour;
  std::unique_ptr<DiscoveryResponder> responder;
};

TEST_F(DiscoveryResponderTest, SaysThatItComesAndThatItGoes) {
  start(DiscoveryResponder::delayOfChance);
  ASSERT_TRUE(iterateUntil([&] { return neighbour.heard().size() == 1; }));
  EXPECT_THAT(neighbour.heard()[0], HasSubstr("<d:Hello>"));
  EXPECT_THAT(neighbour.heard()[0],
              HasSubstr("<d:XAddrs>http://127.0.0.1:8081/onvif/device_service</d:XAddrs>"));
  EXPECT_THAT(neighbour.heard()[0], HasSubstr("MessageNumber=\"1\""));
  responder.reset();
  ASSERT_TRUE(iterateUntil([&] { return neighbour.heard().size() == 2; }));
  EXPECT_THAT(neighbour.heard()[1], HasSubstr("<d:Bye>"));
  EXPECT_THAT(neighbour.heard()[1], HasSubstr("MessageNumber=\"2\""));
}

TEST_F(DiscoveryResponderTest, WhoAsksIsAnsweredAloneAndOnce) {
  start([] { return 1U; });
  neighbour.askForTheDevice();
  ASSERT_TRUE(iterateUntil([&] { return !neighbour.answers().empty(); }));
  EXPECT_THAT(neighbour.answers()[0], HasSubstr("<d:ResolveMatch>"));
  EXPECT_THAT(neighbour.answers()[0], HasSubstr("RelatesTo>urn:uuid:7<"));
  EXPECT_THAT(neighbour.answers()[0],
              HasSubstr("<d:XAddrs>http://127.0.0.1:8081/onvif/device_service</d:XAddrs>"));
  EXPECT_EQ(1U, neighbour.heard().size());  // its beginning
  EXPECT_EQ(0U, responder->waitingAnswers());
}

TEST_F(DiscoveryResponderTest, AnswersWaitForATimeOfChance) {
  std::vector<guint> delays;
  for (int i = 0; i < 1000; ++i) {
    delays.push_back(DiscoveryResponder::delayOfChance());
  }
  EXPECT_LE(std::ranges::max(delays), 500U);
  EXPECT_GE(std::ranges::max(delays), 400U);
  EXPECT_LE(std::ranges::min(delays), 100U);
}

TEST_F(DiscoveryResponderTest, SoManyAnswersWaitAndNoMore) {
  constexpr guint NEVER = 1000000000;
  int asked = 0;
  start([&] {
    ++asked;
    return NEVER;
  });
  for (int i = 0; i < 70; ++i) {
    neighbour.askForTheDevice();
  }
  ASSERT_TRUE(iterateUntil([&] { return responder->waitingAnswers() >= 64; }));
  while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
  }
  EXPECT_EQ(64U, responder->waitingAnswers());
  EXPECT_EQ(64, asked);
  EXPECT_TRUE(neighbour.answers().empty());
}

}  // namespace
}  // namespace device::onvif
