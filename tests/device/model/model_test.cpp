#include "model/model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <numbers>

#include "support/source_folder.h"
#include "support/temporary_folder.h"
#include "world/world.h"

namespace device {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

class EveryModelTest : public testing::TestWithParam<std::string> {};

TEST_P(EveryModelTest, Loads) {
  const Model model = loadModel(modelsFolder(), GetParam());
  EXPECT_EQ(model.name, GetParam());
  EXPECT_FALSE(model.world.channels.empty());
}

TEST_P(EveryModelTest, AnswersEveryParameterThatIsAskedFor) {
  const Model model = loadModel(modelsFolder(), GetParam());
  for (const char* name :
       {"root.Brand.ProdNbr", "root.Properties.PTZ.PTZ", "root.Properties.PTZ.DigitalPTZ",
        "root.Properties.PTZ.DriverManagement", "root.Properties.RemoteCameraControl.TRAVO",
        "root.Properties.EmbeddedDevelopment.Version",
        "root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration",
        "root.ImageSource.NbrOfSources"}) {
    EXPECT_TRUE(model.parameters.contains(name)) << name;
  }
  for (std::size_t i = 0; i < model.world.channels.size(); ++i) {
    const std::string source = std::to_string(i);
    const std::string centre = "root.PTZ.RemoteCenter.C" + std::to_string(i + 1);
    EXPECT_TRUE(model.parameters.contains("root.ImageSource.I" + source + ".Name"));
    EXPECT_TRUE(model.parameters.contains("root.ImageSource.I" + source + ".Sensor.AspectRatio"));
    EXPECT_TRUE(model.parameters.contains("root.Image.I" + source + ".Appearance.Resolution"));
    EXPECT_DOUBLE_EQ(std::stod(model.parameters.at(centre + ".Pan")),
                     model.world.channels[i].camera.pan);
    EXPECT_DOUBLE_EQ(std::stod(model.parameters.at(centre + ".Tilt")),
                     model.world.channels[i].camera.tilt);
    EXPECT_DOUBLE_EQ(std::stod(model.parameters.at(centre + ".Roll")), 0);
  }
}

TEST_P(EveryModelTest, HeadAnswersWhatItIs) {
  const Model model = loadModel(modelsFolder(), GetParam());
  const auto answer = [&](const char* name) { return model.headParameters.at(name); };
  EXPECT_GT(answer("Brand.ProdNbr").size(), 4u);
  EXPECT_NEAR(std::stod(answer("PTZ.Limit.L1.MinFieldAngle")) / 10, model.head.minFieldAngle, 1e-9);
  EXPECT_NEAR(std::stod(answer("PTZ.Limit.L1.MaxFieldAngle")) / 10, model.head.maxFieldAngle, 1e-9);
  EXPECT_EQ(answer("PTZ.Limit.L1.MinZoom"), "1");
  EXPECT_EQ(answer("PTZ.Limit.L1.MaxZoom"), "9999");
  EXPECT_EQ(answer("ImageSource.I0.Sensor.AspectRatio"), "16:9");
  EXPECT_EQ(answer("Image.I0.Appearance.Resolution"), "1920x1080");
  EXPECT_TRUE(model.headParameters.contains("ImageSource.I0.Video.DetectedType"));
}

TEST_P(EveryModelTest, HeadAnswersWhereItsStopsAre) {
  const Model model = loadModel(modelsFolder(), GetParam());
  EXPECT_NEAR(std::stod(model.headParameters.at("PTZ.Limit.L1.MinTilt")), model.head.tilt.low,
              0.005);
  EXPECT_NEAR(std::stod(model.headParameters.at("PTZ.Limit.L1.MaxTilt")), model.head.tilt.high,
              0.005);
  EXPECT_EQ(model.headParameters.contains("PTZ.Limit.L1.MinPan"), !model.head.pan.endless);
  EXPECT_EQ(model.headParameters.contains("PTZ.Limit.L1.MaxPan"), !model.head.pan.endless);
}

// 5 % of the picture is what an object needs at least by default; people at the far side of a
// stage of 16 metres are more than that.
TEST_P(EveryModelTest, PeopleAreLargeEnoughToBeFollowed) {
  const Model model = loadModel(modelsFolder(), GetParam());
  const double far = model.world.stageDistance + 8;
  const double feet = std::atan2(model.world.mastHeight, far);
  const double crown = std::atan2(model.world.mastHeight - 1.75, far);
  const double height = (feet - crown) * 180 / std::numbers::pi;
  // People who are far are small: the configuration that belongs to the model asks for less.
  const double least = model.world.scene == "far" ? 0.02 : 0.05;
  for (const ChannelSetup& channel : model.world.channels) {
    EXPECT_GT(height / OverviewCamera(channel.camera).verticalFov(), least);
  }
}

TEST_P(EveryModelTest, HeadReachesTheAutotunePosition) {
  const Model model = loadModel(modelsFolder(), GetParam());
  EXPECT_LT(model.head.tilt.low, -65);
  EXPECT_GT(model.head.tilt.high, -3.6);
}

INSTANTIATE_TEST_SUITE_P(Files, EveryModelTest, testing::ValuesIn(modelNames(modelsFolder())),
                         [](const auto& info) {
                           std::string name = info.param;
                           std::erase(name, '-');
                           return name;
                         });

TEST(ModelTest, TheModelsOfTheProduct) {
  const std::vector<std::string> names = modelNames(modelsFolder());
  for (const char* name : {"perfect",    "perfect-compass", "fixed",    "compass",   "mechanical",
                           "k47",        "slow-head",       "ordinary", "fast-head", "rotated",
                           "rotated180", "rotated270",      "default",  "ideal",     "mild",
                           "realistic",  "harsh",           "slow",     "fast",      "far",
                           "slow-link"}) {
    EXPECT_THAT(names, Contains(name));
  }
}

TEST(ModelTest, WhatRunsWhenNoModelIsNamedIsTheRealisticOne) {
  const Model standard = loadModel(modelsFolder(), "default");
  const Model realistic = loadModel(modelsFolder(), "realistic");
  EXPECT_EQ(standard.headParameters, realistic.headParameters);
  EXPECT_EQ(standard.parameters, realistic.parameters);
  EXPECT_EQ(standard.world.scene, realistic.world.scene);
  EXPECT_EQ(standard.head.link.latency, realistic.head.link.latency);
  EXPECT_EQ(standard.world.detections.missed, realistic.world.detections.missed);
  EXPECT_EQ(readText(modelsFolder() / "configurations/default.json"),
            readText(modelsFolder() / "configurations/realistic.json"));
}

// Cameras hang otherwise than anybody is told.
TEST(ModelTest, ParametersTellTheMountingAsItWasMeantNotAsItIs) {
  const Model model = loadModel(modelsFolder(), "realistic");
  const World world(model.world, {.seed = 3});
  for (int channel = 0; channel < world.channelCount(); ++channel) {
    const std::string centre = "root.PTZ.RemoteCenter.C" + std::to_string(channel + 1);
    const OverviewCameraSetup& real = world.camera(channel).getSetup();
    const ChannelSetup& own = model.world.channels[static_cast<std::size_t>(channel)];
    const auto told = [&](const char* name) {
      return std::stod(model.parameters.at(centre + name));
    };
    EXPECT_NEAR(told(".Pan"), own.camera.pan, 1e-4);
    EXPECT_NEAR(std::abs(real.pan - told(".Pan")), 0.5, 1e-4);
    EXPECT_NEAR(std::abs(real.tilt - told(".Tilt")), 0.5, 1e-4);
    EXPECT_NEAR(std::abs(real.roll - told(".Roll")), 0.5, 1e-4);
  }
}

TEST(ModelTest, FixedDrivesARemoteHead) {
  const Model model = loadModel(modelsFolder(), "fixed");
  EXPECT_FALSE(model.isMechanical());
  EXPECT_THAT(model.world.channels, SizeIs(1));
  EXPECT_DOUBLE_EQ(model.head.pan.speed, 100);
  EXPECT_TRUE(model.head.pan.endless);
  EXPECT_EQ(model.parameters.at("root.ImageSource.NbrOfSources"), "1");
  EXPECT_EQ(model.parameters.at("root.ImageSource.I0.Sensor.AspectRatio"), "16:9");
  EXPECT_EQ(model.parameters.at("root.Image.I0.Appearance.Resolution"), "1920x1080");
  EXPECT_EQ(
      model.parameters.at("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration"),
      "no");
}

TEST(ModelTest, CompassHasFourChannels) {
  const Model model = loadModel(modelsFolder(), "compass");
  EXPECT_THAT(model.world.channels, SizeIs(4));
  EXPECT_EQ(model.parameters.at("root.ImageSource.NbrOfSources"), "4");
  EXPECT_EQ(
      model.parameters.at("root.Properties.EmbeddedDevelopment.RuleEngine.MultiConfiguration"),
      "yes");
  EXPECT_EQ(model.parameters.at("root.ImageSource.I3.Name"), "West");
  EXPECT_EQ(model.parameters.at("root.PTZ.RemoteCenter.C2.Pan"), "90.0000");
}

TEST(ModelTest, MechanicalCarriesItsChannel) {
  const Model model = loadModel(modelsFolder(), "mechanical");
  EXPECT_TRUE(model.isMechanical());
  ASSERT_THAT(model.world.channels, SizeIs(1));
  EXPECT_TRUE(model.world.channels[0].movesWithHead);
}

TEST(ModelTest, K47IsKnownByItsNumber) {
  const Model model = loadModel(modelsFolder(), "k47");
  EXPECT_THAT(model.headParameters.at("Brand.ProdNbr"), StartsWith("K47"));
}

TEST(ModelTest, HeadsOfThreeSpeeds) {
  EXPECT_DOUBLE_EQ(loadModel(modelsFolder(), "slow-head").head.pan.speed, 30);
  EXPECT_DOUBLE_EQ(loadModel(modelsFolder(), "ordinary").head.pan.speed, 100);
  EXPECT_DOUBLE_EQ(loadModel(modelsFolder(), "fast-head").head.pan.speed, 450);
  // Another head is another product, so that gains learned for one are not used for the other.
  EXPECT_NE(loadModel(modelsFolder(), "slow-head").headParameters.at("Brand.ProdNbr"),
            loadModel(modelsFolder(), "fast-head").headParameters.at("Brand.ProdNbr"));
}

TEST(ModelTest, RotatedKeepsTheResolutionOfTheSensor) {
  const Model model = loadModel(modelsFolder(), "rotated");
  EXPECT_EQ(model.world.channels[0].camera.rotation, 90);
  EXPECT_EQ(model.parameters.at("root.Image.I0.Appearance.Resolution"), "1920x1080");
}

// The seven conditions, as the table of the how-to page tells them.
struct Condition {
  const char* name;
  double speed;
  double acceleration;
  double latency;
  double latencyJitter;
  double speedStep;
  double exponent;
  double play;
  double statusAge;
  double statusPeriod;
  double frameAge;
  double missed;
  double occlusions;
  double newId;
  double mounting;
  double mastError;
  double deadZone;    // %
  double statusStep;  // deg
  double zoomExponent;
  double frameJitter;  // s
  double stampOffset;  // s
  double stampJitter;  // s
  double endNoise;     // px
  double offset;       // m, of each camera beside the head
  double offsetError;  // m
  double heights;      // m, deviation of people's
};

TEST(ModelTest, TheConditionsAreAsTold) {
  const Condition conditions[] = {
      {"ideal", 100, 300, 0.05, 0, 0, 1, 0, 0, 0,    0.1, 0, 0,
       0,       0,   0,   0,    0, 1, 0, 0, 0, 1.41, 0,   0, 0},
      {"mild", 100, 300,  0.05, 0.01, 1, 1,    0, 0,    0.05, 0.1, 0.03, 0,
       0,      0.1, 0.02, 2,    0.01, 1, 0.02, 0, 0.01, 2,    0.5, 0.02, 0.09},
      {"realistic", 100, 300,  0.15, 0.03, 1,   1.5,  0.1,  0.1,  0.1, 0.25, 0.03, 1.0 / 15,
       0.5,         0.5, 0.05, 2,    0.05, 1.1, 0.04, 0.01, 0.02, 2,   0.5,  0.05, 0.09},
      {"harsh", 100, 300, 0.3, 0.06, 5,   1.5,  0.1,  0.3,  0.2, 0.4, 0.15, 0.125,
       1,       0.5, 0.1, 2,   0.1,  1.1, 0.08, 0.02, 0.02, 2,   0.5, 0.1,  0.09},
      {"slow", 30,  150,  0.15, 0.03, 1,   1.5,  0.1,  0.1,  0.1, 0.25, 0.03, 1.0 / 15,
       0.5,    0.5, 0.05, 2,    0.05, 1.1, 0.04, 0.01, 0.02, 2,   0.5,  0.05, 0.09},
      {"fast", 450, 900,  0.15, 0.03, 1,   1.5,  0.1,  0.1,  0.1, 0.25, 0.03, 1.0 / 15,
       0.5,    0.5, 0.05, 2,    0.05, 1.1, 0.04, 0.01, 0.02, 2,   0.5,  0.05, 0.09},
      {"far", 100, 300,  0.15, 0.03, 1,   1.5,  0.1,  0.1,  0.1, 0.25, 0.03, 1.0 / 15,
       0.5,   0.5, 0.05, 2,    0.05, 1.1, 0.04, 0.01, 0.02, 2,   0.5,  0.05, 0.09},
      {"slow-link", 100, 300,  0.4, 0.03, 1,   1.5,  0.1,  0.3,  0.1, 0.25, 0.03, 1.0 / 15,
       0.5,         0.5, 0.05, 2,   0.05, 1.1, 0.04, 0.01, 0.02, 2,   0.5,  0.05, 0.09}};
  for (const Condition& told : conditions) {
    SCOPED_TRACE(told.name);
    const Model model = loadModel(modelsFolder(), told.name);
    EXPECT_DOUBLE_EQ(model.head.pan.speed, told.speed);
    EXPECT_DOUBLE_EQ(model.head.tilt.acceleration, told.acceleration);
    EXPECT_DOUBLE_EQ(model.head.link.latency, told.latency);
    EXPECT_DOUBLE_EQ(model.head.link.jitter, told.latencyJitter);
    EXPECT_DOUBLE_EQ(model.head.drive.step, told.speedStep);
    EXPECT_DOUBLE_EQ(model.head.drive.exponent, told.exponent);
    EXPECT_DOUBLE_EQ(model.head.pan.gears.play, told.play);
    EXPECT_DOUBLE_EQ(model.head.status.age, told.statusAge);
    EXPECT_DOUBLE_EQ(model.head.status.period, told.statusPeriod);
    EXPECT_DOUBLE_EQ(model.world.channels[2].frames.age, told.frameAge);
    EXPECT_DOUBLE_EQ(model.world.detections.missed, told.missed);
    EXPECT_EQ(model.world.detections.mergedFrom, 1);
    EXPECT_NEAR(model.world.detections.occlusions.perSecond, told.occlusions, 1e-4);
    EXPECT_DOUBLE_EQ(model.world.detections.newId, told.newId);
    EXPECT_DOUBLE_EQ(model.world.channels[3].mountingError.roll, told.mounting);
    EXPECT_DOUBLE_EQ(model.world.surveyError.mastHeight, told.mastError);
    EXPECT_DOUBLE_EQ(model.head.drive.deadZone, told.deadZone);
    EXPECT_DOUBLE_EQ(model.head.status.step, told.statusStep);
    EXPECT_EQ(model.head.status.noise, 0);
    EXPECT_DOUBLE_EQ(model.head.tilt.gears.play, told.play);
    EXPECT_DOUBLE_EQ(model.head.zoomCurve.exponent, told.zoomExponent);
    EXPECT_EQ(model.head.zoomCurve.kind,
              told.zoomExponent > 1 ? ZoomCurveKind::power : ZoomCurveKind::linear);
    EXPECT_DOUBLE_EQ(model.world.detections.endNoise, told.endNoise);
    EXPECT_EQ(model.world.detections.vertexNoise, 0);
    EXPECT_EQ(model.world.detections.velocityNoise, 0);
    EXPECT_EQ(model.world.detections.velocity,
              told.name == std::string("harsh") ? VelocityKind::none : VelocityKind::past);
    if (told.occlusions > 0) {
      EXPECT_EQ(model.world.detections.occlusions.least, 0.5);
      EXPECT_EQ(model.world.detections.occlusions.most, 2);
    }
    EXPECT_DOUBLE_EQ(model.world.surveyError.offset, told.offsetError);
    EXPECT_DOUBLE_EQ(model.world.peopleHeight, 1.7);
    EXPECT_DOUBLE_EQ(model.world.peopleHeightDeviation, told.heights);
    EXPECT_DOUBLE_EQ(model.world.mastHeight, 5);
    for (const ChannelSetup& channel : model.world.channels) {
      EXPECT_DOUBLE_EQ(channel.frames.ageJitter, told.frameJitter);
      EXPECT_DOUBLE_EQ(channel.frames.stampOffset, told.stampOffset);
      EXPECT_DOUBLE_EQ(channel.frames.stampJitter, told.stampJitter);
      EXPECT_DOUBLE_EQ(channel.mountingError.pan, told.mounting);
      EXPECT_DOUBLE_EQ(channel.mountingError.tilt, told.mounting);
      EXPECT_EQ(channel.mountingError.randomSigns, told.mounting > 0);
      EXPECT_DOUBLE_EQ(channel.camera.position.x, told.offset);
      EXPECT_EQ(channel.camera.position.y, 0);
      EXPECT_EQ(channel.camera.horizontalFov, 100);
      EXPECT_EQ(channel.camera.tilt, -35);
    }
    EXPECT_THAT(model.world.channels, SizeIs(4));
    EXPECT_EQ(model.world.scene, std::string(told.name) == "far" ? "far" : "wide");
  }
}

class PerfectModelTest : public testing::TestWithParam<const char*> {};

// Mechanics are tested with them.
TEST_P(PerfectModelTest, HasNoFlaws) {
  const Model model = loadModel(modelsFolder(), GetParam());
  EXPECT_EQ(model.head.link.jitter, 0);
  EXPECT_EQ(model.head.drive.deadZone, 0);
  EXPECT_EQ(model.head.drive.step, 0);
  EXPECT_EQ(model.head.drive.exponent, 1);
  EXPECT_EQ(model.head.pan.gears.play, 0);
  EXPECT_EQ(model.head.pan.gears.overshoot, 0);
  EXPECT_EQ(model.head.status.age, 0);
  EXPECT_EQ(model.head.status.noise, 0);
  EXPECT_EQ(model.head.calls.most, 0);
  EXPECT_EQ(model.head.zoomCurve.kind, ZoomCurveKind::linear);
  EXPECT_TRUE(model.world.channels[0].frames.isOff());
  EXPECT_TRUE(model.world.channels[0].camera.distortion.isOff());
  EXPECT_EQ(model.world.channels[0].mountingError.pan, 0);
  EXPECT_EQ(model.world.channels[0].camera.position.x, 0);
  EXPECT_EQ(model.world.detections.vertexNoise, 0.8);
  EXPECT_EQ(model.world.detections.endNoise, 0);
  EXPECT_EQ(model.world.detections.missed, 0);
  EXPECT_EQ(model.world.detections.memory, 0);
  EXPECT_EQ(model.world.detections.velocity, VelocityKind::exact);
  EXPECT_EQ(model.world.scene, "square");
}

INSTANTIATE_TEST_SUITE_P(Models, PerfectModelTest, testing::Values("perfect", "perfect-compass"),
                         [](const auto& info) {
                           std::string name = info.param;
                           std::erase(name, '-');
                           return name;
                         });

// Whoever names a model without looking gets one that does not flatter.
class HonestModelTest : public testing::TestWithParam<std::string> {};

// All but those whose name says otherwise.
std::vector<std::string> honestModelNames() {
  std::vector<std::string> names = modelNames(modelsFolder());
  std::erase_if(names, [](const std::string& name) {
    return name.starts_with("perfect") || name == "ideal";
  });
  return names;
}

TEST_P(HonestModelTest, HasFlaws) {
  const std::string name = GetParam();
  const Model model = loadModel(modelsFolder(), name);
  EXPECT_GT(model.head.link.jitter, 0);
  EXPECT_GT(model.head.status.period, 0);
  EXPECT_GT(model.head.status.step, 0);
  EXPECT_GT(model.head.drive.deadZone, 0);
  EXPECT_GT(model.world.surveyError.mastHeight, 0);
  EXPECT_GT(model.world.peopleHeightDeviation, 0);
  EXPECT_GT(model.world.detections.missed, 0);
  EXPECT_GT(model.world.detections.memory, 0);
  EXPECT_GT(model.world.detections.endNoise, 0);
  EXPECT_EQ(model.world.detections.velocity,
            name == "harsh" ? VelocityKind::none : VelocityKind::past);
  for (const ChannelSetup& channel : model.world.channels) {
    EXPECT_GT(channel.frames.age, 0);
    EXPECT_GT(channel.frames.ageJitter, 0);
    EXPECT_GT(channel.frames.stampJitter, 0);
    // A lens on the head is nowhere else.
    EXPECT_EQ(channel.mountingError.pan > 0, !channel.movesWithHead);
    EXPECT_EQ(channel.camera.position.x != 0, !channel.movesWithHead);
  }
}

INSTANTIATE_TEST_SUITE_P(Files, HonestModelTest, testing::ValuesIn(honestModelNames()),
                         [](const auto& info) {
                           std::string name = info.param;
                           std::erase(name, '-');
                           return name;
                         });

// Files of one test, in a folder of its own.
class ModelFileTest : public testing::Test {
 protected:
  ModelFileTest() {
    for (const char* base : {"perfect.json", "ideal.json"}) {
      std::filesystem::copy_file(modelsFolder() / base, folder / base);
    }
  }

