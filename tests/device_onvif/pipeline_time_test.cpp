#include "rtsp/pipeline_time.h"

#include <gst/app/gstappsrc.h>
#include <gtest/gtest.h>

#include "base/glib_ptr.h"

namespace device {
namespace {

constexpr std::int64_t MOMENT = 7000000;        // microseconds
constexpr GstClockTime START = 5 * GST_SECOND;  // of the pipeline
constexpr GstClockTime LATER = 2 * GST_SECOND;  // from its start to the moment

class PipelineTimeTest : public testing::Test {
 protected:
  PipelineTimeTest() {
    gst_init(nullptr, nullptr);
    const GObjectPtr<GstClock> clock(gst_system_clock_obtain());
    element.reset(GST_ELEMENT(g_object_ref_sink(g_object_new(GST_TYPE_APP_SRC, nullptr))));
    gst_element_set_clock(element.get(), clock.get());
  }
  ~PipelineTimeTest() override { gst_element_set_state(element.get(), GST_STATE_NULL); }

  void enter(GstState state) { gst_element_set_state(element.get(), state); }

  GObjectPtr<GstElement> element;
};

TEST_F(PipelineTimeTest, RunsFromThePipelinesStart) {
  gst_element_set_base_time(element.get(), START);
  enter(GST_STATE_PLAYING);
  EXPECT_EQ(LATER, pipelineTimeOf(element.get(), MOMENT));
  EXPECT_EQ(std::nullopt, pipelineTimeOf(element.get(), 4999999));
}

// It has a clock by then, and its start still is 0: the stamp would be the machine's age, and the
// frames that follow would lie hours before it.
TEST_F(PipelineTimeTest, IsNotKnownUntilTheElementRuns) {
  for (const GstState state : {GST_STATE_NULL, GST_STATE_READY, GST_STATE_PAUSED}) {
    enter(state);
    EXPECT_EQ(std::nullopt, pipelineTimeOf(element.get(), MOMENT)) << state;
  }
}

TEST(StampOrderTest, DocumentFromBeforeTheLastOneGoesOutWithIt) {
  StampOrder order;
  EXPECT_EQ(5U, order.inOrder(5));
  EXPECT_EQ(5U, order.inOrder(3));
  EXPECT_EQ(7U, order.inOrder(7));
}

TEST(StampOrderTest, NoTwoPicturesAreOfOneMoment) {
  StampOrder order;
  EXPECT_EQ(5U, order.newer(5));
  EXPECT_FALSE(order.newer(3)) << "it was taken before a pause";
  EXPECT_FALSE(order.newer(5));
  EXPECT_EQ(6U, order.newer(6)) << "what was refused does not count";
}

}  // namespace
}  // namespace device
