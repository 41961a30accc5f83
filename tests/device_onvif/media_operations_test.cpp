#include "onvif_server/media_operations.h"

#include <gtest/gtest.h>

#include "base/glib_ptr.h"
#include "device_onvif/call.h"
#include "onvif_server/device_operations.h"

namespace device::onvif {
namespace {

class MediaOperationsTest : public testing::Test {
 protected:
  MediaOperationsTest() { media.addTo(operations); }

  std::string stream = "rtsp://camera/";
  HeadSetup head;
  std::vector<CameraProfile> profiles = {
      {.token = "head", .name = "Head", .width = 1280, .height = 720},
      {.token = "overview1", .name = "Overview 1", .camera = 1, .width = 720, .height = 1280},
      {.token = "head_jpeg",
       .name = "Head JPEG",
       .encoding = VideoEncoding::jpeg,
       .width = 1280,
       .height = 720}};
  MediaOperations media{
      profiles, head,
      [this](const CameraProfile& profile, const std::string&) {
        return stream.empty() ? stream : stream + profile.stream();
      },
      [](const std::string&) { return std::vector<std::string>{"Camera1Profile1"}; }};
  Operations operations;
};

TEST_F(MediaOperationsTest, HeadIsTheFirstProfileAndTheOnlyOneThatMoves) {
  const CallAnswer first = call(operations, ns::MEDIA, "GetProfiles");
  EXPECT_EQ(3, first.count("Profiles"));
  EXPECT_EQ("head", first.at("Profiles").attribute("token"));
  EXPECT_EQ(1, first.at("Profiles").count("PTZConfiguration"));
  EXPECT_EQ("overview1", first.at("Profiles", 1).attribute("token"));
  EXPECT_EQ(0, first.at("Profiles", 1).count("PTZConfiguration"));
  EXPECT_EQ("720", first.at("Profiles", 1).at("Bounds").attribute("width"));
}

TEST_F(MediaOperationsTest, SecondMediaServiceTellsConfigurationsOnlyWhenAskedForThem) {
  const auto profile = [&](const std::string& content) {
    return call(operations, ns::MEDIA2, "GetProfiles", content).at("Profiles");
  };
  EXPECT_EQ(0, profile("").count("Configurations"));
  const CallAnswer all = profile("<Type>All</Type>").at("Configurations");
  EXPECT_EQ(1, all.count("VideoSource"));
  EXPECT_EQ(1, all.count("VideoEncoder"));
  EXPECT_EQ(1, all.count("PTZ"));
  const CallAnswer one = profile("<Type>VideoSource</Type>").at("Configurations");
  EXPECT_EQ(1, one.count("VideoSource"));
  EXPECT_EQ(0, one.count("VideoEncoder"));
  EXPECT_EQ(0, one.count("PTZ"));
}

TEST_F(MediaOperationsTest, ProfileIsFoundByItsToken) {
  const std::string token = "<ProfileToken>overview1</ProfileToken>";
  EXPECT_EQ("overview1",
            call(operations, ns::MEDIA, "GetProfile", token).at("Profile").attribute("token"));
  const CallAnswer second = call(operations, ns::MEDIA2, "GetProfiles", "<Token>overview1</Token>");
  EXPECT_EQ(1, second.count("Profiles"));
  EXPECT_EQ("overview1", second.at("Profiles").attribute("token"));
  EXPECT_EQ("ter:NoProfile",
            faultOf(operations, ns::MEDIA, "GetProfile", "<ProfileToken>other</ProfileToken>"));
  EXPECT_EQ("ter:NoProfile", faultOf(operations, ns::MEDIA2, "GetProfiles", "<Token>x</Token>"));
}

TEST_F(MediaOperationsTest, ConfigurationsAreThoseOfAProfileOfATokenOrAll) {
  const auto countOf = [&](const std::string& content) {
    return call(operations, ns::MEDIA2, "GetVideoEncoderConfigurations", content)
        .count("Configurations");
  };
  EXPECT_EQ(3, countOf(""));
  EXPECT_EQ(1, countOf("<ProfileToken>head</ProfileToken>"));
  EXPECT_EQ(1, countOf("<ConfigurationToken>video_overview1</ConfigurationToken>"));
  EXPECT_EQ("ter:NoConfig", faultOf(operations, ns::MEDIA2, "GetVideoEncoderConfigurations",
                                    "<ConfigurationToken>x</ConfigurationToken>"));
  EXPECT_EQ("picture_head", call(operations, ns::MEDIA, "GetVideoSourceConfiguration",
                                 "<ConfigurationToken>picture_head</ConfigurationToken>")
                                .at("Configuration")
                                .attribute("token"));
}

TEST_F(MediaOperationsTest, EveryProfileHasMetadataOfWhatItsCameraKnows) {
  const CallAnswer head = call(operations, ns::MEDIA, "GetProfiles").at("Profiles");
  EXPECT_EQ("metadata_head", head.at("MetadataConfiguration").attribute("token"));
  EXPECT_EQ(1, head.at("MetadataConfiguration").count("PTZStatus"));
  EXPECT_EQ("false", head.at("MetadataConfiguration").at("Analytics").text());
  EXPECT_EQ(0, head.count("VideoAnalyticsConfiguration"));
  const CallAnswer overview =
      call(operations, ns::MEDIA2, "GetProfiles", "<Type>All</Type>").at("Profiles", 1);
  EXPECT_EQ("analytics_overview1",
            overview.at("Configurations").at("Analytics").attribute("token"));
  EXPECT_EQ("true", overview.at("Metadata").at("Analytics").text());
  EXPECT_EQ(0, overview.at("Metadata").count("PTZStatus"));
  EXPECT_EQ("metadata_overview1", call(operations, ns::MEDIA2, "GetMetadataConfigurations",
                                       "<ProfileToken>overview1</ProfileToken>")
                                      .at("Configurations")
                                      .attribute("token"));
  EXPECT_EQ("metadata_head", call(operations, ns::MEDIA, "GetMetadataConfiguration",
                                  "<ConfigurationToken>metadata_head</ConfigurationToken>")
                                 .at("Configuration")
                                 .attribute("token"));
}

TEST_F(MediaOperationsTest, MotionJpegIsAProfileWithAnEncoderOfItsOwnAndAllElseInCommon) {
  const CallAnswer first =
      call(operations, ns::MEDIA, "GetProfile", "<ProfileToken>head_jpeg</ProfileToken>");
  EXPECT_EQ("picture_head", first.at("VideoSourceConfiguration").attribute("token"));
  EXPECT_EQ("metadata_head", first.at("MetadataConfiguration").attribute("token"));
  EXPECT_EQ("2", first.at("MetadataConfiguration").at("UseCount").text());
  EXPECT_EQ(1, first.count("PTZConfiguration"));
  const CallAnswer encoder = first.at("VideoEncoderConfiguration");
  EXPECT_EQ("video_head_jpeg", encoder.attribute("token"));
  EXPECT_EQ("1", encoder.at("UseCount").text());
  EXPECT_EQ("JPEG", encoder.at("Encoding").text());
  EXPECT_EQ(0, encoder.count("H264"));
  const CallAnswer second = call(operations, ns::MEDIA2, "GetVideoEncoderConfigurations",
                                 "<ProfileToken>head_jpeg</ProfileToken>");
  EXPECT_EQ("JPEG", second.at("Encoding").text());
  EXPECT_EQ("none", second.at("Configurations").attribute("GovLength"));
}

// What belongs to the picture is told once.
TEST_F(MediaOperationsTest, WhatProfilesHaveInCommonIsListedOnce) {
  EXPECT_EQ(2, call(operations, ns::MEDIA, "GetVideoSources").count("VideoSources"));
  for (const char* name : {"GetVideoSourceConfigurations", "GetMetadataConfigurations"}) {
    EXPECT_EQ(2, call(operations, ns::MEDIA, name).count("Configurations")) << name;
    EXPECT_EQ(2, call(operations, ns::MEDIA2, name).count("Configurations")) << name;
  }
}

TEST_F(MediaOperationsTest, OptionsAreThoseOfEveryEncodingOrOfTheOneAskedFor) {
  const auto first = [&](const std::string& content) {
    return call(operations, ns::MEDIA, "GetVideoEncoderConfigurationOptions", content);
  };
  EXPECT_EQ(1, first("").count("JPEG"));
  EXPECT_EQ(1, first("").count("H264"));
  const std::string profile = "<ProfileToken>head_jpeg</ProfileToken>";
  EXPECT_EQ(1, first(profile).count("JPEG"));
  EXPECT_EQ(0, first(profile).count("H264"));
  const auto second = [&](const std::string& content) {
    return call(operations, ns::MEDIA2, "GetVideoEncoderConfigurationOptions", content);
  };
  EXPECT_EQ(2, second("").count("Options"));
  const CallAnswer one = second("<ConfigurationToken>video_head</ConfigurationToken>");
  ASSERT_EQ(1, one.count("Options"));
  EXPECT_EQ("H264", one.at("Encoding").text());
  EXPECT_EQ("720", second("<ProfileToken>overview1</ProfileToken>").at("Width").text());
}

TEST_F(MediaOperationsTest, AnalyticsAreThoseOfTheOverviewCamerasWithModuleAndRules) {
  const CallAnswer all = call(operations, ns::MEDIA, "GetVideoAnalyticsConfigurations");
  ASSERT_EQ(1, all.count("Configurations"));
  EXPECT_EQ("analytics_overview1", all.at("Configurations").attribute("token"));
  EXPECT_EQ("sv:Tracker", all.at("AnalyticsModule").attribute("Type"));
  EXPECT_EQ("Camera1Profile1", all.at("Rule").attribute("Name"));
  const auto countOf = [&](const std::string& content) {
    return call(operations, ns::MEDIA2, "GetAnalyticsConfigurations", content)
        .count("Configurations");
  };
  EXPECT_EQ(1, countOf(""));
  EXPECT_EQ(1, countOf("<ProfileToken>overview1</ProfileToken>"));
  EXPECT_EQ(0, countOf("<ProfileToken>head</ProfileToken>"));
  EXPECT_EQ(1, call(operations, ns::MEDIA, "GetVideoAnalyticsConfiguration",
                    "<ConfigurationToken>analytics_overview1</ConfigurationToken>")
                   .count("Configuration"));
  EXPECT_EQ("ter:NoConfig", faultOf(operations, ns::MEDIA, "GetVideoAnalyticsConfiguration",
                                    "<ConfigurationToken>analytics_head</ConfigurationToken>"));
}

TEST_F(MediaOperationsTest, StreamIsWhereTheSourceSaysOrARefusal) {
  const std::string head = "<ProfileToken>head</ProfileToken>";
  EXPECT_EQ("rtsp://camera/head",
            call(operations, ns::MEDIA, "GetStreamUri", head).at("Uri").text());
  EXPECT_EQ("rtsp://camera/head",
            call(operations, ns::MEDIA2, "GetStreamUri", head).at("Uri").text());
  EXPECT_EQ("http://camera:80/onvif/snapshot/head",
            call(operations, ns::MEDIA, "GetSnapshotUri", head).at("Uri").text());
  EXPECT_EQ("http://camera:80/onvif/snapshot/head",
            call(operations, ns::MEDIA2, "GetSnapshotUri", head).at("Uri").text());
  const std::string jpeg = "<ProfileToken>head_jpeg</ProfileToken>";
  EXPECT_EQ("rtsp://camera/head/jpeg",
            call(operations, ns::MEDIA, "GetStreamUri", jpeg).at("Uri").text());
  EXPECT_EQ("http://camera:80/onvif/snapshot/head",
            call(operations, ns::MEDIA2, "GetSnapshotUri", jpeg).at("Uri").text());
  stream.clear();
  EXPECT_EQ("ter:ActionNotSupported", faultOf(operations, ns::MEDIA, "GetStreamUri", head));
  EXPECT_EQ("ter:ActionNotSupported", faultOf(operations, ns::MEDIA2, "GetStreamUri", head));
}

TEST_F(MediaOperationsTest, MetadataMayHaveTheHeadsStatusAlone) {
  const auto supported = [&](const char* nameSpace, const std::string& content) {
    const CallAnswer options =
        call(operations, nameSpace, "GetMetadataConfigurationOptions", content).at("Options");
    const CallAnswer filter = options.at("PTZStatusFilterOptions");
    return filter.at("PanTiltStatusSupported").text() + ' ' +
           filter.at("ZoomStatusSupported").text() + ' ' +
           filter.at("PanTiltPositionSupported").text() + ' ' +
           filter.at("ZoomPositionSupported").text();
  };
  for (const char* nameSpace : {ns::MEDIA, ns::MEDIA2}) {
    EXPECT_EQ("true true true true", supported(nameSpace, ""));
    EXPECT_EQ("true true true true",
              supported(nameSpace, "<ConfigurationToken>metadata_head</ConfigurationToken>"));
    EXPECT_EQ("false false false false",
              supported(nameSpace, "<ProfileToken>overview1</ProfileToken>"));
    EXPECT_EQ("ter:NoConfig", faultOf(operations, nameSpace, "GetMetadataConfigurationOptions",
                                      "<ConfigurationToken>none</ConfigurationToken>"));
  }
}

TEST_F(MediaOperationsTest, SynchronizationIsOfAProfile) {
  std::vector<std::string> asked;
  media.onSynchronize([&](const CameraProfile& profile) { asked.push_back(profile.token); });
  const std::string profile = "<ProfileToken>overview1</ProfileToken>";
  call(operations, ns::MEDIA, "SetSynchronizationPoint", profile);
  call(operations, ns::MEDIA2, "SetSynchronizationPoint", profile);
  EXPECT_EQ((std::vector<std::string>{"overview1", "overview1"}), asked);
  EXPECT_EQ("ter:NoProfile", faultOf(operations, ns::MEDIA2, "SetSynchronizationPoint",
                                     "<ProfileToken>none</ProfileToken>"));
}

// A client that prefers UDP chooses the way when it sets the stream up.
TEST_F(MediaOperationsTest, StreamsAddressIsTheSameForAllOfUnicastAndThereIsNoOther) {
  const std::string head = "<ProfileToken>head</ProfileToken>";
  const auto setup = [&](const char* kind, const char* protocol) {
    return std::string("<StreamSetup><tt:Stream>") + kind + "</tt:Stream><tt:Transport>" +
           "<tt:Protocol>" + protocol + "</tt:Protocol></tt:Transport></StreamSetup>" + head;
  };
  const auto media2 = [&](const char* protocol) {
    return std::string("<Protocol>") + protocol + "</Protocol>" + head;
  };
  const auto fault = [&](const char* nameSpace, const std::string& content) {
    return faultOf(operations, nameSpace, "GetStreamUri", content);
  };
  for (const char* protocol : {"RTSP", "UDP", "TCP"}) {
    EXPECT_EQ("", fault(ns::MEDIA, setup("RTP-Unicast", protocol))) << protocol;
  }
  for (const char* protocol : {"RTSP", "RtspUnicast"}) {
    EXPECT_EQ("", fault(ns::MEDIA2, media2(protocol))) << protocol;
  }
  EXPECT_EQ("ter:InvalidStreamSetup", fault(ns::MEDIA, setup("RTP-Unicast", "HTTP")));
  EXPECT_EQ("ter:InvalidStreamSetup", fault(ns::MEDIA, setup("RTP-Multicast", "UDP")));
  for (const char* protocol : {"RtspMulticast", "RtspOverHttp", "RtspsUnicast"}) {
    EXPECT_EQ("ter:InvalidStreamSetup", fault(ns::MEDIA2, media2(protocol))) << protocol;
  }
}

class DeviceOperationsTest : public testing::Test {
 protected:
  DeviceOperationsTest() { device.addTo(operations); }

