#include "score/scorer.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

#include "score/acquisitions.h"
#include "score/followed_one.h"
#include "score/head_view.h"
#include "score/motion.h"

namespace device {
namespace {

constexpr double LATE = 2;  // seconds of a stay
constexpr double ROUNDING = 1e-9;
constexpr std::array<double, 3> DENSITIES{DETECT, RECOGNISE, IDENTIFY};

// An error with the seconds for which it stood.
struct WeightedError {
  double value = 0;
  double seconds = 0;
};

// The least value that is not exceeded for a share of the time.
double quantileOverTime(const std::vector<WeightedError>& sorted, double total, double share) {
  double passed = 0;
  for (const WeightedError& error : sorted) {
    passed += error.seconds;
    if (passed >= share * total - ROUNDING) {
      return error.value;
    }
  }
  return sorted.back().value;
}

std::optional<ErrorFigures> errorFiguresOf(std::vector<WeightedError> errors) {
  double total = 0;
  double squares = 0;
  for (const WeightedError& error : errors) {
    total += error.seconds;
    squares += error.value * error.value * error.seconds;
  }
  if (total <= 0) {
    return std::nullopt;
  }
  std::ranges::sort(errors, {}, &WeightedError::value);
  return ErrorFigures{.median = quantileOverTime(errors, total, 0.5),
                      .rms = std::sqrt(squares / total),
                      .p95 = quantileOverTime(errors, total, 0.95)};
}

std::optional<double> shareOf(double part, double whole) {
  return whole > 0 ? std::optional(part / whole) : std::nullopt;
}

// What a picture shows of somebody, or of the best shown of several.
struct Shown {
  std::array<bool, 3> dense{};  // wholly in the picture at DENSITIES
  bool at20 = false;
  bool at40 = false;
  bool middle = false;

  static Shown of(const PersonInView& view) {
    Shown shown{.at20 = view.heightShare >= 0.2,
                .at40 = view.heightShare >= 0.4,
                .middle = view.middleInPicture};
    for (std::size_t i = 0; i < DENSITIES.size(); ++i) {
      shown.dense[i] = view.wholeInPicture && view.density >= DENSITIES[i];
    }
    return shown;
  }

  void add(const Shown& other) {
    for (std::size_t i = 0; i < dense.size(); ++i) {
      dense[i] = dense[i] || other.dense[i];
    }
    at20 = at20 || other.at20;
    at40 = at40 || other.at40;
    middle = middle || other.middle;
  }
};

// For how long something was shown, seconds.
struct ShownTime {
  double total = 0;
  std::array<double, 3> dense{};
  double at20 = 0;
  double at40 = 0;
  double middle = 0;

  void add(const Shown& shown, double seconds) {
    total += seconds;
    for (std::size_t i = 0; i < dense.size(); ++i) {
      dense[i] += shown.dense[i] ? seconds : 0;
    }
    at20 += shown.at20 ? seconds : 0;
    at40 += shown.at40 ? seconds : 0;
    middle += shown.middle ? seconds : 0;
  }
};

// A moment of following somebody.
struct FollowedMoment {
  int person = 0;
  double seconds = 0;
  double error = 0;         // degrees
  double errorInWidth = 0;  // share of the picture's width
  bool isLate = false;      // 2 s or more after the person's entering
};

}  // namespace

class Scorer::Run {
 public:
  Run(const ScoreSetup& setup, bool keepsMoments) : setup(setup), keepsMoments(keepsMoments) {}

  void add(const ScoreSample& sample);
  std::optional<int> followed() const { return followedOne.id(); }
  ScoreFigures figures() const;
  RunningScore runningScore() const;

 private:
  std::vector<Candidate> candidatesOf(const ScoreSample& sample) const;
  void addShown(std::span<const Candidate> candidates, double duration);
  void addFollowed(const ScoreSample& sample, std::span<const Candidate> candidates,
                   double duration);
  void addMotion(const ScoreSample& sample);
  std::optional<ErrorFigures> errorOf(double FollowedMoment::*value) const;
  std::vector<PersonFigures> peopleFigures() const;
  void addFollowedFigures(PersonFigures& figures, const std::vector<FollowedMoment>& own) const;

