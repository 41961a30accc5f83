#include "base/system_bus.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>

#include <cstdlib>
#include <string>
#include <thread>

#include "base/file_descriptor.h"
#include "base/local_socket.h"
#include "fakes/dbus_daemon.h"
#include "support/temporary_folder.h"

namespace {

constexpr int PATIENCE = 30'000;  // milliseconds, reached by a broken test only

void setAddress(const std::string& path) {
  setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);
}

// GLib's own thread marks a connection as closed, after the call that closes it has returned.
void waitUntilClosed(const SystemBusPtr& connection) {
  const gint64 deadline = g_get_monotonic_time() + PATIENCE * G_TIME_SPAN_MILLISECOND;
  while (!g_dbus_connection_is_closed(connection.get()) && g_get_monotonic_time() < deadline) {
    std::this_thread::yield();
  }
}

TEST(SystemBusTest, AllWhoHoldItShareOneConnection) {
  const DbusDaemon bus;
  const SystemBusPtr first = openSystemBus(nullptr);
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(first, openSystemBus(nullptr));
}

TEST(SystemBusTest, AConnectionThatWasLostIsMadeAnew) {
  const DbusDaemon bus;
  const SystemBusPtr first = openSystemBus(nullptr);
  ASSERT_NE(nullptr, first);
  ASSERT_TRUE(g_dbus_connection_close_sync(first.get(), nullptr, nullptr));
  waitUntilClosed(first);
  const SystemBusPtr second = openSystemBus(nullptr);
  ASSERT_NE(nullptr, second);
  EXPECT_NE(first, second);
  EXPECT_FALSE(g_dbus_connection_is_closed(second.get()));
}

TEST(SystemBusTest, WithoutABusThereIsAnError) {
  const TemporaryFolder folder;
  setAddress(folder / "nobody");
  ErrorSlot error;
  EXPECT_EQ(nullptr, openSystemBus(error.out()));
  EXPECT_TRUE(error.isSet());
}

// The bus takes the connection and never says a word.
TEST(SystemBusTest, CancellingCutsTheMakingOfAConnectionShort) {
  const TemporaryFolder folder;
  const FileDescriptor muteBus = local_socket::listenAt(folder / "mute");
  ASSERT_TRUE(muteBus.isOpen());
  setAddress(folder / "mute");
  const GObjectPtr<GCancellable> cancellable(g_cancellable_new());
  FileDescriptor accepted;
  std::thread canceller([&] {
    pollfd arrival{.fd = muteBus.get(), .events = POLLIN, .revents = 0};
    poll(&arrival, 1, PATIENCE);
    accepted = FileDescriptor(accept(muteBus.get(), nullptr, nullptr));
    g_cancellable_cancel(cancellable.get());
  });
  ErrorSlot error;
  EXPECT_EQ(nullptr, openSystemBus(error.out(), cancellable.get()));
  EXPECT_TRUE(g_error_matches(error.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED)) << error.message();
  canceller.join();
  EXPECT_TRUE(accepted.isOpen());
}

}  // namespace
