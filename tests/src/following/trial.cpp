#include "following/trial.h"

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numbers>
#include <queue>

#include "base/units.h"
#include "following/framing.h"
#include "following/ground_position.h"
#include "following/head_model.h"
#include "following/identities.h"
#include "following/pursuit.h"
#include "following/subject.h"

namespace simulation {

namespace {

constexpr double MAST = 5.0;        // m
constexpr double FRAME_TIME = 0.1;  // s
constexpr double WIDTH = 1920.0;    // px
constexpr double HEIGHT = 1080.0;   // px
constexpr double FIELD = 100.0;     // deg
constexpr double CAMERA_TILT = -35.0;
constexpr int CAMERAS = 4;
constexpr double ASPECT = 16.0 / 9.0;
constexpr double MOVING = 0.5;  // deg/s

double radians(double degrees) {
  return degrees * std::numbers::pi / 180.0;
}
double degrees(double radians) {
  return radians * 180.0 / std::numbers::pi;
}
std::int64_t micros(double seconds) {
  return units::roundedFromSeconds(seconds);
}

using Vector = Eigen::Vector3d;

Vector directionOf(double pan, double tilt) {
  return {std::cos(radians(tilt)) * std::sin(radians(pan)),
          std::cos(radians(tilt)) * std::cos(radians(pan)), std::sin(radians(tilt))};
}

// A camera that looks along pan and tilt, turned about its axis by roll: rows are right, up, ahead.
Eigen::Matrix3d rotationOf(double pan, double tilt, double roll) {
  const Vector ahead = directionOf(pan, tilt);
  const Vector right = directionOf(pan + 90.0, 0.0);
  const Vector up = right.cross(ahead);
  const double c = std::cos(radians(roll));
  const double s = std::sin(radians(roll));
  Eigen::Matrix3d rotation;
  rotation.row(0) = (c * right + s * up).transpose();
  rotation.row(1) = (c * up - s * right).transpose();
  rotation.row(2) = ahead.transpose();
  return rotation;
}

struct Pixel {
  double x;  // from the middle, to the right
  double y;  // upwards
};

struct OverviewCamera {
  double pan;
  Eigen::Matrix3d mounted;  // as it is
  Eigen::Matrix3d nominal;  // as it is told
};

std::optional<Pixel> project(const OverviewCamera& camera, const Vector& point, double focal) {
  const Vector seen = camera.mounted * point;
  if (seen.z() <= 0.0) {
    return std::nullopt;
  }
  const Pixel pixel{focal * seen.x() / seen.z(), focal * seen.y() / seen.z()};
  const bool isInside = std::abs(pixel.x) <= WIDTH / 2 && std::abs(pixel.y) <= HEIGHT / 2;
  return isInside ? std::optional(pixel) : std::nullopt;
}

struct Angles {
  double pan;
  double tilt;
};

Angles anglesOf(const Vector& direction) {
  return {degrees(std::atan2(direction.x(), direction.y())),
          degrees(std::atan2(direction.z(), direction.head<2>().norm()))};
}

Angles backProject(const OverviewCamera& camera, const Pixel& pixel, double focal) {
  const Vector seen(pixel.x, pixel.y, focal);
  return anglesOf(camera.nominal.transpose() * seen.normalized());
}

struct Picture {
  std::int64_t arrival;
  std::int64_t stamp;
  int channel;
  std::vector<following::Identities::Seen> seen;
  std::vector<std::size_t> walkers;

  bool operator<(const Picture& other) const { return arrival > other.arrival; }
};

class Trial {
 public:
  Trial(const Scene& scene, const Condition& condition,
        const following::HeadIdentification& identified, const std::vector<std::size_t>& followed,
        const TrialRun& run);

  Result run();

 private:
  // What a person is to the cameras.
  struct Appearance {
    double height;
    int channel = -1;
    std::int32_t id = 0;
    double occludedUntil = -1.0;
    bool wasOccluded = false;
  };

  void takePictures(double time);
  void occlude(double time, std::size_t walker, Appearance& appearance);
  int nearestCamera(const Vector& fromCamera) const;
  void deliver(std::int64_t now);
  void control(std::int64_t now);
  void measure(double time);
  Vector fromHead(std::size_t walker, double time, double height) const;
  Result figures();

