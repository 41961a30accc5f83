#include "score/baselines.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <utility>

#include "score/clairvoyant.h"
#include "score/head_view.h"
#include "score/scorer.h"

namespace device {
namespace {

constexpr std::size_t MOST_MOMENTS = 600;  // that a pose is tried on
constexpr std::size_t MOST_PLACES = 60;    // at which a search begins
constexpr int FIELDS = 10;                 // with which it begins
constexpr std::size_t REFINED = 5;         // of the best beginnings
constexpr double FIRST_STEP = 0.25;        // of the picture's width
constexpr double LAST_STEP = 0.01;

// People who count at some moments of a run.
using Moments = std::vector<std::vector<ScoredPerson>>;

// Moments for which somebody is shown at 20 % of the height, and recognised.
using Worth = std::pair<int, int>;

struct RatedPose {
  HeadPose pose;
  Worth worth;
};

Moments momentsOf(std::span<const ScoreSample> samples) {
  Moments all;
  for (const ScoreSample& sample : samples) {
    std::vector<ScoredPerson> counting;
    std::ranges::copy_if(sample.people, std::back_inserter(counting), &ScoredPerson::counts);
    if (!counting.empty()) {
      all.push_back(std::move(counting));
    }
  }
  const std::size_t stride = (all.size() + MOST_MOMENTS - 1) / MOST_MOMENTS;
  Moments some;
  for (std::size_t i = 0; i < all.size(); i += stride) {
    some.push_back(std::move(all[i]));
  }
  return some;
}

class PoseSearch {
 public:
  PoseSearch(const Moments& moments, const ScoreSetup& setup, const HeadSetup& head)
      : moments(moments),
        setup(setup),
        head(head),
        widest(Head::fieldAngle(head, head.minZoom)),
        narrowest(Head::fieldAngle(head, head.maxZoom)) {}

  HeadPose best() const {
    std::vector<RatedPose> poses = beginnings();
    std::ranges::stable_sort(poses, std::ranges::greater(), &RatedPose::worth);
    RatedPose best = poses.front();
    for (std::size_t i = 0; i < std::min(REFINED, poses.size()); ++i) {
      const RatedPose refinedPose = refined(poses[i]);
      if (refinedPose.worth > best.worth) {
        best = refinedPose;
      }
    }
    return best.pose;
  }

 private:
  std::vector<RatedPose> beginnings() const {
    std::vector<RatedPose> poses{rated(homePose(head))};
    const std::size_t stride = (moments.size() + MOST_PLACES - 1) / MOST_PLACES;
    for (std::size_t i = 0; i < moments.size(); i += stride) {
      const std::vector<ScoredPerson>& people = moments[i];
      const Direction middle = middleOf(people[i % people.size()], setup);
      for (int level = 0; level < FIELDS; ++level) {
        const double field = widest * std::pow(narrowest / widest, level / (FIELDS - 1.0));
        poses.push_back(rated({middle.pan, middle.tilt, field}));
      }
    }
    return poses;
  }

  // Goes to better neighbours, by smaller and smaller steps.
  RatedPose refined(RatedPose pose) const {
    for (double step = FIRST_STEP; step >= LAST_STEP;) {
      const RatedPose better = bestNeighbour(pose, step);
      if (better.worth > pose.worth) {
        pose = better;
      } else {
        step /= 2;
      }
    }
    return pose;
  }

  RatedPose bestNeighbour(const RatedPose& pose, double step) const {
    RatedPose best = pose;
    const double way = step * pose.pose.field;
    for (const std::array<double, 3>& move :
         std::initializer_list<std::array<double, 3>>{{way, 0, 1},
                                                      {-way, 0, 1},
                                                      {0, way, 1},
                                                      {0, -way, 1},
                                                      {0, 0, 1 + step},
                                                      {0, 0, 1 / (1 + step)}}) {
      const RatedPose other =
          rated({pose.pose.pan + move[0], pose.pose.tilt + move[1], pose.pose.field * move[2]});
      if (other.worth > best.worth) {
        best = other;
      }
    }
    return best;
  }

  RatedPose rated(HeadPose pose) const {
    pose.pan = head.pan.endless ? normalizedPan(pose.pan)
                                : std::clamp(pose.pan, head.pan.low, head.pan.high);
    pose.tilt = std::clamp(pose.tilt, head.tilt.low, head.tilt.high);
    pose.field = std::clamp(pose.field, narrowest, widest);
    return {pose, worthOf(pose)};
  }

  Worth worthOf(const HeadPose& pose) const {
    const HeadView view(pose, setup);
    Worth worth;
    for (const std::vector<ScoredPerson>& people : moments) {
      bool isLarge = false;
      bool isRecognised = false;
      for (const ScoredPerson& person : people) {
        const PersonInView shown = view.viewOf(person);
        isLarge = isLarge || shown.heightShare >= 0.2;
        isRecognised = isRecognised || (shown.wholeInPicture && shown.density >= RECOGNISE);
        if (isLarge && isRecognised) {
          break;
        }
      }
      worth.first += isLarge ? 1 : 0;
      worth.second += isRecognised ? 1 : 0;
    }
    return worth;
  }

  const Moments& moments;
  const ScoreSetup& setup;
  const HeadSetup& head;
  double widest;
  double narrowest;
};

}  // namespace

HeadPose bestFixedPose(std::span<const ScoreSample> samples, const ScoreSetup& setup,
                       const HeadSetup& head) {
  const Moments moments = momentsOf(samples);
  return moments.empty() ? homePose(head) : PoseSearch(moments, setup, head).best();
}

std::vector<HeadPose> clairvoyantPoses(std::span<const ScoreSample> samples,
                                       const ScoreSetup& setup, const HeadSetup& head) {
  ClairvoyantHead clairvoyant(setup, head);
  std::vector<HeadPose> poses;
  poses.reserve(samples.size());
  for (const ScoreSample& sample : samples) {
    poses.push_back(clairvoyant.follow(sample));
  }
  return poses;
}

ScoreFigures scoreWith(std::span<const ScoreSample> samples, std::span<const HeadPose> poses,
                       const ScoreSetup& setup) {
  Scorer scorer(setup);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    ScoreSample sample = samples[i];
    sample.head = poses.size() == 1 ? poses.front() : poses[i];
    scorer.add(sample);
  }
  return scorer.figures();
}

Baselines baselinesOf(std::span<const ScoreSample> samples, const ScoreSetup& setup,
                      const HeadSetup& head) {
  const HeadPose home = homePose(head);
  const HeadPose fixed = bestFixedPose(samples, setup, head);
  const auto scoreOfOne = [&](const HeadPose& pose) {
    return scoreWith(samples, std::span(&pose, 1), setup);
  };
  return {.home = scoreOfOne(home),
          .fixed = scoreOfOne(fixed),
          .bound = scoreWith(samples, clairvoyantPoses(samples, setup, head), setup),
          .fixedPose = fixed};
}

}  // namespace device
