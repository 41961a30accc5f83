#include "model/installation.h"

#include <gtest/gtest.h>

#include <string>

#include "support/source_folder.h"

namespace device {
namespace {

double number(const Model& model, const std::string& name) {
  return std::stod(model.parameters.at("root.SentrelVideo." + name));
}

TEST(InstallationTest, TellsTheMastAsItWasMeasured) {
  Model model = loadModel(modelsFolder(), "realistic");
  tellInstallation(model, "predictive", 1);
  EXPECT_EQ(model.parameters.at("root.SentrelVideo.Following"), "predictive");
  EXPECT_EQ(model.parameters.at("root.SentrelVideo.Identify"), "0");
  // 5 % of 5 m, and 5 cm beside a camera that hangs 0.5 m to the right.
  EXPECT_NEAR(std::abs(number(model, "MastHeight") - 5.0), 0.25, 1e-9);
  EXPECT_NEAR(std::abs(number(model, "Overview.C1.OffsetX") - 0.5), 0.05, 1e-9);
  EXPECT_NEAR(std::abs(number(model, "Overview.C4.OffsetY")), 0.05, 1e-9);
  EXPECT_FALSE(model.parameters.contains("root.SentrelVideo.Overview.C5.OffsetX"));
}

TEST(InstallationTest, TellsTheTruthWhereNothingIsMeasuredWrong) {
  Model model = loadModel(modelsFolder(), "ideal");
  tellInstallation(model, "specified", 3);
  EXPECT_EQ(model.parameters.at("root.SentrelVideo.Following"), "specified");
  EXPECT_EQ(number(model, "MastHeight"), 5.0);
  EXPECT_EQ(number(model, "Overview.C1.OffsetX"), 0.0);
}

TEST(InstallationTest, WhatTheModelsFileSaysStands) {
  Model model = loadModel(modelsFolder(), "ideal");
  model.parameters["root.SentrelVideo.MastHeight"] = "7";
  tellInstallation(model, "predictive", 1);
  EXPECT_EQ(number(model, "MastHeight"), 7.0);
}

}  // namespace
}  // namespace device
