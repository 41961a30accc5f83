// Every flaw of a model has a price, each by itself on a model that has none.
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "score/trial.h"

namespace score {
namespace {

// What it is paid with. Of those who are followed, by their number, but for the first and the last.
// littleHeightOfAll is of everybody at once, with the whole picture as the area.
enum class Figure { error, reversals, starts, littleHeight, littleHeightOfAll, tuningSeconds };

struct Flaw {
  const char* name = "";
  std::string keys;
  Figure figure = Figure::error;
  std::string without = "";  // what it is compared with
  Trial::Company company = Trial::Company::none;
  const char* following = "specified";
  const char* configuration = "compass";
};

// Of all four cameras.
const std::string BESIDE = R"("channels": [
    {"name": "North", "pan": 0, "tilt": -35, "x_m": 1, "y_m": 1, "width": 1920, "height": 1080,
     "horizontal_fov": 100},
    {"name": "East", "pan": 90, "tilt": -35, "x_m": 1, "y_m": 1, "width": 1920, "height": 1080,
     "horizontal_fov": 100},
    {"name": "South", "pan": 180, "tilt": -35, "x_m": 1, "y_m": 1, "width": 1920, "height": 1080,
     "horizontal_fov": 100},
    {"name": "West", "pan": -90, "tilt": -35, "x_m": 1, "y_m": 1, "width": 1920, "height": 1080,
     "horizontal_fov": 100}])";

// Of what only those see who look at it: the survey, and time stamps.
Flaw predictive(const char* name, const char* keys) {
  return {name, keys, Figure::error, "", Trial::Company::none, "predictive", "compass"};
}

void PrintTo(const Flaw& flaw, std::ostream* out) {
  *out << flaw.name;
}

double figureOf(const JobResult& result, Figure figure) {
  double sum = 0;
  for (const Scored& run : result.runs) {
    if (!run.person) {
      return 1 - run.followed.share40.value();
    }
    const device::PersonFigures& person = run.followed.people.at(0);
    switch (figure) {
      case Figure::reversals:
        sum += person.motion.value().reversalsPerSecond;
        break;
      case Figure::starts:
        sum += person.motion.value().startsPerSecond;
        break;
      case Figure::littleHeight:
        sum += 1 - person.share40;
        break;
      default:
        break;
    }
  }
  return sum / static_cast<double>(result.runs.size());
}

double priceOf(const Flaw& flaw, const std::string& keys) {
  const Trial trial(flaw.company);
  trial.change("ideal", keys, flaw.configuration);
  JobOptions options = trial.options();
  options.following = flaw.following;
  options.isWhole = flaw.figure == Figure::littleHeightOfAll;
  const JobResult result = runJob(options);
  switch (flaw.figure) {
    case Figure::error:
      return Trial::medianError(result);
    case Figure::tuningSeconds:
      return result.tuning.seconds;
    default:
      return figureOf(result, flaw.figure);
  }
}

class ImperfectionTest : public testing::TestWithParam<Flaw> {};

TEST_P(ImperfectionTest, CostsATenthOrMore) {
  const Flaw& flaw = GetParam();
  EXPECT_GE(priceOf(flaw, flaw.keys), 1.1 * priceOf(flaw, flaw.without));
}

INSTANTIATE_TEST_SUITE_P(
    OfTheHead, ImperfectionTest,
    testing::Values(
        Flaw{"latency", R"("head": {"latency_s": 0.4})"},
        Flaw{"latency_jitter", R"("head": {"latency_jitter_s": 0.5})"},
        Flaw{"status_age", R"("head": {"status": {"age_s": 0.4}})", Figure::tuningSeconds},
        Flaw{"status_age_while_following", R"("head": {"status": {"age_s": 0.3}})"},
        Flaw{"status_period", R"("head": {"status": {"period_s": 0.5}})"},
        Flaw{"status_step", R"("head": {"status": {"step": 5}})"},
        Flaw{"status_noise", R"("head": {"status": {"noise": 4}})"},
        Flaw{"dead_zone", R"("head": {"drive": {"dead_zone": 25}})"},
        Flaw{"speed_step", R"("head": {"drive": {"step": 30}})"},
        Flaw{"speed_curve", R"("head": {"drive": {"exponent": 4}})"},
        Flaw{"play", R"("head": {"pan": {"play": 5}, "tilt": {"play": 5}})"},
        Flaw{"overshoot", R"("head": {"pan": {"overshoot": 5}, "tilt": {"overshoot": 5}})",
             Figure::reversals},
        Flaw{"zoom_power", R"("head": {"zoom": {"curve": "power", "exponent": 3}})",
             Figure::littleHeight},
        Flaw{"zoom_logarithmic", R"("head": {"zoom": {"curve": "logarithmic"}})",
             Figure::littleHeight},
        Flaw{"zoom_table", R"("head": {"zoom": {"curve": "table", "table": [
                               {"position": 0, "field": 63.4}, {"position": 0.7, "field": 50},
                               {"position": 1, "field": 2.5}]}})",
             Figure::littleHeight},
        Flaw{"network", R"("head": {"network": {"least_s": 0.1, "most_s": 0.4}})"},
        Flaw{"speed", R"("head": {"pan": {"speed": 15}, "tilt": {"speed": 15}})"}),
    [](const auto& info) { return info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    OfThePictures, ImperfectionTest,
    testing::Values(
        Flaw{"age", R"("overview": {"frames": {"age_s": 0.6}})"},
        Flaw{"age_jitter", R"("overview": {"frames": {"age_jitter_s": 0.6}})"},
        Flaw{"lost", R"("overview": {"frames": {"lost": 0.7}})"},
        Flaw{"swapped", R"("overview": {"frames": {"swapped": 0.9}})", Figure::starts},
        Flaw{"distortion", R"("overview": {"distortion": {"k1": 0.1}})"},
        Flaw{"distortion_k2", R"("overview": {"distortion": {"k2": 0.1}})"},
        Flaw{"mounting", R"("overview": {"mounting_error": {"pan": 4, "tilt": 4, "roll": 4}})"},
        Flaw{"mast_height", BESIDE + R"(, "survey": {"mast_height": 0.3})", Figure::error, BESIDE,
             Trial::Company::none, "predictive"},
        predictive("survey_offset", R"("survey": {"offset_m": 2})"),
        predictive("stamp_offset", R"("overview": {"frames": {"stamp_offset_s": 0.5}})"),
        predictive("stamp_jitter", R"("overview": {"frames": {"stamp_jitter_s": 0.3}})"),
        Flaw{"beside_the_head", BESIDE}),
    [](const auto& info) { return info.param.name; });

