#include "ptz/ptz_remote_travo.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <functional>
#include <future>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/file_descriptor.h"
#include "fakes/fake_remote_head.h"
#include "fakes/log_capture.h"
#include "fakes/private_bus.h"
#include "support/open_descriptors.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const char* const PROD_NBR = "Brand.ProdNbr";
const char* const MAX_ANGLE = "PTZ.Limit.L1.MaxFieldAngle";
const char* const SENSOR_RATIO = "ImageSource.I0.Sensor.AspectRatio";
const char* const RESOLUTION = "Image.I0.Appearance.Resolution";
const char* const VIDEO_TYPE = "ImageSource.I0.Video.DetectedType";

std::string requestLine(const std::string& name) {
  return "GET orva-cgi/param.cgi?action=list&group=" + name + " 1";
}

class PtzRemoteTravoTest : public testing::Test {
 protected:
  PtzRemoteTravoTest() { LogCapture::clear(); }

  // The value that the head's answer gives for the product number.
  std::optional<std::string> valueOf(const std::vector<std::string>& parts) {
    head.setReply(PROD_NBR, parts);
    return link.get_remote_param(PROD_NBR);
  }

  FakeRemoteHead head;
  PtzRemoteTravo link;
};

// ---- The channel ----

TEST_F(PtzRemoteTravoTest, OpensTheChannelOnceWhenMadeAndUsesNoSocketYet) {
  EXPECT_THAT(head.opens(), ElementsAre(1U));
  EXPECT_EQ(head.connections(), 0);
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
}

TEST_F(PtzRemoteTravoTest, TheSocketIsOpenedOnDemandAndKept) {
  const int fd = link.request_socket();
  ASSERT_GE(fd, 0);
  EXPECT_EQ(link.request_socket(), fd);
  EXPECT_THAT(head.opens(), ElementsAre(1U, 1U));
}

TEST_F(PtzRemoteTravoTest, TheChannelsNumberIsPassedOn) {
  link.setChannel(4);
  EXPECT_GE(link.request_socket(), 0);
  EXPECT_THAT(head.opens(), ElementsAre(1U, 4U));
}

TEST_F(PtzRemoteTravoTest, ANegativeChannelIsNotAskedFor) {
  link.setChannel(-1);
  EXPECT_EQ(link.request_socket(), -1);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Channel not set for port!\n"), 1);
  EXPECT_THAT(head.opens(), SizeIs(1));
}

TEST_F(PtzRemoteTravoTest, ABusErrorGivesNoSocketAndNoMessage) {
  head.failOpens(1);
  EXPECT_EQ(link.request_socket(), -1);
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
  EXPECT_GE(link.request_socket(), 0);
}

TEST_F(PtzRemoteTravoTest, ASocketThatNobodyListensOnIsTriedAnewNextTime) {
  head.setPath(head.socketPath() + "-gone");
  EXPECT_EQ(link.request_socket(), -1);
  head.setPath(head.socketPath());
  EXPECT_GE(link.request_socket(), 0);
}

TEST_F(PtzRemoteTravoTest, APathLongerThanAnAddressIsCut) {
  head.setPath("/" + std::string(300, 'x'));
  EXPECT_EQ(link.request_socket(), -1);
}

TEST(PtzRemoteTravoLifeTest, ClosesItsSocket) {
  FakeRemoteHead head;
  auto link = std::make_unique<PtzRemoteTravo>();
  const int fd = link->request_socket();
  ASSERT_TRUE(isOpen(fd));
  link.reset();
  EXPECT_FALSE(isOpen(fd));
}

TEST(PtzRemoteTravoLifeTest, ABusThatCannotBeReachedAtFirstIsTriedAgain) {
  FakeRemoteHead head;
  const LogCapture log;
  g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", TRUE);
  PtzRemoteTravo link;
  EXPECT_EQ(LogCapture::count(LOG_ERR, "PtzRemoteTravo: Could not connect to the proxy\n"), 1);
  EXPECT_EQ(link.request_socket(), -1);
  g_setenv("DBUS_SYSTEM_BUS_ADDRESS", PrivateBus::address(), TRUE);
  EXPECT_GE(link.request_socket(), 0);
}

// ---- Sending ----

TEST_F(PtzRemoteTravoTest, SendRequestReturnsTheNumberOfBytes) {
  const std::string line = requestLine(PROD_NBR) + "\n";
  EXPECT_EQ(link.send_request(line.c_str()), static_cast<int>(line.size()));
}

