#include <gtest/gtest.h>

#include <sstream>

#include "device_onvif/call.h"
#include "device_services/private_bus.h"
#include "onvif_server/device_operations.h"
#include "onvif_server/event_operations.h"
#include "onvif_server/media_operations.h"
#include "onvif_server/metadata.h"
#include "onvif_server/ptz_operations.h"

namespace device::onvif {
namespace {

// What there is in an element, in this order. A name may end in "?", where it may be left out, in
// "*", where there may be none or several of it, or be "...", where anything may follow.
struct Order {
  const char* element;  // wherever it is in the answer; empty: the answer itself
  const char* names;
};
using Orders = std::vector<Order>;

// What is wrong about it; empty when nothing is.
std::string trouble(std::vector<std::string> children, const std::string& names) {
  std::istringstream expected(names);
  auto child = children.begin();
  for (std::string name; expected >> name;) {
    if (name == "...") {
      return "";
    }
    const char sign = name.back();
    if (sign == '?' || sign == '*') {
      name.pop_back();
    }
    const auto begin = child;
    while (child != children.end() && *child == name && (sign == '*' || child == begin)) {
      ++child;
    }
    if (child == begin && sign != '?' && sign != '*') {
      return "there is no " + name + " in its place";
    }
  }
  return child != children.end() ? *child + " is not in its place" : "";
}

void expectOrders(const CallAnswer& answer, const Orders& orders) {
  for (const Order& order : orders) {
    const std::string element = order.element;
    const int count = element.empty() ? 1 : answer.count(element);
    EXPECT_GT(count, 0) << element;
    for (int i = 0; i < count; ++i) {
      const CallAnswer each = element.empty() ? answer : answer.at(element, i);
      EXPECT_EQ("", trouble(each.children(), order.names)) << answer.name() << ' ' << element;
    }
  }
}

constexpr char SOURCE[] = "Name UseCount SourceToken Bounds";
constexpr char ENCODER1[] =
    "Name UseCount Encoding Resolution Quality RateControl H264? Multicast SessionTimeout";
constexpr char ENCODER2[] = "Name UseCount Encoding Resolution RateControl Multicast? Quality";
constexpr char ANALYTICS[] = "Name UseCount AnalyticsEngineConfiguration RuleEngineConfiguration";
constexpr char METADATA[] = "Name UseCount PTZStatus? Events Analytics Multicast SessionTimeout";
constexpr char HEAD_CONFIGURATION[] =
    "Name UseCount NodeToken DefaultAbsolutePantTiltPositionSpace DefaultAbsoluteZoomPositionSpace "
    "DefaultRelativePanTiltTranslationSpace DefaultRelativeZoomTranslationSpace "
    "DefaultContinuousPanTiltVelocitySpace DefaultContinuousZoomVelocitySpace DefaultPTZSpeed "
    "DefaultPTZTimeout PanTiltLimits ZoomLimits";
constexpr char SPACES[] =
    "AbsolutePanTiltPositionSpace* AbsoluteZoomPositionSpace* RelativePanTiltTranslationSpace* "
    "RelativeZoomTranslationSpace* ContinuousPanTiltVelocitySpace* ContinuousZoomVelocitySpace* "
    "PanTiltSpeedSpace* ZoomSpeedSpace*";
constexpr char STATUS[] = "Position MoveStatus UtcTime FieldOfView";
constexpr char HEAD[] = "<ProfileToken>head</ProfileToken>";

class ElementOrdersTest : public testing::Test {
 protected:
  ElementOrdersTest() {
    device.addTo(operations);
    media.addTo(operations);
    ptz.addTo(operations);
    eventOperations.addTo(operations);
  }

  void expect(const char* nameSpace, const std::string& name, const std::string& content,
              const Orders& orders, const std::string& path = "/onvif/service") {
    expectOrders(call(operations, nameSpace, name, content, path), orders);
  }

