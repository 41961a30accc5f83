#include "web_server/metrics_text.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace device {
namespace {

std::string textIn(MetricsForm_e form) {
  MetricsText text(form);
  text.family("site_build", MetricType_e::info, "What runs.");
  text.sample(1, {{"version", "1.0"}});
  text.family("site_frames", MetricType_e::counter, "Frames.");
  text.sample(3, {{"camera", "1"}, {"name", "a\"b\\c\nd"}});
  text.sample(0.5);
  text.family("site_state", MetricType_e::stateSet, "State.");
  text.sample(0, {{"site_state", "off"}});
  text.family("site_seconds", MetricType_e::summary, "Times.");
  text.sample(2, {}, "_count");
  text.family("site_up", MetricType_e::gauge, "Up.");
  return text.finish();
}

TEST(MetricsTextTest, OpenMetricsNamesFamiliesAndHasAnEnd) {
  EXPECT_EQ(
      "# TYPE site_build info\n# HELP site_build What runs.\n"
      "site_build_info{version=\"1.0\"} 1\n"
      "# TYPE site_frames counter\n# HELP site_frames Frames.\n"
      "site_frames_total{camera=\"1\",name=\"a\\\"b\\\\c\\nd\"} 3\nsite_frames_total 0.5\n"
      "# TYPE site_state stateset\n# HELP site_state State.\n"
      "site_state{site_state=\"off\"} 0\n"
      "# TYPE site_seconds summary\n# HELP site_seconds Times.\n"
      "site_seconds_count 2\n"
      "# TYPE site_up gauge\n# HELP site_up Up.\n"
      "# EOF\n",
      textIn(MetricsForm_e::openMetrics));
}

TEST(MetricsTextTest, OlderFormNamesSamplesAndKnowsFewerTypes) {
  EXPECT_EQ(
      "# TYPE site_build_info gauge\n# HELP site_build_info What runs.\n"
      "site_build_info{version=\"1.0\"} 1\n"
      "# TYPE site_frames_total counter\n# HELP site_frames_total Frames.\n"
      "site_frames_total{camera=\"1\",name=\"a\\\"b\\\\c\\nd\"} 3\nsite_frames_total 0.5\n"
      "# TYPE site_state gauge\n# HELP site_state State.\n"
      "site_state{site_state=\"off\"} 0\n"
      "# TYPE site_seconds summary\n# HELP site_seconds Times.\n"
      "site_seconds_count 2\n"
      "# TYPE site_up gauge\n# HELP site_up Up.\n",
      textIn(MetricsForm_e::text));
}

TEST(MetricsTextTest, NumbersAreWholeAndOfAnyKind) {
  MetricsText text(MetricsForm_e::text);
  text.family("a", MetricType_e::gauge, "A.");
  for (const double value :
       {1767268800.125, -1.0, std::numeric_limits<double>::infinity(),
        -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    text.sample(value);
  }
  EXPECT_EQ("# TYPE a gauge\n# HELP a A.\na 1767268800.125\na -1\na +Inf\na -Inf\na NaN\n",
            text.finish());
}

TEST(MetricsTextTest, FormIsTheReaders) {
  EXPECT_EQ(MetricsForm_e::text, formFor(nullptr));
  EXPECT_EQ(MetricsForm_e::text, formFor("*/*"));
  EXPECT_EQ(MetricsForm_e::openMetrics,
            formFor("application/openmetrics-text;version=1.0.0,text/plain;version=0.0.4;q=0.5"));
  EXPECT_STREQ("application/openmetrics-text; version=1.0.0; charset=utf-8",
               MetricsText::contentType(MetricsForm_e::openMetrics));
  EXPECT_STREQ("text/plain; version=0.0.4; charset=utf-8",
               MetricsText::contentType(MetricsForm_e::text));
}

}  // namespace
}  // namespace device
