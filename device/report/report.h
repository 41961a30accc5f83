#ifndef DEVICE_REPORT_REPORT_H
#define DEVICE_REPORT_REPORT_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "head/head.h"
#include "report/session.h"
#include "score/score_sample.h"
#include "score/scorer.h"
#include "score/tuning.h"

namespace device {

// What a run was, copied into the report.
struct RunInfo {
  std::string model;
  std::string tracks;  // file, or "generated"
  std::string scene{};
  std::string transport;
  std::uint64_t seed = 0;
};

// What is scored and with what it is compared.
struct ReportSetup {
  ScoreSetup score;
  HeadSetup head;
  bool keepsSamples =
      true;  // for report, samples and plots; without, only the running score is kept
  // Where the tracker is not heard: scored is what comes from this moment on, seconds.
  std::optional<double> scoredFrom{};
};

// Collects what happens in a run and writes it down. Times are seconds since the device's start and
// never decrease. Not thread-safe: its owner serialises the calls.
class Report {
 public:
  Report(RunInfo info, const ReportSetup& setup);

  // One scene frame was handed out, of any channel.
  void frameSent() { ++frames; }

  // Several alarms may be on at once; an end belongs to the oldest that is still on, and is ignored
  // when none is.
  void alarmStarted(double time);
  void alarmEnded(double time);

  // A tracker state: "stopped", "connecting", "autotuning" or "running". Repetitions are ignored.
  void trackerState(double time, std::string_view state);

  // The tracker's word on whether it steers the head. Repetitions are ignored.
  void sentreling(double time, bool active);

  // A line that the application logged.
  void logLine(const std::string& text) { tuningWatch.logLine(text); }

  // The truth, evenly spaced. What lies before the tracker's first "running" is not scored, unless
  // the setup names another moment.
  void sample(const ScoreSample& sample);

  RunningScore runningScore() const { return scorer.runningScore(); }
  TuningFigures tuning() const { return tuningWatch.figures(lastTime); }

  // Only for tests.
  const Session& getSession() const { return session; }

  // The score of the samples that are scored.
  ScoreFigures score() const { return scorer.figures(); }

  // report.json (docs/report.schema.json).
  std::string toJson() const;

  // Writes report.json, samples.csv, then plot.svg and plot.png by gnuplot, into a folder that is
  // made when it is missing. Throws std::runtime_error when one of the first two cannot be written.
  // Plots that cannot be made give a message for the user; empty when all went well.
  std::string write(const std::filesystem::path& folder) const;

 private:
  struct Judgement;

  std::optional<double> firstRunning() const;
  bool isScored(double time) const;
  std::span<const ScoreSample> scoredSamples() const;
  Judgement judge() const;
  std::string toJson(const Judgement& judgement) const;
  void note(const ScoreSample& sample);

  RunInfo info;
  ReportSetup setup;
  std::int64_t frames = 0;
  double lastTime = 0;
  Session session;
  TuningWatch tuningWatch;
  Scorer scorer;
  std::vector<ScoreSample> samples;
};

}  // namespace device

#endif
