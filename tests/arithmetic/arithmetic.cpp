// Prints seeded results of all that the daemon computes, floating-point numbers to their last bit.
// Builds for different processors must print the same: script/build-arm64 compares them.
#include <gm.h>
#include <ptzmath.h>
#include <scene.h>

#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "addon/libs/vigil_pack_lib/filters/perspective.h"
#include "app/clock.h"
#include "geometry/movement.h"
#include "geometry/polygon.h"
#include "geometry/polygon_container.h"
#include "geometry/segment.h"
#include "head/head.h"
#include "platform/fake_parameter_store.h"
#include "platform/owners.h"
#include "platform/polygons.h"
#include "ptz/bearing.h"
#include "ptz/pid.h"
#include "ptz/regulator.h"
#include "ptz/zoom_scale.h"
#include "scene/scene_encoder.h"
#include "tracker/super_object.h"

namespace {

constexpr std::int64_t START = 1'000'000'000;   // microseconds
constexpr std::int64_t CONTROL_STEP = 100'000;  // microseconds

class ManualClock : public Clock {
 public:
  ManualClock() { replace(this); }
  ~ManualClock() override { replace(nullptr); }
  std::int64_t now() const override { return time; }
  void sleep(std::int64_t microseconds) override { time += microseconds; }

 private:
  std::int64_t time = START;
};

// The distributions of the standard library may differ from one build to the next; this does not.
// No two numbers are drawn among one call's arguments, whose order is the compiler's.
class Random {
 public:
  explicit Random(std::uint64_t seed) : engine(seed) {}

  double real(double low, double high) {
    const double unit = static_cast<double>(engine() >> 11) * 0x1p-53;
    return low + (high - low) * unit;
  }

  int integer(int low, int high) {
    return low + static_cast<int>(engine() % static_cast<std::uint64_t>(high - low + 1));
  }

 private:
  std::mt19937_64 engine;
};

// One line of results.
class Line {
 public:
  explicit Line(const char* name) { std::fputs(name, stdout); }
  ~Line() { std::putchar('\n'); }
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  Line& add(double value) {
    std::printf(" %a", value);
    return *this;
  }
  Line& add(std::int64_t value) {
    std::printf(" %" PRId64, value);
    return *this;
  }
  Line& add(int value) { return add(std::int64_t{value}); }
  Line& add(bool value) { return add(value ? 1 : 0); }
};

// ---- Geometry ----

struct ClipResult {
  gm_point** polygons = nullptr;
  int* counts = nullptr;
  int number = 0;