TEST_F(PtzRemoteTravoTest, SendRequestRefusesNull) {
  EXPECT_EQ(link.send_request(nullptr), -1);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Port not set! Null pointer.\n"), 1);
}

TEST_F(PtzRemoteTravoTest, SendRequestFailsWithoutASocket) {
  head.failOpens(5);
  EXPECT_EQ(link.send_request("GET\n"), -1);
  EXPECT_THAT(head.opens(), SizeIs(2));  // a socket that cannot be had ends the attempts
}

TEST_F(PtzRemoteTravoTest, ASendErrorOnAStaleSocketIsRetriedOnceWithANewSocket) {
  head.setParameter(PROD_NBR, "Q8742");
  ASSERT_EQ(link.get_remote_param(PROD_NBR), "Q8742");
  head.dropConnections();
  EXPECT_EQ(link.get_remote_param(PROD_NBR), "Q8742");
  EXPECT_EQ(head.connections(), 2);
  EXPECT_THAT(head.opens(), SizeIs(3));
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
}

TEST_F(PtzRemoteTravoTest, AStaleSocketWithoutANewOneFails) {
  head.setParameter(PROD_NBR, "Q8742");
  ASSERT_TRUE(link.get_remote_param(PROD_NBR));
  head.dropConnections();
  head.failOpens(1);
  EXPECT_EQ(link.get_remote_param(PROD_NBR), std::nullopt);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Failed to send camera block request!\n"), 1);
  EXPECT_EQ(link.get_remote_param(PROD_NBR), "Q8742");
}

// ---- Request and reply ----

TEST_F(PtzRemoteTravoTest, OneLineIsSentForOneParameter) {
  EXPECT_EQ(valueOf({"Brand.ProdNbr=Q8742\n"}), "Q8742");
  EXPECT_THAT(head.requests(), ElementsAre(requestLine(PROD_NBR)));
}

TEST_F(PtzRemoteTravoTest, SendRecReturnsTheReplyFromTheNeedleOn) {
  head.setReply(PROD_NBR, {"first\nroot.Brand.ProdNbr=Q8742\nlast\n"});
  const std::string line = requestLine(PROD_NBR) + "\n";
  EXPECT_EQ(link.send_rec(line.c_str(), PROD_NBR), "Brand.ProdNbr=Q8742\nlast\n");
}

TEST_F(PtzRemoteTravoTest, SendRecTakesTheLastPlaceOfTheNeedle) {
  EXPECT_EQ(valueOf({"Brand.ProdNbr=old\nBrand.ProdNbr=new\n"}), "new");
}

TEST_F(PtzRemoteTravoTest, SendRecBeginsAtTheLastPlaceOfTheNeedle) {
  const std::string line = requestLine(PROD_NBR) + "\n";
  head.setReply(PROD_NBR, {"Brand.ProdNbr=old\nBrand.ProdNbr=new\n"});
  EXPECT_EQ(link.send_rec(line.c_str(), PROD_NBR), "Brand.ProdNbr=new\n");
  head.setReply(PROD_NBR, {"HTTP/1.0 200 OK\n", "Brand.ProdNbr=old\nBrand.ProdNbr=new\n"});
  EXPECT_EQ(link.send_rec(line.c_str(), PROD_NBR), "Brand.ProdNbr=new\n");
}

TEST_F(PtzRemoteTravoTest, SendRecRefusesNull) {
  EXPECT_EQ(link.send_rec(nullptr, "x"), std::nullopt);
  EXPECT_EQ(link.send_rec("x", nullptr), std::nullopt);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Failed send request! NULL pointer.\n"), 2);
  EXPECT_THAT(head.requests(), IsEmpty());
}

TEST_F(PtzRemoteTravoTest, TheValueComesWithTheSecondRead) {
  EXPECT_EQ(valueOf({"HTTP/1.0 200 OK\n", "Brand.ProdNbr=Q8742\n"}), "Q8742");
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
}

TEST_F(PtzRemoteTravoTest, ALongReplyIsReadInPiecesOf255Bytes) {
  EXPECT_EQ(valueOf({std::string(255, 'x') + "Brand.ProdNbr=Q8742\n"}), "Q8742");
}

