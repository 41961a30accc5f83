#include "app/virtual_device.h"

#include <glib-unix.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "private_bus.h"
#include "socket_client.h"
#include "support/temporary_folder.h"

namespace device {
namespace {

// Seconds until a shell has surely set its trap and a frame has come, even on a busy machine.
constexpr double LONG_ENOUGH = 2;

// The device ends as its program's does.
class StopOnTerm {
 public:
  explicit StopOnTerm(VirtualDevice& device) : source(g_unix_signal_source_new(SIGTERM)) {
    g_source_set_callback(source.get(), stop, &device, nullptr);
    g_source_attach(source.get(), nullptr);
  }

 private:
  static gboolean stop(gpointer device) {
    static_cast<VirtualDevice*>(device)->stop();
    return G_SOURCE_CONTINUE;
  }

  GSourcePtr source;
};

class VirtualDeviceTest : public testing::Test {
 protected:
  VirtualDeviceTest() {
    options = parseOptions({"virtual_device", "--quiet", "--head-boot", "0"});
    paths = {folder / "scenes", folder / "subscriber", folder / "ptz", folder / "log"};
  }

  // A program that detaches a shell script and leaves.
  void useDaemon(const std::string& script) {
    options.daemon = folder / "daemon";
    std::ofstream(options.daemon) << "#!/bin/sh\nsetsid /bin/sh -c '" << script << "' & exit 0\n";
    std::filesystem::permissions(options.daemon, std::filesystem::perms::owner_all);
  }

  std::unique_ptr<VirtualDevice> make() {
    return std::make_unique<VirtualDevice>(options, paths, connection.get());
  }

  std::string parameter(const std::string& name) {
    BusClient client("com.orva.ParameterService", "/com/orva/ParameterService");
    const Reply reply = client.call("Get", g_variant_new("(s)", name.c_str()));
    if (!reply.ok()) {
      return reply.error;
    }
    const char* value = nullptr;
    g_variant_get(reply.value.get(), "(&s)", &value);
    return value;
  }

