// Recorded people, where the recordings are there.
#ifndef TESTS_FOLLOWING_RECORDINGS_H
#define TESTS_FOLLOWING_RECORDINGS_H

#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>

#include "following/trial.h"
#include "support/source_folder.h"

namespace simulation {

inline std::vector<Walker> readWalkers(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::map<std::int64_t, Walker> walkers;
  std::string line;
  std::getline(file, line);
  while (std::getline(file, line)) {
    std::ranges::replace(line, ',', ' ');
    std::istringstream fields(line);
    double time = 0.0;
    std::int64_t id = 0;
    double x = 0.0;
    double y = 0.0;
    if (fields >> time >> id >> x >> y) {
      walkers[id].id = id;
      walkers[id].points.push_back({time, x, y});
    }
  }
  std::vector<Walker> list;
  for (auto& [id, walker] : walkers) {
    list.push_back(std::move(walker));
  }
  return list;
}

// By its name; none when it is not there. Further away: metres, back from home.
inline std::optional<Scene> recordedScene(const std::string& name, double further = 0.0) {
  Scene scene;
  scene.walkers = readWalkers(recordingsFolder() / (name + ".csv"));
  if (scene.walkers.empty()) {
    return std::nullopt;
  }
  if (name == "eth") {
    scene.mastX = scene.homeX = 4.0;
    scene.mastY = 1.0;
    scene.homeY = 6.0;
  } else {
    scene.mastX = scene.homeX = 7.5;
    scene.mastY = 0.8;
    scene.homeY = 5.0;
  }
  scene.mastY -= further;
  return scene;
}

}  // namespace simulation

#endif
