#include "report/report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace device {
namespace {

using testing::HasSubstr;
using testing::SizeIs;

HeadStatus headAt(double pan, double tilt, double width = 20) {
  return {.pan = pan,
          .tilt = tilt,
          .magnification = 60 / width,
          .pictureWidth = width,
          .pictureHeight = width * 9 / 16};
}

PersonView personAt(int id, double pan, double tilt, bool inside = true) {
  return {.id = id, .centre = {pan, tilt}, .height = 2, .inside = inside};
}

Report runningReport() {
  Report report({.model = "fixed", .tracks = "generated", .transport = "socket", .seed = 9});
  report.trackerState(0, "running");
  return report;
}

// Samples every tenth of a second in [from, to).
void sample(Report& report, double from, double to, const std::vector<PersonView>& people,
            const HeadStatus& head) {
  for (int i = 0; from + i * 0.1 < to - 1e-9; ++i) {
    report.sample(from + i * 0.1, people, head);
  }
}

TEST(InPictureTest, EdgesOfThePicture) {
  const HeadStatus head = headAt(175, 0);  // 20 by 11.25 degrees
  EXPECT_TRUE(isInPicture(head, {175, 0}));
  EXPECT_TRUE(isInPicture(head, {-175.1, 0}));  // across the seam
  EXPECT_FALSE(isInPicture(head, {-174.9, 0}));
  EXPECT_TRUE(isInPicture(head, {165.1, 0}));
  EXPECT_FALSE(isInPicture(head, {164.9, 0}));
  EXPECT_TRUE(isInPicture(head, {175, 5.6}));
  EXPECT_FALSE(isInPicture(head, {175, 5.7}));
  EXPECT_FALSE(isInPicture(head, {-5, 0}));  // behind
}

TEST(InPictureTest, ATiltedHeadSeesMorePan) {
  // At 60 degrees down, 10 degrees to the side on the picture's middle line are
  // atan(tan(10)/cos(60)) degrees of pan.
  const double pan = toDegrees(std::atan(std::tan(toRadians(10)) / std::cos(toRadians(60))));
  const HeadStatus head = headAt(0, -60);
  const auto onMiddleLine = [](double p) {
    return Direction{p, -toDegrees(std::atan(std::tan(toRadians(60)) * std::cos(toRadians(p))))};
  };
  EXPECT_TRUE(isInPicture(head, onMiddleLine(pan - 0.1)));
  EXPECT_FALSE(isInPicture(head, onMiddleLine(pan + 0.1)));
}

TEST(ReportTest, CountsFromThreeSecondsInside) {
  Report report = runningReport();
  sample(report, 0, 2.95, {personAt(1, 0, 0)}, headAt(5, 0));
  EXPECT_FALSE(report.figures().rmsError);
  sample(report, 3, 4.05, {personAt(1, 0, 0)}, headAt(2, 0));
  EXPECT_NEAR(*report.figures().rmsError, 2, 1e-9);
  EXPECT_NEAR(*report.figures().inViewShare, 1, 1e-9);
}

TEST(ReportTest, ABreakBeginsTheThreeSecondsAnew) {
  Report report = runningReport();
  sample(report, 0, 2, {personAt(1, 0, 0)}, headAt(0, 0));
  sample(report, 2, 2.5, {personAt(1, 0, 0, false)}, headAt(0, 0));
  sample(report, 2.5, 5.4, {personAt(1, 0, 0)}, headAt(0, 0));
  EXPECT_FALSE(report.figures().rmsError);
  sample(report, 5.5, 5.6, {personAt(1, 0, 0)}, headAt(0, 0));
  EXPECT_TRUE(report.figures().rmsError);
}

TEST(ReportTest, DifferentPeopleDoNotMakeUpThreeSeconds) {
  Report report = runningReport();
  for (int id = 1; id <= 5; ++id) {
    sample(report, id * 2.0, id * 2.0 + 2, {personAt(id, 0, 0)}, headAt(0, 0));
  }
  EXPECT_FALSE(report.figures().rmsError);
}

TEST(ReportTest, CountsOnlyWhileTheTrackerIsRunning) {
  Report report({});
  sample(report, 0, 10, {personAt(1, 0, 0)}, headAt(30, 0));
  report.trackerState(5, "autotuning");
  EXPECT_FALSE(report.figures().rmsError);
  report.trackerState(10, "running");
  sample(report, 10, 12, {personAt(1, 0, 0)}, headAt(1, 0));
  report.trackerState(12, "stopped");
  sample(report, 12, 14, {personAt(1, 0, 0)}, headAt(40, 0));
  EXPECT_NEAR(*report.figures().rmsError, 1, 1e-9);
  EXPECT_DOUBLE_EQ(*report.figures().stateRunningAfter, 10);
}

TEST(ReportTest, TheTargetIsTheNearestInside) {
  Report report = runningReport();
  const std::vector<PersonView> people{personAt(1, 8, 0), personAt(2, -3, 0),
                                       personAt(3, 1, 0, false)};
  sample(report, 0, 4, people, headAt(0, 0));
  EXPECT_NEAR(*report.figures().rmsError, 3, 1e-9);
  EXPECT_EQ(report.getSession().moments.back().target->id, 2);
}

TEST(ReportTest, SomebodyElseInViewIsEnough) {
  Report report = runningReport();
  // The nearest by angle lies above the flat picture, the other within it.
  sample(report, 0, 4, {personAt(1, 0, 6), personAt(2, 9, 0)}, headAt(0, 0));
  const Moment& last = report.getSession().moments.back();
  EXPECT_EQ(last.target->id, 1);
  EXPECT_FALSE(last.targetInView);
  EXPECT_TRUE(last.anyInView);
  EXPECT_NEAR(*report.figures().inViewShare, 1, 1e-9);
  EXPECT_FALSE(report.figures().meanHeightShare);
}

TEST(ReportTest, SwitchesOfTheTarget) {
  Report report = runningReport();
  sample(report, 0, 4, {personAt(1, 0, 0), personAt(2, 10, 0)}, headAt(0, 0));
  sample(report, 4, 5, {personAt(1, 0, 0), personAt(2, 10, 0)}, headAt(9, 0));
  EXPECT_EQ(*report.figures().targetSwitches, 1);
  sample(report, 5, 6, {personAt(1, 0, 0)}, headAt(9, 0));  // the second has left
  EXPECT_EQ(*report.figures().targetSwitches, 1);
}

TEST(ReportTest, SamplesThatComeTooSoonArePassedOver) {
  Report report = runningReport();
  for (int i = 0; i <= 1000; ++i) {
    report.sample(i * 0.01, {}, headAt(0, 0));
  }
  EXPECT_THAT(report.getSession().moments, SizeIs(201));
  EXPECT_NEAR(report.figures().duration, 10, 1e-9);
}

TEST(ReportTest, AlarmsMayOverlap) {
  Report report = runningReport();
  report.alarmEnded(0.5);  // of nothing
  report.alarmStarted(1);
  report.alarmStarted(2);
  report.alarmEnded(5);
  EXPECT_EQ(report.figures().alarmsStarted, 2);
  EXPECT_EQ(report.figures().alarmsEnded, 1);
  EXPECT_EQ(report.getSession().alarms[0].end, 5);
  report.alarmEnded(6);
  report.alarmEnded(7);
  EXPECT_EQ(report.figures().alarmsEnded, 2);
}

TEST(ReportTest, RepetitionsOfStatesAreIgnored) {
  Report report({});
  report.sentreling(1, false);
  report.sentreling(2, true);
  report.sentreling(3, true);
  report.sentreling(6, false);
  report.sentreling(7, false);
  EXPECT_NEAR(report.figures().followed, 4, 1e-9);
  report.trackerState(1, "connecting");
  report.trackerState(2, "connecting");
  EXPECT_THAT(report.getSession().states, SizeIs(1));
}

TEST(ReportTest, JsonOfAnEmptyRun) {
  const Report report(
      {.model = "fast", .tracks = "walk \"x\".csv", .transport = "module", .seed = 12});
  EXPECT_EQ(report.toJson(), R"({
  "model": "fast",
  "tracks": "walk \"x\".csv",
  "transport": "module",
  "seed": 12,
  "duration_s": 0.0,
  "state_running_after_s": null,
  "frames": 0,
  "alarms_started": 0,
  "alarms_ended": 0,
  "followed_s": 0.0,
  "in_view_share": null,
  "rms_error_deg": null,
  "p95_error_deg": null,
  "target_switches": null,
  "reversals_per_s": null,
  "mean_height_share": null
}
)");
}

