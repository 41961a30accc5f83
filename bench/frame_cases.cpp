// A frame's way from its bytes to alarms, whole and in parts.
#include <scene.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "addon/libs/vigil_pack_lib/filters/object_lifetime_filter.h"
#include "addon/libs/vigil_pack_lib/filters/size_filter_percent.h"
#include "addon/libs/vigil_pack_lib/filters/swaying_filter.h"
#include "addon/libs/vigil_pack_lib/guard/area_guard.h"
#include "base/mutex.h"
#include "base/units.h"
#include "bench/case.h"
#include "bench/everyday.h"
#include "bench/surroundings.h"
#include "camera/camera.h"
#include "config/default_values.h"
#include "events/state_event_fan_out.h"
#include "platform/owners.h"
#include "scene/mote_scene.h"
#include "scene/mote_scene_parser.h"
#include "services/frame_encoding.h"
#include "services/frame_handshake.h"
#include "tracker/super_object_manager.h"
#include "tracker/tracker_area_guard.h"

namespace bench {

namespace {

constexpr int FRAMES_PER_SECOND = 10;
constexpr std::int64_t FRAME_TIME = units::fromSeconds(1) / FRAMES_PER_SECOND;
constexpr std::size_t WALK_FRAMES = 16;       // there; as many but two back
constexpr std::size_t WORK_PER_BATCH = 3000;  // objects times profiles
constexpr std::int32_t MASK =
    device::FRAME_POLYGON | device::FRAME_VELOCITY | device::FRAME_LOW_CONFIDENT;
constexpr float ASPECT_RATIO = 16.0F / 9.0F;
constexpr std::uint64_t SEED = 7;

// The bytes of people's walk, shown again and again while the time goes on.
class Film {
 public:
  explicit Film(std::size_t people) {
    Everyday everyday(SEED + people);
    for (const device::Frame& frame :
         thereAndBack(everyday.walk(people, WALK_FRAMES, FRAMES_PER_SECOND))) {
      const std::vector<std::uint8_t> bytes = device::encodeFrame(frame, MASK);
      SceneFrame& kept = frames.emplace_back();
      kept.data.reset(static_cast<char*>(std::malloc(bytes.size())));
      std::memcpy(kept.data.get(), bytes.data(), bytes.size());
      kept.size = bytes.size();
    }
  }

  // The next frame, taken now.
  const SceneFrame& next() {
    passTime(FRAME_TIME);
    SceneFrame& frame = frames[position++ % frames.size()];
    const std::int64_t now = timeNow();
    std::memcpy(frame.data.get() + TIMESTAMP_OFFSET, &now, sizeof(now));
    return frame;
  }

  static constexpr std::size_t warmUp() { return WALK_FRAMES; }

 private:
  // Behind the header and the head of the first property, which is the time.
  static constexpr std::size_t TIMESTAMP_OFFSET = 24 + 8;

  std::vector<SceneFrame> frames;
  std::size_t position = 0;
};

std::size_t framesPerBatch(std::size_t people, std::size_t profiles) {
  return std::clamp<std::size_t>(WORK_PER_BATCH / (people * profiles), 1, 2 * WALK_FRAMES - 2);
}

// A batch of frames, each given to the function.
template <typename Show>
Batch filmBatch(std::size_t people, std::size_t profiles, Show show) {
  auto film = std::make_shared<Film>(people);
  for (std::size_t i = 0; i < Film::warmUp(); ++i) {
    show(film->next());
  }
  return [film, show, count = framesPerBatch(people, profiles)] {
    for (std::size_t i = 0; i < count; ++i) {
      show(film->next());
    }
    return count;
  };
}

// As a new profile has them.
void addDefaultFilters(Guard& guard) {
  const DefaultValues defaults;
  guard.addExclusionFilter(std::make_unique<SizeFilterPercent>(defaults.sizePercentWidth,
                                                               defaults.sizePercentHeight, true));
  guard.addExclusionFilter(std::make_unique<ObjectLifetimeFilter>(defaults.shortLived, true));
  guard.addExclusionFilter(
      std::make_unique<SwayingFilter>(guard.getUid(), defaults.swayingPercent, true));
}

enum class Profiles { alarms, alarmsAndTracker };

std::unique_ptr<Guard> makeGuard(Profiles kind, std::int32_t uid, const Areas& areas) {
  constexpr std::int64_t EVENT_DURATION = units::fromSeconds(5);
  constexpr int NOT_BOUND = PRESET_NOT_BOUND;
  const std::string name = "Profile " + std::to_string(uid);
  StateEventProducerI& producer = StateEventFanOut::getInstance();
  std::unique_ptr<AreaGuard> guard;
  if (kind == Profiles::alarmsAndTracker) {
    guard = std::make_unique<TrackerAreaGuard>(Polygon(areas.include), name, uid, 1, EVENT_DURATION,
                                               uid, "SentrelVideo", producer, NOT_BOUND);
  } else {
    guard = std::make_unique<AreaGuard>(Polygon(areas.include), name, uid, 1, EVENT_DURATION,
                                        "SentrelVideo", producer, NOT_BOUND);
  }
  for (const auto& exclude : areas.exclude) {
    guard->addExcludeArea(Polygon(exclude));
  }
  addDefaultFilters(*guard);
  return guard;
}

// A camera whose frames come from the benchmark.
class FilmCamera : public Camera {
 public:
  FilmCamera(Profiles kind, std::size_t profiles)
      : Camera(1, 0, ASPECT_RATIO, MASK, StartupPosition{}) {
    Everyday everyday(SEED);
    for (std::size_t i = 0; i < profiles; ++i) {
      insertGuard(makeGuard(kind, static_cast<std::int32_t>(i + 1), everyday.areas()));
    }
  }

