#include "world/scenes.h"

#include <cmath>
#include <functional>
#include <map>
#include <utility>

#include "random/chance.h"
#include "world/people_generator.h"
#include "world/walk.h"

namespace device {
namespace {

constexpr double HOUR = 3600;    // seconds
constexpr double SIGHT = 30;     // metres; people appear and disappear there
constexpr double SLOWEST = 0.8;  // metres per second, of people who walk
constexpr double FASTEST = 1.8;  // metres per second
constexpr double BUSY = 60;      // seconds in which people arrive
constexpr double QUIET = 20;     // seconds with nobody
constexpr int CROWD = 60;        // people

GroundPoint polar(double pan, double distance) {
  return {distance * std::sin(toRadians(pan)), distance * std::cos(toRadians(pan))};
}

// A straight way past the mast, from where people appear to where they disappear.
struct Pass {
  GroundPoint from;
  GroundPoint to;
};

Pass drawPass(Chance& chance, double nearest, double farthest) {
  const double distance = chance.between(nearest, farthest);
  const double pan = chance.between(-180, 180);
  const double half = toDegrees(std::acos(distance / SIGHT)) * chance.sign();
  return {polar(pan - half, SIGHT), polar(pan + half, SIGHT)};
}

Track passing(int id, double start, const Pass& pass, double speed) {
  return Walk(start, pass.from).to(pass.to, speed).track(id);
}

// People come one after another for a while, then nobody until the last has left and a while more.
TrackSet inBusyTimes(Chance& chance, const std::function<Track(int id, double start)>& draw,
                     double pauseLeast, double pauseMost) {
  std::vector<Track> tracks;
  double left = 0;
  for (double start = 0; start < HOUR; start = left + QUIET) {
    for (double time = start; time < start + BUSY; time += chance.between(pauseLeast, pauseMost)) {
      tracks.push_back(draw(static_cast<int>(tracks.size()) + 1, time));
      left = std::max(left, tracks.back().end());
    }
  }
  return TrackSet(std::move(tracks));
}

// One comes when the one before has left.
TrackSet oneByOne(const std::function<Track(int id, double start)>& draw) {
  std::vector<Track> tracks;
  double start = 0;
  while (start < HOUR) {
    tracks.push_back(draw(static_cast<int>(tracks.size()) + 1, start));
    start = tracks.back().end() + QUIET;
  }
  return TrackSet(std::move(tracks));
}

Scene square(std::uint64_t seed) {
  Scene scene;
  scene.people = generatePeople(seed);
  scene.isOnStage = true;
  return scene;
}

Scene wide(std::uint64_t seed) {
  constexpr int RUNNER = 8;  // every eighth
  constexpr double RUNNERS_DISTANCE = 3;
  constexpr double RUNNERS_SPEED = 5.3;
  Chance chance(seed, "wide");
  const auto draw = [&](int id, double start) {
    if (id % RUNNER == 0) {
      return passing(id, start, drawPass(chance, RUNNERS_DISTANCE, RUNNERS_DISTANCE),
                     RUNNERS_SPEED);
    }
    return passing(id, start, drawPass(chance, 3, 15), chance.between(SLOWEST, FASTEST));
  };
  Scene scene;
  scene.people = inBusyTimes(chance, draw, 8, 16);
  scene.recordingDistance = 8;
  return scene;
}

Scene far(std::uint64_t seed) {
  constexpr double REACH = 25;  // degrees to either side of home
  Chance chance(seed, "far");
  const auto draw = [&](int id, double start) {
    const double side = chance.sign();
    const GroundPoint from = polar(-side * REACH, chance.between(25, 60));
    const GroundPoint to = polar(side * REACH, chance.between(25, 60));
    return passing(id, start, {from, to}, chance.between(SLOWEST, FASTEST));
  };
  Scene scene;
  scene.people = inBusyTimes(chance, draw, 5, 15);
  scene.recordingDistance = 40;
  return scene;
}

// Whoever leaves is followed by another one.
Scene crowd(std::uint64_t seed) {
  Chance chance(seed, "crowd");
  std::vector<Track> tracks;
  for (int place = 0; place < CROWD; ++place) {
    Pass pass = drawPass(chance, 3, 25);
    const double share = chance.between(0, 0.9);  // of the way behind the first one
    pass.from = {std::lerp(pass.from.x, pass.to.x, share),
                 std::lerp(pass.from.y, pass.to.y, share)};
    for (double start = 0; start < HOUR; start = tracks.back().end()) {
      tracks.push_back(passing(static_cast<int>(tracks.size()) + 1, start, pass,
                               chance.between(SLOWEST, FASTEST)));
      pass = drawPass(chance, 3, 25);
    }
  }
  Scene scene;
  scene.people = TrackSet(std::move(tracks));
  scene.recordingDistance = 12;
  return scene;
}

Scene oneWhoPasses(std::uint64_t seed, const char* purpose, double nearest, double farthest,
                   double slowest, double fastest) {
  Chance chance(seed, purpose);
  Scene scene;
  scene.people = oneByOne([&](int id, double start) {
    const Pass pass = drawPass(chance, nearest, farthest);
    return passing(id, start, pass, chance.between(slowest, fastest));
  });
  scene.recordingDistance = 10;
  return scene;
}

Scene runner(std::uint64_t seed) {
  return oneWhoPasses(seed, "runner", 3, 12, 4, 6);
}

Scene cyclist(std::uint64_t seed) {
  return oneWhoPasses(seed, "cyclist", 4, 15, 5, 9);
}

Scene waiting(std::uint64_t seed) {
  constexpr double WAIT = 60;  // seconds
  Chance chance(seed, "waiting");
  Scene scene;
  scene.people = oneByOne([&](int id, double start) {
    const double pan = chance.between(-180, 180);
    const double speed = chance.between(SLOWEST, FASTEST);
    return Walk(start, polar(pan + chance.between(-60, 60), 25))
        .to(polar(pan, chance.between(6, 12)), speed)
        .stand(WAIT)
        .to(polar(pan + chance.between(-60, 60), 25), speed)
        .track(id);
  });
  scene.recordingDistance = 10;
  return scene;
}

Scene hiding(std::uint64_t seed) {
  constexpr double VAN = 20;    // degrees, where the van stands
  constexpr double POLES = 50;  // degrees, of the first pole
  Chance chance(seed, "hiding");
  Scene scene;
  scene.scenery.push_back(
      {.middle = polar(VAN, 10), .width = 5, .depth = 2, .height = 2.4, .turn = VAN});
  for (int pole = 0; pole < 4; ++pole) {
    scene.scenery.push_back(
        {.middle = polar(POLES + 8 * pole, 8), .width = 0.4, .depth = 0.4, .height = 6, .turn = 0});
  }
  scene.people = oneByOne([&](int id, double start) {
    const double speed = chance.between(SLOWEST, FASTEST);
    return Walk(start, polar(-60, 20))
        .to(polar(-10, 12), speed)
        .to(polar(VAN, 12), speed)
        .stand(chance.between(10, 20))
        .to(polar(45, 12), speed)
        .to(polar(85, 11), speed)
        .to(polar(110, 20), speed)
        .track(id);
  });
  scene.recordingDistance = 12;
  return scene;
}

const std::map<std::string, Scene (*)(std::uint64_t)>& scenes() {
  static const std::map<std::string, Scene (*)(std::uint64_t)> SCENES{
      {"square", square}, {"wide", wide},       {"far", far},         {"crowd", crowd},
      {"runner", runner}, {"cyclist", cyclist}, {"waiting", waiting}, {"hiding", hiding}};
  return SCENES;
}

}  // namespace

std::vector<std::string> sceneNames() {
  std::vector<std::string> names;
  for (const auto& [name, make] : scenes()) {
    names.push_back(name);
  }
  return names;
}

Scene makeScene(const std::string& name, std::uint64_t seed) {
  return scenes().at(name)(seed);
}

}  // namespace device