  void write(const std::string& name, const std::string& text) {
    std::ofstream(folder / (name + ".json")) << text;
  }

  std::string errorOf(const std::string& text) {
    write("own", text);
    try {
      loadModel(folder / "own.json");
    } catch (const ModelError& error) {
      return error.what();
    }
    return {};
  }

  const TemporaryFolder temporary;
  const std::filesystem::path folder = temporary.get();
};

TEST_F(ModelFileTest, ReplacesWhatItNamesAndKeepsTheRestOfItsBase) {
  write("own", R"({"base": "perfect", "head": {"pan": {"speed": 60}},
                   "parameters": {"root.Image.I0.Appearance.Resolution": "1280x720"}})");
  const Model model = loadModel(folder, "own");
  EXPECT_DOUBLE_EQ(model.head.pan.speed, 60);
  EXPECT_DOUBLE_EQ(model.head.pan.acceleration, 400);
  EXPECT_DOUBLE_EQ(model.head.tilt.speed, 100);
  EXPECT_EQ(model.parameters.at("root.Brand.ProdNbr"), "OV-1000");
  EXPECT_EQ(model.parameters.at("root.Image.I0.Appearance.Resolution"), "1280x720");
}

TEST_F(ModelFileTest, ABaseThatIsNotBesideTheFileIsOneOfTheOtherFolder) {
  const std::filesystem::path elsewhere = folder / "elsewhere";
  std::filesystem::create_directories(elsewhere);
  write("elsewhere/own", R"({"base": "perfect", "head": {"pan": {"speed": 60}}})");
  const Model model = loadModelFile(elsewhere / "own.json", folder);
  EXPECT_EQ(model.name, "own");
  EXPECT_DOUBLE_EQ(model.head.pan.speed, 60);
  EXPECT_EQ(model.parameters.at("root.Brand.ProdNbr"), "OV-1000");
}