  HeadSetup setup;
  HeadDrive drive{setup, [] { return 1000000000; }};
  std::vector<CameraProfile> profiles = {
      {.token = "head", .name = "Head", .width = 1280, .height = 720},
      {.token = "overview1", .name = "One", .camera = 1, .width = 1280, .height = 720},
      {.token = "overview1_jpeg",
       .name = "One JPEG",
       .camera = 1,
       .encoding = VideoEncoding::jpeg,
       .width = 1280,
       .height = 720}};
  DeviceOperations device{{"model", "1.0", "serial", "urn:uuid:1"}};
  MediaOperations media{profiles, setup,
                        [](const CameraProfile&, const std::string&) { return "rtsp://camera/"; },
                        [](const std::string&) { return std::vector<std::string>{"Rule"}; }};
  PtzOperations ptz{profiles, drive, [] { return 0; }};
  DbusDaemon bus;
  GObjectPtr<GDBusConnection> connection = connectToSystemBus();
  EventService events{connection.get()};
  EventOperations eventOperations{events};
  Operations operations;
};

TEST_F(ElementOrdersTest, OfTheDevice) {
  expect(ns::DEVICE, "GetDeviceInformation", "",
         {{"", "Manufacturer Model FirmwareVersion SerialNumber HardwareId"}});
  expect(ns::DEVICE, "GetServices", "<IncludeCapability>false</IncludeCapability>",
         {{"Service", "Namespace XAddr Version"}, {"Version", "Major Minor"}});
  expect(ns::DEVICE, "GetCapabilities", "<Category>All</Category>",
         {{"Capabilities", "Analytics Device Events Imaging? Media PTZ"},
          {"Analytics", "XAddr RuleSupport AnalyticsModuleSupport"},
          {"Device", "XAddr ..."},
          {"Events",
           "XAddr WSSubscriptionPolicySupport WSPullPointSupport "
           "WSPausableSubscriptionManagerInterfaceSupport"},
          {"Media", "XAddr StreamingCapabilities"},
          {"StreamingCapabilities", "RTPMulticast RTP_TCP RTP_RTSP_TCP"},
          {"PTZ", "XAddr"}});
  expect(ns::DEVICE, "GetSystemDateAndTime", "",
         {{"SystemDateAndTime", "DateTimeType DaylightSavings TimeZone? UTCDateTime"},
          {"UTCDateTime", "Time Date"},
          {"Time", "Hour Minute Second"},
          {"Date", "Year Month Day"}});
}

TEST_F(ElementOrdersTest, OfProfilesAndConfigurations) {
  expect(ns::MEDIA, "GetProfiles", "",
         {{"Profiles",
           "Name VideoSourceConfiguration VideoEncoderConfiguration VideoAnalyticsConfiguration? "
           "PTZConfiguration? MetadataConfiguration"},
          {"VideoSourceConfiguration", SOURCE},
          {"VideoEncoderConfiguration", ENCODER1},
          {"Resolution", "Width Height"},
          {"RateControl", "FrameRateLimit EncodingInterval BitrateLimit"},
          {"H264", "GovLength H264Profile"},
          {"Multicast", "Address Port TTL AutoStart"},
          {"Address", "Type IPv4Address"},
          {"VideoAnalyticsConfiguration", ANALYTICS},
          {"PTZConfiguration", HEAD_CONFIGURATION},
          {"MetadataConfiguration", METADATA},
          {"PTZStatus", "Status Position"}});
  expect(ns::MEDIA2, "GetProfiles", "<Type>All</Type>",
         {{"Profiles", "Name Configurations"},
          {"Configurations", "VideoSource VideoEncoder Analytics? PTZ? Metadata"},
          {"VideoSource", SOURCE},
          {"VideoEncoder", ENCODER2},
          {"RateControl", "FrameRateLimit BitrateLimit"},
          {"PTZ", HEAD_CONFIGURATION},
          {"Metadata", METADATA}});
}

TEST_F(ElementOrdersTest, OfWhatEachMediaServiceTellsAlone) {
  struct Told {
    const char* operation;
    const char* first;   // of the older service
    const char* second;  // of the newer one
  };
  for (const auto& [operation, first, second] :
       {Told{"GetVideoSourceConfigurations", SOURCE, SOURCE},
        Told{"GetVideoEncoderConfigurations", ENCODER1, ENCODER2},
        Told{"GetMetadataConfigurations", METADATA, METADATA}}) {
    expect(ns::MEDIA, operation, "", {{"Configurations", first}});
    expect(ns::MEDIA2, operation, "", {{"Configurations", second}});
  }
  expect(ns::MEDIA, "GetVideoAnalyticsConfigurations", "", {{"Configurations", ANALYTICS}});
  expect(ns::MEDIA2, "GetAnalyticsConfigurations", "", {{"Configurations", ANALYTICS}});
  expect(ns::MEDIA, "GetVideoSources", "", {{"VideoSources", "Framerate Resolution"}});
  for (const char* operation : {"GetStreamUri", "GetSnapshotUri"}) {
    expect(ns::MEDIA, operation, HEAD,
           {{"MediaUri", "Uri InvalidAfterConnect InvalidAfterReboot Timeout"}});
    expect(ns::MEDIA2, operation, HEAD, {{"", "Uri"}});
  }
}

TEST_F(ElementOrdersTest, OfTheHead) {
  expect(ns::PTZ, "GetNodes", "",
         {{"PTZNode", "Name SupportedPTZSpaces MaximumNumberOfPresets HomeSupported"},
          {"SupportedPTZSpaces", SPACES},
          {"AbsolutePanTiltPositionSpace", "URI XRange YRange"},
          {"RelativePanTiltTranslationSpace", "URI XRange YRange"},
          {"ContinuousPanTiltVelocitySpace", "URI XRange YRange"},
          {"AbsoluteZoomPositionSpace", "URI XRange"},
          {"PanTiltSpeedSpace", "URI XRange"},
          {"XRange", "Min Max"},
          {"YRange", "Min Max"}});
  expect(ns::PTZ, "GetConfigurations", "",
         {{"PTZConfiguration", HEAD_CONFIGURATION},
          {"DefaultPTZSpeed", "PanTilt Zoom"},
          {"PanTiltLimits", "Range"},
          {"ZoomLimits", "Range"},
          {"Range", "URI XRange YRange?"}});
  expect(ns::PTZ, "GetConfigurationOptions", "<ConfigurationToken>head_ptz</ConfigurationToken>",
         {{"PTZConfigurationOptions", "Spaces PTZTimeout"},
          {"Spaces", SPACES},
          {"PTZTimeout", "Min Max"}});
  expect(ns::PTZ, "GetStatus", HEAD,
         {{"PTZStatus", STATUS}, {"Position", "PanTilt Zoom"}, {"MoveStatus", "PanTilt Zoom"}});
  call(operations, ns::PTZ, "SetPreset", HEAD);
  expect(ns::PTZ, "GetPresets", HEAD,
         {{"Preset", "Name PTZPosition"}, {"PTZPosition", "PanTilt Zoom"}});
}

TEST_F(ElementOrdersTest, OfEvents) {
  events.declare({{.name = "topic0", .nameSpace = "tns1", .value = std::string("VideoSource")},
                  {.name = "topic1", .nameSpace = "tns1", .value = std::string("MotionAlarm")},
                  {.name = "Source", .value = 1, .isSource = true},
                  {.name = "State", .value = true, .isData = true}},
                 false);
  expect(ns::EVENTS, "GetEventProperties", "",
         {{"",
           "TopicNamespaceLocation FixedTopicSet TopicSet TopicExpressionDialect* "
           "MessageContentFilterDialect MessageContentSchemaLocation"},
          {"MessageDescription", "Source Data"}});
  expect(ns::EVENTS, "CreatePullPointSubscription", "",
         {{"", "SubscriptionReference CurrentTime TerminationTime"}});
  const std::string point = "/onvif/event_service/1";
  expect(ns::EVENTS, "PullMessages", "<Timeout>PT0S</Timeout><MessageLimit>9</MessageLimit>",
         {{"", "CurrentTime TerminationTime NotificationMessage*"},
          {"NotificationMessage", "Topic Message"}},
         point);
  expect(ns::NOTIFICATION, "Renew", "", {{"", "TerminationTime CurrentTime"}}, point);
}

TEST_F(ElementOrdersTest, OfMetadata) {
  const Frame frame{.timestamp = 1,
                    .objects = {{.id = 12,
                                 .box = {{{-2048, 0}, {-2048, 1024}, {0, 1024}, {0, 0}}},
                                 .outline = {{-2048, 0}, {-1024, 1024}, {0, 0}},
                                 .velocity = {},
                                 .confidence = 2048}},
                    .events = {{.action = FrameAction::deletion, .from = {9}, .to = {}},
                               {.action = FrameAction::split, .from = {5}, .to = {6, 7}},
                               {.action = FrameAction::merge, .from = {3}, .to = {4}}}};
  const OverviewCamera camera({.position = {0, 0, 5}, .horizontalFov = 60, .distortion = {}});
  expectOrders(CallAnswer(analyticsDocument(frame, camera, 1)),
               {{"VideoAnalytics", "Frame"},
                {"Frame", "PTZStatus? Transformation? Object* ObjectTree"},
                {"Object", "Appearance Behaviour?"},
                {"Appearance", "Transformation? Shape Class"},
                {"Shape", "BoundingBox CenterOfGravity Polygon"},
                {"Polygon", "Point*"},
                {"Class", "Type"},
                {"ObjectTree", "Rename* Split* Merge* Delete*"},
                {"Split", "from to*"},
                {"Merge", "from* to"}});
  expectOrders(CallAnswer(ptzDocument(ptz.statusTag("tt:PTZStatus", true))),
               {{"PTZ", "PTZStatus"}, {"PTZStatus", STATUS}});
}

}  // namespace
}  // namespace device::onvif
