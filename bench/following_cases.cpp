// Following by prediction: a frame's update of everybody's track, the control step, and the fit of
// an axis.
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/units.h"
#include "bench/case.h"
#include "following/axis_identification.h"
#include "following/framing.h"
#include "following/head_model.h"
#include "following/identities.h"
#include "following/pursuit.h"
#include "following/subject.h"
#include "tracker/people.h"
#include "tracker/predictive_following.h"

namespace bench {

namespace {

using namespace following;

constexpr std::int64_t FRAME_TIME = 100'000;  // microseconds
constexpr std::int64_t STEP_TIME = 50'000;
constexpr double MAST = 5.0;  // m
constexpr std::size_t MOST_FOLLOWED = 5;

// People who walk along rows before the mast.
std::vector<Identities::Seen> peopleAt(int count, double seconds) {
  std::vector<Identities::Seen> seen;
  for (int i = 0; i < count; ++i) {
    const double x = -8.0 + 0.7 * (i % 25) + 1.2 * seconds;
    const double y = 4.0 + 0.8 * (i / 25);
    const double distance = std::hypot(x, y);
    seen.push_back(
        {i,
         {units::toDegrees(std::atan2(x, y)), -units::toDegrees(std::atan2(MAST, distance)),
          -units::toDegrees(std::atan2(MAST - 1.7, distance))}});
  }
  return seen;
}

// Everybody has been seen for two seconds; the first few are followed together.
struct Followed {
  explicit Followed(int count) : count(count) {
    pursuit.start();
    for (int i = 0; i < 20; ++i) {
      takeFrame();
    }
  }

  void takeFrame() {
    now += FRAME_TIME;
    const double seconds = std::fmod(units::toSeconds(now), 4.0);
    identities.takePicture(now, 0, now, {}, peopleAt(count, seconds));
  }

  // The people stay: steps do not make anybody grow old.
  void step() {
    const std::int64_t time = now + STEP_TIME * (steps++ % 2);
    head.read(time, 0.1 * static_cast<double>(steps % 100), -40.0);
    members.clear();
    for (std::int64_t identity = 1; members.size() < MOST_FOLLOWED && identity <= count;
         ++identity) {
      const Person* person = identities.find(identity);
      if (person != nullptr) {
        members.push_back({&person->filter.state(), person->height.metres});
      }
    }
    const auto subject = predictSubject(members, pursuit.actsAt(time), MAST);
    const auto command = pursuit.step(head, subject, 30.0);
    pursuit.commanded(*command);
    head.commanded(time, *command);
    if (subject) {
      framing.step(0.05, *subject, pursuit.error(), 0.0);
    }
  }

  int count;
  std::int64_t now = 1'000'000'000;
  std::int64_t steps = 0;
  Identities identities;
  HeadModel head{HeadParameters{}};
  Pursuit pursuit{HeadParameters{}};
  Framing framing{Lens{}};
  std::vector<Member> members = [] {
    std::vector<Member> reserved;
    reserved.reserve(MOST_FOLLOWED);
    return reserved;
  }();
};

// The same as it is wired: everybody is handed over, grouped and framed, and the head is told.
struct Wired : Selection {
  explicit Wired(int count) : count(count) {
    way.setHead({});
    status.zoom = 1;
    for (int i = 0; i < 20; ++i) {
      takeFrame();
    }
  }

  void takeFrame() {
    now += FRAME_TIME;
    seen.clear();
    for (const Identities::Seen& each : peopleAt(count, std::fmod(now / 1e6, 4.0))) {
      const Sighting& at = each.sighting;
      seen.push_back({each.id,
                      {.sighting = at,
                       .pan = at.pan,
                       .tilt = (at.footTilt + at.headTilt) / 2.0,
                       .width = 3.0,
                       .height = at.headTilt - at.footTilt}});
    }
    people.see(now, 0, now, 805.5, seen);
    for (const People::Seen& each : seen) {
      people.want(0, each.id, 1, now);
    }
  }

  void step() {
    const std::int64_t time = now + STEP_TIME * (steps++ % 2);
    status.pan = 0.1 * static_cast<double>(steps % 100);
    if (const auto command = way.step(status, {}, *this, time)) {
      way.taken(*command, time);
    }
  }

  std::optional<Target> selectTarget(double, double) override { return std::nullopt; }
  std::optional<FollowedSubject> selectSubject(double pan, double tilt, std::int64_t time,
                                               std::int64_t at) override {
    return people.choose(pan, tilt, time, at);
  }

  int count;
  std::int64_t now = 1'000'000'000;
  std::int64_t steps = 0;
  std::vector<People::Seen> seen;
  People people{Installation()};
  PredictiveFollowing way;
  PtzHeadStatus status;
};

// An axis of 80 deg/s, 250 deg/s2 and 0.2 s that is read every 50 ms.
AxisRecord recordOfAxis() {
  AxisRecord record;
  record.beginStaircase(0);
  const Staircase staircase;
  AxisMotion motion;
  std::vector<int> given;
  for (std::int64_t now = 0;; now += STEP_TIME) {
    const auto percent = staircase.command(units::toSeconds(now));
    if (!percent) {
      return record;
    }
    record.addCommand(now, *percent);
    record.addStatus(now, std::round(motion.position * 20.0) / 20.0);
    given.push_back(*percent);
    const int acting = given.size() > 4 ? given[given.size() - 5] : 0;
    motion.advance(0.05, 0.8 * acting, 250.0);
  }
}

}  // namespace

void addFollowingCases(Cases& cases) {
  for (const int count : {1, 10, 50, 500}) {
    const std::string tracks = std::to_string(count);
    const auto facts = [count] { return std::map<std::string, double>{{"tracks", count}}; };
    cases.push_back({"following step/tracks " + tracks, "step",
                     [count]() -> Batch {
                       auto followed = std::make_shared<Followed>(count);
                       return [followed] {
                         followed->step();
                         return std::size_t{1};
                       };
                     },
                     facts});
    cases.push_back({"following takes a frame/tracks " + tracks, "frame",
                     [count]() -> Batch {
                       auto followed = std::make_shared<Followed>(count);
                       return [followed] {
                         followed->takeFrame();
                         return std::size_t{1};
                       };
                     },
                     facts});
  }
  for (const int count : {1, 10, 20, 50, 150}) {
    const std::string people = std::to_string(count);
    const auto facts = [count] { return std::map<std::string, double>{{"people", count}}; };
    cases.push_back({"following as wired, step/people " + people, "step",
                     [count]() -> Batch {
                       auto wired = std::make_shared<Wired>(count);
                       return [wired] {
                         wired->step();
                         return std::size_t{1};
                       };
                     },
                     facts});
    cases.push_back({"following as wired, frame/people " + people, "frame",
                     [count]() -> Batch {
                       auto wired = std::make_shared<Wired>(count);
                       return [wired] {
                         wired->takeFrame();
                         return std::size_t{1};
                       };
                     },
                     facts});
  }
  cases.push_back({"following identifies an axis", "fit", []() -> Batch {
                     auto record = std::make_shared<AxisRecord>(recordOfAxis());
                     return [record] {
                       return identify(*record).isBelieved() ? std::size_t{1} : std::size_t{0};
                     };
                   }});
}

}  // namespace bench