  void handleMoteData(SceneFrame frame) override { show(frame); }

  // As handleMoteData of a camera with a transport, but the frame stays with the caller.
  void show(const SceneFrame& frame) {
    const LockGuard guard(lock);
    processFrame(frame);
  }
};

Batch prepareFrame(Profiles kind, std::size_t people, std::size_t profiles) {
  prepareSurroundings();
  constexpr double WIDEST_VIEW = 63.4;  // degrees, of an ordinary head
  Tracker::getInstance().setWidestView(
      {WIDEST_VIEW, WIDEST_VIEW / static_cast<double>(ASPECT_RATIO)});
  Tracker::releaseInstance();
  auto camera = std::make_shared<FilmCamera>(kind, profiles);
  return filmBatch(people, profiles, [camera](const SceneFrame& frame) { camera->show(frame); });
}

Batch prepareDecode(std::size_t people) {
  prepareSurroundings();
  return filmBatch(people, 1, [](const SceneFrame& frame) {
    const ScenePtr decoded(scene_copy_from_area(frame.data.get(), frame.size));
    asm volatile("" : : "r"(decoded.get()));
  });
}

Batch prepareRead(std::size_t people) {
  prepareSurroundings();
  return filmBatch(people, 1, [](const SceneFrame& frame) {
    const MoteScene read(frame, MASK);
    asm volatile("" : : "r"(&read));
  });
}

Batch prepareParse(std::size_t people) {
  prepareSurroundings();
  auto parser = std::make_shared<MoteSceneParser>(0, ASPECT_RATIO);
  return filmBatch(people, 1, [parser](const SceneFrame& frame) {
    const MoteScene read(frame, MASK);
    const ParsedScene parsed = parser->parse(read);
    asm volatile("" : : "r"(&parsed));
  });
}

Batch prepareGuard(Profiles kind, std::size_t people) {
  prepareSurroundings();
  auto parser = std::make_shared<MoteSceneParser>(0, ASPECT_RATIO);
  const std::shared_ptr<Guard> guard = makeGuard(kind, 1, Everyday(SEED).areas());
  return filmBatch(people, 1, [parser, guard](const SceneFrame& frame) {
    ParsedScene parsed = parser->parse(MoteScene(frame, MASK));
    guard->checkObjects(parsed);
  });
}

}  // namespace

void addFrameCases(Cases& cases) {
  constexpr std::size_t PEOPLE = 20;
  const std::string some = std::to_string(PEOPLE);
  // Each holds what the one before it does.
  cases.push_back({"part/1 decode/" + some, "frame", [] { return prepareDecode(PEOPLE); }});
  cases.push_back({"part/2 read objects/" + some, "frame", [] { return prepareRead(PEOPLE); }});
  cases.push_back(
      {"part/3 parse into storage/" + some, "frame", [] { return prepareParse(PEOPLE); }});
  cases.push_back({"part/4 guard with filters/" + some, "frame",
                   [] { return prepareGuard(Profiles::alarms, PEOPLE); }});
  cases.push_back({"part/5 guard that tracks/" + some, "frame",
                   [] { return prepareGuard(Profiles::alarmsAndTracker, PEOPLE); }});
  for (const auto& [kind, name] : {std::pair(Profiles::alarmsAndTracker, "frame"),
                                   std::pair(Profiles::alarms, "frame without tracker")}) {
    for (const std::size_t profiles : {1U, 3U, 10U}) {
      for (const std::size_t people : {1U, 10U, 50U, 200U, 500U}) {
        cases.push_back(
            {std::string(name) + "/objects " + std::to_string(people) + "/profiles " +
                 std::to_string(profiles),
             "frame",
             [kind = kind, people, profiles] { return prepareFrame(kind, people, profiles); },
             [people, profiles] {
               return std::map<std::string, double>{{"objects", static_cast<double>(people)},
                                                    {"profiles", static_cast<double>(profiles)}};
             }});
      }
    }
  }
}

}  // namespace bench
