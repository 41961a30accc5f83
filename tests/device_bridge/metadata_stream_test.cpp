// A camera that asks who one is, and one that tells nothing for a while, over real sockets.
#include "onvif_client/metadata_stream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "scripted_rtsp.h"
#include "support/main_loop.h"

namespace device::onvif {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr std::int64_t SILENCE = 2000000;

// Whichever the camera names first.
TEST(MetadataStreamLoginTest, PasswordIsSentAsADigestWhereTheCameraKnowsDigests) {
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

class MetadataStreamTest : public testing::Test {
 protected:
  MetadataStreamTest() {
    rtsp.document = "<tt:MetadataStream></tt:MetadataStream>";
    rtsp.isSilent = true;
  }

  ScriptedRtsp rtsp;
  int documents = 0;
  std::vector<std::string> troubles;
  MetadataStream stream{
      rtsp.uri(),
      {},
      {.onDocument = [this](const MetadataArrival&) { ++documents; },
       .onTrouble = [this](const std::string& words) { troubles.push_back(words); }},
      SILENCE};
};

TEST_F(MetadataStreamTest, QuietCameraThatAnswersIsNotBroken) {
  ASSERT_TRUE(iterateUntil([this] { return rtsp.questions >= 3 || !troubles.empty(); }))
      << "longer than the silence by half";
  EXPECT_TRUE(troubles.empty()) << troubles[0];
  rtsp.isSilent = false;
  ASSERT_TRUE(iterateUntil([this] { return documents > 0; })) << "and is heard as soon as it tells";
  EXPECT_EQ(1, rtsp.played);
}

TEST_F(MetadataStreamTest, CameraThatCannotBeAskedIsBrokenWhenItIsSilent) {
  rtsp.knowsParameters = false;
  ASSERT_TRUE(iterateUntil([this] { return rtsp.questions > 0 || !troubles.empty(); }));
  ASSERT_EQ(1U, troubles.size());
  EXPECT_EQ("The camera's stream has been silent for 2 s", troubles[0]);
}

TEST_F(MetadataStreamTest, CameraThatAnswersNothingIsBroken) {
  ASSERT_TRUE(iterateUntil([this] { return rtsp.played == 1; }));
  rtsp.isDead = true;
  ASSERT_TRUE(iterateUntil([this] { return !troubles.empty(); }));
  EXPECT_EQ("The camera's stream has been silent for 2 s", troubles[0]);
}

}  // namespace
}  // namespace device::onvif
