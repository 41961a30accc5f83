#include "score/job.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "config/persistent.h"
#include "model/installation.h"
#include "report/samples_csv.h"
#include "score/baselines.h"
#include "score/configured_areas.h"
#include "score/sampling.h"
#include "score/scorer.h"
#include "score/simulation.h"
#include "score/watched_person.h"
#include "tests/support/temporary_folder.h"

namespace score {

namespace {

namespace fs = std::filesystem;

constexpr double SHORTEST_STAY = 8;      // seconds, of somebody who is scored
constexpr double LEAD = 3;               // seconds before somebody appears
constexpr double TUNING_PATIENCE = 600;  // seconds
constexpr double PLAN_STEP = 0.5;        // seconds, at which the best fixed pose is sought
constexpr const char* FIRST_SETTINGS = R"({"sentrel_enabled":true,"return_to_home_enabled":true})";

// A folder of its own for the daemon's files.
class LocalData {
 public:
  LocalData() { writeText(folder / "sentrelvideo.json", FIRST_SETTINGS); }

  TemporaryFolder folder{TemporaryFolder::memory()};
};

std::string readFile(const fs::path& file) {
  std::ifstream in(file);
  if (!in) {
    throw std::runtime_error(file.string() + ": cannot be opened");
  }
  return {std::istreambuf_iterator<char>(in), {}};
}

// Without a file of the model's own, what the daemon itself makes of it. There has to be a daemon.
std::string configurationOf(const JobOptions& options) {
  const fs::path file = options.models / "configurations" / (options.model + ".json");
  return fs::exists(file) ? readFile(file) : Daemon::defaultConfiguration();
}

// At home the head looks at the place's point on the ground.
void lookAtHome(device::Model& model, const device::RecordingPlace& place) {
  const double distance = std::hypot(place.home.x - place.mast.x, place.home.y - place.mast.y);
  const double tilt = -device::toDegrees(std::atan2(model.world.mastHeight, distance));
  model.head.home.tilt = std::clamp(tilt, model.head.tilt.low, model.head.tilt.high);
}

device::Model modelOf(const JobOptions& options) {
  device::Model model = device::loadModel(options.models, options.model);
  if (model.isMechanical()) {
    throw std::runtime_error(options.model + ": a head that moves its own picture is not scored");
  }
  device::tellInstallation(model, options.following, options.seed);
  if (options.tracks) {
    lookAtHome(model, options.place);
  }
  return model;
}

device::WorldOptions worldOf(const JobOptions& options) {
  device::WorldOptions world{.tracks = options.tracks,
                             .asRecorded = options.tracks.has_value(),
                             .seed = options.seed,
                             .scene = options.scene};
  if (options.tracks) {
    world.place = options.place;
  }
  return world;
}

// With nobody in sight. A head that cannot be tuned goes on as it does then, and is not tuned again
// before each run.
device::TuningFigures tune(SimulationSetup setup) {
  setup.hasPictures = false;
  Simulation simulation(setup);
  simulation.runUntil(TUNING_PATIENCE,
                      [&simulation] { return simulation.device().state() == "running"; });
  if (simulation.device().state() != "running") {
    throw std::runtime_error(setup.model.name + ": the tracker does not come to run");
  }
  std::string tunedFor;
  Persistent::getCameraName(tunedFor);
  if (tunedFor.empty()) {
    Persistent::setCameraName(setup.model.headParameters.at("Brand.ProdNbr"));
  }
  return simulation.device().tuning();
}

Scored scoredOf(const std::vector<device::ScoreSample>& samples, const device::Model& model,
                const device::HeadPose& fixedPose) {
  const device::ScoreSetup setup = device::scoreSetupOf(model);
  const device::HeadPose home = device::homePose(model.head);
  return {.person = std::nullopt,
          .followed = device::scoreOf(samples, setup),
          .home = device::scoreWith(samples, {&home, 1}, setup),
          .fixed = device::scoreWith(samples, {&fixedPose, 1}, setup),
          .bound = device::scoreWith(samples, device::clairvoyantPoses(samples, setup, model.head),
                                     setup)};
}

// ---- A recording, one by one ----

std::vector<device::Track> tracksOf(const JobOptions& options, const device::TrackSet& recording) {
  std::vector<device::Track> tracks = scoredTracks(recording);
  std::erase_if(tracks, [&](const device::Track& track) {
    return options.seconds && track.end() - recording.start() > *options.seconds;
  });
  return tracks;
}

// The best for all of them, as a head that does not move cannot be put up anew for each.
device::HeadPose fixedPoseFor(const std::vector<device::Track>& tracks,
                              const SimulationSetup& setup, double end) {
  const device::World world(setup.model.world, setup.world);
  const Counts counts = [&tracks](const device::PersonView& view) {
    return view.inside && std::ranges::any_of(tracks, [&view](const device::Track& track) {
             return track.getId() == view.id;
           });
  };
  std::vector<device::ScoreSample> samples;
  for (int i = 0; i * PLAN_STEP < end; ++i) {
    samples.push_back({.time = i * PLAN_STEP,
                       .head = device::homePose(setup.model.head),
                       .people = scoredPeople(world, i * PLAN_STEP, counts)});
    std::erase_if(samples.back().people, [](const auto& person) { return !person.counts; });
  }
  return device::bestFixedPose(samples, device::scoreSetupOf(setup.model), setup.model.head);
}

Scored scorePerson(const JobOptions& options, SimulationSetup setup,
                   const device::HeadPose& fixedPose, int person, double from, double to) {
  setup.start = from - LEAD;
  if (options.isAlone) {
    setup.world.sureOf = person;
  }
  Simulation simulation(setup);
  std::optional<WatchedPerson> watched;
  if (options.isAlone) {
    simulation.daemon().configure(configurationOf(options));
  } else {
    watched.emplace(simulation, configurationOf(options), person);
  }
  const auto counts = [person](const device::PersonView& view) {
    return view.id == person && view.inside;
  };
  const auto samples = record(simulation, from, to, counts);
  Scored scored = scoredOf(samples, setup.model, fixedPose);
  scored.person = person;
  return scored;
}

std::vector<Scored> scoreOneByOne(const JobOptions& options, const SimulationSetup& setup) {
  const device::TrackSet recording = device::TrackSet::read(*options.tracks);
  const std::vector<device::Track> tracks = tracksOf(options, recording);
  const double start = recording.start();
  const device::HeadPose fixedPose = fixedPoseFor(tracks, setup, recording.end() - start);
  std::vector<Scored> runs;
  for (std::size_t i = static_cast<std::size_t>(options.share); i < tracks.size();
       i += static_cast<std::size_t>(options.shares)) {
    runs.push_back(scorePerson(options, setup, fixedPose, tracks[i].getId(),
                               tracks[i].start() - start, tracks[i].end() - start));
  }
  return runs;
}

// ---- Everybody ----

void store(const fs::path& file, const std::vector<device::ScoreSample>& samples,
           const device::Model& model) {
  std::ofstream out(file);
  device::writeSamples(out, samples,
                       device::clairvoyantPoses(samples, device::scoreSetupOf(model), model.head));
  out.flush();
  if (!out) {
    throw std::runtime_error(file.string() + ": cannot be written");
  }
}

double lengthOf(const JobOptions& options) {
  if (!options.tracks) {
    return options.seconds.value_or(JobOptions::SCENE_SECONDS);
  }
  const device::TrackSet recording = device::TrackSet::read(*options.tracks);
  const double length = recording.end() - recording.start();
  return std::min(options.seconds.value_or(length), length);
}

Scored scoreWhole(const JobOptions& options, SimulationSetup setup, device::TuningFigures& tuning) {
  if (!options.isFromStart) {
    setup.start = -LEAD;
  }
  Simulation simulation(setup);
  const std::string configuration = configurationOf(options);
  simulation.daemon().configure(configuration);
  const device::ConfiguredAreas areas(configuration, device::camerasOf(simulation.world()));
  const auto counts = [&areas](const device::PersonView& view) {
    return areas.contains(view.position);
  };
  const auto samples = record(simulation, 0, lengthOf(options), counts);
  tuning = options.isFromStart ? simulation.device().tuning() : tuning;
  if (options.samples) {
    store(*options.samples, samples, setup.model);
  }
  return scoredOf(
      samples, setup.model,
      device::bestFixedPose(samples, device::scoreSetupOf(setup.model), setup.model.head));
}

}  // namespace

std::vector<device::Track> scoredTracks(const device::TrackSet& recording) {
  std::vector<device::Track> tracks;
  std::ranges::copy_if(recording.getTracks(), std::back_inserter(tracks), [](const auto& track) {
    return track.end() - track.start() >= SHORTEST_STAY;
  });
  return tracks;
}

JobResult runJob(const JobOptions& options) {
  const LocalData localdata;
  SimulationSetup setup{.model = modelOf(options),
                        .world = worldOf(options),
                        .localdata = localdata.folder.get(),
                        .bootSeconds = 0};
  setup.bootSeconds = setup.model.headBootSeconds;
  JobResult result;
  if (options.isFromStart) {
    result.runs.push_back(scoreWhole(options, setup, result.tuning));
    return result;
  }
  result.tuning = tune(setup);
  setup.bootSeconds = 0;
  if (options.tracks && !options.isWhole) {
    result.runs = scoreOneByOne(options, setup);
  } else {
    result.runs.push_back(scoreWhole(options, setup, result.tuning));
  }
  return result;
}

}  // namespace score
