#include "rtsp/stream_feeds.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "rtsp/rtsp_server.h"

namespace device {
namespace {

StreamScene sceneOf(std::int64_t time) {
  return {OverviewCamera({.position = {0, 0, 5}, .horizontalFov = 60, .distortion = {}}), {}, time};
}

TEST(StreamFeedsTest, NewestSceneReplacesOneThatWaits) {
  StreamFeeds feeds(1);
  feeds.put(0, sceneOf(1));
  feeds.put(0, sceneOf(2));
  const auto task = feeds.take();
  ASSERT_TRUE(task.has_value());
  EXPECT_EQ(2, task->scene.time);
  feeds.end();
  EXPECT_FALSE(feeds.take().has_value());
}

TEST(StreamFeedsTest, StreamsTakeTurns) {
  StreamFeeds feeds(2);
  feeds.put(0, sceneOf(1));
  feeds.put(1, sceneOf(1));
  EXPECT_EQ(0U, feeds.take()->stream);
  feeds.put(0, sceneOf(2));
  EXPECT_EQ(1U, feeds.take()->stream);
  EXPECT_EQ(0U, feeds.take()->stream);
}

TEST(StreamFeedsTest, PainterThatWaitsIsToldOfTheEnd) {
  StreamFeeds feeds(1);
  std::thread painter([&] { EXPECT_FALSE(feeds.take().has_value()); });
  feeds.end();
  painter.join();
}

TEST(StreamFeedsTest, PictureGoesToTheEntriesOfItsStreamWhileTheyAreOpen) {
  gst_init(nullptr, nullptr);
  StreamFeeds feeds(2);
  EXPECT_FALSE(feeds.isWatched(0));
  auto* source = GST_APP_SRC(g_object_ref_sink(g_object_new(GST_TYPE_APP_SRC, nullptr)));
  feeds.open({0, StreamCodec::jpeg, GObjectPtr<GstAppSrc>(source)});
  EXPECT_TRUE(feeds.isWatched(0));
  EXPECT_FALSE(feeds.isWatched(1));
  feeds.put(0, sceneOf(1));
  const auto task = feeds.take();
  ASSERT_TRUE(task.has_value());
  ASSERT_EQ(1U, task->entries.size());
  EXPECT_EQ(source, task->entries[0].source.get());
  EXPECT_EQ(StreamCodec::jpeg, task->entries[0].codec);
  feeds.close(source);
  EXPECT_FALSE(feeds.isWatched(0));
}

TEST(StreamFeedsTest, StreamThatBeginsIsToldOnce) {
  StreamFeeds feeds(3);
  feeds.begin(2);
  feeds.begin(0);
  feeds.begin(2);
  EXPECT_EQ((std::vector<std::size_t>{0, 2}), feeds.takeBegun());
  EXPECT_EQ(std::vector<std::size_t>{}, feeds.takeBegun());
}

// Before its thread has come to run, or after.
TEST(RtspServerTest, EndsWheneverItIsToldTo) {
  const auto feeds = std::make_shared<StreamFeeds>(1);
  for (int i = 0; i < 100; ++i) {
    const RtspServer server({}, {{"head", 64, 64}}, feeds);
    EXPECT_NE(0, server.port());
  }
}

}  // namespace
}  // namespace device
