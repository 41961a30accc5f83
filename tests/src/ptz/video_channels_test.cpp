#include "ptz/video_channels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>

#include "fakes/fake_ptz_math.h"
#include "src/ptz/video_channel_fixture.h"

namespace {

using testing::IsEmpty;

static_assert(std::has_virtual_destructor_v<VideoChannels>);

using VideoChannelsTest = VideoChannelFixture;

TEST_F(VideoChannelsTest, StartsEmpty) {
  VideoChannels channels;
  EXPECT_EQ(channels.getVideoChannel(0), nullptr);
  EXPECT_FALSE(channels.removeChannel(0));
}

TEST_F(VideoChannelsTest, AddingMakesAChannelThatIsReady) {
  VideoChannels channels;
  EXPECT_TRUE(channels.addChannel(0));
  VideoChannel* channel = channels.getVideoChannel(0);
  ASSERT_NE(channel, nullptr);
  EXPECT_EQ(channel->getChannel(), 0);
  EXPECT_EQ(channel->getWidth(), 1920);
  EXPECT_EQ(channel->refCount, 1);
  EXPECT_EQ(channels.getVideoChannel(1), nullptr);
}

TEST_F(VideoChannelsTest, AChannelWithoutGeometryIsNotAdded) {
  VideoChannels channels;
  EXPECT_FALSE(channels.addChannel(1));
  EXPECT_EQ(channels.getVideoChannel(1), nullptr);
  EXPECT_EQ(FakePtzMath::contextsAlive(), 0);
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
}

TEST_F(VideoChannelsTest, AChannelWithoutAMountingIsNotAdded) {
  FakePtzMath::removeCenter(1);
  VideoChannels channels;
  EXPECT_FALSE(channels.addChannel(0));
  EXPECT_EQ(channels.getVideoChannel(0), nullptr);
  EXPECT_EQ(FakePtzMath::contextsAlive(), 0);
}

TEST_F(VideoChannelsTest, AFailedAddCanBeRepeated) {
  VideoChannels channels;
  FakePtzMath::removeCenter(1);
  EXPECT_FALSE(channels.addChannel(0));
  FakePtzMath::setCenter(1, 0.0, 0.0);
  EXPECT_TRUE(channels.addChannel(0));
  EXPECT_EQ(channels.getVideoChannel(0)->refCount, 1);
}

// A bus that cannot be reached would be logged by whoever asks the lens.
TEST_F(VideoChannelsTest, TheLensOfAChannelThatCannotBeAddedIsNotAsked) {
  g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", TRUE);
  VideoChannels channels;
  EXPECT_FALSE(channels.addChannel(1));
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
  EXPECT_TRUE(channels.addChannel(0));
  EXPECT_EQ(LogCapture::lines().size(), 1U);
  g_setenv("DBUS_SYSTEM_BUS_ADDRESS", PrivateBus::address(), TRUE);
}

TEST_F(VideoChannelsTest, AddingTwiceAndRemovingOnceKeepsTheChannel) {
  VideoChannels channels;
  EXPECT_TRUE(channels.addChannel(0));
  VideoChannel* channel = channels.getVideoChannel(0);
  EXPECT_TRUE(channels.addChannel(0));
  EXPECT_EQ(channels.getVideoChannel(0), channel);
  EXPECT_EQ(channel->refCount, 2);
  EXPECT_FALSE(channels.removeChannel(0));
  ASSERT_EQ(channels.getVideoChannel(0), channel);
  EXPECT_EQ(channel->refCount, 1);
  EXPECT_TRUE(channels.removeChannel(0));
  EXPECT_EQ(channels.getVideoChannel(0), nullptr);
  EXPECT_EQ(FakePtzMath::contextsAlive(), 0);
}

TEST_F(VideoChannelsTest, RemovingLeavesOtherChannelsAlone) {
  setResolution(2, "640x480");
  FakePtzMath::setCenter(3, 0.0, 0.0);
  VideoChannels channels;
  ASSERT_TRUE(channels.addChannel(0));
  ASSERT_TRUE(channels.addChannel(2));
  EXPECT_FALSE(channels.removeChannel(1));
  EXPECT_TRUE(channels.removeChannel(0));
  ASSERT_NE(channels.getVideoChannel(2), nullptr);
  EXPECT_EQ(channels.getVideoChannel(2)->getWidth(), 640);
}

TEST_F(VideoChannelsTest, ClearAndTheEndDestroyAll) {
  setResolution(2, "640x480");
  FakePtzMath::setCenter(3, 0.0, 0.0);
  {
    VideoChannels channels;
    channels.addChannel(0);
    channels.addChannel(0);
    channels.addChannel(2);
    EXPECT_EQ(FakePtzMath::contextsAlive(), 2);
    channels.clear();
    EXPECT_EQ(channels.getVideoChannel(0), nullptr);
    EXPECT_EQ(FakePtzMath::contextsAlive(), 0);
    channels.addChannel(2);
  }
  EXPECT_EQ(FakePtzMath::contextsAlive(), 0);
}

}  // namespace
