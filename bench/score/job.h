#ifndef SCORE_JOB_H
#define SCORE_JOB_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "model/model.h"
#include "score/score_figures.h"
#include "score/tuning.h"
#include "world/world.h"

namespace score {

// One head with one seed: tuned once, then scored.
struct JobOptions {
  std::filesystem::path models;  // folder, with the configurations in its folder of that name
  std::string model;             // a name of it
  std::string following = "specified";
  std::uint64_t seed = 1;
  std::optional<double> seconds;  // of the world; all of a recording, or SCENE_SECONDS, without

  // Either a scene, empty for the model's own, or a recording in its place.
  std::string scene;
  std::optional<std::filesystem::path> tracks;
  device::RecordingPlace place;

  // Of a recording: one by one, or all who are there. One by one, those are taken whose number of
  // all leaves this rest. The one has either an area of his own, in which others come to be seen,
  // too, or the model's areas for himself.
  bool isWhole = false;
  bool isAlone = false;  // one by one, the others may not be followed
  int shares = 1;
  int share = 0;  // below shares

  // Scored from the device's start on, with its boot and its tuning in front of everybody, as the
  // virtual device does in real time. Of whole runs.
  bool isFromStart = false;

  // Where to write the samples. Of whole runs.
  std::optional<std::filesystem::path> samples;

  static constexpr double SCENE_SECONDS = 300;
};

// What a head earned, and what others would have with the same people.
struct Scored {
  std::optional<int> person;  // of a recording, one by one
  device::ScoreFigures followed;
  device::ScoreFigures home;
  device::ScoreFigures fixed;
  device::ScoreFigures bound;
};

struct JobResult {
  device::TuningFigures tuning;
  std::vector<Scored> runs;
};

// Throws std::runtime_error for what cannot be run.
JobResult runJob(const JobOptions& options);

// Those of a recording who are there for 8 s or more, by their appearance.
std::vector<device::Track> scoredTracks(const device::TrackSet& recording);

}  // namespace score

#endif
