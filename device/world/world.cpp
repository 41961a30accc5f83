#include "world/world.h"

#include <algorithm>
#include <cmath>

#include "world/people_generator.h"
#include "world/stage.h"

namespace device {
namespace {

TrackSet peopleOf(const WorldOptions& options) {
  return options.tracks ? TrackSet::read(*options.tracks) : generatePeople(options.seed);
}

Stage stageOf(const WorldSetup& setup) {
  std::vector<double> pans;
  for (const ChannelSetup& channel : setup.channels) {
    pans.push_back(channel.camera.pan);
  }
  // People come first where the head's way from home is short.
  const double home = setup.homePan;
  std::stable_sort(pans.begin(), pans.end(), [home](double a, double b) {
    return std::abs(normalizedPan(a - home)) < std::abs(normalizedPan(b - home));
  });
  return Stage(std::move(pans), setup.stageDistance, setup.stageTurn);
}

}  // namespace

World::World(const WorldSetup& setup, const WorldOptions& options)
    : mast{0, 0, setup.mastHeight},
      includeArea(options.includeArea),
      playback(peopleOf(options), stageOf(setup),
               options.asRecorded ? Playback::Rests::AsRecorded : Playback::Rests::Added) {
  for (const ChannelSetup& channel : setup.channels) {
    const std::uint64_t seed = options.seed * 1000 + channels.size();
    channels.push_back({OverviewCamera(channel.camera), Analytics(seed), channel.movesWithHead});
  }
}

void World::followHead(const HeadStatus& head) {
  for (Channel& channel : channels) {
    if (channel.movesWithHead) {
      channel.camera.pointAt({head.pan, head.tilt}, head.pictureWidth);
    }
  }
}

Frame World::frame(int channel, double time, std::int64_t timestamp) {
  Channel& seen = channels.at(static_cast<std::size_t>(channel));
  const std::vector<Person> people = playback.at(time);
  return seen.analytics.observe(seen.camera, people, timestamp);
}

std::vector<PersonView> World::people(double time) const {
  std::vector<PersonView> views;
  for (const Person& person : playback.at(time)) {
    const auto directionAt = [&](double height) {
      return directionOf({person.position.x - mast.x, person.position.y - mast.y, height - mast.z});
    };
    const SpacePoint centre{person.position.x, person.position.y, PERSON_HEIGHT / 2};
    views.push_back({.id = person.id,
                     .centre = directionAt(PERSON_HEIGHT / 2),
                     .height = angleBetween(directionAt(0), directionAt(PERSON_HEIGHT)),
                     .inside = isInside(centre),
                     .position = person.position});
  }
  return views;
}

bool World::isInside(const SpacePoint& centre) const {
  return std::any_of(channels.begin(), channels.end(), [&](const Channel& channel) {
    const std::optional<PicturePoint> seen = channel.camera.project(centre);
    return seen && std::abs(seen->x) <= includeArea && std::abs(seen->y) <= includeArea;
  });
}

}  // namespace device
