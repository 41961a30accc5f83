#ifndef DEVICE_APP_TRUTH_SAMPLER_H
#define DEVICE_APP_TRUTH_SAMPLER_H

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "head/head_status.h"
#include "report/report.h"
#include "score/configured_areas.h"
#include "world/world.h"

namespace device {

// Takes samples of the truth for the report. Who counts is told by the application's configuration,
// which is asked for once the application speaks and after each change. Samples that come before
// the first answer wait for it.
class TruthSampler {
 public:
  // answer: null when the application did not answer.
  using Answered = std::function<void(const std::string* answer)>;

  // Asks for the configuration; answers later, once, as long as the sampler lives.
  using Ask = std::function<void(Answered answered)>;

  // Without an answer so many samples wait; what is older is told with nobody who counts.
  static constexpr std::size_t MOST_WAITING = 1200;

  // World and report outlive the sampler. The world's head has not moved yet.
  TruthSampler(const World& world, Report& report, Ask ask);
  TruthSampler(const TruthSampler&) = delete;
  TruthSampler& operator=(const TruthSampler&) = delete;

  // The head at a moment, seconds since the device's start.
  void sample(double time, const HeadStatus& head);

  // The application is there: it is asked unless it has answered or has still to answer.
  void applicationSpoke();

  // What the application answered before may no longer hold.
  void configurationChanged();

  // All that waits is told. No more samples come.
  void finish();

 private:
  struct Waiting {
    ScoreSample sample;
    std::vector<PersonView> people;
  };

  void askAgain();
  bool take(const std::string& answer);
  void tell(Waiting waiting);

  const World& world;
  Report& report;
  Ask ask;
  std::vector<OverviewCamera> cameras;
  std::optional<ConfiguredAreas> areas;
  bool isAsked = false;    // and has not answered
  bool isOutdated = true;  // the answer, if there was one
  std::deque<Waiting> waiting;
};

}  // namespace device

#endif
