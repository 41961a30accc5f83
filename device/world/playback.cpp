#include "world/playback.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace device {

Playback::Playback(TrackSet tracks, const Stage& stage, Rests rests) : tracks_(std::move(tracks)) {
  const std::span<const Track> all = tracks_.tracks();
  if (all.empty()) {
    return;
  }
  const Bounds bounds = tracks_.bounds();
  int lowestId = all.front().id();
  int highestId = lowestId;
  double shift = -tracks_.start();
  double sceneStart = 0;
  double emptyFrom = 0;  // when the last person so far has left
  for (std::size_t i = 0; i < all.size(); ++i) {
    const double appears = all[i].start() + shift;
    const bool isFirst = i == 0;
    const bool isAfterPause = appears - emptyFrom >= kPause;
    const bool isLate = rests == Rests::added && appears - sceneStart > kSceneLength;
    if (isFirst || isAfterPause || isLate) {
      sceneStart = isFirst ? 0 : std::max(appears, emptyFrom + kPause);
      shift += sceneStart - appears;
      ++sceneCount_;
    }
    parts_.push_back({i, shift, stage.placementFor(bounds, sceneCount_ - 1)});
    emptyFrom = std::max(emptyFrom, all[i].end() + shift);
    lowestId = std::min(lowestId, all[i].id());
    highestId = std::max(highestId, all[i].id());
  }
  length_ = emptyFrom + kPause;
  idStride_ = highestId - lowestId + 1;
}

std::vector<Person> Playback::at(double time) const {
  std::vector<Person> people;
  if (parts_.empty()) {
    return people;
  }
  const int round = static_cast<int>(std::floor(time / length_));
  const double moment = time - round * length_;
  for (const Part& part : parts_) {
    const Track& track = tracks_.tracks()[part.track];
    if (track.start() + part.shift > moment) {
      break;
    }
    if (const std::optional<Person> person = track.at(moment - part.shift)) {
      people.push_back(part.placement.apply(*person));
      people.back().id += round * idStride_;
    }
  }
  return people;
}

}  // namespace device
