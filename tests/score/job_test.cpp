#include "score/job.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>

#include "score/job_json.h"
#include "score/trial.h"
#include "support/temporary_folder.h"

namespace score {
namespace {

JobOptions sceneOptions(const std::string& model, double seconds) {
  JobOptions options;
  options.models = std::filesystem::path(SOURCE_FOLDER) / "device" / "models";
  options.model = model;
  options.seconds = seconds;
  return options;
}

TEST(JobTest, SameRunGivesTheSameBytes) {
  const JobOptions options = sceneOptions("harsh", 40);
  EXPECT_EQ(toJson(runJob(options)), toJson(runJob(options)));
}

TEST(JobTest, RunsOnePersonAfterAnotherInTheSameBytes) {
  const Trial trial;
  trial.change("realistic", "");
  EXPECT_EQ(toJson(runJob(trial.options())), toJson(runJob(trial.options())));
}

TEST(JobTest, SamplesAreWrittenAsThoseOfAReport) {
  const TemporaryFolder folder;
  JobOptions options = sceneOptions("ideal", 10);
  options.samples = folder / "samples.csv";
  const JobResult result = runJob(options);
  const std::string text = readText(folder / "samples.csv");
  EXPECT_TRUE(text.starts_with("time_s,scored,pan_deg,tilt_deg,field_deg,")) << text.substr(0, 80);
  // From the first to the last second, every 20 ms, a line for each person.
  EXPECT_NE(text.find("\n0.0"), std::string::npos);
  EXPECT_NE(text.find("\n9.9"), std::string::npos);
  EXPECT_GE(std::ranges::count(text, '\n'), 10 * 50);
  options.samples = folder / "nowhere/samples.csv";
  EXPECT_THROW(runJob(options), std::runtime_error);
}

TEST(JobTest, AnotherSeedIsAnotherRun) {
  JobOptions options = sceneOptions("realistic", 40);
  const std::string first = toJson(runJob(options));
  options.seed = 2;
  EXPECT_NE(first, toJson(runJob(options)));
}

TEST(JobTest, APersonCountsForAsLongAsItIsThere) {
  const Trial trial;
  trial.change("ideal", "");
  const JobResult result = runJob(trial.options());
  ASSERT_EQ(std::size_t{Trial::PEOPLE}, result.runs.size());
  for (const Scored& run : result.runs) {
    ASSERT_EQ(1U, run.followed.people.size());
    EXPECT_EQ(run.person, run.followed.people[0].id);
    EXPECT_NEAR(Trial::WALK, run.followed.people[0].seconds, 0.1);
  }
}

TEST(JobTest, ThePersonWithTheAreaIsFollowedAndTheOthersAreNot) {
  const Trial trial;
  trial.change("ideal", "");
  JobOptions options = trial.options();
  options.tracks = trial.crossingPair();
  const JobResult result = runJob(options);
  ASSERT_EQ(2U, result.runs.size());
  // They walk 135 degrees apart and more, so that who follows the other one is far off.
  for (const Scored& run : result.runs) {
    EXPECT_LT(run.followed.people.at(0).lateError.value().rms, 20);
  }
}

// Behind each other both are in one's area, and the head looks in between.
TEST(JobTest, AloneNobodyElseIsFollowed) {
  const Trial trial;
  trial.change("ideal", "");
  JobOptions options = trial.options();
  options.following = "predictive";
  options.tracks = trial.pairInLine();
  const double together = Trial::medianError(runJob(options));
  options.isAlone = true;
  const double alone = Trial::medianError(runJob(options));
  EXPECT_GT(together, 1);
  EXPECT_LT(alone, 0.7);
}

TEST(JobTest, SharesTogetherAreEverybodyOnce) {
  const Trial trial;
  trial.change("ideal", "");
  JobOptions options = trial.options();
  options.shares = 2;
  std::vector<int> people;
  for (options.share = 0; options.share < 2; ++options.share) {
    for (const Scored& run : runJob(options).runs) {
      people.push_back(run.person.value());
    }
  }
  EXPECT_EQ((std::vector{1, 3, 2}), people);
}

TEST(JobTest, WhoIsThereForLessThanEightSecondsIsNotScored) {
  const auto passing = [](int id, double seconds) {
    return device::Track(id, {{0, {0, 0}}, {seconds, {1, 1}}});
  };
  const auto scored =
      scoredTracks(device::TrackSet({passing(1, 7.9), passing(2, 8), passing(3, 30)}));
  ASSERT_EQ(2U, scored.size());
  EXPECT_EQ(2, scored[0].getId());
  EXPECT_EQ(3, scored[1].getId());
}

TEST(JobTest, AHeadIsTunedBeforeAnybodyComes) {
  const JobResult result = runJob(sceneOptions("ideal", 20));
  EXPECT_TRUE(result.tuning.succeeded.value());
  EXPECT_EQ(1, result.tuning.attempts);
  EXPECT_GT(result.tuning.seconds, 5);
  // Tuned with nobody there: the score holds all of the run.
  EXPECT_NEAR(20, result.runs.at(0).followed.seconds, 0.1);
}

TEST(JobTest, ALinkThatIsTooSlowIsNotTunedButFollows) {
  const JobResult result = runJob(sceneOptions("slow-link", 40));
  EXPECT_FALSE(result.tuning.succeeded.value());
  EXPECT_EQ(3, result.tuning.failedAttempts);
  EXPECT_GT(result.runs.at(0).followed.motion.startsPerSecond, 0);
}

TEST(JobTest, WhereTheRelayFailsTheHeadIsIdentifiedAllTheSameAndCountsAsTuned) {
  JobOptions options = sceneOptions("slow-link", 5);
  options.following = "predictive";
  const JobResult result = runJob(options);
  EXPECT_FALSE(result.tuning.succeeded.value());
  EXPECT_EQ(1, result.tuning.unsuccessful);
  EXPECT_TRUE(result.tuning.identified.value());
  EXPECT_NE(std::string::npos, toJson(result).find(R"("tuned":true)"));
}

// As the virtual device has it: it boots and tunes while people walk, and counts from then on.
TEST(JobTest, FromTheStartTheScoreBeginsWithTheTuningsEnd) {
  JobOptions options = sceneOptions("ideal", 60);
  options.isFromStart = true;
  const double scored = runJob(options).runs.at(0).followed.seconds;
  const JobResult tuned = runJob(sceneOptions("ideal", 20));
  constexpr double BOOT = 2;  // seconds, of every model
  EXPECT_NEAR(60 - BOOT - tuned.tuning.seconds, scored, 0.6);
}

TEST(JobTest, TheClairvoyantIsBetterThanTheDaemonAndThatThanAParkedHead) {
  const Trial trial;
  trial.change("ideal", "");
  for (const Scored& run : runJob(trial.options()).runs) {
    const auto error = [](const device::ScoreFigures& figures) {
      return figures.people.at(0).lateError.value().rms;
    };
    EXPECT_LT(error(run.bound), error(run.followed));
    EXPECT_LT(error(run.followed), error(run.home));
  }
}

// It watches with the first camera then, in all of its picture.
TEST(JobTest, AModelWithoutAConfigurationIsScoredWithTheDaemonsOwn) {
  const JobResult result = runJob(sceneOptions("fast-head", 60));
  EXPECT_FALSE(result.runs.at(0).followed.people.empty());
  EXPECT_GT(result.runs.at(0).followed.motion.startsPerSecond, 0);
}

TEST(JobTest, AHeadThatTurnsItsOwnPictureIsRefused) {
  try {
    runJob(sceneOptions("mechanical", 20));
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ("mechanical: a head that moves its own picture is not scored", error.what());
  }
}

}  // namespace
}  // namespace score
