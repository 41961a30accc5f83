#include "onvif_server/onvif_faults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "device_onvif/call.h"
#include "model/model.h"
#include "onvif_server/faulty_reports.h"
#include "onvif_server/faulty_services.h"
#include "onvif_server/ptz_operations.h"
#include "support/main_loop.h"
#include "support/source_folder.h"

namespace device::onvif {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

TEST(OnvifFaultsTest, NamesOfAListAreInForce) {
  OnvifFaults faults(2);
  faults.set(OnvifFaults::namesIn("camera:digest-only,head:no-stop,overview2:gzip"));
  EXPECT_TRUE(faults.ofCamera("digest-only"));
  EXPECT_TRUE(faults.ofHead("no-stop"));
  EXPECT_TRUE(faults.ofOverview(2, "gzip"));
  EXPECT_FALSE(faults.ofOverview(1, "gzip"));
  faults.set({});
  EXPECT_THAT(faults.get(), IsEmpty());
  EXPECT_THAT(OnvifFaults::namesIn(""), IsEmpty());
}

TEST(OnvifFaultsTest, WhatThereIsNotIsRefusedAndChangesNothing) {
  OnvifFaults faults(2);
  faults.set({"head:no-stop"});
  for (const char* name :
       {"overview3:gzip", "overview0:gzip", "head:gzip", "gzip", "camera:", ""}) {
    EXPECT_THROW(faults.set({"camera:away", name}), std::runtime_error) << name;
  }
  EXPECT_THAT(faults.get(), ElementsAre("head:no-stop"));
}

class FaultyServicesTest : public testing::Test {
 protected:
  FaultyServicesTest() {
    ptz.addTo(operations);
    services.cover(operations);
  }

  Model model = loadModel(modelsFolder(), "perfect");
  World world{model.world, {}};
  std::int64_t now = 0;  // of the head
  HeadDrive drive{model.head, [this] { return now; }};
  std::vector<CameraProfile> profiles = cameraProfiles(model, world);
  PtzOperations ptz{profiles, drive, [] { return 0; }};
  OnvifFaults faults{1};
  FaultyServices services{faults, drive};
  Operations operations;

  static constexpr char HEAD[] = "<ProfileToken>head</ProfileToken>";
};

TEST_F(FaultyServicesTest, HeadWithoutAnyFaultDoesRight) {
  EXPECT_EQ("", faultOf(operations, ns::PTZ, "Stop", HEAD));
}

TEST_F(FaultyServicesTest, StopIsNotThere) {
  faults.set({"head:no-stop"});
  EXPECT_EQ("ter:ActionNotSupported", faultOf(operations, ns::PTZ, "Stop", HEAD));
}

TEST_F(FaultyServicesTest, HeadThatIgnoresItsTimeoutGoesOn) {
  const std::string move = std::string(HEAD) +
                           "<Velocity><tt:PanTilt x=\"0.1\" y=\"0\"/></Velocity>"
                           "<Timeout>PT0.5S</Timeout>";
  const auto standsAfter = [&](std::int64_t microseconds) {
    call(operations, ns::PTZ, "ContinuousMove", move);
    for (const std::int64_t end = now + microseconds; now < end; now += 10000) {
      drive.getHead();
    }
    return !drive.getHead().status().moving();
  };
  EXPECT_TRUE(standsAfter(2000000));
  faults.set({"head:ignores-timeout"});
  EXPECT_FALSE(standsAfter(20000000));
}

TEST_F(FaultyServicesTest, StatusComesHalfASecondLater) {
  faults.set({"head:late-status"});
  const std::int64_t asked = g_get_monotonic_time();
  const XmlDocument document(std::string("<GetStatus xmlns=\"") + ns::PTZ + "\">" + HEAD +
                             "</GetStatus>");
  std::int64_t answered = 0;
  operations.find(document.root().name())
      ->serve({document.root(), "camera:80", "/"},
              {[&](const Tag&, const Operations::Sent&) { answered = g_get_monotonic_time(); },
               [] { return true; }});
  ASSERT_TRUE(iterateUntil([&] { return answered != 0; }));
  EXPECT_GE(answered - asked, 499000);
}

TEST(FaultyReportsTest, ObjectsGetOtherNamesAndSaySo) {
  OnvifFaults faults(1);
  faults.set({"overview1:renames"});
  FaultyReports reports(faults);
  const auto told = [&](std::int64_t time) {
    Frame frame;
    frame.timestamp = time;
    frame.objects.emplace_back().id = 7;
    return reports.told(1, frame);
  };
  const auto first = told(100000000);
  EXPECT_THAT(first.manner.renames, IsEmpty());
  const std::int32_t name = first.frame.objects[0].id;
  EXPECT_EQ(name, told(100900000).frame.objects[0].id);
  const auto next = told(101000000);
  EXPECT_THAT(next.manner.renames, ElementsAre(Pair(name, next.frame.objects[0].id)));
  EXPECT_NE(name, next.frame.objects[0].id);
}

TEST(FaultyReportsTest, DeletionsAreLeftOut) {
  OnvifFaults faults(1);
  faults.set({"overview1:no-deletion"});
  Frame frame;
  frame.events = {{FrameAction::deletion, {7}, {}}, {FrameAction::split, {1}, {2, 3}}};
  EXPECT_THAT(FaultyReports(faults).told(1, frame).frame.events, SizeIs(1));
  EXPECT_THAT(FaultyReports(faults).told(2, frame).frame.events, SizeIs(2));
}

}  // namespace
}  // namespace device::onvif