INSTANTIATE_TEST_SUITE_P(
    OfDetections, ImperfectionTest,
    testing::Values(
        Flaw{"end_noise", R"("detections": {"end_noise_px": 40})"},
        Flaw{"vertex_noise", R"("detections": {"vertex_noise_px": 40})"},
        Flaw{"missed", R"("detections": {"missed": 0.5})"},
        Flaw{"missed_small", R"("detections": {"missed_small": 1, "small_px": 400})"},
        Flaw{"least_size", R"("detections": {"least_px": 200})"},
        Flaw{"occlusions",
             R"("detections": {"occlusions": {"per_s": 0.2, "least_s": 2, "most_s": 4}})"},
        Flaw{"new_id", R"("detections": {"memory_s": 5, "missed": 0.5, "new_id": 1})",
             Figure::error, R"("detections": {"memory_s": 5, "missed": 0.5})"},
        Flaw{"memory", R"("detections": {"missed": 0.5})", Figure::error,
             R"("detections": {"memory_s": 5, "missed": 0.5})"},
        Flaw{"shadow", R"("detections": {"shadow": {"length": 2, "turn": 90}})"},
        Flaw{"pictures_of_velocity", R"("detections": {"velocity_pictures": 40})"},
        Flaw{"scenery", R"("scenery": [{"x_m": 0, "y_m": 3, "width_m": 2, "depth_m": 0.4,
                                        "height_m": 6}])"},
        Flaw{"hidden_by_others", R"("detections": {"hidden_by_others": true, "most_hidden": 0.9})",
             Figure::error, "", Trial::Company::inFront, "predictive"},
        Flaw{"most_hidden", R"("detections": {"hidden_by_others": true, "most_hidden": 0.2})",
             Figure::error, R"("detections": {"hidden_by_others": true, "most_hidden": 0.9})",
             Trial::Company::inFront},
        Flaw{"missed_hidden",
             R"("detections": {"hidden_by_others": true, "most_hidden": 0.9, "missed_hidden": 1})",
             Figure::error, R"("detections": {"hidden_by_others": true, "most_hidden": 0.9})",
             Trial::Company::inFront},
        Flaw{"merged", R"("detections": {"merged_from": 0.05})", Figure::error, "",
             Trial::Company::inFront},
        Flaw{"swapped", R"("detections": {"swapped": 1})", Figure::reversals, "",
             Trial::Company::crossing},
        Flaw{"headlights", R"("detections": {"ghosts": [{"kind": "headlights", "x_m": -15, "y_m": 6,
                             "width_m": 2, "length_m": 3, "turn": 90, "per_minute": 12}]})",
             Figure::littleHeightOfAll},
        Flaw{"shadow_of_nobody",
             R"("detections": {"ghosts": [{"kind": "shadow", "x_m": -8, "y_m": 6,
                             "width_m": 2, "length_m": 3, "turn": 90, "per_minute": 12}]})",
             Figure::littleHeightOfAll},
        Flaw{"tree", R"("detections": {"ghosts": [{"kind": "tree", "x_m": -5, "y_m": 4,
                             "width_m": 3, "length_m": 4, "turn": 90, "per_minute": 12}]})",
             Figure::littleHeightOfAll, "", Trial::Company::none, "specified", "ideal"},
        Flaw{"no_velocity", R"("detections": {"velocity": "none"})"},
        Flaw{"velocity_noise", R"("detections": {"velocity_noise": 1})"}),
    [](const auto& info) { return info.param.name; });

// The daemon takes each picture once.
TEST(DoubledFramesTest, CostNothing) {
  EXPECT_EQ(priceOf(Flaw{}, ""), priceOf(Flaw{}, R"("overview": {"frames": {"doubled": 0.7}})"));
}

}  // namespace
}  // namespace score
