#include "model/model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <numbers>

#include "device/source_folder.h"

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

// 5 % of the picture is what an object needs at least by default; people at the far side of a
// stage of 16 metres are more than that.
TEST_P(EveryModelTest, PeopleAreLargeEnoughToBeFollowed) {
  const Model model = loadModel(modelsFolder(), GetParam());
  const double far = model.world.stageDistance + 8;
  const double feet = std::atan2(model.world.mastHeight, far);
  const double crown = std::atan2(model.world.mastHeight - 1.75, far);
  const double height = (feet - crown) * 180 / std::numbers::pi;
  for (const ChannelSetup& channel : model.world.channels) {
    EXPECT_GT(height / OverviewCamera(channel.camera).verticalFov(), 0.05);
  }
}

TEST_P(EveryModelTest, HeadReachesTheAutotunePosition) {
  const Model model = loadModel(modelsFolder(), GetParam());
  EXPECT_LT(model.head.tilt.low, -65);
  EXPECT_GT(model.head.tilt.high, -3.6);
}

INSTANTIATE_TEST_SUITE_P(Files, EveryModelTest, testing::ValuesIn(modelNames(modelsFolder())),
                         [](const auto& info) { return info.param; });

TEST(ModelTest, TheModelsOfTheProduct) {
  const std::vector<std::string> names = modelNames(modelsFolder());
  for (const char* name : {"fixed", "compass", "mechanical", "k47", "slow", "ordinary", "fast",
                           "rotated", "rotated180", "rotated270", "default"}) {
    EXPECT_THAT(names, Contains(name));
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
  EXPECT_DOUBLE_EQ(loadModel(modelsFolder(), "slow").head.pan.speed, 30);
  EXPECT_DOUBLE_EQ(loadModel(modelsFolder(), "ordinary").head.pan.speed, 100);
  EXPECT_DOUBLE_EQ(loadModel(modelsFolder(), "fast").head.pan.speed, 450);
  // Another head is another product, so that gains learned for one are not used for the other.
  EXPECT_NE(loadModel(modelsFolder(), "slow").headParameters.at("Brand.ProdNbr"),
            loadModel(modelsFolder(), "fast").headParameters.at("Brand.ProdNbr"));
}

TEST(ModelTest, RotatedKeepsTheResolutionOfTheSensor) {
  const Model model = loadModel(modelsFolder(), "rotated");
  EXPECT_EQ(model.world.channels[0].camera.rotation, 90);
  EXPECT_EQ(model.parameters.at("root.Image.I0.Appearance.Resolution"), "1920x1080");
}

// Files of one test, in a folder of its own.
class ModelFileTest : public testing::Test {
 protected:
  ModelFileTest()
      : folder(std::filesystem::temp_directory_path() /
               ("model_test." + std::to_string(getpid()))) {
    std::filesystem::create_directories(folder);
    std::filesystem::copy_file(modelsFolder() / "fixed.json", folder / "fixed.json",
                               std::filesystem::copy_options::overwrite_existing);
  }

  ~ModelFileTest() override { std::filesystem::remove_all(folder); }

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

  std::filesystem::path folder;
};

TEST_F(ModelFileTest, ReplacesWhatItNamesAndKeepsTheRestOfItsBase) {
  write("own", R"({"base": "fixed", "head": {"pan": {"speed": 60}},
                   "parameters": {"root.Image.I0.Appearance.Resolution": "1280x720"}})");
  const Model model = loadModel(folder, "own");
  EXPECT_DOUBLE_EQ(model.head.pan.speed, 60);
  EXPECT_DOUBLE_EQ(model.head.pan.acceleration, 400);
  EXPECT_DOUBLE_EQ(model.head.tilt.speed, 100);
  EXPECT_EQ(model.parameters.at("root.Brand.ProdNbr"), "OV-1000");
  EXPECT_EQ(model.parameters.at("root.Image.I0.Appearance.Resolution"), "1280x720");
}

TEST_F(ModelFileTest, HeadParametersOfTheFileWin) {
  write("own", R"({"base": "fixed",
                   "head": {"parameters": {"ImageSource.I0.Sensor.AspectRatio": ""}}})");
  EXPECT_EQ(loadModel(folder, "own").headParameters.at("ImageSource.I0.Sensor.AspectRatio"), "");
}

TEST_F(ModelFileTest, AnUnknownNameIsAnsweredWithTheKnownOnes) {
  write("own", R"({"base": "fixed"})");
  try {
    loadModel(folder, "nothing");
    FAIL();
  } catch (const ModelError& error) {
    EXPECT_THAT(error.what(), HasSubstr("no model 'nothing'; there are: fixed, own"));
  }
}

TEST_F(ModelFileTest, ErrorsNameFileAndKey) {
  const std::string file = (folder / "own.json").string();
  EXPECT_EQ(errorOf(R"({"base": "fixed", "head": {"pan": {"speed": "fast"}}})"),
            file + ": head.pan.speed: must be a number from 1 to 2000");
  EXPECT_EQ(errorOf(R"({"base": "fixed", "head": {"latency_s": 1.5}})"),
            file + ": head.latency_s: must be a number from 0 to 1");
  EXPECT_EQ(errorOf(R"({"base": "fixed", "head": {"zoom": {"max": 1}}})"),
            file + ": head.zoom.max: must be a whole number from 2 to 1000000");
  EXPECT_EQ(errorOf(R"({"base": "fixed", "head": {"aspect": "wide"}})"),
            file + ": head.aspect: must be WIDTH:HEIGHT");
  EXPECT_EQ(errorOf(R"({"base": "fixed", "speed": 3})"), file + ": speed: is unknown");
  EXPECT_EQ(errorOf(R"({"base": "fixed", "parameters": {"root.A": 3}})"),
            file + ": parameters.root.A: must be a text");
  EXPECT_EQ(errorOf(R"({"base": "fixed", "channels": []})"), file + ": channels: must be 1 to 16");
  EXPECT_EQ(errorOf(R"({"base": "fixed", "channels": [{"name": "A"}]})"),
            file + ": channels[0].pan: is missing");
  EXPECT_EQ(errorOf(R"({"base": "fixed", "channels": [{"name": "A", "pan": 0, "tilt": 0,
                        "width": 1920, "height": 1080, "horizontal_fov": 40, "rotation": 45}]})"),
            file + ": channels[0].rotation: must be 0, 90, 180 or 270");
  EXPECT_EQ(errorOf(R"({"base": "fixed", "head": 3})"), file + ": head: must be an object");
  EXPECT_EQ(errorOf(R"({"parameters": {}})"), file + ": head: is missing");
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
