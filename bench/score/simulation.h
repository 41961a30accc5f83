#ifndef SCORE_SIMULATION_H
#define SCORE_SIMULATION_H

#include <cstdint>
#include <filesystem>
#include <functional>

#include "model/model.h"
#include "score/daemon.h"
#include "score/device_in_memory.h"
#include "score/virtual_clock.h"
#include "world/world.h"

namespace score {

struct SimulationSetup {
  device::Model model;
  device::WorldOptions world;
  std::filesystem::path localdata;  // of the daemon
  double start = 0;                 // seconds of the world; nobody is there before 0
  double bootSeconds = 0;           // until the head answers
  bool hasPictures = true;          // without, the daemon sees nothing
};

// The daemon and its world in one process, step by step. One at a time.
class Simulation {
 public:
  static constexpr double STEP = 0.005;         // seconds
  static constexpr int STEPS_PER_SAMPLE = 4;    // of onSample
  static constexpr int STEPS_PER_PICTURE = 20;  // of each overview camera

  // Called with the seconds of the world.
  using OnSample = std::function<void(double time)>;
  // Before a frame is handed to the daemon; channels count from 0.
  using OnFrame = std::function<void(int channel, double pictureTime)>;

  explicit Simulation(const SimulationSetup& setup);

  double now() const;  // seconds of the world

  // Goes on to a time, or until it is told to stop.
  void runUntil(double end, const std::function<bool()>& isEnough = {});

  device::World& world() { return people; }
  DeviceInMemory& device() { return camera; }
  Daemon& daemon() { return application; }

  OnSample onSample;
  OnFrame onFrame;

 private:
  std::int64_t clockAt(double time) const;
  void step();
  void takePictures(double time);
  void handOut(double time);

  const SimulationSetup setup;
  VirtualClock clock;
  device::World people;
  DeviceInMemory camera;
  Daemon application;
  std::int64_t steps = 0;
};

}  // namespace score

#endif
