#include "app/truth_sampler.h"

#include <stdexcept>
#include <utility>

namespace device {

TruthSampler::TruthSampler(const World& world, Report& report, Ask ask)
    : world(world), report(report), ask(std::move(ask)), cameras(camerasOf(world)) {}

void TruthSampler::sample(double time, const HeadStatus& head) {
  Waiting moment{{.time = time, .head = poseOf(head), .people = {}}, world.people(time)};
  if (areas) {
    return tell(std::move(moment));
  }
  waiting.push_back(std::move(moment));
  if (waiting.size() <= MOST_WAITING) {
    return;
  }
  tell(std::move(waiting.front()));
  waiting.pop_front();
}

void TruthSampler::applicationSpoke() {
  if (isOutdated && !isAsked) {
    askAgain();
  }
}

void TruthSampler::configurationChanged() {
  isOutdated = true;
  applicationSpoke();
}

void TruthSampler::finish() {
  for (Waiting& moment : waiting) {
    tell(std::move(moment));
  }
  waiting.clear();
}

void TruthSampler::askAgain() {
  isAsked = true;
  isOutdated = false;  // unless it changes while it is asked for
  ask([this](const std::string* answer) {
    isAsked = false;
    if (answer == nullptr || !take(*answer)) {
      isOutdated = true;  // until the application speaks next
      return;
    }
    applicationSpoke();
  });
}

// False for one that cannot be read.
bool TruthSampler::take(const std::string& answer) try {
  areas = ConfiguredAreas(answer, cameras);
  finish();
  return true;
} catch (const std::runtime_error&) {
  return false;
}

void TruthSampler::tell(Waiting waiting) {
  waiting.sample.people = scoredPeople(waiting.people, areas ? *areas : ConfiguredAreas());
  report.sample(waiting.sample);
}

}  // namespace device
