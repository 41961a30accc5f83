#include "report/report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jansson.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <sstream>

#include "base/json_auto_ptr.h"
#include "device/score/people.h"
#include "report/score_json.h"
#include "support/temporary_folder.h"

namespace device {
namespace {

using testing::HasSubstr;
using testing::SizeIs;

HeadSetup headSetup() {
  HeadSetup head;
  head.pan = {.speed = 100, .acceleration = 300, .low = -180, .high = 180, .endless = true};
  head.tilt = {.speed = 100, .acceleration = 300, .low = -90, .high = 20};
  head.zoomSpeed = 3333;
  head.minFieldAngle = 2.5;
  head.maxFieldAngle = 60;
  head.home = {.pan = 180, .tilt = 0, .zoom = 1};
  return head;
}

// Ten metres ahead.
const ScoredPerson AHEAD = personAt(1, 0, 10);

Report emptyReport() {
  return {{.model = "fixed",
           .tracks = "generated",
           .scene = "square",
           .transport = "socket",
           .seed = 9},
          {.score = SETUP, .head = headSetup()}};
}

Report runningReport() {
  Report report = emptyReport();
  report.trackerState(0, "running");
  return report;
}

// Samples at every PERIOD in [from, to).
void sample(Report& report, double from, double to, const std::vector<ScoredPerson>& people,
            const HeadPose& head) {
  for (int i = 0; from + i * PERIOD < to - 1e-9; ++i) {
    report.sample({from + i * PERIOD, head, people});
  }
}

JsonAutoPtr parsed(const Report& report) {
  return JsonAutoPtr(json_loads(report.toJson().c_str(), JSON_REJECT_DUPLICATES, nullptr));
}

// The member at a path of keys.
const json_t* at(const json_t* json, std::initializer_list<const char*> path) {
  for (const char* key : path) {
    json = json_object_get(json, key);
  }
  return json;
}

double numberAt(const json_t* json, std::initializer_list<const char*> path) {
  const json_t* value = at(json, path);
  EXPECT_TRUE(json_is_number(value)) << *(path.end() - 1);
  return json_number_value(value);
}

TEST(ReportTest, ScoreIsThatFromTheFirstRunningToTheEnd) {
  Report report = emptyReport();
  sample(report, 0, 10, {AHEAD}, lookingAt(AHEAD, 60));
  report.trackerState(5, "autotuning");
  EXPECT_EQ(report.score().seconds, 0);
  report.trackerState(10, "running");
  sample(report, 10, 12, {AHEAD}, lookingAt(AHEAD, 60));
  report.trackerState(12, "stopped");
  sample(report, 12, 14.01, {AHEAD}, {180, 0, 60});
  EXPECT_NEAR(report.score().seconds, 4, 1e-9) << "nothing is left out";
  EXPECT_NEAR(*report.score().inPicture, (2 - PERIOD) / 4, 1e-9);
}

TEST(ReportTest, ScoreIsThatFromTheMomentThatItIsTold) {
  Report report({}, {.score = SETUP, .head = headSetup(), .scoredFrom = 3.0});
  sample(report, 0, 5, {AHEAD}, lookingAt(AHEAD, 60));
  EXPECT_NEAR(report.score().seconds, 2 - PERIOD, 1e-9) << "nobody has said running";
  report.trackerState(5, "running");
  sample(report, 5, 6.01, {AHEAD}, lookingAt(AHEAD, 60));
  EXPECT_NEAR(report.score().seconds, 3, 1e-9);
}

TEST(ReportTest, WithoutSamplesTheRunningScoreIsKept) {
  Report report({}, {.score = SETUP, .head = headSetup(), .keepsSamples = false});
  report.trackerState(0, "running");
  sample(report, 0, 1, {}, lookingAt(AHEAD, 60));
  sample(report, 1, 4.01, {AHEAD}, lookingAt(AHEAD, 60));
  const RunningScore score = report.runningScore();
  EXPECT_NEAR(score.seconds, 4, 1e-9);
  EXPECT_NEAR(*score.density[1], 1, 1e-9);
  EXPECT_FALSE(score.density[2] && *score.density[2] > 0);
  EXPECT_NEAR(*score.rms, 0, 1e-6);
  EXPECT_NEAR(*score.acquisition.median, 0, 1e-9);
  EXPECT_TRUE(report.getSession().moments.empty());
  EXPECT_FALSE(report.score().error) << "its moments are not kept";
}

TEST(ReportTest, PlotsShowTheFollowedOne) {
  Report report = emptyReport();
  sample(report, 0, 1, {AHEAD}, lookingAt(AHEAD, 60));
  EXPECT_FALSE(report.getSession().moments.back().followed);
  report.trackerState(1, "running");
  sample(report, 1, 2, {AHEAD, personAt(2, 3, 10)}, lookingAt(AHEAD, 30));
  const Moment& last = report.getSession().moments.back();
  EXPECT_NEAR(last.zoom, 2, 1e-9);
  EXPECT_NEAR(last.followed->pan, 0, 1e-9);
  // 960 pixels over tan(15 degrees) and 10.83 m.
  EXPECT_NEAR(last.density, 960 / std::tan(M_PI / 12) / std::hypot(10, 4.15), 1e-6);
}

int alarmsOf(const Report& report, const char* key) {
  return static_cast<int>(numberAt(parsed(report).get(), {key}));
}

TEST(ReportTest, AlarmsMayOverlap) {
  Report report = runningReport();
  report.alarmEnded(0.5);  // of nothing
  report.alarmStarted(1);
  report.alarmStarted(2);
  report.alarmEnded(5);
  EXPECT_EQ(alarmsOf(report, "alarms_started"), 2);
  EXPECT_EQ(alarmsOf(report, "alarms_ended"), 1);
  EXPECT_EQ(report.getSession().alarms[0].end, 5);
  report.alarmEnded(6);
  report.alarmEnded(7);
  EXPECT_EQ(alarmsOf(report, "alarms_ended"), 2);
}

TEST(ReportTest, RepetitionsOfStatesAreIgnored) {
  Report report = emptyReport();
  report.sentreling(1, false);
  report.sentreling(2, true);
  report.sentreling(3, true);
  report.sentreling(6, false);
  report.sentreling(7, false);
  EXPECT_NEAR(numberAt(parsed(report).get(), {"followed_s"}), 4, 1e-9);
  report.trackerState(1, "connecting");
  report.trackerState(2, "connecting");
  EXPECT_THAT(report.getSession().states, SizeIs(1));
}

TEST(ReportTest, JsonOfAnEmptyRun) {
  const Report report({.model = "fast",
                       .tracks = "walk \"x\".csv",
                       .scene = "wide",
                       .transport = "module",
                       .seed = 12},
                      {.score = SETUP, .head = headSetup()});
  const auto json = parsed(report);
  EXPECT_STREQ(json_string_value(at(json.get(), {"tracks"})), "walk \"x\".csv");
  EXPECT_STREQ(json_string_value(at(json.get(), {"scene"})), "wide");
  EXPECT_EQ(numberAt(json.get(), {"seed"}), 12);
  EXPECT_TRUE(json_is_null(at(json.get(), {"state_running_after_s"})));
  EXPECT_EQ(numberAt(json.get(), {"score", "seconds"}), 0);
  EXPECT_TRUE(json_is_null(at(json.get(), {"score", "density", "detected", "share"})));
  EXPECT_TRUE(json_is_null(at(json.get(), {"score", "error_deg"})));
  EXPECT_TRUE(json_is_null(at(json.get(), {"tuning", "succeeded"})));
  EXPECT_TRUE(json_is_null(at(json.get(), {"tuning", "identified"})));
}

TEST(ReportTest, JsonOfARun) {
  Report report = emptyReport();
  report.frameSent();
  report.frameSent();
  report.alarmStarted(1);
  report.trackerState(0, "autotuning");
  report.logLine("Autotuning: attempt 1 of 3 failed, trying again");
  report.logLine("Autotuning: attempt 2 of 3 succeeded, gains of pan 1 2 3, of tilt 4 5 6");
  report.logLine("The head answers after 275 ms and turns at 100 deg/s, tilts at 100 deg/s.");
  report.trackerState(1, "running");
  report.sentreling(2, true);
  sample(report, 0, 5.01, {AHEAD}, lookingAt(AHEAD, 60));
  const auto json = parsed(report);
  EXPECT_EQ(numberAt(json.get(), {"frames"}), 2);
  EXPECT_TRUE(json_is_true(at(json.get(), {"tuning", "identified"})));
  EXPECT_NEAR(numberAt(json.get(), {"duration_s"}), 5, 1e-9);
  EXPECT_NEAR(numberAt(json.get(), {"followed_s"}), 3, 1e-9);
  EXPECT_EQ(numberAt(json.get(), {"tuning", "attempts"}), 2);
  EXPECT_EQ(numberAt(json.get(), {"tuning", "seconds"}), 1);
  EXPECT_EQ(json_real_value(json_array_get(at(json.get(), {"tuning", "tilt_gains"}), 2)), 6);
  EXPECT_NEAR(numberAt(json.get(), {"score", "seconds"}), 4, 1e-9);
  EXPECT_NEAR(numberAt(json.get(), {"score", "density", "recognised", "share"}), 1, 1e-9);
  EXPECT_NEAR(numberAt(json.get(), {"score", "error_deg", "rms"}), 0, 1e-6);
  EXPECT_EQ(json_array_size(at(json.get(), {"people"})), 1U);
}

TEST(ReportTest, BesideEachFigureStandsWhatOtherHeadsEarn) {
  Report report = runningReport();
  sample(report, 0, 5.01, {AHEAD}, lookingAt(AHEAD, 60));
  const auto json = parsed(report);
  // Home looks the other way.
  EXPECT_EQ(numberAt(json.get(), {"baselines", "home", "density", "detected", "share"}), 0);
  EXPECT_EQ(numberAt(json.get(), {"baselines", "home", "pose", "pan_deg"}), 180);
  EXPECT_NEAR(numberAt(json.get(), {"baselines", "home", "pose", "field_deg"}), 60, 1e-9);
  EXPECT_EQ(numberAt(json.get(), {"baselines", "fixed", "density", "recognised", "share"}), 1);
  EXPECT_NEAR(numberAt(json.get(), {"baselines", "fixed", "pose", "pan_deg"}), 0, 15);
  EXPECT_GT(numberAt(json.get(), {"baselines", "bound", "density", "identified", "share"}), 0.5);
}

class ReportFileTest : public testing::Test {
 protected:
  static std::set<std::string> filesIn(const std::filesystem::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  const TemporaryFolder temporary;
  const std::filesystem::path folder = temporary.get();
};

TEST_F(ReportFileTest, WritesReportAndPlots) {
  Report report = runningReport();
  report.alarmStarted(1);
  report.alarmEnded(2);
  report.alarmStarted(3);
  report.sentreling(1, true);
  sample(report, 0, 5, {AHEAD}, {170, 0, 60});
  sample(report, 5, 9, {}, {-170, -10, 60});
  const std::filesystem::path deep = folder / "deep" / "er";
  ASSERT_EQ(report.write(deep), "");
  EXPECT_EQ(filesIn(deep),
            (std::set<std::string>{"report.json", "samples.csv", "plot.svg", "plot.png"}));
  EXPECT_EQ(readText(deep / "report.json"), report.toJson());
  EXPECT_THAT(readText(deep / "plot.svg"), HasSubstr("</svg>"));
  EXPECT_EQ(readText(deep / "plot.png").substr(1, 3), "PNG");
}

TEST_F(ReportFileTest, SamplesHoldEverything) {
  Report report = emptyReport();
  report.sample({0, {170, -1, 60}, {AHEAD, personAt(2, 1.5, -10, false)}});
  report.trackerState(0.05, "running");
  report.sample({0.05, {171, -2, 30}, {}});
  report.write(folder);
  EXPECT_EQ(
      readText(folder / "samples.csv"),
      "time_s,scored,pan_deg,tilt_deg,field_deg,bound_pan_deg,bound_tilt_deg,bound_field_deg,"
      "person,x_m,y_m,height_m,counts\n"
      "0.000000,0,170.00000000,-1.00000000,60.00000000,,,,1,0.00000000,10.00000000,1.70000000,1\n"
      "0.000000,0,170.00000000,-1.00000000,60.00000000,,,,2,1.50000000,-10.00000000,1.70000000,0\n"
      "0.050000,1,171.00000000,-2.00000000,30.00000000,180.00000000,0.00000000,60.00000000,,,,,\n");
}

TEST_F(ReportFileTest, PlotsOfAnEmptyRun) {
  RunInfo info;
  info.model = "it's";
  const Report report(info, {.score = SETUP, .head = headSetup()});
  EXPECT_EQ(report.write(folder), "");
  EXPECT_THAT(readText(folder / "plot.svg"), HasSubstr("</svg>"));
}

TEST_F(ReportFileTest, TheReportStandsWithoutGnuplot) {
  const std::string path = std::getenv("PATH");
  setenv("PATH", "/nowhere", 1);
  const std::string message = runningReport().write(folder);
  setenv("PATH", path.c_str(), 1);
  EXPECT_THAT(message, HasSubstr("gnuplot cannot be run (package gnuplot-nox): "));
  EXPECT_EQ(filesIn(folder), (std::set<std::string>{"report.json", "samples.csv"}));
}

TEST_F(ReportFileTest, WhatGnuplotSaysIsPassedOn) {
  std::filesystem::create_directories(folder / "plot.svg");  // in the place of the file
  const std::string message = runningReport().write(folder);
  EXPECT_THAT(message, HasSubstr("gnuplot failed: "));
  EXPECT_TRUE(std::filesystem::exists(folder / "report.json"));
}

TEST_F(ReportFileTest, AReportThatCannotBeWrittenIsAnError) {
  const std::string file = (folder / "report").string();
  writeText(file, "a file where the folder should be");
  EXPECT_THROW(runningReport().write(file), std::runtime_error);
}

}  // namespace
}  // namespace device