TEST_F(ModelFileTest, ABaseBesideTheFileComesBeforeThatOfTheOtherFolder) {
  const std::filesystem::path elsewhere = folder / "elsewhere";
  std::filesystem::create_directories(elsewhere);
  write("elsewhere/fixed", R"({"base": "ideal", "about": "Another fixed one."})");
  write("elsewhere/own", R"({"base": "fixed"})");
  EXPECT_EQ(loadModelFile(elsewhere / "own.json", folder).about, "Another fixed one.");
}

TEST_F(ModelFileTest, HeadParametersOfTheFileWin) {
  write("own", R"({"base": "perfect",
                   "head": {"parameters": {"ImageSource.I0.Sensor.AspectRatio": ""}}})");
  EXPECT_EQ(loadModel(folder, "own").headParameters.at("ImageSource.I0.Sensor.AspectRatio"), "");
}

TEST_F(ModelFileTest, AnUnknownNameIsAnsweredWithTheKnownOnes) {
  write("own", R"({"base": "perfect"})");
  try {
    loadModel(folder, "nothing");
    FAIL();
  } catch (const ModelError& error) {
    EXPECT_THAT(error.what(), HasSubstr("no model 'nothing'; there are: ideal, own, perfect"));
  }
}

TEST_F(ModelFileTest, ErrorsNameFileAndKey) {
  const std::string file = (folder / "own.json").string();
  EXPECT_EQ(errorOf(R"({"base": "perfect", "head": {"pan": {"speed": "fast"}}})"),
            file + ": head.pan.speed: must be a number from 1 to 2000");
  EXPECT_EQ(errorOf(R"({"base": "perfect", "head": {"latency_s": 1.5}})"),
            file + ": head.latency_s: must be a number from 0 to 1");
  EXPECT_EQ(errorOf(R"({"base": "perfect", "head": {"zoom": {"max": 1}}})"),
            file + ": head.zoom.max: must be a whole number from 2 to 1000000");
  EXPECT_EQ(errorOf(R"({"base": "perfect", "head": {"aspect": "wide"}})"),
            file + ": head.aspect: must be WIDTH:HEIGHT");
  EXPECT_EQ(errorOf(R"({"base": "perfect", "speed": 3})"), file + ": speed: is unknown");
  EXPECT_EQ(errorOf(R"({"base": "perfect", "parameters": {"root.A": 3}})"),
            file + ": parameters.root.A: must be a text");
  EXPECT_EQ(errorOf(R"({"base": "perfect", "channels": []})"),
            file + ": channels: must be 1 to 16");
  EXPECT_EQ(errorOf(R"({"base": "perfect", "channels": [{"name": "A"}]})"),
            file + ": channels[0].pan: is missing");
  EXPECT_EQ(errorOf(R"({"base": "perfect", "channels": [{"name": "A", "pan": 0, "tilt": 0,
                        "width": 1920, "height": 1080, "horizontal_fov": 40, "rotation": 45}]})"),
            file + ": channels[0].rotation: must be 0, 90, 180 or 270");
  EXPECT_EQ(errorOf(R"({"base": "perfect", "head": 3})"), file + ": head: must be an object");
  EXPECT_EQ(errorOf(R"({"parameters": {}})"), file + ": head: is missing");
}

