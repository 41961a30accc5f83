#include "onvif_client/camera_search.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "base/glib_ptr.h"
#include "onvif/discovery_message.h"

namespace device::onvif {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char ID[] = "urn:uuid:question";

// What the product's own camera answers.
std::string answer(const DiscoveryDevice& device) {
  const auto question = readDiscoveryQuestion(discoveryProbe(ID));
  EXPECT_TRUE(question);
  EXPECT_TRUE(isMeant(*question, device));
  return discoveryAnswer(*question, device, {1, 1});
}

DiscoveryDevice device() {
  return {"urn:uuid:camera",
          {"onvif://www.onvif.org/type/ptz", "onvif://www.onvif.org/name/Gate%20North",
           "onvif://www.onvif.org/hardware/OV-1"},
          "http://10.0.0.2/onvif/device_service http://[fe80::1]/onvif/device_service"};
}

TEST(CameraSearchTest, CameraSaysWhoItIsAndWhere) {
  const auto found = readDiscoveryMatches(answer(device()), ID);
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_EQ("urn:uuid:camera", found[0].endpoint);
  EXPECT_EQ("Gate North", found[0].name);
  EXPECT_EQ("OV-1", found[0].hardware);
  EXPECT_THAT(found[0].addresses, ElementsAre("http://10.0.0.2/onvif/device_service",
                                              "http://[fe80::1]/onvif/device_service"));
}

TEST(CameraSearchTest, AnswersToOthersAreNotOurs) {
  EXPECT_THAT(readDiscoveryMatches(answer(device()), "urn:uuid:other"), IsEmpty());
}

TEST(CameraSearchTest, WhoHasAnsweredIsAlsoWhereTheAnswerCameFrom) {
  const auto found = readDiscoveryMatches(answer(device()), ID, "10.0.0.9");
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_THAT(found[0].addresses, ElementsAre("http://10.0.0.2/onvif/device_service",
                                              "http://[fe80::1]/onvif/device_service",
                                              "http://10.0.0.9/onvif/device_service"));
  EXPECT_THAT(readDiscoveryMatches(answer(device()), ID, "10.0.0.2")[0].addresses, SizeIs(2));
}

// A listening socket of this machine, and one that was one.
class AddressTrialTest : public testing::Test {
 protected:
  static GObjectPtr<GSocket> listening() {
    GObjectPtr<GSocket> socket(
        g_socket_new(G_SOCKET_FAMILY_IPV4, G_SOCKET_TYPE_STREAM, G_SOCKET_PROTOCOL_TCP, nullptr));
    const GObjectPtr<GSocketAddress> any(g_inet_socket_address_new_from_string("127.0.0.1", 0));
    EXPECT_TRUE(g_socket_bind(socket.get(), any.get(), TRUE, nullptr));
    EXPECT_TRUE(g_socket_listen(socket.get(), nullptr));
    return socket;
  }

  static std::string addressOf(GSocket* socket) {
    const GObjectPtr<GSocketAddress> own(g_socket_get_local_address(socket, nullptr));
    const int port = g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(own.get()));
    return "http://127.0.0.1:" + std::to_string(port) + "/onvif/device_service";
  }

  static constexpr std::chrono::seconds PATIENCE{30};

  GObjectPtr<GSocket> camera = listening();
  std::string there = addressOf(camera.get());
  std::string gone = addressOf(listening().get());
};

TEST_F(AddressTrialTest, AddressThatAnswersComesFirst) {
  std::vector<FoundCamera> cameras = {{"urn:1", "", "", {gone, "http://camera.invalid/x", there}},
                                      {"urn:2", "", "", {there, gone}}};
  sortByAnswer(&cameras, PATIENCE);
  EXPECT_THAT(cameras[0].addresses, ElementsAre(there, gone, "http://camera.invalid/x"));
  EXPECT_THAT(cameras[1].addresses, ElementsAre(there, gone));
}

TEST_F(AddressTrialTest, WhereNoneAnswersAllStayAsTheyWereTold) {
  std::vector<FoundCamera> cameras = {{"urn:1", "", "", {gone, "what is none", "http://[::1"}}};
  sortByAnswer(&cameras, PATIENCE);
  EXPECT_THAT(cameras[0].addresses, ElementsAre(gone, "what is none", "http://[::1"));
}

TEST(CameraSearchTest, WhatIsNoAnswerIsNobody) {
  EXPECT_THAT(readDiscoveryMatches("", ID), IsEmpty());
  EXPECT_THAT(readDiscoveryMatches(discoveryHello(device(), {1, 1}), ID), IsEmpty());
  EXPECT_THAT(readDiscoveryMatches(discoveryProbe(ID), ID), IsEmpty());
  DiscoveryDevice nowhere = device();
  nowhere.xaddrs = "";
  EXPECT_THAT(readDiscoveryMatches(answer(nowhere), ID), IsEmpty());
}

}  // namespace
}  // namespace device::onvif
