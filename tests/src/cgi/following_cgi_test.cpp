// What the API tells of the way of following.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "base/json_text.h"
#include "camera/configuration_parser.h"
#include "cgi/tracker_cgi_handler.h"
#include "scene/parsed_scene.h"
#include "src/camera/test_camera.h"
#include "src/tracker/tracker_fixture.h"
#include "tracker/head_file.h"
#include "tracker/tracker_guard_factory.h"

namespace {

using testing::IsEmpty;

constexpr const char* PRODUCT = "TRK-100";
constexpr const char* REQUEST = R"({"apiVersion":"1.0","method":"getFollowing"})";

class FollowingCgiTest : public TrackerFixture {
 protected:
  // Connected with a head that is known to both ways.
  void startWith(const std::string& way) {
    FakeParameters::set("Brand.ProdNbr", "OV-1000");
    FakeParameters::set("SentrelVideo.Following", way);
    head.setUp(PRODUCT);
    following::HeadParameters known;
    known.pan.deadTime = 0.3;
    known.tilt.acceleration = 150.0;
    HeadFile::store(PRODUCT, known);
    startConnected(PRODUCT);
    handler = std::make_unique<TrackerCGI_Handler>(container, versions, folder.path("c.json"),
                                                   boundaries, defaults, parser, *tracker);
  }

  // Somebody whom a guard hands over.
  void show(const Look& look) {
    TrackingObject object(moteObject(3, clock.now(), look), 0, 1.0F);
    ParsedScene scene(clock.now(), false);
    scene.insertActiveObject(&object);
    tracker->see(1, scene);
    tracker->track(1, 1, object);
  }

  static double number(const json_t* object, const char* key) {
    return json_number_value(json_object_get(object, key));
  }

  static constexpr const char* VERSION_TEXTS[] = {"1.0"};

  const API_VersionHandler versions{VERSION_TEXTS, 1};
  const DataBoundaries boundaries{};
  const DefaultValues defaults{};
  Notes notes;
  TestContainer container{notes};
  ConfigurationParser<TrackerGuardFactory> parser;
  std::unique_ptr<TrackerCGI_Handler> handler;
};

TEST_F(FollowingCgiTest, PredictionTellsWhatItThinks) {
  startWith("predictive");
  show({.pan = 30.0, .tilt = -24.0});
  step();
  const CGI_HandlerResult result = handler->handleRequest(REQUEST);
  ASSERT_EQ(result.status, StatusCode_e::ok);
  const json_t* told = result.data.get();
  const json_t* known = json_object_get(told, "head");
  EXPECT_NEAR(number(json_object_get(known, "pan"), "deadTime"), 0.3, 1e-9);
  EXPECT_NEAR(number(json_object_get(known, "pan"), "speed"), 100.0, 1e-9);
  EXPECT_NEAR(number(json_object_get(known, "tilt"), "acceleration"), 150.0, 1e-9);
  EXPECT_EQ(number(json_object_get(known, "tilt"), "ratio"), 1.0);
  EXPECT_EQ(number(known, "misfit"), 0.0);
  EXPECT_NEAR(number(json_object_get(told, "aim"), "pan"), 30.0, 0.5);
  const json_t* people = json_object_get(told, "people");
  ASSERT_EQ(json_array_size(people), 1U);
  const json_t* person = json_array_get(people, 0);
  EXPECT_EQ(json_integer_value(json_object_get(person, "identity")), 1);
  EXPECT_TRUE(json_is_true(json_object_get(person, "wanted")));
  EXPECT_TRUE(json_is_true(json_object_get(person, "followed")));
  EXPECT_EQ(json_array_size(json_object_get(person, "covariance")), 3U);
  // 30 degrees to the right: twice as far forward as to the right, but for the root of 3.
  const json_t* place = json_object_get(person, "place");
  EXPECT_NEAR(
      json_number_value(json_array_get(place, 0)) / json_number_value(json_array_get(place, 1)),
      0.577, 0.02);
}

TEST_F(FollowingCgiTest, WithoutPredictionThereIsNoSuchMethod) {
  startWith("specified");
  log.clear();
  EXPECT_EQ(handler->handleRequest(REQUEST).status, StatusCode_e::methodNotFound);
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
}

}  // namespace