// Of 255 bytes each.
TEST_F(PtzRemoteTravoTest, AValueMayFillTwoReadsToItsLineFeed) {
  const std::string start = "Brand.ProdNbr=";
  const std::string longest(2 * 255 - start.size() - 1, 'y');
  EXPECT_EQ(valueOf({start + longest + "\n"}), longest);
  EXPECT_EQ(valueOf({start + longest + "y\n"}), std::nullopt);
}

// Each read is looked at for itself.
TEST_F(PtzRemoteTravoTest, ANameThatIsCutInTwoIsNotFound) {
  EXPECT_EQ(valueOf({"Brand.Pro", "dNbr=Q8742\n"}), std::nullopt);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Failed to find substring!\n"), 1);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Failed to find parameter string!\n"), 1);
}

TEST_F(PtzRemoteTravoTest, OnlyTwoReadsAreEverMade) {
  EXPECT_EQ(valueOf({"one\n", "two\n"}), std::nullopt);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Failed to find substring!\n"), 1);
}

TEST_F(PtzRemoteTravoTest, AHeadThatIsNotReadyFailsAtOnceWithoutASecondRead) {
  EXPECT_EQ(valueOf({"0 0\n", "Brand.ProdNbr=Q8742\n"}), std::nullopt);
  EXPECT_EQ(
      LogCapture::count(LOG_ERR, "Received non valid response. PTZ camera connection not ready.\n"),
      1);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Failed to find parameter string!\n"), 1);
  EXPECT_FALSE(LogCapture::has("Failed to find substring!\n"));
}

TEST_F(PtzRemoteTravoTest, TheNameCountsMoreThanTheMarkOfAHeadThatIsNotReady) {
  EXPECT_EQ(valueOf({"0 0\nBrand.ProdNbr=Q8742\n"}), "Q8742");
}

TEST_F(PtzRemoteTravoTest, AConnectionThatEndsInTheReplyIsOpenedAnewNextTime) {
  EXPECT_EQ(valueOf({}), std::nullopt);
  EXPECT_THAT(head.opens(), SizeIs(2));
  EXPECT_EQ(valueOf({"Brand.ProdNbr=Q8742\n"}), "Q8742");
  EXPECT_THAT(head.opens(), SizeIs(3));
}

// ---- One parameter ----

TEST_F(PtzRemoteTravoTest, GetRemoteParamRefusesNull) {
  EXPECT_EQ(link.get_remote_param(nullptr), std::nullopt);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Parameter not set!\n"), 1);
}

TEST_F(PtzRemoteTravoTest, TheValueEndsWithItsLine) {
  EXPECT_EQ(valueOf({"Brand.ProdNbr=Q8742\nrest\n"}), "Q8742");
}

TEST_F(PtzRemoteTravoTest, AValueWhoseLineEndsWithTheSecondReadIsTakenAsAWhole) {
  EXPECT_EQ(valueOf({"root.Brand.ProdNbr=TRK-1", "00\n"}), "TRK-100");
  EXPECT_EQ(valueOf({"root.Brand.ProdNbr=TRK-100", "\n"}), "TRK-100");
  EXPECT_EQ(valueOf({"root.Brand.ProdNbr", "=TRK-100\n"}), "TRK-100");
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
}

TEST_F(PtzRemoteTravoTest, AValueWhoseLineDoesNotEndWithinTwoReadsIsNotFound) {
  EXPECT_EQ(valueOf({"Brand.ProdNbr=TRK-1", "0", "0\n"}), std::nullopt);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Failed to find substring!\n"), 1);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Failed to find parameter string!\n"), 1);
}

TEST_F(PtzRemoteTravoTest, AValueWhoseLineIsCutByTheEndOfTheConnectionIsNotFound) {
  head.setLastWords(PROD_NBR, {"Brand.ProdNbr=TRK-1"});
  EXPECT_EQ(link.get_remote_param(PROD_NBR), std::nullopt);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Failed to find substring!\n"), 1);
  EXPECT_EQ(valueOf({"Brand.ProdNbr=TRK-100\n"}), "TRK-100");
}

TEST_F(PtzRemoteTravoTest, AnUnfinishedLineBehindTheNameIsNoValue) {
  EXPECT_EQ(valueOf({"Brand.ProdNbr=TRK-100\nBrand.Web=w"}), std::nullopt);
}

