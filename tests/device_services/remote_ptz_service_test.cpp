#include "services/remote_ptz_service.h"

#include <gtest/gtest.h>

#include "private_bus.h"
#include "socket_client.h"
#include "support/temporary_folder.h"

namespace device {
namespace {

std::string request(const std::string& name) {
  return "GET orva-cgi/param.cgi?action=list&group=" + name + " 1\n";
}

class RemotePtzServiceTest : public testing::Test {
 protected:
  Reply open(guint channel) { return busClient.call("OpenChannel", g_variant_new("(u)", channel)); }

  std::string path() {
    const Reply reply = open(1);
    const char* path = "";
    if (reply.ok()) {
      g_variant_get(reply.value.get(), "(&s)", &path);
    }
    return path;
  }

  DbusDaemon bus;
  TemporaryFolder folder;
  bool ready = true;
  GObjectPtr<GDBusConnection> connection = connectToSystemBus();
  RemotePtzService service{connection.get(),
                           folder / "ptz",
                           {{{"Brand.ProdNbr", "H100-E"}, {"PTZ.Limit.L1.MaxFieldAngle", "634"}},
                            [this] { return ready; }}};
  BusClient busClient{"com.orva.RemoteCameraControl.PTZ", "/com/orva/RemoteCameraControl/PTZ",
                      "com.orva.RemoteCameraControl.PTZ.Travo"};
};

TEST_F(RemotePtzServiceTest, OnlyTheHeadsChannelIsOpened) {
  EXPECT_TRUE(path().starts_with(folder / "ptz/"));
  EXPECT_EQ(INVALID_ARGS, open(0).error);
  EXPECT_EQ(INVALID_ARGS, open(2).error);
}

TEST_F(RemotePtzServiceTest, ParameterIsAnsweredByOneLine) {
  SocketClient client(path());
  client.send(request("PTZ.Limit.L1.MaxFieldAngle"));
  EXPECT_EQ("root.PTZ.Limit.L1.MaxFieldAngle=634\n", client.receiveUntil('\n'));
  client.send(request("root.Brand.ProdNbr"));
  EXPECT_EQ("root.Brand.ProdNbr=H100-E\n", client.receiveUntil('\n'));
}

TEST_F(RemotePtzServiceTest, HeadThatStartsAnswersNotReadyAndThenItsParameters) {
  SocketClient client(path());
  ready = false;
  client.send(request("Brand.ProdNbr"));
  EXPECT_EQ("0 0\n", client.receiveUntil('\n'));
  ready = true;
  client.send(request("Brand.ProdNbr"));
  EXPECT_EQ("root.Brand.ProdNbr=H100-E\n", client.receiveUntil('\n'));
}

TEST_F(RemotePtzServiceTest, UnknownParameterIsAnsweredByAnErrorThatNamesItAndHasNoValue) {
  SocketClient client(path());
  client.send(request("Brand.None"));
  const std::string answer = client.receiveUntil('\n');
  EXPECT_TRUE(answer.starts_with("error: "));
  EXPECT_NE(std::string::npos, answer.find("Brand.None"));
  EXPECT_EQ(std::string::npos, answer.find('='));
}

TEST_F(RemotePtzServiceTest, RequestMayComeInPiecesAndSeveralAtOnce) {
  SocketClient client(path());
  const std::string both = request("Brand.ProdNbr") + request("Brand.None");
  client.send(both.substr(0, 20));
  while (g_main_context_iteration(nullptr, FALSE)) {
  }
  client.send(both.substr(20));
  EXPECT_EQ("root.Brand.ProdNbr=H100-E\n", client.receiveUntil('\n'));
  EXPECT_TRUE(client.receiveUntil('\n').starts_with("error: "));
}

TEST_F(RemotePtzServiceTest, ClientThatSendsNoLineFeedIsDropped) {
  SocketClient client(path());
  client.send(std::string(5000, 'x'));
  EXPECT_TRUE(client.isClosed());
}

TEST_F(RemotePtzServiceTest, ClientsComeAndGo) {
  { SocketClient gone(path()); }
  SocketClient client(path());
  client.send(request("Brand.ProdNbr"));
  EXPECT_EQ("root.Brand.ProdNbr=H100-E\n", client.receiveUntil('\n'));
}

}  // namespace
}  // namespace device
