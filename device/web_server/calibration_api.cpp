#include "web_server/calibration_api.h"

#include <libsoup/soup.h>

#include <cmath>
#include <optional>
#include <stdexcept>
#include <utility>
#include <variant>

#include "calibration/calibration.h"
#include "web_server/json_values.h"

namespace device {

namespace {

using namespace calibration;  // NOLINT: this file speaks for it

struct BadRequest : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// JSON has no infinity: the pan of a camera that looks straight down is as uncertain as that.
json_t* realOf(double value) {
  return std::isfinite(value) ? json_real(value) : json_null();
}

WebAnswer answerOf(json_t* json) {
  return {SOUP_STATUS_OK, lineOf(JsonAutoPtr(json).get())};
}

WebAnswer badRequest(const std::string& reason) {
  const JsonAutoPtr json(
      json_pack("{s:{s:s,s:o}}", "error", "code", "HTTP", "message", jsonText(reason)));
  return {SOUP_STATUS_BAD_REQUEST, lineOf(json.get())};
}

JsonAutoPtr objectIn(const std::string& body) {
  JsonAutoPtr json(json_loadb(body.data(), body.size(), JSON_REJECT_DUPLICATES, nullptr));
  if (!json_is_object(json.get())) {
    throw BadRequest("The body must be a JSON object");
  }
  return json;
}

double numberIn(const json_t* object, const char* key) {
  const json_t* value = json_object_get(object, key);
  if (!json_is_number(value)) {
    throw BadRequest(std::string(key) + " must be a number");
  }
  return json_number_value(value);
}

int wholeIn(const json_t* object, const char* key) {
  const double value = numberIn(object, key);
  constexpr double MOST = 1e6;
  if (!(std::abs(value) <= MOST) || value != std::floor(value)) {
    throw BadRequest(std::string(key) + " must be a whole number");
  }
  return static_cast<int>(value);
}

CalibrationTask taskIn(const json_t* object) {
  CalibrationTask task;
  task.width = wholeIn(object, "width");
  task.height = wholeIn(object, "height");
  if (json_object_get(object, "click_deviation_px") != nullptr) {
    task.clickDeviation = numberIn(object, "click_deviation_px");
  }
  if (const json_t* heights = json_object_get(object, "heights")) {
    task.heights = {.camera = numberIn(heights, "camera_m"), .head = numberIn(heights, "head_m")};
  }
  const json_t* points = json_object_get(object, "points");
  if (!json_is_array(points)) {
    throw BadRequest("points must be a list");
  }
  std::size_t index = 0;
  const json_t* point = nullptr;
  json_array_foreach(points, index, point) {
    task.points.push_back({{numberIn(point, "x"), numberIn(point, "y")},
                           {numberIn(point, "pan"), numberIn(point, "tilt")}});
  }
  return task;
}

json_t* deviationsJson(const CalibrationDeviations& deviations) {
  return json_pack("{s:o,s:o,s:o,s:o,s:o,s:o,s:o,s:f,s:f}", "pan", realOf(deviations.pan), "tilt",
                   realOf(deviations.tilt), "roll", realOf(deviations.roll), "hfov",
                   realOf(deviations.horizontalFov), "distortion", realOf(deviations.distortion),
                   "offset_m", realOf(deviations.offset), "worst", realOf(deviations.worst),
                   "worst_x", deviations.place.x, "worst_y", deviations.place.y);
}

json_t* pointJson(const PointResidual& residual, const std::optional<PicturePoint>& shown) {
  return json_pack("{s:f,s:b,s:o,s:o}", "residual", residual.degrees, "outlier",
                   residual.isOutlier ? 1 : 0, "x", shown ? json_real(shown->x) : json_null(), "y",
                   shown ? json_real(shown->y) : json_null());
}

json_t* foundJson(const CalibrationTask& task, const Calibration& found) {
  json_t* points = json_array();
  for (std::size_t i = 0; i < task.points.size(); ++i) {
    json_array_append_new(
        points, pointJson(found.residuals[i], toPicture(found.camera, task.points[i].head)));
  }
  const CalibratedCamera& camera = found.camera;
  return json_pack("{s:{s:f,s:f,s:f,s:f,s:f,s:f,s:f,s:f,s:f,s:o,s:o}}", "data", "pan", camera.pan,
                   "tilt", camera.tilt, "roll", camera.roll, "hfov", camera.horizontalFov, "vfov",
                   verticalFov(camera), "distortion", camera.distortion, "offset_x_m",
                   camera.offsetX, "offset_y_m", camera.offsetY, "click_deviation_px",
                   found.clickDeviation, "deviations", deviationsJson(found.deviations), "points",
                   points);
}

json_t* refusalJson(const Refusal& refused) {
  json_t* points = json_array();
  for (const std::size_t point : refused.points) {
    json_array_append_new(points, json_integer(static_cast<json_int_t>(point)));
  }
  json_t* residuals = json_array();
  for (const double residual : refused.degrees) {
    json_array_append_new(residuals, json_real(residual));
  }
  return json_pack("{s:{s:s,s:o,s:o,s:o}}", "refusal", "reason", nameOf(refused.reason), "text",
                   jsonText(refused.text), "points", points, "residuals", residuals);
}

double percentIn(const json_t* object, const char* key) {
  const double value = numberIn(object, key);
  if (!(std::abs(value) <= 100)) {
    throw BadRequest(std::string(key) + " must be -100 to 100");
  }
  return value;
}

}  // namespace

WebAnswer answerToCalibration(const std::string& body) {
  try {
    const JsonAutoPtr request = objectIn(body);
    const CalibrationTask task = taskIn(request.get());
    const CalibrationResult result = calibrate(task);
    const auto* found = std::get_if<Calibration>(&result);
    return answerOf(found != nullptr ? foundJson(task, *found)
                                     : refusalJson(std::get<Refusal>(result)));
  } catch (const BadRequest& error) {
    return badRequest(error.what());
  }
}

WebAnswer answerToHeadMove(const std::string& body, const HeadMover& move) {
  try {
    const JsonAutoPtr request = objectIn(body);
    const double pan = percentIn(request.get(), "pan");
    const double tilt = percentIn(request.get(), "tilt");
    const bool hasZoom = json_object_get(request.get(), "zoom") != nullptr;
    move(pan, tilt, hasZoom ? std::optional(percentIn(request.get(), "zoom")) : std::nullopt);
    return answerOf(json_pack("{s:{}}", "data"));
  } catch (const BadRequest& error) {
    return badRequest(error.what());
  }
}

void offerCalibration(WebServer& server, HeadMover move) {
  server.addAnswer("/api/calibration", answerToCalibration);
  server.addAnswer("/api/calibration/head", [move = std::move(move)](const std::string& body) {
    return answerToHeadMove(body, move);
  });
}

}  // namespace device
