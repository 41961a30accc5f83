#include "rtsp/picture_streams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "device_onvif/rtsp_reader.h"
#include "support/main_loop.h"

namespace device {
namespace {

constexpr std::int64_t AGE = 300000;  // microseconds from taking a picture to giving it out
constexpr std::int64_t NEAR = 20000;  // microseconds; the next picture is 100 ms away
constexpr int EVERY = 8;              // pictures from one of the sky to the next

// A camera on a mast that looks at the ground, and now and then at the sky.
class PictureStreamsTest : public testing::Test {
 protected:
  StreamScene scene() {
    const bool isSky = ++count % EVERY == 0;
    const std::int64_t time = g_get_monotonic_time() - AGE;
    if (isSky) {
      skies.push_back(g_get_real_time() - AGE);
    }
    return {OverviewCamera({.position = {0, 0, 5},
                            .tilt = isSky ? 60.0 : -60.0,
                            .horizontalFov = 60,
                            .distortion = {}}),
            {},
            time};
  }

  int count = 0;
  std::vector<std::int64_t> skies;  // when they were taken, microseconds since 1970
  PictureStreams streams{{}, {{"camera", 320, 184}}, [this](std::size_t) { return scene(); }};
  std::string address = "rtsp://127.0.0.1:" + std::to_string(streams.port()) + "/camera";
};

// The sky has nothing but noise, so that a JPEG of it is small.
std::vector<RtpUnit> smallOnes(const std::vector<RtpUnit>& pictures) {
  const auto size = [](const RtpUnit& unit) { return unit.bytes.size(); };
  const auto [least, most] = std::ranges::minmax(pictures, {}, size);
  const std::size_t limit = (size(least) + size(most)) / 2;
  std::vector<RtpUnit> small;
  std::ranges::copy_if(pictures, std::back_inserter(small),
                       [&](const RtpUnit& unit) { return size(unit) < limit; });
  return small;
}

TEST_F(PictureStreamsTest, SenderReportsTellWhenAPictureWasTaken) {
  RtspReader reader(address + "/jpeg", "video");
  std::vector<RtpUnit> timed;
  ASSERT_TRUE(iterateUntil([&] {
    streams.tell(0, "<a/>", g_get_monotonic_time());  // a stream begins when both have something
    const std::vector<RtpUnit> all = reader.units();
    timed.clear();
    std::ranges::copy_if(all.empty() ? all : smallOnes(all), std::back_inserter(timed),
                         [](const RtpUnit& unit) { return unit.time.has_value(); });
    return timed.size() >= 3;
  }));
  for (const RtpUnit& picture : timed) {
    EXPECT_TRUE(std::ranges::any_of(skies, [&](std::int64_t sky) {
      return std::abs(sky - *picture.time) < NEAR;
    })) << *picture.time - skies.back();
  }
}

TEST_F(PictureStreamsTest, BeginsWithEachClientThatPlays) {
  std::size_t begun = 0;
  const auto begins = [&](std::size_t count) {
    return iterateUntil([&] {
      streams.tell(0, "<a/>", g_get_monotonic_time());
      for (const std::size_t stream : streams.takeBegun()) {
        EXPECT_EQ(0U, stream);
        ++begun;
      }
      return begun >= count;
    });
  };
  const RtspReader first(address + "/metadata", "application");
  ASSERT_TRUE(begins(1));
  const RtspReader second(address + "/metadata", "application");
  ASSERT_TRUE(begins(2));
}

}  // namespace
}  // namespace device
