#include "model/model_keys.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace device {
namespace {

using Standard = std::optional<std::string_view>;

constexpr Standard REQUIRED = std::nullopt;

constexpr ModelKey number(std::string_view name, std::string_view unit, double low, double high,
                          Standard standard) {
  return {name, KeyKind::Number, unit, low, high, "", standard};
}

constexpr ModelKey whole(std::string_view name, std::string_view unit, double low, double high,
                         Standard standard) {
  return {name, KeyKind::Whole, unit, low, high, "", standard};
}

constexpr ModelKey flag(std::string_view name, Standard standard) {
  return {name, KeyKind::Flag, "", 0, 0, "", standard};
}

constexpr ModelKey text(std::string_view name, Standard standard, std::string_view choices = "") {
  return {name, KeyKind::Text, "", 0, 0, choices, standard};
}

constexpr ModelKey texts(std::string_view name, Standard standard) {
  return {name, KeyKind::Texts, "", 0, 0, "", standard};
}

constexpr ModelKey section(std::string_view name, Standard standard) {
  return {name, KeyKind::Section, "", 0, 0, "", standard};
}

constexpr ModelKey sections(std::string_view name, Standard standard) {
  return {name, KeyKind::Sections, "", 0, 0, "", standard};
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
    sections("channels", REQUIRED),
    text("channels[].name", REQUIRED),
    number("channels[].pan", "deg", -180, 180, REQUIRED),
    number("channels[].tilt", "deg", -90, 90, REQUIRED),
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
    case KeyKind::Number:
    case KeyKind::Whole:
      return shortText(key.low) + " to " + shortText(key.high);
    case KeyKind::Flag:
      return "true, false";
    case KeyKind::Text:
      return key.choices.empty() ? "text" : listed(key.choices);
    case KeyKind::Texts:
      return "texts";
    case KeyKind::Section:
      return "object";
    case KeyKind::Sections:
      return "array";
  }
  return "";
}

std::string shortText(double value) {
  std::array<char, 32> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%.7g", value);
  return buffer.data();
}

}  // namespace device