TEST(ReportTest, JsonOfARun) {
  Report report = runningReport();
  report.frameSent();
  report.frameSent();
  report.alarmStarted(1);
  report.sentreling(1, true);
  sample(report, 0, 5.05, {personAt(1, 0, 0)}, headAt(1.5, 0));
  EXPECT_EQ(report.toJson(), R"({
  "model": "fixed",
  "tracks": "generated",
  "transport": "socket",
  "seed": 9,
  "duration_s": 5.0,
  "state_running_after_s": 0.0,
  "frames": 2,
  "alarms_started": 1,
  "alarms_ended": 0,
  "followed_s": 4.0,
  "in_view_share": 1.0,
  "rms_error_deg": 1.5,
  "p95_error_deg": 1.5,
  "target_switches": 0,
  "reversals_per_s": 0.0,
  "mean_height_share": 0.177778
}
)");
}

class ReportFileTest : public testing::Test {
 protected:
  ReportFileTest()
      : folder(std::filesystem::temp_directory_path() /
               ("report_test." + std::to_string(getpid()))) {}
  ~ReportFileTest() override { std::filesystem::remove_all(folder); }

  static std::string read(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }

  std::set<std::string> filesThere() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  std::filesystem::path folder;
};

TEST_F(ReportFileTest, WritesReportAndPlots) {
  Report report = runningReport();
  report.alarmStarted(1);
  report.alarmEnded(2);
  report.alarmStarted(3);
  report.sentreling(1, true);
  sample(report, 0, 5, {personAt(1, 0, 0)}, headAt(170, 0));
  sample(report, 5, 9, {}, headAt(-170, -10));
  ASSERT_EQ(report.write(folder / "deep" / "er"), "");
  folder /= "deep/er";
  EXPECT_EQ(filesThere(), (std::set<std::string>{"report.json", "plot.svg", "plot.png"}));
  EXPECT_EQ(read(folder / "report.json"), report.toJson());
  EXPECT_THAT(read(folder / "plot.svg"), HasSubstr("</svg>"));
  EXPECT_EQ(read(folder / "plot.png").substr(1, 3), "PNG");
  folder = folder.parent_path().parent_path();
}

