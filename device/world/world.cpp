#include "world/world.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "random/chance.h"
#include "world/mounting.h"
#include "world/scenes.h"
#include "world/stage.h"

namespace device {
namespace {

Scene sceneOf(const WorldSetup& setup, const WorldOptions& options) {
  return makeScene(options.scene.empty() ? setup.scene : options.scene, options.seed);
}

Stage stageInFrontOfCameras(const WorldSetup& setup) {
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

Stage stageOf(const WorldSetup& setup, const WorldOptions& options, const Scene& scene) {
  if (options.tracks && options.place) {
    return Stage(placementAround(options.place->mast, options.place->home, setup.homePan));
  }
  if (scene.isOnStage) {
    return stageInFrontOfCameras(setup);
  }
  if (options.tracks) {
    return Stage({setup.homePan}, scene.recordingDistance, 0);
  }
  return Stage(Placement({0, 0}, {0, 0}, -setup.homePan));
}

Playback playbackOf(const WorldSetup& setup, const WorldOptions& options, Scene& scene) {
  const bool addsRests = !options.asRecorded && (scene.isOnStage || options.tracks);
  const Stage stage = stageOf(setup, options, scene);
  return Playback(options.tracks ? TrackSet::read(*options.tracks) : std::move(scene.people), stage,
                  addsRests ? Playback::Rests::added : Playback::Rests::asRecorded);
}

}  // namespace

World::World(const WorldSetup& setup, const WorldOptions& options)
    : World(setup, options, sceneOf(setup, options)) {}

World::World(const WorldSetup& setup, const WorldOptions& options, Scene scene)
    : mast{0, 0, setup.mastHeight},
      seed(options.seed),
      peopleHeight(setup.peopleHeight),
      peopleHeightDeviation(setup.peopleHeightDeviation),
      includeArea(options.includeArea),
      playback(playbackOf(setup, options, scene)),
      scenery(setup.scenery),
      ghosts(setup.detections.ghosts, options.seed) {
  scenery.insert(scenery.end(), scene.scenery.begin(), scene.scenery.end());
  DetectionSetup detections = setup.detections;
  detections.sureOf = options.sureOf;
  for (const ChannelSetup& channel : setup.channels) {
    const int number = channelCount();
    const std::uint64_t own = options.seed * 1000 + static_cast<std::uint64_t>(number);
    channels.push_back(
        {OverviewCamera(mounted(channel.camera, channel.mountingError, options.seed, number)),
         Analytics(own, detections, scenery, options.seed),
         FrameLink(channel.frames, options.seed, number), channel.movesWithHead});
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
  return seen.analytics.observe(seen.camera, peopleAt(time), timestamp, time);
}

int World::sendFrame(int channel, double time, std::int64_t timestamp) {
  Frame sent = frame(channel, time, timestamp);
  const auto objects = static_cast<int>(sent.objects.size());
  channels.at(static_cast<std::size_t>(channel)).link.send(time, std::move(sent));
  return objects;
}

std::vector<Frame> World::receivedFrames(int channel, double time) {
  return channels.at(static_cast<std::size_t>(channel)).link.take(time);
}

std::vector<PersonView> World::people(double time) const {
  std::vector<PersonView> views;
  for (const Person& person : peopleAt(time)) {
    const auto directionAt = [&](double height) {
      return directionOf({person.position.x - mast.x, person.position.y - mast.y, height - mast.z});
    };
    const SpacePoint centre{person.position.x, person.position.y, person.height / 2};
    views.push_back({.id = person.id,
                     .centre = directionAt(person.height / 2),
                     .height = angleBetween(directionAt(0), directionAt(person.height)),
                     .inside = isInside(centre),
                     .position = person.position,
                     .tall = person.height});
  }
  return views;
}

std::vector<Person> World::peopleAt(double time) const {
  std::vector<Person> people = playback.at(time);
  for (Person& person : people) {
    person.height = peopleHeight;
    if (peopleHeightDeviation > 0) {
      person.height += peopleHeightDeviation * normalOf(seed, "height", person.id);
    }
  }
  return people;
}

bool World::isInside(const SpacePoint& centre) const {
  return std::any_of(channels.begin(), channels.end(), [&](const Channel& channel) {
    const std::optional<PicturePoint> seen = channel.camera.project(centre);
    return seen && std::abs(seen->x) <= includeArea && std::abs(seen->y) <= includeArea;
  });
}

}  // namespace device
