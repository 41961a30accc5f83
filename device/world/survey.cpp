#include "world/survey.h"

#include "random/chance.h"

namespace device {

Survey surveyOf(const WorldSetup& setup, std::uint64_t seed) {
  Chance chance(seed, "survey");
  Survey survey;
  survey.mastHeight = setup.mastHeight * (1 + setup.surveyError.mastHeight * chance.sign());
  for (const ChannelSetup& channel : setup.channels) {
    const SpacePoint& real = channel.camera.position;
    const double x = real.x + setup.surveyError.offset * chance.sign();
    const double y = real.y + setup.surveyError.offset * chance.sign();
    survey.offsets.push_back({x, y});
  }
  return survey;
}

}  // namespace device
