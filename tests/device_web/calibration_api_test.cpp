#include "web_server/calibration_api.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jansson.h>

#include <optional>
#include <string>
#include <utility>

#include "base/json_auto_ptr.h"
#include "device_services/private_bus.h"
#include "support/temporary_folder.h"
#include "web_client.h"

namespace device {
namespace {

using testing::HasSubstr;

// 90 degrees across a square picture.
constexpr char QUARTER_TURN[] =
    R"({"width":1000,"height":1000,"points":[{"x":0,"y":0,"pan":0,"tilt":0},
        {"x":1,"y":0,"pan":45,"tilt":0},{"x":-1,"y":0,"pan":-45,"tilt":0},
        {"x":0,"y":1,"pan":0,"tilt":45},{"x":0,"y":-1,"pan":0,"tilt":-45},
        {"x":0.5,"y":0,"pan":26.56505117707799,"tilt":0}]})";

JsonAutoPtr parsed(const std::string& text) {
  return JsonAutoPtr(json_loads(text.c_str(), 0, nullptr));
}

double numberAt(const json_t* object, const char* key) {
  const json_t* value = json_object_get(object, key);
  EXPECT_TRUE(json_is_number(value)) << key;
  return json_number_value(value);
}

std::string with(std::string text, const std::string& part, const std::string& other) {
  const std::size_t place = text.find(part);
  EXPECT_NE(place, std::string::npos) << part;
  return text.replace(place, part.size(), other);
}

TEST(CalibrationApiTest, TellsTheCameraItsDeviationsAndEachPointsResidual) {
  const WebAnswer answer = answerToCalibration(QUARTER_TURN);
  EXPECT_EQ(answer.status, 200U);
  const JsonAutoPtr json = parsed(answer.body);
  const json_t* data = json_object_get(json.get(), "data");
  for (const char* zero : {"pan", "tilt", "roll", "distortion", "offset_x_m", "offset_y_m"}) {
    EXPECT_NEAR(numberAt(data, zero), 0, 1e-6) << zero;
  }
  EXPECT_NEAR(numberAt(data, "hfov"), 90, 1e-6);
  EXPECT_NEAR(numberAt(data, "vfov"), 90, 1e-6);
  const json_t* deviations = json_object_get(data, "deviations");
  EXPECT_GT(numberAt(deviations, "tilt"), 0);
  EXPECT_GT(numberAt(deviations, "worst"), numberAt(deviations, "tilt"));
  const json_t* points = json_object_get(data, "points");
  ASSERT_EQ(json_array_size(points), 6U);
  const json_t* right = json_array_get(points, 1);
  EXPECT_NEAR(numberAt(right, "residual"), 0, 1e-6);
  EXPECT_NEAR(numberAt(right, "x"), 1, 1e-6);
  EXPECT_TRUE(json_is_false(json_object_get(right, "outlier")));
}

TEST(CalibrationApiTest, TellsWhyItRefuses) {
  const WebAnswer answer =
      answerToCalibration(R"({"width":100,"height":100,"heights":{"camera_m":5,"head_m":6},
                              "points":[{"x":0,"y":0,"pan":0,"tilt":-10},
                                        {"x":0.5,"y":0,"pan":0,"tilt":10}]})");
  EXPECT_EQ(answer.status, 200U);
  const JsonAutoPtr json = parsed(answer.body);
  const json_t* refusal = json_object_get(json.get(), "refusal");
  EXPECT_STREQ(json_string_value(json_object_get(refusal, "reason")), "notOnTheGround");
  EXPECT_THAT(json_string_value(json_object_get(refusal, "text")), HasSubstr("point 2."));
  const json_t* points = json_object_get(refusal, "points");
  ASSERT_EQ(json_array_size(points), 1U);
  EXPECT_EQ(json_integer_value(json_array_get(points, 0)), 1);
}

TEST(CalibrationApiTest, WhatIsNoRequestIsRefused) {
  const std::pair<std::string, const char*> bad[] = {
      {"", "JSON"},
      {"[]", "JSON"},
      {"{\"width\":1,\"width\":1}", "JSON"},
      {with(QUARTER_TURN, "1000", "\"1000\""), "width"},
      {with(QUARTER_TURN, "1000", "0.5"), "width"},
      {with(QUARTER_TURN, "1000", "1e300"), "width"},
      {with(QUARTER_TURN, "\"points\"", "\"dots\""), "points"},
      {with(QUARTER_TURN, "\"tilt\"", "\"lean\""), "tilt"},
      {with(QUARTER_TURN, "\"width\"", "\"heights\":5,\"width\""), "camera_m"},
      {with(QUARTER_TURN, "\"width\"", "\"click_deviation_px\":null,\"width\""), "click"}};
  for (const auto& [body, named] : bad) {
    const WebAnswer answer = answerToCalibration(body);
    EXPECT_EQ(answer.status, 400U) << body;
    EXPECT_THAT(answer.body, HasSubstr(named)) << body;
  }
}

TEST(CalibrationApiTest, MovesTheHead) {
  std::optional<std::pair<double, double>> moved;
  std::optional<double> zoomed;
  const HeadMover move = [&](double pan, double tilt, std::optional<double> zoom) {
    moved = {pan, tilt};
    zoomed = zoom;
  };
  EXPECT_EQ(answerToHeadMove(R"({"pan":20,"tilt":-5.5})", move).status, 200U);
  EXPECT_EQ(moved, std::pair(20.0, -5.5));
  EXPECT_EQ(zoomed, std::nullopt);
  EXPECT_EQ(answerToHeadMove(R"({"pan":0,"tilt":0,"zoom":-4})", move).status, 200U);
  EXPECT_EQ(zoomed, -4);
  moved.reset();
  for (const char* bad : {"", "{}", R"({"pan":101,"tilt":0})", R"({"pan":0,"tilt":"up"})",
                          R"({"pan":0,"tilt":0,"zoom":101})"}) {
    EXPECT_EQ(answerToHeadMove(bad, move).status, 400U) << bad;
  }
  EXPECT_FALSE(moved);
}

TEST(CalibrationApiTest, IsOfferedByTheServer) {
  TemporaryFolder folder;
  WebOptions options;
  options.port = 0;
  WebServer server(options, folder / "application");
  double toTheRight = 0;
  offerCalibration(server, [&](double pan, double, std::optional<double>) { toTheRight = pan; });
  const WebResponse found = WebClient(server.port()).post(QUARTER_TURN, "/api/calibration");
  EXPECT_EQ(found.status, 200);
  EXPECT_THAT(found.body, HasSubstr("\"hfov\""));
  const WebResponse moved =
      WebClient(server.port()).post(R"({"pan":7,"tilt":0})", "/api/calibration/head");
  EXPECT_EQ(moved.status, 200);
  EXPECT_EQ(toTheRight, 7);
  const WebResponse bad = WebClient(server.port()).post("{}", "/api/calibration");
  EXPECT_EQ(bad.status, 400);
}

}  // namespace
}  // namespace device