TEST_F(PtzRemoteTravoTest, ATrailingCarriageReturnIsNoPartOfTheValue) {
  EXPECT_EQ(valueOf({"Brand.ProdNbr=Q8742\r\n"}), "Q8742");
}

TEST_F(PtzRemoteTravoTest, TheValueFollowsTheLastEqualsSign) {
  EXPECT_EQ(valueOf({"Brand.ProdNbr=a=b\n"}), "b");
}

TEST_F(PtzRemoteTravoTest, AnEmptyValueIsAValue) {
  EXPECT_EQ(valueOf({"Brand.ProdNbr=\n"}), "");
}

TEST_F(PtzRemoteTravoTest, ALineWithoutAValueGivesNothingAndNoMessage) {
  EXPECT_EQ(valueOf({"Brand.ProdNbr\n"}), std::nullopt);
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
}

// ---- The getters ----

TEST_F(PtzRemoteTravoTest, ProductNumber) {
  head.setParameter(PROD_NBR, "K4711-B");
  std::string number;
  EXPECT_TRUE(link.getProdNbr(number));
  EXPECT_EQ(number, "K4711-B");
}

TEST_F(PtzRemoteTravoTest, ProductNumberThatCannotBeRead) {
  std::string number = "untouched";
  EXPECT_FALSE(link.getProdNbr(number));
  EXPECT_EQ(number, "untouched");
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Failed to get parameter value!\n"), 1);
}

TEST_F(PtzRemoteTravoTest, FieldAnglesComeInTenthsOfADegree) {
  head.setParameter(MAX_ANGLE, "634");
  head.setParameter("PTZ.Limit.L1.MinFieldAngle", "23");
  double degrees = 0.0;
  EXPECT_TRUE(link.getMaxFieldAngle(degrees));
  EXPECT_DOUBLE_EQ(degrees, 63.4);
  EXPECT_TRUE(link.getMinFieldAngle(degrees));
  EXPECT_DOUBLE_EQ(degrees, 2.3);
}

TEST_F(PtzRemoteTravoTest, FieldAnglesMayHaveDecimals) {
  head.setParameter(MAX_ANGLE, "634.5");
  double degrees = 0.0;
  EXPECT_TRUE(link.getMaxFieldAngle(degrees));
  EXPECT_DOUBLE_EQ(degrees, 63.45);
}

TEST_F(PtzRemoteTravoTest, AFieldAngleThatIsNoNumberIsNotTaken) {
  for (const char* value : {"nan", "inf", "-inf", "1e999"}) {
    head.setParameter(MAX_ANGLE, value);
    double degrees = -7.0;
    EXPECT_FALSE(link.getMaxFieldAngle(degrees)) << value;
    EXPECT_EQ(degrees, -7.0) << value;
  }
}

TEST_F(PtzRemoteTravoTest, ZoomLimits) {
  head.setParameter("PTZ.Limit.L1.MinZoom", "1");
  head.setParameter("PTZ.Limit.L1.MaxZoom", "9999");
  int zoom = 0;
  EXPECT_TRUE(link.getMinZoom(zoom));
  EXPECT_EQ(zoom, 1);
  EXPECT_TRUE(link.getMaxZoom(zoom));
  EXPECT_EQ(zoom, 9999);
}

TEST_F(PtzRemoteTravoTest, StopsOfAnAxisThatHasSome) {
  head.setParameter("PTZ.Limit.L1.MinTilt", "-90");
  head.setParameter("PTZ.Limit.L1.MaxTilt", "20.5");
  double lowest = -7.0;
  double highest = 7.0;
  EXPECT_FALSE(link.getStops("Pan", lowest, highest));
  EXPECT_EQ(lowest, -7.0);
  EXPECT_TRUE(link.getStops("Tilt", lowest, highest));
  EXPECT_EQ(lowest, -90.0);
  EXPECT_EQ(highest, 20.5);
  head.setParameter("PTZ.Limit.L1.MaxTilt", "-90");  // there is nothing in between
  EXPECT_FALSE(link.getStops("Tilt", lowest, highest));
}

TEST_F(PtzRemoteTravoTest, ZoomLimitsBeyondTheRangeAreTheNearest) {
  head.setParameter("PTZ.Limit.L1.MinZoom", "-4294967297");
  head.setParameter("PTZ.Limit.L1.MaxZoom", "4294967297");
  int zoom = 0;
  EXPECT_TRUE(link.getMinZoom(zoom));
  EXPECT_EQ(zoom, std::numeric_limits<int>::min());
  EXPECT_TRUE(link.getMaxZoom(zoom));
  EXPECT_EQ(zoom, std::numeric_limits<int>::max());
}

