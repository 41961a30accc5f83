#include "onvif_client/camera_search.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
