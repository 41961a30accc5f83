#include "onvif/discovery_message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace device::onvif {
namespace {

using testing::HasSubstr;
using testing::Not;

const DiscoveryDevice DEVICE{"urn:uuid:1",
                             {"onvif://www.onvif.org/type/ptz", "onvif://www.onvif.org/name/A-1"},
                             "http://127.0.0.1:8081/onvif/device_service"};

std::string probe(const std::string& content) {
  return "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\" xmlns:w=\"http://schemas."
         "xmlsoap.org/ws/2004/08/addressing\" xmlns:d=\"http://schemas.xmlsoap.org/ws/2005/04/"
         "discovery\" xmlns:n=\"http://www.onvif.org/ver10/network/wsdl\" "
         "xmlns:t=\"http://www.onvif."
         "org/ver10/device/wsdl\"><s:Header><w:MessageID>urn:uuid:7</w:MessageID></s:Header>"
         "<s:Body>" +
         content + "</s:Body></s:Envelope>";
}

bool isAnswered(const std::string& content) {
  const auto question = readDiscoveryQuestion(probe(content));
  return question && isMeant(*question, DEVICE);
}

TEST(DiscoveryMessageTest, ProbeForNothingInParticularMeansEveryDevice) {
  EXPECT_TRUE(isAnswered("<d:Probe/>"));
  EXPECT_TRUE(isAnswered("<d:Probe><d:Types/><d:Scopes/></d:Probe>"));
}

TEST(DiscoveryMessageTest, AllTypesHaveToBeTheDevicesByVocabulary) {
  EXPECT_TRUE(isAnswered("<d:Probe><d:Types>n:NetworkVideoTransmitter</d:Types></d:Probe>"));
  EXPECT_TRUE(
      isAnswered("<d:Probe><d:Types>n:NetworkVideoTransmitter t:Device</d:Types></d:Probe>"));
  EXPECT_FALSE(isAnswered("<d:Probe><d:Types>n:NetworkVideoDisplay</d:Types></d:Probe>"));
  EXPECT_FALSE(isAnswered("<d:Probe><d:Types>t:NetworkVideoTransmitter</d:Types></d:Probe>"));
  EXPECT_FALSE(isAnswered("<d:Probe><d:Types>t:Device n:NetworkVideoDisplay</d:Types></d:Probe>"));
  EXPECT_FALSE(isAnswered("<d:Probe><d:Types>x:Device</d:Types></d:Probe>"));
}

TEST(DiscoveryMessageTest, ScopesAreComparedByWholeSegments) {
  const auto scopes = [](const std::string& text) {
    return "<d:Probe><d:Scopes>" + text + "</d:Scopes></d:Probe>";
  };
  EXPECT_TRUE(isAnswered(scopes("onvif://www.onvif.org/type")));
  EXPECT_TRUE(isAnswered(scopes("onvif://www.onvif.org/type/")));
  EXPECT_TRUE(isAnswered(scopes("onvif://www.onvif.org/type/ptz onvif://www.onvif.org/name/A-1")));
  EXPECT_FALSE(isAnswered(scopes("onvif://www.onvif.org/type/pt")));
  EXPECT_FALSE(isAnswered(scopes("onvif://www.onvif.org/type/ptz/more")));
  EXPECT_FALSE(isAnswered(scopes("onvif://www.onvif.org/type onvif://other/")));
  EXPECT_FALSE(isAnswered("<d:Probe><d:Scopes MatchBy=\"urn:own\">a</d:Scopes></d:Probe>"));
}

TEST(DiscoveryMessageTest, ResolveMeansTheDeviceOfThatAddress) {
  const auto resolve = [](const std::string& address) {
    return "<d:Resolve><w:EndpointReference><w:Address>" + address +
           "</w:Address></w:EndpointReference></d:Resolve>";
  };
  EXPECT_TRUE(isAnswered(resolve("urn:uuid:1")));
  EXPECT_FALSE(isAnswered(resolve("urn:uuid:2")));
  EXPECT_FALSE(isAnswered("<d:Resolve/>"));
}

TEST(DiscoveryMessageTest, WhatIsNoQuestionIsPassedOver) {
  EXPECT_FALSE(readDiscoveryQuestion(""));
  EXPECT_FALSE(readDiscoveryQuestion("no XML"));
  EXPECT_FALSE(readDiscoveryQuestion("<!DOCTYPE a><a/>"));
  EXPECT_FALSE(readDiscoveryQuestion("<a/>"));
  EXPECT_FALSE(readDiscoveryQuestion(probe("<d:Hello/>")));
  EXPECT_FALSE(readDiscoveryQuestion(probe("")));
  EXPECT_FALSE(readDiscoveryQuestion(std::string(70000, ' ') + probe("<d:Probe/>")));
}

TEST(DiscoveryMessageTest, AnswerNamesTheQuestionAndTheDevice) {
  const auto question = readDiscoveryQuestion(probe("<d:Probe/>"));
  const std::string text = discoveryAnswer(*question, DEVICE, {5, 3});
  EXPECT_THAT(text, HasSubstr("<a:RelatesTo>urn:uuid:7</a:RelatesTo>"));
  EXPECT_THAT(text, HasSubstr("http://schemas.xmlsoap.org/ws/2005/04/discovery/ProbeMatches<"));
  EXPECT_THAT(text, HasSubstr("<d:AppSequence InstanceId=\"5\" MessageNumber=\"3\"/>"));
  EXPECT_THAT(text, HasSubstr("<a:Address>urn:uuid:1</a:Address>"));
  EXPECT_THAT(text, HasSubstr(DEVICE.xaddrs));
  EXPECT_THAT(text, HasSubstr(DEVICE.scopes[0] + " " + DEVICE.scopes[1]));
  EXPECT_FALSE(readDiscoveryQuestion(text));
}

TEST(DiscoveryMessageTest, HelloTellsWhereAndByeOnlyWho) {
  EXPECT_THAT(discoveryHello(DEVICE, {5, 1}), HasSubstr(DEVICE.xaddrs));
  const std::string bye = discoveryBye(DEVICE, {5, 9});
  EXPECT_THAT(bye, HasSubstr("urn:uuid:1"));
  EXPECT_THAT(bye, Not(HasSubstr(DEVICE.xaddrs)));
}

}  // namespace
}  // namespace device::onvif