  ClipResult(const polygons::Points& a, const polygons::Points& b, gm_clip_e operation)
      : number(gm_clip_pp(a.data(), static_cast<int>(a.size()), b.data(),
                          static_cast<int>(b.size()), operation, &polygons, &counts)) {}
  ClipResult(const ClipResult&) = delete;
  ClipResult& operator=(const ClipResult&) = delete;
  ~ClipResult() {
    for (int i = 0; i < number; ++i) {
      std::free(polygons[i]);
    }
    std::free(polygons);
    std::free(counts);
  }
};

void printClip(const polygons::Points& a, const polygons::Points& b, gm_clip_e operation) {
  const ClipResult result(a, b, operation);
  Line line("clip");
  line.add(operation).add(result.number);
  for (int i = 0; i < result.number; ++i) {
    line.add(result.counts[i]);
    for (int k = 0; k < result.counts[i]; ++k) {
      line.add(result.polygons[i][k].x).add(result.polygons[i][k].y);
    }
  }
}

void printPair(const polygons::Points& a, const polygons::Points& b) {
  const int aCount = static_cast<int>(a.size());
  const int bCount = static_cast<int>(b.size());
  gm_point centroid{};
  const int hasCentroid = gm_centroid_p(a.data(), aCount, &centroid);
  Line("pair")
      .add(gm_inside_p(b.front(), a.data(), aCount))
      .add(gm_intersect_pp(a.data(), aCount, b.data(), bCount))
      .add(gm_intersect_ps(a.data(), aCount, b.data(), bCount))
      .add(gm_intersect_ss(a.data(), aCount, b.data(), bCount))
      .add(hasCentroid)
      .add(centroid.x)
      .add(centroid.y);
  for (const gm_clip_e operation :
       {GM_CLIP_INTERSECTION, GM_CLIP_UNION, GM_CLIP_XOR, GM_CLIP_CUT_OFF}) {
    printClip(a, b, operation);
  }
}

std::vector<Point> toPoints(const polygons::Points& points) {
  std::vector<Point> result;
  for (const gm_point point : points) {
    result.push_back({point.x, point.y});
  }
  return result;
}

void printShape(const Polygon& polygon, float factor) {
  const Polygon scaled = polygon.createScaledCopy(factor);
  Line line("scaled");
  for (const Point& point : scaled.getVertices()) {
    line.add(point.x).add(point.y);
  }
}

void printMovement(Random& random, const Polygon& from, const Polygon& to) {
  const auto point = [&random] {
    return Point{static_cast<std::int16_t>(random.integer(-4096, 4096)),
                 static_cast<std::int16_t>(random.integer(-4096, 4096))};
  };
  const Movement movement(from, to);
  Line line("movement");
  for (int i = 0; i < 4; ++i) {
    const std::array ends{point(), point()};
    const Segment fence(ends[0], ends[1], FenceDirection_e::both);
    line.add(movement.getIntersectValue(fence)).add(fence.isOnAlarmSide(to));
  }
}

void printGeometry() {
  Random random(1);
  for (const int range : {12, 500, 4096, 16000}) {
    polygons::Generator generator(static_cast<std::uint32_t>(range), range);
    for (int i = 0; i < 250; ++i) {
      const polygons::Points a = generator.any();
      const polygons::Points b = generator.anyWith(a);
      printPair(a, b);
      const Polygon first(toPoints(a));
      const Polygon second(toPoints(b));
      printShape(first, static_cast<float>(random.real(0.1, 1.9)));
      printMovement(random, first, second);
    }
  }
}

// ---- Control ----

void printBearings() {
  Random random(2);
  for (int i = 0; i < 500; ++i) {
    const double a = random.real(-800, 800);
    const double b = random.real(-360, 360);
    std::vector<double> list;
    for (int k = random.integer(1, 9); k > 0; --k) {
      list.push_back(random.real(-180, 180));
    }
    double first = 0;
    double second = 0;
    Bearing::bounds(list, first, second);
    Line("bearing")
        .add(Bearing::normalize(a))
        .add(Bearing::shortestDiff(a, b))
        .add(Bearing::clockwiseDiff(a, b))
        .add(Bearing::center(Bearing::normalize(a), Bearing::normalize(b)))
        .add(first)
        .add(second);
  }
}

using Gains = std::array<double, 3>;

Gains drawGains(Random& random) {
  return {random.real(0.1, 6), random.real(0, 2), random.real(0, 1)};
}

void printPid() {
  Random random(3);
  for (int run = 0; run < 50; ++run) {
    ManualClock clock;
    const Gains gains = drawGains(random);
    Pid pid(Pid::ControlType::PID, gains[0], gains[1], gains[2], 1.0, -100, 100, 2, 3);
    pid.activate();
    double error = random.real(-60, 60);
    for (int i = 0; i < 40; ++i) {
      pid.update(error);
      Line("pid").add(pid.output()).add(pid.getIntegral()).add(pid.isSettled());
      error = error * 0.9 - pid.output() * 0.05 + random.real(-1, 1);
      clock.sleep(random.integer(80'000, 130'000));
    }
  }
}

// A head that answers with a delay, tuned by the relay.
void printAutotune() {
  Random random(4);
  for (int run = 0; run < 20; ++run) {
    ManualClock clock;
    Pid pid(Pid::ControlType::PID, 1, 0, 0, 1, -100, 100, 2, 3);
    pid.autotuneStart(0, random.real(10, 60));
    std::array<double, 3> delayed{};
    const double gain = random.real(0.2, 2);
    double position = random.real(-3, 3);
    double output = 0;
    while (!pid.autotuneRun(position, output)) {
      position += delayed[0] * gain * 0.1 + random.real(-0.01, 0.01);
      delayed = {delayed[1], delayed[2], output};
      clock.sleep(CONTROL_STEP);
    }
    double kp = 0;
    double ki = 0;
    double kd = 0;
    pid.getAutotunePid(kp, ki, kd);
    Line("autotune")
        .add(pid.isAutotuned())
        .add(pid.getUltimateGain())
        .add(pid.getUltimatePeriod())
        .add(kp)
        .add(ki)
        .add(kd);
  }
}

device::HeadSetup headSetup() {
  device::HeadSetup setup;
  setup.pan = {.speed = 100, .acceleration = 400, .low = -180, .high = 180, .endless = true};
  setup.tilt = {.speed = 90, .acceleration = 300, .low = -90, .high = 20, .endless = false};
  setup.link.latency = 0.12;
  setup.zoomSpeed = 3000;
  setup.minFieldAngle = 2.3;
  setup.maxFieldAngle = 62.1;
  return setup;
}

// The regulator follows a target with the virtual device's head: an error in the last bit grows.
void printFollowing() {
  Random random(5);
  for (int run = 0; run < 10; ++run) {
    ManualClock clock;
    Regulator regulator;
    const Gains panGains = drawGains(random);
    const Gains tiltGains = drawGains(random);
    regulator.setPanPid(panGains[0], panGains[1], panGains[2]);
    regulator.setTiltPid(tiltGains[0], tiltGains[1], tiltGains[2]);
    device::Head head(headSetup());
    const ZoomScale scale;
    double pan = random.real(-170, 170);
    double tilt = random.real(-60, 0);
    for (int step = 0; step < 200; ++step) {
      pan = Bearing::normalize(pan + random.real(0, 1.5));
      tilt += random.real(-0.3, 0.3);
      if (step < 150) {
        regulator.updateTargetPosition(pan, tilt, 1 + step % 50 / 10.0);
      }
      const device::HeadStatus status = head.status();
      regulator.updateCurrentPosition(status.pan, status.tilt,
                                      scale.zoomTravoToMultiplier(status.zoom));
      double panSpeed = 0;
      double tiltSpeed = 0;
      double zoomSpeed = 0;
      regulator.getSpeeds(panSpeed, tiltSpeed, zoomSpeed);
      head.command({.pan = {device::MoveKind::continuous, panSpeed},
                    .tilt = {device::MoveKind::continuous, tiltSpeed},
                    .zoom = {device::MoveKind::continuous, zoomSpeed}});
      for (int i = 0; i < 10; ++i) {
        head.step(0.01);
      }
      Line("follow")
          .add(panSpeed)
          .add(tiltSpeed)
          .add(zoomSpeed)
          .add(status.pan)
          .add(status.tilt)
          .add(status.zoom);
      clock.sleep(CONTROL_STEP);
    }
  }
}

void printZoom() {
  Random random(6);
  for (int i = 0; i < 500; ++i) {
    ZoomScale scale;
    scale.minFieldAngle = random.real(1, 5);
    scale.maxFieldAngle = random.real(40, 80);
    scale.zoomCorrection = random.real(0.5, 1.5);
    Line("zoom")
        .add(scale.zoomTravoToMultiplier(random.integer(1, 9999)))
        .add(scale.zoomMultiplierToTravo(random.real(1, 30)));
  }
}

void printGroups() {
  Random random(7);
  ManualClock clock;
  for (int i = 0; i < 200; ++i) {
    SuperObject group;
    for (int k = random.integer(1, 6); k > 0; --k) {
      group.add(std::make_unique<SingleObject>(
          SingleObject::Observation{.channel = 0,
                                    .id = k,
                                    .priority = 1,
                                    .pan = random.real(-180, 180),
                                    .tilt = random.real(-90, 20),
                                    .width = random.real(0, 20),
                                    .height = random.real(0, 20),
                                    .timestamp = clock.now(),
                                    .velocity = {random.real(-9, 9), random.real(-9, 9)}}));
    }
    Line("group")
        .add(group.getPan())
        .add(group.getTilt())
        .add(group.getWidth())
        .add(group.getHeight())
        .add(group.getLeft())
        .add(group.getRight())
        .add(group.sizeValid(WidestView{}));
  }
}

// ---- Picture ----

void printPtzMath() {
  Random random(8);
  FakeParameterStore store;
  for (int camera = 0; camera < 40; ++camera) {
    store.values = {{"root.PTZ.RemoteCenter.C1.Pan", std::to_string(random.real(-180, 180))},
                    {"root.PTZ.RemoteCenter.C1.Tilt", std::to_string(random.real(-80, 10))},
                    {"root.PTZ.RemoteCenter.C1.Roll", std::to_string(random.real(-10, 10))}};
    const PtzmathPtr context(ptzmath_context_create());
    ptzmath_set_pic_dim(context.get(), 1920, 1080);
    ptzmath_set_horiz_fov_x(context.get(), random.integer(20 << 16, 110 << 16));
    ptzmath_set_vert_fov_x(context.get(), random.integer(15 << 16, 70 << 16));
    ptzmath_get_remote_center(context.get(), 1);
    for (int i = 0; i < 50; ++i) {
      const int x = random.integer(0, 1919);
      const int y = random.integer(0, 1079);
      std::int32_t pan = 0;
      std::int32_t tilt = 0;
      ptzmath_to_ptz_x(context.get(), &pan, &tilt, x, y);
      Line("ptzmath").add(pan).add(tilt).add(
          ptzmath_to_remote_zoom(context.get(), x, y, random.integer(1, 500)));
    }
  }
}

void printPerspective() {
  Random random(9);
  for (int i = 0; i < 100; ++i) {
    std::vector<PerspectiveBar> bars;
    for (int k = random.integer(2, 4); k > 0; --k) {
      const int foot = random.integer(-4096, 0);
      const int length = random.integer(100, 4000);
      bars.emplace_back(foot, foot + length, random.integer(50, 300));
    }
    const Perspective perspective(bars);
    Line line("perspective");
    for (int k = 0; k < 10; ++k) {
      const int foot = random.integer(-4096, 4096);
      line.add(perspective.calculateRealWorldSize(foot, random.integer(0, 8192)));
    }
  }
}

// ---- Frames ----

std::vector<std::uint8_t> encodeFrame(Random& random) {
  SceneEncoder encoder;
  const std::array<std::int64_t, 1> time{START + random.integer(0, 1'000'000)};
  encoder.addSceneProperty(SCENE_PROP_TIMESTAMP, time);
  for (int id = random.integer(0, 12); id > 0; --id) {
    encoder.beginObject(id * random.integer(1, 1'000'000));
    std::vector<std::int32_t> outline;
    for (int k = random.integer(3, 30); k > 0; --k) {
      outline.push_back(random.integer(-4096, 4096));
      outline.push_back(random.integer(-4096, 4096));
    }
    encoder.addObjectProperty(SCENE_OBJ_PROP_POLYGON, outline);
    const std::array<std::int32_t, 2> velocity{random.integer(-9000, 9000),
                                               random.integer(-9000, 9000)};
    encoder.addObjectProperty(SCENE_OBJ_PROP_VELOCITY, velocity);
  }
  const std::array<std::int32_t, 2> gone{random.integer(1, 99), random.integer(-99, -1)};
  encoder.addEvent(SCENE_EVENT_DELETE, gone, {});
  return encoder.bytes();
}

void printFrames() {
  Random random(10);
  for (int i = 0; i < 100; ++i) {
    const std::vector<std::uint8_t> bytes = encodeFrame(random);
    Line line("frame");
    for (const std::uint8_t byte : bytes) {
      line.add(byte);
    }
    const ScenePtr decoded(scene_copy_from_area(bytes.data(), bytes.size()));
    const scene_object* object = nullptr;
    while ((object = scene_next_object(decoded.get(), object)) != nullptr) {
      const std::int32_t* values = nullptr;
      const int count = scene_get_obj_prop(object, SCENE_OBJ_PROP_POLYGON, &values);
      line.add(scene_get_object_id(object)).add(count);
      for (int k = 0; k < count; ++k) {
        line.add(values[k]);
      }
    }
  }
}

}  // namespace

int main() {
  printGeometry();
  printBearings();
  printPid();
  printAutotune();
  printFollowing();
  printZoom();
  printGroups();
  printPtzMath();
  printPerspective();
  printFrames();
  return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
