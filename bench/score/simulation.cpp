#include "score/simulation.h"
#include "base/units.h"

#include "memory/fibres.h"
#include "scene/scene_properties.h"
#include "services/frame_encoding.h"

namespace score {

namespace {

constexpr std::int64_t BEGINNING = 1'000'000'000;  // microseconds, of the clock at the start
constexpr int FRAME_MASK = SCENE_POLYGON | SCENE_VELOCITY | SCENE_CONFIDENCE;

}  // namespace

Simulation::Simulation(const SimulationSetup& setup)
    : setup(setup),
      people(setup.model.world, setup.world),
      camera((memory::Fibres::get().reset(BEGINNING), setup.model), people, setup.world.seed,
             setup.bootSeconds),
      application(setup.localdata) {}

double Simulation::now() const {
  return setup.start + static_cast<double>(steps) * STEP;
}

std::int64_t Simulation::clockAt(double time) const {
  return BEGINNING + units::roundedFromSeconds(time - setup.start);
}

void Simulation::runUntil(double end, const std::function<bool()>& isEnough) {
  while (now() < end - STEP / 2 && !(isEnough && isEnough())) {
    step();
  }
}

void Simulation::step() {
  ++steps;
  const double time = now();
  memory::Fibres::get().advanceTo(clockAt(time));
  if (setup.hasPictures && time >= 0 && steps % STEPS_PER_PICTURE == 0) {
    takePictures(time);
  }
  handOut(time);
  if (onSample && steps % STEPS_PER_SAMPLE == 0) {
    onSample(time);
  }
}

void Simulation::takePictures(double time) {
  people.followHead(camera.head().status());
  for (int channel = 0; channel < people.channelCount(); ++channel) {
    people.sendFrame(channel, time, clockAt(time));
  }
}

void Simulation::handOut(double time) {
  for (int channel = 0; channel < people.channelCount(); ++channel) {
    for (const device::Frame& frame : people.receivedFrames(channel, time)) {
      if (onFrame) {
        onFrame(channel, setup.start + units::toSeconds(frame.timestamp - BEGINNING));
      }
      application.receive(channel + 1, device::encodeFrame(frame, FRAME_MASK));
    }
  }
}

}  // namespace score