  ScoreSetup setup;
  bool keepsMoments;
  std::optional<double> lastTime;
  double seconds = 0;
  ShownTime best;                  // of the best shown, while somebody counts
  ShownTime everybody;             // person-time
  std::map<int, ShownTime> shown;  // by person
  Acquisitions acquisitions;
  FollowedOne followedOne;
  std::vector<FollowedMoment> moments;
  double followedSeconds = 0;
  double errorSquares = 0;  // square degrees times seconds
  Motion motion;
  MotionSum motionSum;
  std::map<int, MotionSum> motionWith;  // while the person was followed
};

void Scorer::Run::add(const ScoreSample& sample) {
  const double duration = lastTime ? sample.time - *lastTime : 0;
  if (lastTime && duration <= 0) {
    return;
  }
  lastTime = sample.time;
  seconds += duration;
  const std::vector<Candidate> candidates = candidatesOf(sample);
  addShown(candidates, duration);
  acquisitions.follow(sample.time, duration, candidates);
  followedOne.follow(sample.time, sample.head.field, candidates);
  addFollowed(sample, candidates, duration);
  addMotion(sample);
}

std::vector<Candidate> Scorer::Run::candidatesOf(const ScoreSample& sample) const {
  const HeadView view(sample.head, setup);
  std::vector<Candidate> candidates;
  for (const ScoredPerson& person : sample.people) {
    if (person.counts) {
      candidates.push_back({person.id, view.viewOf(person)});
    }
  }
  return candidates;
}

void Scorer::Run::addShown(std::span<const Candidate> candidates, double duration) {
  Shown bestShown;
  for (const Candidate& candidate : candidates) {
    const Shown own = Shown::of(candidate.view);
    everybody.add(own, duration);
    shown[candidate.id].add(own, duration);
    bestShown.add(own);
  }
  if (!candidates.empty()) {
    best.add(bestShown, duration);
  }
}

void Scorer::Run::addFollowed(const ScoreSample& sample, std::span<const Candidate> candidates,
                              double duration) {
  const auto found = std::ranges::find_if(
      candidates, [&](const Candidate& candidate) { return candidate.id == followedOne.id(); });
  if (found == candidates.end()) {
    return;
  }
  followedSeconds += duration;
  errorSquares += found->view.error * found->view.error * duration;
  if (!keepsMoments) {
    return;
  }
  moments.push_back({.person = found->id,
                     .seconds = duration,
                     .error = found->view.error,
                     .errorInWidth = found->view.error / sample.head.field,
                     .isLate = acquisitions.stayedFor(found->id) >= LATE - ROUNDING});
}

void Scorer::Run::addMotion(const ScoreSample& sample) {
  const std::optional<MotionStep> step = motion.follow(sample.time, sample.head);
  if (!step) {
    return;
  }
  motionSum.add(*step);
  if (followedOne.id()) {
    motionWith[*followedOne.id()].add(*step);
  }
}

ScoreFigures Scorer::Run::figures() const {
  ScoreFigures figures;
  figures.seconds = seconds;
  figures.secondsWithSomebody = best.total;
  figures.personSeconds = everybody.total;
  for (std::size_t i = 0; i < DENSITIES.size(); ++i) {
    figures.density[i] = {.leastDensity = DENSITIES[i],
                          .seconds = best.dense[i],
                          .personSeconds = everybody.dense[i],
                          .share = shareOf(best.dense[i], best.total),
                          .personShare = shareOf(everybody.dense[i], everybody.total)};
  }
  figures.share20 = shareOf(best.at20, best.total);
  figures.share40 = shareOf(best.at40, best.total);
  figures.inPicture = shareOf(best.middle, best.total);
  figures.acquisition = acquisitions.figures();
  figures.error = errorOf(&FollowedMoment::error);
  figures.errorInWidth = errorOf(&FollowedMoment::errorInWidth);
  figures.followedChanges = followedOne.changes();
  figures.motion = motionSum.figures().value_or(MotionFigures{});
  figures.people = peopleFigures();
  return figures;
}

RunningScore Scorer::Run::runningScore() const {
  RunningScore score;
  score.seconds = seconds;
  score.secondsWithSomebody = best.total;
  for (std::size_t i = 0; i < DENSITIES.size(); ++i) {
    score.density[i] = shareOf(best.dense[i], best.total);
  }
  score.inPicture = shareOf(best.middle, best.total);
  if (followedSeconds > 0) {
    score.rms = std::sqrt(errorSquares / followedSeconds);
  }
  score.followedChanges = followedOne.changes();
  score.motion = motionSum.figures().value_or(MotionFigures{});
  score.acquisition = acquisitions.figures();
  return score;
}

std::optional<ErrorFigures> Scorer::Run::errorOf(double FollowedMoment::*value) const {
  std::vector<WeightedError> errors;
  errors.reserve(moments.size());
  for (const FollowedMoment& moment : moments) {
    errors.push_back({moment.*value, moment.seconds});
  }
  return errorFiguresOf(std::move(errors));
}

std::vector<PersonFigures> Scorer::Run::peopleFigures() const {
  std::map<int, std::vector<FollowedMoment>> momentsWith;
  for (const FollowedMoment& moment : moments) {
    momentsWith[moment.person].push_back(moment);
  }
  std::vector<PersonFigures> people;
  for (const auto& [id, time] : shown) {
    const double whole = std::max(time.total, ROUNDING);
    PersonFigures figures{.id = id,
                          .seconds = time.total,
                          .inPicture = time.middle / whole,
                          .share20 = time.at20 / whole,
                          .share40 = time.at40 / whole,
                          .acquisition = {},
                          .error = {},
                          .lateError = {},
                          .motion = {}};
    for (std::size_t i = 0; i < DENSITIES.size(); ++i) {
      figures.density[i] = time.dense[i] / whole;
    }
    if (const Acquisition* first = acquisitions.firstOf(id)) {
      figures.acquisition = first->value();
      figures.everRecognised = first->recognisedAfter.has_value();
    }
    if (const auto own = momentsWith.find(id); own != momentsWith.end()) {
      addFollowedFigures(figures, own->second);
    }
    people.push_back(std::move(figures));
  }
  return people;
}

void Scorer::Run::addFollowedFigures(PersonFigures& figures,
                                     const std::vector<FollowedMoment>& own) const {
  std::vector<WeightedError> all;
  std::vector<WeightedError> late;
  for (const FollowedMoment& moment : own) {
    figures.followedSeconds += moment.seconds;
    all.push_back({moment.error, moment.seconds});
    if (moment.isLate) {
      late.push_back(all.back());
    }
  }
  figures.error = errorFiguresOf(std::move(all));
  figures.lateError = errorFiguresOf(std::move(late));
  if (const auto with = motionWith.find(figures.id); with != motionWith.end()) {
    figures.motion = with->second.figures();
  }
}

Scorer::Scorer(const ScoreSetup& setup, bool keepsMoments)
    : run(std::make_unique<Run>(setup, keepsMoments)) {}
Scorer::Scorer(Scorer&&) noexcept = default;
Scorer& Scorer::operator=(Scorer&&) noexcept = default;
Scorer::~Scorer() = default;

void Scorer::add(const ScoreSample& sample) {
  run->add(sample);
}

std::optional<int> Scorer::followed() const {
  return run->followed();
}

ScoreFigures Scorer::figures() const {
  return run->figures();
}

RunningScore Scorer::runningScore() const {
  return run->runningScore();
}

ScoreFigures scoreOf(std::span<const ScoreSample> samples, const ScoreSetup& setup) {
  Scorer scorer(setup);
  for (const ScoreSample& sample : samples) {
    scorer.add(sample);
  }
  return scorer.figures();
}

}  // namespace device