TEST_F(PtzRemoteTravoTest, AFieldAngleInTwoReadsIsTakenAsAWhole) {
  head.setReply(MAX_ANGLE, {"PTZ.Limit.L1.MaxFieldAngle=6", "34\n"});
  double degrees = 0.0;
  EXPECT_TRUE(link.getMaxFieldAngle(degrees));
  EXPECT_DOUBLE_EQ(degrees, 63.4);
}

TEST_F(PtzRemoteTravoTest, ANumberNeedsDigits) {
  for (const char* value : {"", "wide", "-", " "}) {
    head.setParameter(MAX_ANGLE, value);
    head.setParameter("PTZ.Limit.L1.MaxZoom", value);
    double degrees = -7.0;
    int zoom = -7;
    EXPECT_FALSE(link.getMaxFieldAngle(degrees)) << value;
    EXPECT_FALSE(link.getMaxZoom(zoom)) << value;
    EXPECT_EQ(degrees, -7.0) << value;
    EXPECT_EQ(zoom, -7) << value;
  }
  EXPECT_EQ(
      LogCapture::count(LOG_ERR, "Failed to get parameter value PTZ.Limit.L1.MaxFieldAngle\n"), 4);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Failed to get parameter value PTZ.Limit.L1.MaxZoom\n"), 4);
}

TEST_F(PtzRemoteTravoTest, LimitsThatCannotBeReadLeaveTheArgumentAlone) {
  double degrees = -7.0;
  int zoom = -7;
  EXPECT_FALSE(link.getMinFieldAngle(degrees));
  EXPECT_FALSE(link.getMaxFieldAngle(degrees));
  EXPECT_FALSE(link.getMinZoom(zoom));
  EXPECT_FALSE(link.getMaxZoom(zoom));
  EXPECT_EQ(degrees, -7.0);
  EXPECT_EQ(zoom, -7);
  for (const char* name : {"PTZ.Limit.L1.MinFieldAngle", "PTZ.Limit.L1.MaxFieldAngle",
                           "PTZ.Limit.L1.MinZoom", "PTZ.Limit.L1.MaxZoom"}) {
    EXPECT_EQ(
        LogCapture::count(LOG_ERR, std::string("Failed to get parameter value ") + name + "\n"), 1)
        << name;
  }
}

// ---- A head that does not answer ----

constexpr auto TIMEOUT = std::chrono::seconds(5);

// What another thread cuts short has ended before the head's time is up.
constexpr auto CUT_SHORT = std::chrono::seconds(4);

class SilentHeadTest : public PtzRemoteTravoTest {
 protected:
  SilentHeadTest() { head.setUp("Q8742"); }

  // Asks for the product number within an attempt, on a thread of its own.
  std::future<std::optional<std::string>> askInBackground() {
    return std::async(std::launch::async, [this] {
      const PtzRemoteTravo::Attempt attempt(link);
      return link.get_remote_param(PROD_NBR);
    });
  }

  // Cuts the attempt short once the link waits for something.
  void expectCutShort(const std::function<bool()>& isWaiting) {
    auto answer = askInBackground();
    ASSERT_TRUE(iterateUntil(isWaiting));
    link.cancel();
    EXPECT_EQ(answer.wait_for(CUT_SHORT), std::future_status::ready);
    EXPECT_EQ(answer.get(), std::nullopt);
  }
};

// The one wait of this test is a real one.
TEST_F(SilentHeadTest, AfterOneWaitInVainTheRestOfTheAttemptFailsUnasked) {
  head.fallSilent("PTZ.Limit.L1.MinZoom");
  const int fd = link.request_socket();
  {
    const PtzRemoteTravo::Attempt attempt(link);
    double degrees = 0.0;
    int zoom = -7;
    double ratio = 0.7;
    std::string number;
    EXPECT_TRUE(link.getMinFieldAngle(degrees));
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_FALSE(link.getMinZoom(zoom));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, TIMEOUT);
    EXPECT_FALSE(isOpen(fd));
    EXPECT_FALSE(link.getMaxZoom(zoom));
    EXPECT_FALSE(link.getAspectRatio(ratio));
    EXPECT_EQ(ratio, 0.7);
    EXPECT_FALSE(link.getProdNbr(number));
    EXPECT_THAT(head.requests(), SizeIs(2));
    EXPECT_EQ(LogCapture::count(LOG_ERR, "Failed to receive camera block response!\n"), 1);
  }
  const PtzRemoteTravo::Attempt next(link);
  EXPECT_EQ(link.get_remote_param(PROD_NBR), "Q8742");
  EXPECT_EQ(head.connections(), 2);
}

