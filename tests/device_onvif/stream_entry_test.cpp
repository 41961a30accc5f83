#include "rtsp/stream_entry.h"

#include <gst/app/gstappsink.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace device {
namespace {

constexpr std::int64_t SECOND = 1000000;     // microseconds
constexpr std::int64_t START = 50 * SECOND;  // of the pipeline, by the monotonic clock

// A pipeline whose clock does not matter: what goes in comes out at once.
class StreamEntryTest : public testing::Test {
 protected:
  StreamEntryTest() {
    gst_init(nullptr, nullptr);
    pipeline.reset(GST_ELEMENT(g_object_ref_sink(gst_pipeline_new(nullptr))));
    sink = GST_APP_SINK(g_object_new(GST_TYPE_APP_SINK, "sync", FALSE, "async", FALSE, nullptr));
    auto* source = GST_APP_SRC(
        g_object_new(GST_TYPE_APP_SRC, "format", GST_FORMAT_TIME, "is-live", TRUE, nullptr));
    entry.source.reset(GST_APP_SRC(g_object_ref(source)));
    gst_bin_add_many(GST_BIN(pipeline.get()), GST_ELEMENT(source), GST_ELEMENT(sink), nullptr);
    gst_element_link(GST_ELEMENT(source), GST_ELEMENT(sink));
    gst_element_set_start_time(pipeline.get(), GST_CLOCK_TIME_NONE);
  }
  ~StreamEntryTest() override { gst_element_set_state(pipeline.get(), GST_STATE_NULL); }

  void run(std::int64_t start = START) {
    gst_element_set_base_time(pipeline.get(), static_cast<GstClockTime>(start) * 1000);
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    gst_element_get_state(pipeline.get(), nullptr, nullptr, GST_CLOCK_TIME_NONE);
  }

  bool give(std::int64_t time) { return send(entry, "document", 8, time); }

  // Something at 20 s, and a pause of ten seconds that does not count.
  void giveAndPause() {
    run();
    EXPECT_TRUE(give(START + 20 * SECOND));
    gst_element_set_state(pipeline.get(), GST_STATE_PAUSED);
    run(START + 10 * SECOND);
  }

  // Seconds since its start.
  double next() {
    const std::unique_ptr<GstSample, GDeleter<gst_sample_unref>> sample(
        gst_app_sink_pull_sample(sink));
    return static_cast<double>(GST_BUFFER_PTS(gst_sample_get_buffer(sample.get()))) / GST_SECOND;
  }

  GObjectPtr<GstElement> pipeline;
  GstAppSink* sink = nullptr;
  StreamEntry entry{};
};

TEST_F(StreamEntryTest, SaysWhetherAnybodyCanHearIt) {
  EXPECT_FALSE(give(START + SECOND));
  run();
  EXPECT_FALSE(give(START - SECOND));
  EXPECT_TRUE(give(START + SECOND));
  EXPECT_DOUBLE_EQ(1, next());
}

TEST_F(StreamEntryTest, StampsFollowTheMoments) {
  run();
  EXPECT_TRUE(give(START + SECOND));
  EXPECT_TRUE(give(START + 3 * SECOND));
  EXPECT_DOUBLE_EQ(1, next());
  EXPECT_DOUBLE_EQ(3, next());
}

// What was told in the time before the pause would come to lie before the last one.
TEST_F(StreamEntryTest, StampsNeverRunBackAfterAPause) {
  entry.codec = StreamCodec::metadata;
  giveAndPause();
  ASSERT_TRUE(give(START + 21 * SECOND));
  EXPECT_TRUE(give(START + 32 * SECOND));
  EXPECT_DOUBLE_EQ(20, next());
  EXPECT_DOUBLE_EQ(20, next());
  EXPECT_DOUBLE_EQ(22, next());
}

TEST_F(StreamEntryTest, PictureOfTheTimeBeforeAPauseIsLeftOut) {
  giveAndPause();
  EXPECT_FALSE(give(START + 21 * SECOND));
  EXPECT_TRUE(give(START + 32 * SECOND));
  EXPECT_DOUBLE_EQ(20, next());
  EXPECT_DOUBLE_EQ(22, next());
}

}  // namespace
}  // namespace device
