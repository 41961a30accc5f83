// A device with a lens, for the tests of video channels.
#ifndef TESTS_SRC_PTZ_VIDEO_CHANNEL_FIXTURE_H
#define TESTS_SRC_PTZ_VIDEO_CHANNEL_FIXTURE_H

#include <gtest/gtest.h>

#include <string>

#include "events/sdk_wrapper.h"
#include "fakes/fake_events.h"
#include "fakes/fake_lens.h"
#include "fakes/fake_main_loop.h"
#include "fakes/fake_parameters.h"
#include "fakes/fake_ptz_math.h"
#include "fakes/log_capture.h"

// Channel 0 has a picture of 1920 x 1080 and a lens of 96 by 54 degrees, 0.05 degrees to a pixel,
// whose middle is at pan 10, tilt -20. Other channels have nothing.
class VideoChannelFixture : public testing::Test {
 protected:
  VideoChannelFixture() {
    FakeEvents::reset();
    FakeMainLoop::reset();
    FakeParameters::reset();
    FakePtzMath::reset();
    sdk_wrapper_init("SentrelVideo", "SentrelVideo", "MiruPlatform");
    setResolution(0, "1920x1080");
    FakePtzMath::setCenter(1, 10.0, -20.0);
    lens.set(0, 96.0, 54.0, 0);
  }

  ~VideoChannelFixture() override { sdk_wrapper_cleanup(); }

  static void setResolution(int channel, const std::string& resolution) {
    FakeParameters::set("Image.I" + std::to_string(channel) + ".Appearance.Resolution", resolution);
  }

  FakeLens lens;
  const LogCapture log;
};

#endif
