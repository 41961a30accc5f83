#include "onvif_client/metadata_stream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "device_bridge/scripted_rtsp.h"
#include "support/main_loop.h"

namespace device::onvif {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// Whichever the camera names first.
TEST(MetadataStreamTest, PasswordIsSentAsADigestWhereTheCameraKnowsDigests) {
  ScriptedRtsp rtsp;
  rtsp.isSilent = true;
  rtsp.challenge =
      "WWW-Authenticate: Basic realm=\"c\"\r\n"
      "WWW-Authenticate: Digest realm=\"c\", nonce=\"n\"";
  const MetadataStream stream(
      rtsp.uri(), {"anna", "secret"},
      {.onDocument = [](const MetadataArrival&) {}, .onTrouble = [](const std::string&) {}});
  ASSERT_TRUE(iterateUntil([&rtsp] { return rtsp.played == 1; }));
  EXPECT_THAT(rtsp.loggedIn, StartsWith("Authorization: Digest username=\"anna\""));
  EXPECT_THAT(rtsp.loggedIn, Not(HasSubstr("secret")));
}

}  // namespace
}  // namespace device::onvif
