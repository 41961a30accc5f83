#include "app/truth_sampler.h"

#include <stdexcept>
#include <utility>

namespace device {

TruthSampler::TruthSampler(const World& world, Report& report, Ask ask)
    : world_(world), report_(report), ask_(std::move(ask)), cameras_(camerasOf(world)) {}

void TruthSampler::sample(double time, const HeadStatus& head) {
  Waiting moment{{.time = time, .head = poseOf(head), .people = {}}, world_.people(time)};
  if (areas_) return tell(std::move(moment));
  waiting_.push_back(std::move(moment));
  if (waiting_.size() <= kMostWaiting) return;
  tell(std::move(waiting_.front()));
  waiting_.pop_front();
}

void TruthSampler::applicationSpoke() {
  if (isOutdated_ && !isAsked_) askAgain();
}

void TruthSampler::configurationChanged() {
  isOutdated_ = true;
  applicationSpoke();
}

void TruthSampler::finish() {
  for (Waiting& moment : waiting_) tell(std::move(moment));
  waiting_.clear();
}

void TruthSampler::askAgain() {
  isAsked_ = true;
  isOutdated_ = false;  // unless it changes while it is asked for
  ask_([this](const std::string* answer) {
    isAsked_ = false;
    if (answer == nullptr || !take(*answer)) {
      isOutdated_ = true;  // until the application speaks next
      return;
    }
    applicationSpoke();
  });
}

// False for one that cannot be read.
bool TruthSampler::take(const std::string& answer) try {
  areas_ = ConfiguredAreas(answer, cameras_);
  finish();
  return true;
} catch (const std::runtime_error&) {
  return false;
}

void TruthSampler::tell(Waiting waiting) {
  waiting.sample.people = scoredPeople(waiting.people, areas_ ? *areas_ : ConfiguredAreas());
  report_.sample(waiting.sample);
}

}  // namespace device