  DbusDaemon bus;
  TemporaryFolder folder;
  GObjectPtr<GDBusConnection> connection = connectToSystemBus();
  Options options;
  DevicePaths paths;
};

TEST_F(VirtualDeviceTest, OffersItsSocketsAndServices) {
  const auto device = make();
  for (const std::string& path : {paths.scenes, paths.subscriber, paths.log}) {
    EXPECT_TRUE(std::filesystem::exists(path)) << path;
  }
  EXPECT_EQ("2.14", parameter("root.Properties.EmbeddedDevelopment.Version"));
  BusClient lens("com.orva.M12LensSelectionFov", "/com/orva/M12LensSelectionFov/0");
  EXPECT_TRUE(lens.property("OpticsWideHFoV"));
  BusClient head("com.orva.PTZService", "/com/orva/PTZService");
  EXPECT_TRUE(head.call("GetStatus", g_variant_new("(u)", 1)).ok());
}

TEST_F(VirtualDeviceTest, LeavesTheLogToTheMachineOnRequest) {
  options.log = false;
  options.duration = 0.01;
  std::ofstream(paths.log) << "of the machine";
  testing::internal::CaptureStdout();
  EXPECT_EQ(0, make()->run());
  testing::internal::GetCapturedStdout();
  EXPECT_EQ("of the machine", readText(paths.log));
}

TEST_F(VirtualDeviceTest, TransportSetsThePlatformsVersion) {
  options.transport = "module";
  const auto device = make();
  EXPECT_EQ("2.16", parameter("root.Properties.EmbeddedDevelopment.Version"));
}

TEST_F(VirtualDeviceTest, DaemonIsEndedAfterTheDurationAndTheReportWritten) {
  useDaemon("trap \"exit 0\" TERM; while :; do sleep 0.05; done");
  options.duration = LONG_ENOUGH;
  options.report = folder / "report";
  testing::internal::CaptureStdout();
  EXPECT_EQ(0, make()->run());
  const std::string output = testing::internal::GetCapturedStdout();
  EXPECT_TRUE(output.starts_with("The page: http://127.0.0.1:")) << output;
  EXPECT_NE(std::string::npos, output.find("\nThe daemon ended with status 0")) << output;
  const std::string report = readText(folder / "report/report.json");
  EXPECT_NE(std::string::npos, report.find("\"transport\": \"socket\""));
  EXPECT_TRUE(std::filesystem::exists(folder / "report/syslog.txt"));
}

TEST_F(VirtualDeviceTest, DaemonThatDiesByItselfEndsTheDeviceWithStatusOne) {
  useDaemon("exit 0");
  testing::internal::CaptureStdout();
  EXPECT_EQ(1, make()->run());
  EXPECT_NE(std::string::npos,
            testing::internal::GetCapturedStdout().find("The daemon ended by itself"));
}

TEST_F(VirtualDeviceTest, DaemonThatEndsWithAnotherStatusGivesStatusOne) {
  useDaemon("trap \"exit 4\" TERM; while :; do sleep 0.05; done");
  options.duration = LONG_ENOUGH;
  testing::internal::CaptureStdout();
  EXPECT_EQ(1, make()->run());
  EXPECT_NE(std::string::npos, testing::internal::GetCapturedStdout().find("status 4"));
}

TEST_F(VirtualDeviceTest, DaemonThatDiesByItselfIsStartedAgainOnRequest) {
  // The second one is there for good: it ends the device, so that no time has to be waited for.
  useDaemon("mkdir " + (folder / "first") + " 2> /dev/null && kill -SEGV $$;" +
            "trap \"exit 0\" TERM; kill -TERM " + std::to_string(getpid()) +
            "; while :; do sleep 0.05; done");
  options.restartDaemon = true;
  testing::internal::CaptureStdout();
  const auto device = make();
  const StopOnTerm stopOnTerm(*device);
  EXPECT_EQ(0, device->run());
  const std::string output = testing::internal::GetCapturedStdout();
  const std::size_t crash = output.find("The daemon ended by itself with signal 11");
  ASSERT_NE(std::string::npos, crash) << output;
  const std::size_t again = output.find("The daemon is started again", crash);
  ASSERT_NE(std::string::npos, again) << output;
  EXPECT_NE(std::string::npos, output.find("The daemon ended with status 0", again)) << output;
}

TEST_F(VirtualDeviceTest, DaemonThatCannotBeStartedAgainEndsTheDevice) {
  useDaemon("rm " + (folder / "daemon"));
  options.restartDaemon = true;
  testing::internal::CaptureStdout();
  EXPECT_EQ(1, make()->run());
  EXPECT_NE(std::string::npos,
            testing::internal::GetCapturedStdout().find("Cannot start the daemon"));
}

TEST_F(VirtualDeviceTest, DaemonThatWasToldToEndIsNotStartedAgain) {
  useDaemon("trap \"exit 4\" TERM; while :; do sleep 0.05; done");
  options.restartDaemon = true;
  options.duration = LONG_ENOUGH;
  testing::internal::CaptureStdout();
  EXPECT_EQ(1, make()->run());
  EXPECT_EQ(std::string::npos,
            testing::internal::GetCapturedStdout().find("The daemon is started again"));
}

TEST_F(VirtualDeviceTest, FramesArriveAtTheSubscriber) {
  options.duration = LONG_ENOUGH;
  const auto device = make();
  SocketClient client(paths.subscriber);
  client.send("SUBSCRIBE 0 15\n");
  EXPECT_EQ(0, device->run());
  EXPECT_EQ("OK\n", client.receiveUntil('\n'));
  const std::string head = client.receive(12);
  ASSERT_EQ(12u, head.size());
  std::uint32_t length = 0;
  for (int i = 0; i < 4; ++i) {
    length = length << 8 | static_cast<std::uint8_t>(head[i]);
  }
  EXPECT_EQ(length, client.receive(length).size());
}

TEST_F(VirtualDeviceTest, UnknownModelAndBadTracksAreErrors) {
  options.model = "none";
  EXPECT_THROW(make(), std::runtime_error);
  options.model = "perfect";
  options.tracks = folder / "none.csv";
  EXPECT_THROW(make(), std::runtime_error);
}

}  // namespace
}  // namespace device
