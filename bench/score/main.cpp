#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>

#include "config/persistent.h"
#include "score/simulation.h"
#include "score/watched_person.h"

int main(int, char** argv) {
  const std::string models = argv[1];
  const std::string name = argv[2];
  const std::string tracks = argv[3];
  const double mx = std::atof(argv[4]), my = std::atof(argv[5]), hx = std::atof(argv[6]), hy = std::atof(argv[7]);
  const std::string localdata = argv[8];
  const int count = std::atoi(argv[9]);
  device::Model model = device::loadModel(models, name);
  std::ifstream(models + "/configurations/" + name + ".json");
  std::ifstream in(models + "/configurations/" + name + ".json");
  const std::string configuration(std::istreambuf_iterator<char>(in), {});
  std::ofstream(localdata + "/sentrelvideo.json") << R"({"sentrel_enabled":true,"return_to_home_enabled":true})";
  model.parameters["root.SentrelVideo.Following"] = "specified";
  score::SimulationSetup setup{.model = model, .world = {.tracks = tracks, .asRecorded = true, .seed = 1, .place = device::RecordingPlace{{mx, my}, {hx, hy}}}, .localdata = localdata, .start = 0, .bootSeconds = model.headBootSeconds, .hasPictures = false};
  {
    score::Simulation tuning(setup);
    tuning.runUntil(300, [&] { return tuning.device().state() == "running"; });
    std::printf("tuned after %g\n", tuning.now());
    for (const auto& s : tuning.device().states()) std::printf("%s\n", s.c_str());
    for (const auto& s : tuning.device().lines()) std::printf("%s\n", s.c_str());
    std::string n; Persistent::getCameraName(n); double a,b,c; Persistent::getCameraPanPid(a,b,c);
    std::printf("name %s pid %g %g %g\n", n.c_str(), a, b, c);
    if (n.empty()) Persistent::setCameraName(model.headParameters["Brand.ProdNbr"]);
  }
  setup.hasPictures = true; setup.bootSeconds = 0;
  const device::TrackSet set = device::TrackSet::read(tracks);
  int done = 0;
  for (const auto& track : set.getTracks()) {
    const double from = track.start() - set.start(), to = track.end() - set.start();
    if (to - from < 8) continue;
    if (done++ >= count) break;
    setup.start = from - 3;
    score::Simulation simulation(setup);
    const score::WatchedPerson watched(simulation, configuration, track.getId());
    double sum = 0; int n = 0;
    simulation.onSample = [&](double time) {
      if (time < from + 2) return;
      const auto head = simulation.device().head().status();
      for (const auto& p : simulation.world().people(time)) if (p.id == track.getId()) {
        const double e = device::angleBetween(p.centre, {head.pan, head.tilt});
        sum += e * e; ++n;
        if (getenv("TRACE")) std::printf("%.2f head %.2f %.2f w %.1f person %.2f %.2f\n", time, head.pan, head.tilt, head.pictureWidth, p.centre.pan, p.centre.tilt);
      }
    };
    simulation.runUntil(to);
    std::printf("%d %s %.1f s rms %.2f\n", track.getId(), simulation.device().state().c_str(), to - from, std::sqrt(sum / n));
    for (const auto& s : simulation.device().lines()) std::printf("  %s\n", s.c_str());
  }
}
