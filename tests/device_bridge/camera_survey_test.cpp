#include "bridge/camera_survey.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bridge/metadata_switch.h"
#include "fake_camera.h"
#include "onvif/envelope.h"

namespace device::bridge {
namespace {

using onvif::answered;
using onvif::Attribute;
using onvif::FakeAnswer;
using onvif::FakeCamera;
using onvif::FakeRequest;
using onvif::Tag;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

TEST(DeviceAddressTest, HostIsEnough) {
  EXPECT_EQ("http://192.168.1.20/onvif/device_service", deviceAddressOf("192.168.1.20"));
  EXPECT_EQ("http://camera:8081/onvif/device_service", deviceAddressOf("camera:8081"));
  EXPECT_EQ("http://camera/onvif/device_service", deviceAddressOf("http://camera/"));
  EXPECT_EQ("http://camera/other", deviceAddressOf("http://camera/other"));
}

// A camera that finds objects; whether its metadata tell them is a switch of its own.
class AnalysingCamera {
 public:
  std::string url() const { return camera.url(); }
  std::vector<std::string> operations() const {
    std::vector<std::string> names;
    for (const FakeRequest& request : camera.requests) {
      names.push_back(request.operation);
    }
    return names;
  }

  bool hasMetadata = true;
  bool tellsObjects = false;
  bool letsItselfBeChanged = true;
  std::string taken;  // the last SetMetadataConfiguration

 private:
  FakeAnswer answer(const FakeRequest& request) {
    if (request.operation == "GetServices") {
      return answered(
          Tag("tds:GetServicesResponse", Tag("tds:Service", Tag("tds:Namespace", onvif::ns::MEDIA2),
                                             Tag("tds:XAddr", camera.url()))));
    }
    if (request.operation == "GetDeviceInformation") {
      return answered(Tag("tds:GetDeviceInformationResponse", Tag("tds:Manufacturer", "Maker"),
                          Tag("tds:Model", "M1"), Tag("tds:SerialNumber", "7")));
    }
    if (request.operation == "GetProfiles") {
      Tag configurations("tr2:Configurations", Tag("tr2:VideoSource", Attribute("token", "vs")),
                         Tag("tr2:Analytics", Attribute("token", "va")));
      if (hasMetadata) {
        configurations.add(configuration("tr2:Metadata"));
      }
      return answered(
          Tag("tr2:GetProfilesResponse", Tag("tr2:Profiles", Attribute("token", "p1"),
                                             Tag("tr2:Name", "main"), std::move(configurations))));
    }
    if (request.operation == "GetMetadataConfigurations") {
      return answered(
          Tag("tr2:GetMetadataConfigurationsResponse", configuration("tr2:Configurations")));
    }
    if (request.operation == "AddConfiguration") {
      hasMetadata = true;
      return answered(Tag("tr2:AddConfigurationResponse"));
    }
    if (request.operation == "SetMetadataConfiguration" && letsItselfBeChanged) {
      tellsObjects = true;
      taken = request.body;
      return answered(Tag("tr2:SetMetadataConfigurationResponse"));
    }
    return onvif::faulted(
        onvif::Fault(onvif::FaultCode::receiver, {"ter:ActionNotSupported"}, "No"), 500);
  }

  Tag configuration(const char* name) const {
    return Tag(name, Attribute("token", "meta0"), Attribute("CompressionType", "EXI"),
               Tag("tt:Name", "meta"), Tag("tt:UseCount", 1),
               Tag("tt:PTZStatus", Tag("tt:Status", true), Tag("tt:Position", false)),
               Tag("tt:Analytics", tellsObjects), Tag("tt:Multicast", Tag("tt:Port", 0)),
               Tag("tt:SessionTimeout", "PT60S"));
  }

  FakeCamera camera{[this](const FakeRequest& request) { return answer(request); }};
};

class CameraSurveyTest : public testing::Test {
 protected:
  void survey() {
    found.reset();
    const CameraSurvey asking(camera.url(), {},
                              {[this](const CameraAbilities& abilities) { found = abilities; },
                               [this](const std::string& text) { trouble = text; }});
    ASSERT_TRUE(iterateUntil([&] { return found || !trouble.empty(); }));
  }

  std::string switchOn() {
    std::optional<std::string> words;
    const MetadataSwitch switching(camera.url(), {}, *found, found->profiles.at(0),
                                   [&](const std::string& text) { words = text; });
    EXPECT_TRUE(iterateUntil([&] { return words.has_value(); }));
    return words.value_or("");
  }

  AnalysingCamera camera;
  std::optional<CameraAbilities> found;
  std::string trouble;
};

TEST_F(CameraSurveyTest, TellsInPlainWordsWhatTheCameraCan) {
  camera.tellsObjects = true;
  survey();
  ASSERT_TRUE(found);
  EXPECT_THAT(wordsOf(*found), ElementsAre("Maker M1, number 7", "It moves no head",
                                           "It tells objects, by the profile main (p1)"));
}

TEST_F(CameraSurveyTest, MetadataThatAreOffAreNamedAndCanBeSwitchedOn) {
  survey();
  ASSERT_TRUE(found);
  EXPECT_THAT(wordsOf(*found), Contains(AllOf(HasSubstr("does not tell them"),
                                              HasSubstr("can be switched on in its metadata"))));
  EXPECT_EQ("", switchOn());
  EXPECT_THAT(camera.operations(), Not(Contains("AddConfiguration")));
  survey();
  EXPECT_TRUE(found->profiles.at(0).metadataTellsObjects);
}

TEST_F(CameraSurveyTest, OnlyAnalyticsAndCompressionAreChanged) {
  survey();
  ASSERT_EQ("", switchOn());
  const onvif::Envelope envelope = onvif::readEnvelope(camera.taken);
  const auto sent = envelope.operation.firstChild();
  ASSERT_TRUE(sent);
  EXPECT_EQ("meta0", sent->attribute("token"));
  EXPECT_EQ("None", sent->attribute("CompressionType"));
  std::vector<std::string> parts;
  for (const onvif::XmlElement& child : sent->children()) {
    parts.push_back(child.name().name + "=" + child.text());
  }
  EXPECT_THAT(parts, ElementsAre("Name=meta", "UseCount=1", "PTZStatus=", "Analytics=true",
                                 "Multicast=", "SessionTimeout=PT60S"));
  const auto status = sent->child(onvif::ns::SCHEMA, "PTZStatus");
  EXPECT_EQ("false", status->child(onvif::ns::SCHEMA, "Position")->text());
}

TEST_F(CameraSurveyTest, ProfileWithoutMetadataGetsSome) {
  camera.hasMetadata = false;
  survey();
  ASSERT_TRUE(found);
  EXPECT_EQ("", switchOn());
  EXPECT_THAT(camera.operations(), Contains("AddConfiguration"));
  EXPECT_TRUE(camera.tellsObjects);
}

TEST_F(CameraSurveyTest, CameraThatCannotBeChangedIsToldInWords) {
  camera.letsItselfBeChanged = false;
  survey();
  EXPECT_THAT(switchOn(), HasSubstr("switch analytics on in its metadata on its own page"));
}

TEST_F(CameraSurveyTest, NobodyThereIsToldInWords) {
  const CameraSurvey asking(
      "http://127.0.0.1:1/onvif/device_service", {},
      {[](const CameraAbilities&) {}, [this](const std::string& text) { trouble = text; }});
  ASSERT_TRUE(iterateUntil([&] { return !trouble.empty(); }));
  EXPECT_THAT(trouble, HasSubstr("cannot be reached"));
}

}  // namespace
}  // namespace device::bridge