TEST_F(SilentHeadTest, AWaitForTheRestOfALineInVainEndsTheAttempt) {
  head.setReply(PROD_NBR, {"Brand.ProdNbr=Q87"});
  const PtzRemoteTravo::Attempt attempt(link);
  EXPECT_EQ(link.get_remote_param(PROD_NBR), std::nullopt);
  EXPECT_EQ(LogCapture::count(LOG_ERR, "Failed to receive second camera block response!\n"), 1);
  EXPECT_EQ(link.get_remote_param(MAX_ANGLE), std::nullopt);
  EXPECT_THAT(head.requests(), SizeIs(1));
}

TEST_F(SilentHeadTest, AChannelThatDoesNotOpenEndsTheAttempt) {
  head.holdOpens(true);
  const PtzRemoteTravo::Attempt attempt(link);
  EXPECT_EQ(link.request_socket(), -1);
  EXPECT_EQ(link.request_socket(), -1);
  EXPECT_THAT(head.opens(), SizeIs(2));  // the first one is the constructor's
}

TEST_F(SilentHeadTest, AHeadThatRefusesIsAskedOnAtOnce) {
  head.failOpens(1);
  const PtzRemoteTravo::Attempt attempt(link);
  EXPECT_EQ(link.get_remote_param(PROD_NBR), std::nullopt);
  EXPECT_EQ(link.get_remote_param(PROD_NBR), "Q8742");
}

TEST_F(SilentHeadTest, AWaitForAnAnswerIsCutShort) {
  head.fallSilent(PROD_NBR);
  const int fd = link.request_socket();
  expectCutShort([this] { return head.requests().size() == 1; });
  EXPECT_FALSE(isOpen(fd));
}

TEST_F(SilentHeadTest, AWaitForTheChannelIsCutShort) {
  head.holdOpens(true);
  expectCutShort([this] { return head.opens().size() == 2; });
}

// The connections that a listener without a queue holds, and one more that finds no room.
class FullListener {
 public:
  explicit FullListener(const std::string& path) : listener(open()) {
    path.copy(name.sun_path, sizeof(name.sun_path) - 1);
    EXPECT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&name), sizeof(name)), 0);
    EXPECT_EQ(listen(listener.get(), 0), 0);
    do {
      clients.push_back(open());
    } while (
        connect(clients.back().get(), reinterpret_cast<const sockaddr*>(&name), sizeof(name)) == 0);
    EXPECT_EQ(errno, EAGAIN);
  }

 private:
  static FileDescriptor open() {
    return FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  }

  sockaddr_un name{.sun_family = AF_UNIX, .sun_path = ""};
  const FileDescriptor listener;
  std::vector<FileDescriptor> clients;
};

TEST_F(SilentHeadTest, AWaitForAHeadThatDoesNotAcceptIsCutShort) {
  const std::string path = head.socketPath() + "-full";
  const FullListener listener(path);
  head.setPath(path);
  expectCutShort([this] { return head.opens().size() == 2; });
}

TEST_F(SilentHeadTest, AHeadThatDoesNotAcceptEndsTheAttempt) {
  const std::string path = head.socketPath() + "-full";
  const FullListener listener(path);
  head.setPath(path);
  const PtzRemoteTravo::Attempt attempt(link);
  EXPECT_EQ(link.request_socket(), -1);
  EXPECT_EQ(link.request_socket(), -1);
  EXPECT_THAT(head.opens(), SizeIs(2));
}