  const Scene& scene;
  const Condition& condition;
  std::vector<std::size_t> followed;
  TrialRun section;
  Random random;
  SimulatedHead head;
  std::vector<OverviewCamera> cameras;
  double focal = following::focalLength(WIDTH, FIELD);
  double stampConstant;
  following::Viewpoint viewpoint;
  std::map<std::size_t, Appearance> appearances;
  std::int32_t lastId = 0;
  std::priority_queue<Picture> underway;
  following::Identities identities;
  std::map<std::size_t, std::int64_t> chosen;  // identity of a followed walker
  std::map<std::size_t, std::pair<int, std::int32_t>> trueIds;
  following::HeadModel model;
  following::Pursuit pursuit;
  following::Framing framing;
  std::uint64_t hash = 1469598103934665603ULL;

  // Measured at each step.
  std::vector<double> errors;
  double sumAccelerations = 0.0;
  double inPicture = 0.0;
  double at20 = 0.0;
  double at40 = 0.0;
  int steps = 0;
  std::array<double, 2> lastVelocities{};
  std::array<int, 2> lastSigns{};
  bool moving = false;
  int starts = 0;
  int reversals = 0;
};

following::HeadParameters parametersOf(const following::HeadIdentification& identified,
                                       const Condition& condition) {
  following::HeadParameters parameters{identified.pan.model, identified.tilt.model,
                                       condition.toldStatusAge};
  parameters.tilt.lowest = -90.0;
  parameters.tilt.highest = 20.0;
  return parameters;
}

Angles homeOf(const Scene& scene) {
  return anglesOf({scene.homeX - scene.mastX, scene.homeY - scene.mastY, -MAST});
}

Trial::Trial(const Scene& scene, const Condition& condition,
             const following::HeadIdentification& identified,
             const std::vector<std::size_t>& followed, const TrialRun& run)
    : scene(scene),
      condition(condition),
      followed(followed),
      section(run),
      random(run.seed),
      head(condition.head, run.seed * 7919 + 1, homeOf(scene).pan, homeOf(scene).tilt),
      model(parametersOf(identified, condition)),
      pursuit(parametersOf(identified, condition)),
      framing({SimulatedHead::MAX_FIELD, SimulatedHead::MIN_FIELD, ASPECT}) {
  // What is drawn once per recording depends on nothing else.
  Random once(run.installation);
  for (int i = 0; i < CAMERAS; ++i) {
    const double pan = 90.0 * i;
    const double m = condition.mounting;
    cameras.push_back(
        {pan, rotationOf(pan + m * once.sign(), CAMERA_TILT + m * once.sign(), m * once.sign()),
         rotationOf(pan, CAMERA_TILT, 0.0)});
  }
  stampConstant = condition.stampConstant * once.sign();
  viewpoint.height = MAST * (1.0 + condition.heightError * once.sign());
  viewpoint.offsetX = condition.beside + condition.besideError * once.sign();
  viewpoint.focalLength = focal;
}

Vector Trial::fromHead(std::size_t walker, double time, double height) const {
  const Walker::Point point = scene.walkers[walker].at(time);
  return {point.x - scene.mastX, point.y - scene.mastY, height - MAST};
}

int Trial::nearestCamera(const Vector& fromCamera) const {
  const double bearing = anglesOf(fromCamera).pan;
  int nearest = 0;
  for (int i = 1; i < CAMERAS; ++i) {
    const auto off = [&](int k) {
      return std::abs(std::remainder(bearing - cameras[static_cast<std::size_t>(k)].pan, 360.0));
    };
    if (off(i) < off(nearest)) {
      nearest = i;
    }
  }
  return nearest;
}

void Trial::occlude(double time, std::size_t walker, Appearance& appearance) {
  const bool isFollowed = std::ranges::count(followed, walker) != 0;
  if (section.occluded && isFollowed) {
    if (time >= section.occluded->first && time < section.occluded->second) {
      appearance.occludedUntil = section.occluded->second;
    }
  } else if (time >= appearance.occludedUntil && random.chance(condition.occlusions * FRAME_TIME)) {
    appearance.occludedUntil = time + random.uniform(0.5, 2.0);
  }
}

void Trial::takePictures(double time) {
  const double age =
      condition.frameAge + random.uniform(-condition.frameJitter, condition.frameJitter);
  const double stampError =
      random.uniform(-condition.stampError, condition.stampError) + stampConstant;
  std::vector<Picture> pictures(CAMERAS);
  for (int i = 0; i < CAMERAS; ++i) {
    pictures[static_cast<std::size_t>(i)].channel = i;
    pictures[static_cast<std::size_t>(i)].arrival = micros(time + age);
    pictures[static_cast<std::size_t>(i)].stamp = micros(time + stampError);
  }
  for (std::size_t i = 0; i < scene.walkers.size(); ++i) {
    if (!scene.walkers[i].isPresent(time)) {
      continue;
    }
    auto [entry, isNew] = appearances.try_emplace(i);
    Appearance& appearance = entry->second;
    if (isNew) {
      appearance.height = 1.7 + condition.heightSpread * random.normal();
      appearance.id = ++lastId;
    }
    occlude(time, i, appearance);
    const bool isOccluded = time < appearance.occludedUntil;
    if (appearance.wasOccluded && !isOccluded &&
        (section.occluded || random.chance(condition.newIds))) {
      appearance.id = ++lastId;
    }
    appearance.wasOccluded = isOccluded;
    const Vector offset(condition.beside, 0.0, 0.0);
    const Vector foot = fromHead(i, time, 0.0) - offset;
    const int channel = nearestCamera(foot);
    const OverviewCamera& camera = cameras[static_cast<std::size_t>(channel)];
    const Vector top = fromHead(i, time, appearance.height) - offset;
    std::optional<Pixel> footPixel = project(camera, foot, focal);
    std::optional<Pixel> topPixel = project(camera, top, focal);
    const double noise[] = {random.normal(), random.normal(), random.normal(), random.normal()};
    const bool isMissed = random.chance(condition.misses);
    if (isOccluded || isMissed || !footPixel || !topPixel) {
      continue;
    }
    if (channel != appearance.channel && appearance.channel >= 0 && condition.newIdAtHandOver) {
      appearance.id = ++lastId;
    }
    appearance.channel = channel;
    footPixel->x += condition.noise * noise[0];
    footPixel->y += condition.noise * noise[1];
    topPixel->x += condition.noise * noise[2];
    topPixel->y += condition.noise * noise[3];
    const Angles footAngles = backProject(camera, *footPixel, focal);
    const Angles topAngles = backProject(camera, *topPixel, focal);
    // Without new ids at hand-over the cameras share theirs: one channel for all.
    const int told = condition.newIdAtHandOver ? channel : 0;
    Picture& picture = pictures[static_cast<std::size_t>(told)];
    picture.seen.push_back({appearance.id, {footAngles.pan, footAngles.tilt, topAngles.tilt}});
    picture.walkers.push_back(i);
  }
  for (Picture& picture : pictures) {
    if (condition.newIdAtHandOver || picture.channel == 0) {
      underway.push(std::move(picture));
    }
  }
}

void Trial::deliver(std::int64_t now) {
  while (!underway.empty() && underway.top().arrival <= now) {
    const Picture& picture = underway.top();
    identities.takePicture(now, picture.channel, picture.stamp, viewpoint, picture.seen);
    for (std::size_t i = 0; i < picture.seen.size(); ++i) {
      const std::size_t walker = picture.walkers[i];
      if (std::ranges::count(followed, walker) == 0) {
        continue;
      }
      trueIds[walker] = {picture.channel, picture.seen[i].id};
      const following::Person* person = identities.whoIs(picture.channel, picture.seen[i].id);
      if (person != nullptr) {
        chosen.try_emplace(walker, person->identity);
      }
    }
    underway.pop();
  }
}

void Trial::control(std::int64_t now) {
  model.read(now, head.statusPan(), head.statusTilt());
  identities.expire(now);
  std::vector<following::Member> members;
  double gap = 1e9;
  for (const auto& [walker, identity] : chosen) {
    const following::Person* person = identities.find(identity);
    if (person == nullptr) {
      continue;
    }
    members.push_back({&person->filter.state(), person->height.metres});
    gap = std::min(gap, units::toSeconds(now - person->lastSeen));
  }
  const auto subject = following::predictSubject(members, pursuit.actsAt(now), viewpoint.height);
  const double field = SimulatedHead::MAX_FIELD / framing.asked();
  const auto command = pursuit.step(model, subject, field);
  if (!command) {
    return;
  }
  head.command(now, command->pan, command->tilt);
  pursuit.commanded(*command);
  model.commanded(now, *command);
  hash =
      (hash ^ static_cast<std::uint64_t>(command->pan * 1000 + command->tilt)) * 1099511628211ULL;
  if (subject && framing.step(following::Pursuit::PERIOD, *subject, pursuit.error(), gap)) {
    head.zoomTo(now, framing.position());
  }
}

void Trial::measure(double time) {
  ++steps;
  const double velocities[] = {head.panVelocity(), head.tiltVelocity()};
  double acceleration = 0.0;
  for (std::size_t i = 0; i < 2; ++i) {
    acceleration += std::pow((velocities[i] - lastVelocities[i]) / units::toSeconds(STEP), 2);
    lastVelocities[i] = velocities[i];
    const int sign = velocities[i] > MOVING ? 1 : velocities[i] < -MOVING ? -1 : 0;
    if (sign != 0 && lastSigns[i] != 0 && sign != lastSigns[i]) {
      ++reversals;
    }
    if (sign != 0) {
      lastSigns[i] = sign;
    }
  }
  const bool moves = std::hypot(velocities[0], velocities[1]) > MOVING;
  if (moves && !moving) {
    ++starts;
  }
  moving = moves;
  sumAccelerations += acceleration;
  const Eigen::Matrix3d view = rotationOf(head.getPan(), head.getTilt(), 0.0);
  // Of several: the middle of all bodies' directions.
  Vector middle = Vector::Zero();
  double lowest = 1e9;
  double highest = -1e9;
  double left = 1e9;
  double right = -1e9;
  for (const std::size_t walker : followed) {
    if (!scene.walkers[walker].isPresent(time)) {
      continue;
    }
    const double height = appearances.contains(walker) ? appearances[walker].height : 1.7;
    middle += fromHead(walker, time, height / 2.0).normalized();
    const Vector foot = view * fromHead(walker, time, 0.0);
    const Vector top = view * fromHead(walker, time, height);
    lowest = std::min(lowest, foot.z() > 0.0 ? foot.y() / foot.z() : -1e3);
    highest = std::max(highest, top.z() > 0.0 ? top.y() / top.z() : 1e3);
    for (const Vector& point : {foot, top}) {
      left = std::min(left, point.z() > 0.0 ? point.x() / point.z() : -1e3);
      right = std::max(right, point.z() > 0.0 ? point.x() / point.z() : 1e3);
    }
  }
  if (middle.norm() == 0.0) {
    return;
  }
  const double along = std::clamp((view * middle.normalized()).z(), -1.0, 1.0);
  errors.push_back(degrees(std::acos(along)));
  const double halfWidth = std::tan(radians(SimulatedHead::MAX_FIELD / head.magnification()) / 2.0);
  const double halfHeight = halfWidth / ASPECT;
  const Vector seen = view * middle.normalized();
  const bool isIn = seen.z() > 0.0 && std::abs(seen.x() / seen.z()) <= halfWidth &&
                    std::abs(seen.y() / seen.z()) <= halfHeight;
  inPicture += isIn ? 1.0 : 0.0;
  const bool isAside = right < -halfWidth || left > halfWidth;
  const double visible =
      isAside ? 0.0 : std::min(highest, halfHeight) - std::max(lowest, -halfHeight);
  at20 += visible >= 0.2 * 2.0 * halfHeight ? 1.0 : 0.0;
  at40 += visible >= 0.4 * 2.0 * halfHeight ? 1.0 : 0.0;
}

Result Trial::run() {
  pursuit.start();
  const std::int64_t end = micros(section.end - section.begin);
  std::int64_t nextFrame = 0;
  // Time runs from the beginning of the run; walkers are asked in their own.
  for (std::int64_t now = 0; now < end; now += STEP) {
    const double time = section.begin + units::toSeconds(now);
    if (now >= nextFrame) {
      takePictures(time);
      nextFrame += micros(FRAME_TIME);
    }
    if (now % PERIOD == 0) {
      const std::int64_t clock = micros(time);
      deliver(clock);
      control(clock);
    }
    head.advanceTo(micros(section.begin) + now + STEP);
    measure(time + units::toSeconds(STEP));
  }
  return figures();
}

Result Trial::figures() {
  Result result;
  const double dt = units::toSeconds(STEP);
  result.duration = steps * dt;
  const auto skipped = std::min(static_cast<std::size_t>(2.0 / dt), errors.size());
  const std::vector<double> late(errors.begin() + static_cast<std::ptrdiff_t>(skipped),
                                 errors.end());
  double sum = 0.0;
  for (const double error : late) {
    sum += error * error;
  }
  result.rms = late.empty() ? 0.0 : std::sqrt(sum / static_cast<double>(late.size()));
  result.percentile95 = late.empty() ? 0.0 : quantileOf(late, 0.95);
  const std::size_t second = std::min<std::size_t>(errors.size(), 200);
  for (std::size_t i = errors.size() - second; i < errors.size(); ++i) {
    result.errorAtEnd += errors[i] / static_cast<double>(second);
  }
  result.inPicture = inPicture / steps;
  result.at20 = at20 / steps;
  result.at40 = at40 / steps;
  result.starts = starts / result.duration;
  result.reversals = reversals / result.duration;
  result.acceleration = std::sqrt(sumAccelerations / steps);
  for (const auto& [walker, identity] : chosen) {
    const auto [channel, id] = trueIds[walker];
    const following::Person* person = identities.whoIs(channel, id);
    result.identityKept = result.identityKept && person != nullptr && person->identity == identity;
  }
  result.commands = hash;
  return result;
}

}  // namespace

Walker::Point Walker::at(double time) const {
  if (time <= begin()) {
    return points.front();
  }
  if (time >= end()) {
    return points.back();
  }
  const auto after = std::ranges::upper_bound(points, time, {}, &Point::time);
  const Point& before = *(after - 1);
  const double share = (time - before.time) / (after->time - before.time);
  return {time, before.x + share * (after->x - before.x), before.y + share * (after->y - before.y)};
}

Condition ideal() {
  Condition condition;
  condition.name = "ideal";
  condition.heightSpread = 0.0;
  return condition;
}

Condition mild() {
  Condition c;
  c.name = "mild";
  c.head.latencyJitter = 0.01;
  c.head.speedStep = 1.0;
  c.head.deadZone = 2.0;
  c.head.statusPeriod = 0.05;
  c.head.statusStep = 0.01;
  c.frameJitter = 0.02;
  c.stampError = 0.01;
  c.misses = 0.03;
  c.noise = 2.0;
  c.mounting = 0.1;
  c.beside = 0.5;
  c.besideError = 0.02;
  c.heightError = 0.02;
  return c;
}

Condition realistic() {
  Condition c = mild();
  c.name = "realistic";
  c.head.latency = 0.15;
  c.head.latencyJitter = 0.03;
  c.head.curve = 1.5;
  c.head.play = 0.1;
  c.head.statusAge = 0.1;
  c.head.statusPeriod = 0.1;
  c.head.statusStep = 0.05;
  c.head.zoomCurve = 1.1;
  c.frameAge = 0.25;
  c.frameJitter = 0.04;
  c.stampError = 0.02;
  c.stampConstant = 0.01;
  c.occlusions = 1.0 / 15.0;
  c.newIds = 0.5;
  c.newIdAtHandOver = true;
  c.mounting = 0.5;
  c.besideError = 0.05;
  c.heightError = 0.05;
  return c;
}

Condition harsh() {
  Condition c = realistic();
  c.name = "harsh";
  c.head.latency = 0.3;
  c.head.latencyJitter = 0.06;
  c.head.speedStep = 5.0;
  c.head.statusAge = 0.3;
  c.head.statusPeriod = 0.2;
  c.head.statusStep = 0.1;
  c.frameAge = 0.4;
  c.frameJitter = 0.08;
  c.stampConstant = 0.02;
  c.misses = 0.15;
  c.occlusions = 1.0 / 8.0;
  c.newIds = 1.0;
  c.besideError = 0.1;
  c.heightError = 0.1;
  return c;
}

Condition slow() {
  Condition c = realistic();
  c.name = "slow";
  c.head.fullSpeed = 30.0;
  c.head.acceleration = 150.0;
  return c;
}

Condition fast() {
  Condition c = realistic();
  c.name = "fast";
  c.head.fullSpeed = 450.0;
  c.head.acceleration = 900.0;
  return c;
}

Result follow(const Scene& scene, const Condition& condition,
              const following::HeadIdentification& head, const std::vector<std::size_t>& followed,
              const TrialRun& run) {
  return Trial(scene, condition, head, followed, run).run();
}

double quantileOf(std::vector<double> values, double share) {
  if (values.empty()) {
    return 0.0;
  }
  std::ranges::sort(values);
  return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1) + 0.5)];
}

}  // namespace simulation