TEST_F(ModelFileTest, ErrorsOfValuesThatDoNotFitTogether) {
  const std::string name = (folder / "own.json").string();
  EXPECT_EQ(errorOf(R"({"base": "perfect", "head": {"network": {"least_s": 0.2, "most_s": 0.1}}})"),
            name + ": head.network.most_s: must be a number from 0.2 to 2");
  EXPECT_EQ(errorOf(R"({"base": "perfect", "detections": {"occlusions": {"per_s": 0.6}}})"),
            name + ": detections.occlusions.per_s: must be a number from 0 to 0.5");
  EXPECT_EQ(errorOf(R"({"base": "perfect", "head": {"zoom": {"curve": "table",
                        "table": [{"position": 0, "field": 60}, {"position": 1, "field": 61}]}}})"),
            name + ": head.zoom.table: must have growing positions from 0 to 1 and falling fields");
  EXPECT_EQ(errorOf(R"({"base": "ideal", "overview": {"distortion": {"k1": -0.2}}})"),
            name +
                ": overview.distortion.k1: must leave the corners of each channel's picture "
                "within the lens' reach");
  EXPECT_EQ(errorOf(R"({"base": "ideal", "overview": {"distortion": {"k1": -0.06}}})"), "");
}

TEST_F(ModelFileTest, BrokenFiles) {
  const std::string file = (folder / "own.json").string();
  EXPECT_THAT(errorOf("{\n\"head\": \n"), StartsWith(file + ": line "));
  EXPECT_EQ(errorOf("[1]"), file + ": must be an object");
  EXPECT_THAT(errorOf(R"({"base": "nothing"})"), HasSubstr("nothing.json: unable to open"));
  EXPECT_EQ(errorOf(R"({"base": 3})"), file + ": base: must be a text");
  EXPECT_EQ(errorOf(R"({"base": "own"})"), file + ": base: too many bases, or bases in a circle");
}

}  // namespace
}  // namespace device
