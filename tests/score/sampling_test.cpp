#include "score/sampling.h"

#include <gtest/gtest.h>

#include <fstream>

#include "model/installation.h"
#include "support/temporary_folder.h"
#include "tracker/tracker.h"

namespace score {
namespace {

SimulationSetup setupIn(const TemporaryFolder& folder) {
  std::ofstream(folder.path("sentrelvideo.json")) << R"({"sentrel_enabled":true})";
  SimulationSetup setup{.model = device::loadModel(
                            std::filesystem::path(SOURCE_FOLDER) / "device" / "models", "ideal"),
                        .world = {},
                        .localdata = folder.get()};
  device::tellInstallation(setup.model, "specified", 1);
  return setup;
}

bool nobody(const device::PersonView&) {
  return false;
}

TEST(SamplingTest, NothingIsTakenBeforeTheTrackerRuns) {
  const TemporaryFolder folder{TemporaryFolder::memory()};
  Simulation simulation(setupIn(folder));
  EXPECT_TRUE(record(simulation, 0, 1, nobody).empty());
  EXPECT_NE("running", simulation.device().state());
}

TEST(SamplingTest, ATrackerThatRunsNoLongerLeavesNothingOut) {
  const TemporaryFolder folder{TemporaryFolder::memory()};
  Simulation simulation(setupIn(folder));
  simulation.runUntil(60, [&] { return simulation.device().state() == "running"; });
  const double start = simulation.now();
  Tracker* const tracker = &Tracker::getInstance();  // whose references are counted
  Tracker::releaseInstance();
  simulation.onFrame = [&](int, double time) {
    if (time > start + 2) {
      tracker->enableSentrel(false);
    }
  };
  const auto samples = record(simulation, start, start + 4, nobody);
  EXPECT_EQ("stopped", simulation.device().state());
  ASSERT_FALSE(samples.empty());
  EXPECT_NEAR(start + 4, samples.back().time, 0.03);
  EXPECT_NEAR(200, static_cast<double>(samples.size()), 2);  // 50 a second
}

}  // namespace
}  // namespace score
