#include "app/truth_sampler.h"

#include <gtest/gtest.h>

#include <utility>

#include "app/options.h"
#include "model/model.h"

namespace device {
namespace {

// All of every picture.
const std::string EVERYWHERE =
    R"({"data": {"cameras": [{"id": 1, "active": true}], "profiles": [{"camera": 1, "triggers":
        [{"type": "includeArea", "data": [[-1, -1], [-1, 1], [1, 1], [1, -1]]}], "filters": []}]}})";
const std::string NOWHERE = R"({"data": {"cameras": [], "profiles": []}})";

class TruthSamplerTest : public testing::Test {
 protected:
  TruthSamplerTest() { report.trackerState(0, "running"); }

  void answer(const std::string* text) {
    ASSERT_TRUE(pending);
    const TruthSampler::Answered answered = std::exchange(pending, nullptr);
    answered(text);
  }

  double secondsWithSomebody() { return report.score().secondsWithSomebody; }

  // The first person stands in the square from the beginning.
  const Model model = loadModel(parseOptions({"virtual_device"}).models, "perfect");
  const World world{model.world, {}};
  Report report{{}, {.score = scoreSetupOf(model), .head = model.head}};
  TruthSampler::Answered pending;
  int asked = 0;
  TruthSampler sampler{world, report, [this](TruthSampler::Answered answered) {
                         pending = std::move(answered);
                         ++asked;
                       }};
};

TEST_F(TruthSamplerTest, SamplesWaitForTheAreas) {
  sampler.sample(0, {.pictureWidth = 60});
  sampler.sample(1, {.pictureWidth = 60});
  EXPECT_EQ(report.score().seconds, 0);
  sampler.applicationSpoke();
  sampler.sample(2, {.pictureWidth = 60});
  answer(&EVERYWHERE);
  EXPECT_EQ(secondsWithSomebody(), 2);
  sampler.sample(3, {.pictureWidth = 60});
  EXPECT_EQ(secondsWithSomebody(), 3);
}

TEST_F(TruthSamplerTest, ApplicationIsAskedOnceUntilItsConfigurationChanges) {
  sampler.applicationSpoke();
  sampler.applicationSpoke();
  EXPECT_EQ(asked, 1);
  answer(&EVERYWHERE);
  sampler.applicationSpoke();
  EXPECT_EQ(asked, 1);
  sampler.configurationChanged();
  EXPECT_EQ(asked, 2);
  sampler.sample(0, {.pictureWidth = 60});
  answer(&NOWHERE);
  sampler.sample(1, {.pictureWidth = 60});
  EXPECT_EQ(report.score().seconds, 1);
  EXPECT_EQ(secondsWithSomebody(), 0);
}

TEST_F(TruthSamplerTest, ChangeWhileItIsAskedIsAskedForAgain) {
  sampler.applicationSpoke();
  sampler.configurationChanged();
  EXPECT_EQ(asked, 1);
  answer(&NOWHERE);
  EXPECT_EQ(asked, 2);
}

TEST_F(TruthSamplerTest, WithoutAnAnswerItAsksWhenTheApplicationSpeaksNext) {
  const std::string broken = "no configuration";
  for (const std::string* none : {static_cast<const std::string*>(nullptr), &broken}) {
    const int before = asked;
    sampler.applicationSpoke();
    answer(none);
    EXPECT_EQ(asked, before + 1) << "not in a circle";
  }
  sampler.applicationSpoke();
  answer(&EVERYWHERE);
  EXPECT_EQ(asked, 3);
}

TEST_F(TruthSamplerTest, NothingIsLostWithoutAnyAnswer) {
  for (std::size_t i = 0; i <= TruthSampler::MOST_WAITING + 10; ++i) {
    sampler.sample(static_cast<double>(i), {.pictureWidth = 60});
  }
  EXPECT_EQ(report.score().seconds, 10);
  sampler.finish();
  EXPECT_EQ(report.score().seconds, TruthSampler::MOST_WAITING + 10);
  EXPECT_EQ(secondsWithSomebody(), 0);
}

}  // namespace
}  // namespace device
