#include "model/model_keys.h"

#include <algorithm>
#include <array>

#include "base/text.h"

namespace device {
namespace {

using Standard = std::optional<std::string_view>;

constexpr Standard REQUIRED = std::nullopt;

constexpr ModelKey number(std::string_view name, std::string_view unit, double low, double high,
                          Standard standard) {
  return {name, KeyKind::number, unit, low, high, "", standard};
}

constexpr ModelKey whole(std::string_view name, std::string_view unit, double low, double high,
                         Standard standard) {
  return {name, KeyKind::whole, unit, low, high, "", standard};
}

constexpr ModelKey flag(std::string_view name, Standard standard) {
  return {name, KeyKind::flag, "", 0, 0, "", standard};
}

constexpr ModelKey text(std::string_view name, Standard standard, std::string_view choices = "") {
  return {name, KeyKind::text, "", 0, 0, choices, standard};
}

constexpr ModelKey texts(std::string_view name, Standard standard) {
  return {name, KeyKind::texts, "", 0, 0, "", standard};
}

constexpr ModelKey section(std::string_view name, Standard standard) {
  return {name, KeyKind::section, "", 0, 0, "", standard};
}

constexpr ModelKey sections(std::string_view name, Standard standard) {
  return {name, KeyKind::sections, "", 0, 0, "", standard};
}

constexpr std::array KEYS{
    text("base", "none"),
    text("about", "none"),
    texts("parameters", REQUIRED),
    section("head", REQUIRED),
    text("head.product", REQUIRED),
    section("head.pan", REQUIRED),
    number("head.pan.speed", "deg/s", 1, 2000, REQUIRED),
    number("head.pan.acceleration", "deg/s2", 1, 100000, REQUIRED),
    flag("head.pan.endless", "false"),
    number("head.pan.low", "deg", -180, 180, REQUIRED),
    number("head.pan.high", "deg", -180, 180, REQUIRED),
    number("head.pan.play", "deg", 0, 5, "0"),
    number("head.pan.overshoot", "deg", 0, 5, "0"),
    section("head.tilt", REQUIRED),
    number("head.tilt.speed", "deg/s", 1, 2000, REQUIRED),
    number("head.tilt.acceleration", "deg/s2", 1, 100000, REQUIRED),
    flag("head.tilt.endless", "false"),
    number("head.tilt.low", "deg", -180, 180, REQUIRED),
    number("head.tilt.high", "deg", -180, 180, REQUIRED),
    number("head.tilt.play", "deg", 0, 5, "0"),
    number("head.tilt.overshoot", "deg", 0, 5, "0"),
    section("head.zoom", REQUIRED),
    number("head.zoom.speed", "steps/s", 1, 1e6, REQUIRED),
    whole("head.zoom.min", "steps", 0, 1000000, REQUIRED),
    whole("head.zoom.max", "steps", 1, 1000000, REQUIRED),
    text("head.zoom.curve", "linear", "linear power logarithmic table"),
    number("head.zoom.exponent", "", 0.2, 5, "1"),
    sections("head.zoom.table", "none"),
    number("head.zoom.table[].position", "share", 0, 1, REQUIRED),
    number("head.zoom.table[].field", "deg", 0.1, 170, REQUIRED),
    section("head.field", REQUIRED),
    number("head.field.min", "deg", 0.1, 170, REQUIRED),
    number("head.field.max", "deg", 0.1, 170, REQUIRED),
    text("head.aspect", REQUIRED),
    text("head.resolution", REQUIRED),
    section("head.home", REQUIRED),
    number("head.home.pan", "deg", -180, 180, REQUIRED),
    number("head.home.tilt", "deg", -180, 180, REQUIRED),
    whole("head.home.zoom", "steps", 0, 1000000, REQUIRED),
    number("head.boot_s", "s", 0, 600, REQUIRED),
    number("head.speed_hold_s", "s", 0.2, 3600, REQUIRED),
    number("head.latency_s", "s", 0, 1, REQUIRED),
    number("head.latency_jitter_s", "s", 0, 1, "0"),
    section("head.drive", "none"),
    number("head.drive.dead_zone", "%", 0, 50, "0"),
    number("head.drive.step", "%", 0, 50, "0"),
    number("head.drive.exponent", "", 0.2, 5, "1"),
    section("head.status", "none"),
    number("head.status.age_s", "s", 0, 5, "0"),
    number("head.status.period_s", "s", 0, 5, "0"),
    number("head.status.step", "deg", 0, 10, "0"),
    number("head.status.noise", "deg", 0, 10, "0"),
    section("head.network", "none"),
    number("head.network.least_s", "s", 0, 2, "0"),
    number("head.network.most_s", "s", 0, 2, "0"),
    texts("head.parameters", "none"),
    number("mast_height_m", "m", 1, 200, REQUIRED),
    section("stage", REQUIRED),
    number("stage.distance_m", "m", 1, 1000, REQUIRED),
    number("stage.turn", "deg", -360, 360, REQUIRED),
    text("scene", "square", "square wide far crowd runner cyclist waiting hiding"),
    section("people", "none"),
    number("people.height_m", "m", 1, 2.5, "1.75"),
    number("people.height_deviation_m", "m", 0, 0.3, "0"),
    sections("scenery", "none"),
    number("scenery[].x_m", "m", -1000, 1000, REQUIRED),
    number("scenery[].y_m", "m", -1000, 1000, REQUIRED),
    number("scenery[].width_m", "m", 0.01, 1000, REQUIRED),
    number("scenery[].depth_m", "m", 0.01, 1000, REQUIRED),
    number("scenery[].height_m", "m", 0.01, 1000, REQUIRED),
    number("scenery[].turn", "deg", -360, 360, "0"),
    section("survey", "none"),
    number("survey.mast_height", "share", 0, 0.5, "0"),
    number("survey.offset_m", "m", 0, 5, "0"),
    section("overview", "none"),
    section("overview.distortion", "none"),
    number("overview.distortion.k1", "", -1, 1, "0"),
    number("overview.distortion.k2", "", -1, 1, "0"),
    section("overview.mounting_error", "none"),
    number("overview.mounting_error.pan", "deg", -45, 45, "0"),
    number("overview.mounting_error.tilt", "deg", -45, 45, "0"),
    number("overview.mounting_error.roll", "deg", -45, 45, "0"),
    flag("overview.mounting_error.random_signs", "false"),
    section("overview.frames", "none"),
    number("overview.frames.age_s", "s", 0, 5, "0"),
    number("overview.frames.age_jitter_s", "s", 0, 5, "0"),
    number("overview.frames.lost", "share", 0, 1, "0"),
    number("overview.frames.doubled", "share", 0, 1, "0"),
    number("overview.frames.swapped", "share", 0, 1, "0"),
    number("overview.frames.stamp_offset_s", "s", -5, 5, "0"),
    number("overview.frames.stamp_jitter_s", "s", 0, 5, "0"),
    section("detections", "none"),
    number("detections.vertex_noise_px", "px", 0, 50, "0.8"),
    number("detections.end_noise_px", "px", 0, 50, "0"),
    number("detections.missed", "share", 0, 1, "0"),
    number("detections.missed_small", "share", 0, 1, "0"),
    number("detections.small_px", "px", 1, 1000, "60"),
    number("detections.missed_hidden", "share", 0, 1, "0"),
    number("detections.least_px", "px", 0, 1000, "0"),
    flag("detections.hidden_by_others", "false"),
    number("detections.most_hidden", "share", 0, 1, "0.7"),
    number("detections.merged_from", "share", 0.05, 1, "0.5"),
    section("detections.occlusions", "none"),
    number("detections.occlusions.per_s", "1/s", 0, 10, "0"),
    number("detections.occlusions.least_s", "s", 0, 60, "0.5"),
    number("detections.occlusions.most_s", "s", 0.1, 60, "2"),
    number("detections.memory_s", "s", 0, 60, "0"),
    number("detections.new_id", "share", 0, 1, "0"),
    number("detections.swapped", "share", 0, 1, "0"),
    section("detections.shadow", "none"),
    number("detections.shadow.length", "m/m", 0, 10, "0"),
    number("detections.shadow.turn", "deg", -360, 360, "0"),
    text("detections.velocity", "exact", "exact past none"),
    number("detections.velocity_noise", "share", 0, 5, "0.02"),
    whole("detections.velocity_pictures", "pictures", 2, 100, "6"),
    sections("detections.ghosts", "none"),
    text("detections.ghosts[].kind", REQUIRED, "tree shadow headlights"),
    number("detections.ghosts[].x_m", "m", -1000, 1000, REQUIRED),
    number("detections.ghosts[].y_m", "m", -1000, 1000, REQUIRED),
    number("detections.ghosts[].width_m", "m", 0.01, 100, REQUIRED),
    number("detections.ghosts[].length_m", "m", 0.01, 100, REQUIRED),
    number("detections.ghosts[].turn", "deg", -360, 360, "0"),
    number("detections.ghosts[].seconds", "s", 0.1, 3600, "5"),
    number("detections.ghosts[].per_minute", "1/min", 0, 600, REQUIRED),
    sections("channels", REQUIRED),
    text("channels[].name", REQUIRED),
    number("channels[].pan", "deg", -180, 180, REQUIRED),
    number("channels[].tilt", "deg", -90, 90, REQUIRED),
    number("channels[].x_m", "m", -50, 50, "0"),
    number("channels[].y_m", "m", -50, 50, "0"),
    whole("channels[].width", "px", 16, 16384, REQUIRED),
    whole("channels[].height", "px", 16, 16384, REQUIRED),
    number("channels[].horizontal_fov", "deg", 1, 150, REQUIRED),
    whole("channels[].rotation", "deg", 0, 270, "0"),
    flag("channels[].moves_with_head", "false"),
};

std::string listed(std::string_view choices) {
  std::string text;
  for (const char letter : choices) {
    text += letter == ' ' ? ", " : std::string(1, letter);
  }
  return text;
}

}  // namespace

std::span<const ModelKey> modelKeys() {
  return KEYS;
}

const ModelKey* findModelKey(std::string_view name) {
  const auto found =
      std::find_if(KEYS.begin(), KEYS.end(), [&](const ModelKey& key) { return key.name == name; });
  return found == KEYS.end() ? nullptr : &*found;
}

std::string boundsText(const ModelKey& key) {
  switch (key.kind) {
    case KeyKind::number:
    case KeyKind::whole:
      return shortText(key.low) + " to " + shortText(key.high);
    case KeyKind::flag:
      return "true, false";
    case KeyKind::text:
      return key.choices.empty() ? "text" : listed(key.choices);
    case KeyKind::texts:
      return "texts";
    case KeyKind::section:
      return "object";
    case KeyKind::sections:
      return "array";
  }
  return "";
}

std::string shortText(double value) {
  return text::formatted("%.7g", value);
}

}  // namespace device
