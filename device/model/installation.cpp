#include "model/installation.h"

#include "base/text.h"
#include "world/survey.h"

namespace device {

namespace {

std::string metres(double value) {
  return text::formatted("%.3f", value);
}

}  // namespace

void tellInstallation(Model& model, const std::string& following, std::uint64_t seed) {
  const auto tell = [&model](const std::string& name, const std::string& value) {
    model.parameters.try_emplace("root.SentrelVideo." + name, value);
  };
  const Survey survey = surveyOf(model.world, seed);
  tell("Following", following);
  tell("Identify", "0");
  tell("MastHeight", metres(survey.mastHeight));
  for (std::size_t i = 0; i < survey.offsets.size(); ++i) {
    const std::string camera = "Overview.C" + std::to_string(i + 1);
    tell(camera + ".OffsetX", metres(survey.offsets[i].x));
    tell(camera + ".OffsetY", metres(survey.offsets[i].y));
  }
}

}  // namespace device