  DeviceOperations device{{"A 1/2", "1.0", "serial", "urn:uuid:1"}};
  Operations operations;
};

TEST_F(DeviceOperationsTest, AddressesAreThoseByWhichTheClientReachedTheDevice) {
  const CallAnswer services = call(operations, ns::DEVICE, "GetServices");
  EXPECT_EQ(6, services.count("Service"));
  EXPECT_EQ("http://camera:80/onvif/device_service", services.at("XAddr").text());
  const CallAnswer capabilities =
      call(operations, ns::DEVICE, "GetCapabilities", "<Category>All</Category>");
  EXPECT_EQ("http://camera:80/onvif/ptz_service",
            capabilities.at("Capabilities").at("PTZ").at("XAddr").text());
  EXPECT_EQ("http://camera:80/onvif/event_service", capabilities.at("Events").at("XAddr").text());
}

TEST_F(DeviceOperationsTest, CapabilitiesAreThoseAskedFor) {
  const CallAnswer one =
      call(operations, ns::DEVICE, "GetCapabilities", "<Category>PTZ</Category>");
  EXPECT_EQ(1, one.count("PTZ"));
  EXPECT_EQ(0, one.count("Media"));
  EXPECT_EQ("http://camera:80/onvif/analytics_service",
            call(operations, ns::DEVICE, "GetCapabilities", "<Category>Analytics</Category>")
                .at("Analytics")
                .at("XAddr")
                .text());
  EXPECT_EQ("ter:NoSuchService",
            faultOf(operations, ns::DEVICE, "GetCapabilities", "<Category>Imaging</Category>"));
}

TEST_F(DeviceOperationsTest, TimeIsThatOfTheMachine) {
  const std::int64_t before = g_get_real_time() / 1000000;
  const CallAnswer time = call(operations, ns::DEVICE, "GetSystemDateAndTime").at("UTCDateTime");
  const auto part = [&](const char* name) { return std::stoi(time.at(name).text()); };
  const GDateTimePtr told(g_date_time_new_utc(part("Year"), part("Month"), part("Day"),
                                              part("Hour"), part("Minute"), part("Second")));
  EXPECT_GE(g_date_time_to_unix(told.get()), before);
  EXPECT_LE(g_date_time_to_unix(told.get()), g_get_real_time() / 1000000);
}

TEST_F(DeviceOperationsTest, ScopesHaveNoBlanks) {
  const CallAnswer scopes = call(operations, ns::DEVICE, "GetScopes");
  EXPECT_EQ("onvif://www.onvif.org/hardware/A%201%2F2", scopes.at("ScopeItem", 2).text());
}

TEST_F(DeviceOperationsTest, ClientsMayAskBeforeTheyLogInWhatTheyNeedForIt) {
  for (const char* name : {"GetSystemDateAndTime", "GetServices", "GetCapabilities", "GetHostname",
                           "GetServiceCapabilities", "GetWsdlUrl", "GetEndpointReference"}) {
    EXPECT_EQ(Access::anybody, operations.find({ns::DEVICE, name})->access) << name;
  }
  EXPECT_EQ(Access::user, operations.find({ns::DEVICE, "GetDeviceInformation"})->access);
}

}  // namespace
}  // namespace device::onvif