TEST_F(SilentHeadTest, AnAttemptThatIsCutShortAsksNothingMoreAndTheNextOneDoes) {
  {
    const PtzRemoteTravo::Attempt attempt(link);
    EXPECT_EQ(link.get_remote_param(PROD_NBR), "Q8742");
    link.cancel();
    EXPECT_EQ(link.get_remote_param(PROD_NBR), std::nullopt);
    const PtzRemoteTravo::Attempt part(link);
    EXPECT_EQ(link.get_remote_param(PROD_NBR), std::nullopt);
    EXPECT_THAT(head.requests(), SizeIs(1));
  }
  const PtzRemoteTravo::Attempt next(link);
  EXPECT_EQ(link.get_remote_param(PROD_NBR), "Q8742");
}

TEST_F(SilentHeadTest, AnAttemptIsNotOverWithOneThatIsPartOfIt) {
  const PtzRemoteTravo::Attempt attempt(link);
  {
    const PtzRemoteTravo::Attempt part(link);
    link.cancel();
  }
  EXPECT_EQ(link.get_remote_param(PROD_NBR), std::nullopt);
}

TEST_F(SilentHeadTest, WithoutAnAttemptThereIsNothingToCutShort) {
  link.cancel();
  EXPECT_EQ(link.get_remote_param(PROD_NBR), "Q8742");
  const PtzRemoteTravo::Attempt attempt(link);
  EXPECT_EQ(link.get_remote_param(PROD_NBR), "Q8742");
}

// ---- The aspect ratio ----

class AspectRatioTest : public PtzRemoteTravoTest {
 protected:
  double ratio(const std::string& sensor, const std::string& resolution,
               const std::string& videoType) {
    head.setParameter(SENSOR_RATIO, sensor);
    head.setParameter(RESOLUTION, resolution);
    head.setParameter(VIDEO_TYPE, videoType);
    double result = -1.0;
    EXPECT_TRUE(link.getAspectRatio(result));
    return result;
  }
};

TEST_F(AspectRatioTest, AllThreeParametersAreAskedForInOrder) {
  ratio("16:9", "", "");
  EXPECT_THAT(head.requests(), ElementsAre(requestLine(SENSOR_RATIO), requestLine(RESOLUTION),
                                           requestLine(VIDEO_TYPE)));
}

TEST_F(AspectRatioTest, TheSensorsRatioComesFirst) {
  EXPECT_DOUBLE_EQ(ratio("16:9", "640x480", "pal"), 16.0 / 9.0);
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
}

TEST_F(AspectRatioTest, ASensorRatioOfUnknownFormatIsStoredAsZero) {
  EXPECT_EQ(ratio("16/9", "640x480", "pal"), 0.0);
  EXPECT_EQ(LogCapture::count(LOG_WARNING, "Sensor aspect ratio '16/9' has unknown format.\n"), 1);
}

TEST_F(AspectRatioTest, ASensorRatioOverNothingIsOfUnknownFormat) {
  EXPECT_EQ(ratio("16:0", "640x480", "pal"), 0.0);
  EXPECT_EQ(LogCapture::count(LOG_WARNING, "Sensor aspect ratio '16:0' has unknown format.\n"), 1);
}

TEST_F(AspectRatioTest, AnEmptySensorRatioLeavesTheResolution) {
  EXPECT_DOUBLE_EQ(ratio("", "1920x1080", ""), 1920.0 / 1080.0);
}

TEST_F(AspectRatioTest, AMissingSensorRatioLeavesTheResolution) {
  head.setParameter(RESOLUTION, "1920x1080");
  double result = 0.0;
  EXPECT_TRUE(link.getAspectRatio(result));
  EXPECT_DOUBLE_EQ(result, 1920.0 / 1080.0);
}

TEST_F(AspectRatioTest, AnalogueVideoIsFourToThreeInSinglePrecision) {
  for (const char* type : {"pal", "ntsc", "PAL", "NTSC"}) {
    EXPECT_EQ(ratio("", "CIF", type), 1.3333333730697632) << type;
  }
  EXPECT_THAT(LogCapture::lines(), IsEmpty());
}

TEST_F(AspectRatioTest, AnythingElseIsTakenForASquare) {
  EXPECT_EQ(ratio("", "CIF", "Pal"), 1.0);
  EXPECT_EQ(LogCapture::count(LOG_WARNING,
                              "Detected video type 'Pal' is invalid, assuming aspect ratio 1.0.\n"),
            1);
}

TEST_F(AspectRatioTest, AHeadThatTellsNothingIsTakenForASquare) {
  double result = 0.0;
  EXPECT_TRUE(link.getAspectRatio(result));
  EXPECT_EQ(result, 1.0);
}

}  // namespace
