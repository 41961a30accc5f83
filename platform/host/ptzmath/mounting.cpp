#include "ptzmath/mounting.h"

#include <glib.h>

#include <cmath>
#include <string>

#include "platform/owners.h"

namespace ptzmath {
namespace {

std::optional<double> numberIn(const char* text) {
  char* end = nullptr;
  const double number = g_ascii_strtod(text, &end);
  if (end == text || *end != '\0' || !std::isfinite(number)) {
    return std::nullopt;
  }
  return number;
}

std::optional<double> readAngle(const ParameterPtr& store, const std::string& name) {
  char* value = nullptr;
  if (!ov_parameter_get(store.get(), name.c_str(), &value, nullptr)) {
    return std::nullopt;
  }
  const GTextPtr text(value);
  return numberIn(text.get());
}

}  // namespace

std::optional<Mounting> readMounting(int channel) {
  const ParameterPtr store(ov_parameter_new("ptzmath", nullptr));
  if (!store) {
    return std::nullopt;
  }

  const std::string group = "root.PTZ.RemoteCenter.C" + std::to_string(channel);
  const auto pan = readAngle(store, group + ".Pan");
  const auto tilt = readAngle(store, group + ".Tilt");
  const auto roll = readAngle(store, group + ".Roll");
  if (!pan || !tilt || !roll) {
    return std::nullopt;
  }
  return Mounting{*pan, *tilt, *roll};
}

}  // namespace ptzmath