TEST_F(ReportFileTest, PlotsOfAnEmptyRun) {
  EXPECT_EQ(Report({.model = "it's", .tracks = "", .transport = "", .seed = 1}).write(folder), "");
  EXPECT_THAT(read(folder / "plot.svg"), HasSubstr("</svg>"));
}

TEST_F(ReportFileTest, TheReportStandsWithoutGnuplot) {
  const std::string path = std::getenv("PATH");
  setenv("PATH", "/nowhere", 1);
  const std::string message = runningReport().write(folder);
  setenv("PATH", path.c_str(), 1);
  EXPECT_THAT(message, HasSubstr("gnuplot cannot be run (package gnuplot-nox): "));
  EXPECT_EQ(filesThere(), std::set<std::string>{"report.json"});
}

TEST_F(ReportFileTest, WhatGnuplotSaysIsPassedOn) {
  std::filesystem::create_directories(folder / "plot.svg");  // in the place of the file
  const std::string message = runningReport().write(folder);
  EXPECT_THAT(message, HasSubstr("gnuplot failed: "));
  EXPECT_TRUE(std::filesystem::exists(folder / "report.json"));
}

TEST_F(ReportFileTest, AReportThatCannotBeWrittenIsAnError) {
  std::ofstream(folder.string()) << "a file where the folder should be";
  EXPECT_THROW(runningReport().write(folder), std::runtime_error);
}

}  // namespace
}  // namespace device
