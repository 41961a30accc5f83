#include "web_server/live_json.h"

#include <cmath>
#include <cstdlib>

#include "web_server/json_values.h"

namespace device {

namespace {

constexpr double UNIT = 4096;  // of a scene's coordinates and confidences

std::string textOf(json_t* json) {
  return lineOf(JsonAutoPtr(json).get());
}

std::string parameter(const std::map<std::string, std::string>& parameters,
                      const std::string& name) {
  const auto found = parameters.find(name);
  return found == parameters.end() ? "" : found->second;
}

json_t* channelJson(const Model& model, const World& world, int channel) {
  const OverviewCamera& camera = world.camera(channel);
  const ChannelSetup& own = model.world.channels[static_cast<std::size_t>(channel)];
  const std::string roll = parameter(
      model.parameters, "root.PTZ.RemoteCenter.C" + std::to_string(channel + 1) + ".Roll");
  return json_pack("{s:i,s:o,s:i,s:i,s:i,s:f,s:f,s:f,s:f,s:f,s:b}", "camera", channel + 1, "name",
                   jsonText(own.name), "width", camera.getSetup().sensorWidth, "height",
                   camera.getSetup().sensorHeight, "rotation", camera.rotation(), "pan",
                   camera.getSetup().pan, "tilt", camera.getSetup().tilt, "roll",
                   std::strtod(roll.c_str(), nullptr), "hfov", camera.horizontalFov(), "vfov",
                   camera.verticalFov(), "moves_with_head", own.movesWithHead ? 1 : 0);
}

json_t* headModelJson(const Model& model) {
  const HeadSetup& head = model.head;
  return json_pack("{s:o,s:f,s:f,s:f,s:{s:f,s:f}}", "product",
                   jsonText(parameter(model.headParameters, "Brand.ProdNbr")), "min_field_angle",
                   head.minFieldAngle, "max_field_angle", head.maxFieldAngle, "aspect",
                   head.aspectRatio, "home", "pan", head.home.pan, "tilt", head.home.tilt);
}

json_t* objectJson(const FrameObject& object) {
  json_t* polygon = json_array();
  for (const FramePoint& point : object.outline) {
    json_array_append_new(polygon, json_pack("[f,f]", point.x / UNIT, point.y / UNIT));
  }
  return json_pack("{s:i,s:f,s:o}", "id", object.id, "confidence", object.confidence / UNIT,
                   "polygon", polygon);
}

json_t* personJson(const PersonView& person, double mastHeight) {
  const double drop = mastHeight - person.tall / 2;
  const double distance = std::hypot(person.position.x, person.position.y, drop);
  return json_pack("{s:i,s:f,s:f,s:f,s:f,s:f,s:f,s:f,s:b}", "id", person.id, "x", person.position.x,
                   "y", person.position.y, "z_foot", 0.0, "height", person.tall, "pan",
                   person.centre.pan, "tilt", person.centre.tilt, "distance", distance, "inside",
                   person.inside ? 1 : 0);
}

}  // namespace

std::string modelJson(const Model& model, const RunInfo& run, const World& world) {
  json_t* channels = json_array();
  for (int channel = 0; channel < world.channelCount(); ++channel) {
    json_array_append_new(channels, channelJson(model, world, channel));
  }
  return textOf(json_pack(
      "{s:o,s:o,s:o,s:I,s:f,s:o,s:o}", "name", jsonText(model.name), "tracks", jsonText(run.tracks),
      "transport", jsonText(run.transport), "seed", static_cast<json_int_t>(run.seed),
      "mast_height_m", model.world.mastHeight, "channels", channels, "head", headModelJson(model)));
}

std::string daemonJson(bool running) {
  return running ? R"({"running":true})" : R"({"running":false})";
}

std::string frameJson(double time, int camera, const Frame& frame) {
  json_t* objects = json_array();
  for (const FrameObject& object : frame.objects) {
    json_array_append_new(objects, objectJson(object));
  }
  return textOf(json_pack("{s:f,s:i,s:o}", "time", time, "camera", camera, "objects", objects));
}

std::string headJson(double time, const HeadStatus& head) {
  return textOf(json_pack("{s:f,s:f,s:f,s:i,s:f,s:f,s:b}", "time", time, "pan", head.pan, "tilt",
                          head.tilt, "zoom", head.zoom, "hfov", head.pictureWidth, "vfov",
                          head.pictureHeight, "moving", head.moving() ? 1 : 0));
}

std::string worldJson(double time, const std::vector<PersonView>& people, double mastHeight) {
  json_t* list = json_array();
  for (const PersonView& person : people) {
    json_array_append_new(list, personJson(person, mastHeight));
  }
  return textOf(json_pack("{s:f,s:o}", "time", time, "people", list));
}

std::string runningScoreJson(double time, const RunningScore& score, const TuningFigures& tuning) {
  const auto number = [](const std::optional<double>& value) {
    return value ? json_real(*value) : json_null();
  };
  const auto answer = [](const std::optional<bool>& value) {
    return value ? json_boolean(*value) : json_null();
  };
  return textOf(json_pack(
      "{s:f,s:f,s:f,s:o,s:o,s:o,s:o,s:o,s:i,s:i,s:o,s:i,s:f,s:f,s:f,s:f,s:{s:i,s:i,s:i,s:o,s:o}}",
      "time", time, "seconds", score.seconds, "seconds_with_somebody", score.secondsWithSomebody,
      "detected", number(score.density[0]), "recognised", number(score.density[1]), "identified",
      number(score.density[2]), "in_picture", number(score.inPicture), "rms_deg", number(score.rms),
      "acquisitions", score.acquisition.count, "never", score.acquisition.never, "acquisition_s",
      number(score.acquisition.median), "changes", score.followedChanges, "starts_per_s",
      score.motion.startsPerSecond, "reversals_per_s", score.motion.reversalsPerSecond,
      "acceleration_rms", score.motion.accelerationRms, "zoom_reversals_per_s",
      score.motion.zoomReversalsPerSecond, "tuning", "attempts", tuning.attempts, "failed_attempts",
      tuning.failedAttempts, "unsuccessful", tuning.unsuccessful, "succeeded",
      answer(tuning.succeeded), "identified", answer(tuning.identified)));
}

std::string logJson(double time, const SyslogLine& line) {
  return textOf(json_pack("{s:f,s:s,s:o}", "time", time, "level", severityName(line.severity),
                          "text", jsonText(line.text)));
}

}  // namespace device
