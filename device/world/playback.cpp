#include "world/playback.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace device {

Playback::Playback(TrackSet recording, const Stage& stage, Rests rests)
    : tracks(std::move(recording)) {
  const std::span<const Track> all = tracks.getTracks();
  if (all.empty()) {
    return;
  }
  const Bounds bounds = tracks.bounds();
  int lowestId = all.front().getId();
  int highestId = lowestId;
  double shift = -tracks.start();
  double sceneStart = 0;
  double emptyFrom = 0;  // when the last person so far has left
  for (std::size_t i = 0; i < all.size(); ++i) {
    const double appears = all[i].start() + shift;
    const bool isFirst = i == 0;
    const bool isAfterPause = appears - emptyFrom >= PAUSE;
    const bool isLate = rests == Rests::added && appears - sceneStart > SCENE_LENGTH;
    if (isFirst || isAfterPause || isLate) {
      sceneStart = isFirst ? 0 : std::max(appears, emptyFrom + PAUSE);
      shift += sceneStart - appears;
      ++sceneCount;
    }
    parts.push_back({i, shift, stage.placementFor(bounds, sceneCount - 1)});
    emptyFrom = std::max(emptyFrom, all[i].end() + shift);
    lowestId = std::min(lowestId, all[i].getId());
    highestId = std::max(highestId, all[i].getId());
  }
  length = emptyFrom + PAUSE;
  idStride = highestId - lowestId + 1;
}

std::vector<Person> Playback::at(double time) const {
  std::vector<Person> people;
  if (parts.empty()) {
    return people;
  }
  const int round = static_cast<int>(std::floor(time / length));
  const double moment = time - round * length;
  for (const Part& part : parts) {
    const Track& track = tracks.getTracks()[part.track];
    if (track.start() + part.shift > moment) {
      break;
    }
    if (const std::optional<Person> person = track.at(moment - part.shift)) {
      people.push_back(part.placement.apply(*person));
      people.back().id += round * idStride;
    }
  }
  return people;
}

}  // namespace device
