#include "ptztolva.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "platform_services/test_bus.h"
#include "test_services.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

// Writes down its calls as "Method(arguments)". Channel 9 does not exist.
class PtzService {
 public:
  PtzService()
      : service("com.orva.PTZService", "/com/orva/PTZService", [this] {
          auto* skeleton = test_services_ptzservice_skeleton_new();
          g_signal_connect(skeleton, "handle-move", G_CALLBACK(&PtzService::onMove), this);
          g_signal_connect(skeleton, "handle-goto-home", G_CALLBACK(&PtzService::onHome), this);
          g_signal_connect(skeleton, "handle-get-status", G_CALLBACK(&PtzService::onStatus), this);
          return G_DBUS_INTERFACE_SKELETON(skeleton);
        }) {}

  std::vector<std::string> getCalls() {
    std::vector<std::string> copy;
    service.getLoop().invoke([&] { copy = calls; });
    return copy;
  }

  // How many calls were open at the arrival of each status call, itself included.
  std::vector<int> openCalls() {
    std::vector<int> counts;
    service.getLoop().invoke([&] { counts = openCounts; });
    return counts;
  }

 private:
  struct OpenCall {
    PtzService* service;
    GDBusMethodInvocation* invocation;
  };

  void note(GDBusMethodInvocation* invocation) {
    const GTextPtr arguments(
        g_variant_print(g_dbus_method_invocation_get_parameters(invocation), FALSE));
    calls.push_back(std::string(g_dbus_method_invocation_get_method_name(invocation)) +
                    arguments.get());
  }

  static gboolean onMove(TestServicesPTZService* skeleton, GDBusMethodInvocation* invocation,
                         guint channel, const char*, int, double, int, double, int, int, guint,
                         PtzService* self) {
    self->note(invocation);
    if (channel == 9) {
      g_dbus_method_invocation_return_error_literal(invocation, G_DBUS_ERROR,
                                                    G_DBUS_ERROR_INVALID_ARGS, "No channel 9");
    } else {
      test_services_ptzservice_complete_move(skeleton, invocation);
    }
    return TRUE;
  }

  static gboolean onHome(TestServicesPTZService* skeleton, GDBusMethodInvocation* invocation, guint,
                         const char*, guint, PtzService* self) {
    self->note(invocation);
    test_services_ptzservice_complete_goto_home(skeleton, invocation);
    return TRUE;
  }

  // Answers a little later, so that calls that are not waited for would meet.
  static gboolean onStatus(TestServicesPTZService*, GDBusMethodInvocation* invocation, guint,
                           PtzService* self) {
    self->note(invocation);
    self->openCounts.push_back(++self->open);
    const GSourceReference later(g_timeout_source_new(5));
    g_source_set_callback(
        later.get(),
        [](gpointer call) -> gboolean {
          const std::unique_ptr<OpenCall> open(static_cast<OpenCall*>(call));
          --open->service->open;
          g_dbus_method_invocation_return_value(
              open->invocation, g_variant_new("(dbdbib)", -12.5, TRUE, 33.25, FALSE, 4321, TRUE));
          return G_SOURCE_REMOVE;
        },
        new OpenCall{self, invocation}, nullptr);
    g_source_attach(later.get(), g_main_context_get_thread_default());
    return TRUE;
  }

  std::vector<std::string> calls;
  std::vector<int> openCounts;
  int open = 0;
  TestService service;
};

class PtzTolvaTest : public testing::Test {
 protected:
  PtzTolvaTest() { PrivateBus::address(); }
  ~PtzTolvaTest() override { ptztolva_cleanup(); }

  static bool move(int channel, int kind, double pan, int speed, GError** error) {
    return ptztolva_move_ptz_travo(0, channel, "App", 0, kind, 3, -5, 3, pan, 2.5, speed, 0, 0,
                                   error) != FALSE;
  }
};

TEST_F(PtzTolvaTest, CallsBeforeInitFail) {
  const PtzService service;
  GError* error = nullptr;
  ptztolva_status status{};
  EXPECT_FALSE(move(1, 1, 0, 100, &error));
  EXPECT_EQ("The PTZ library is not initialized", takeMessage(error));
  EXPECT_FALSE(ptztolva_goto_home(0, 1, "App", 0, 100, 0, 0, &error));
  EXPECT_EQ("The PTZ library is not initialized", takeMessage(error));
  EXPECT_FALSE(ptztolva_get_ptz_status(1, &status, &error));
  EXPECT_EQ("The PTZ library is not initialized", takeMessage(error));
}

TEST_F(PtzTolvaTest, CallsAfterCleanupFailUntilTheNextInit) {
  const PtzService service;
  ASSERT_TRUE(ptztolva_init());
  ptztolva_cleanup();
  EXPECT_FALSE(move(1, 1, 0, 100, nullptr));
  ASSERT_TRUE(ptztolva_init());
  EXPECT_TRUE(move(1, 1, 0, 100, nullptr));
}

TEST_F(PtzTolvaTest, InitNeedsTheService) {
  EXPECT_FALSE(ptztolva_init());
  const PtzService service;
  EXPECT_TRUE(ptztolva_init());
  EXPECT_TRUE(ptztolva_init());
}

TEST_F(PtzTolvaTest, InitFailsAgainWhenTheServiceHasGone) {
  {
    const PtzService service;
    ASSERT_TRUE(ptztolva_init());
  }
  EXPECT_FALSE(ptztolva_init());
}

TEST_F(PtzTolvaTest, AMoveHandsOnEveryArgument) {
  PtzService service;
  ASSERT_TRUE(ptztolva_init());
  EXPECT_TRUE(
      ptztolva_move_ptz_travo(0, 1, "App", 0, 1, 3, 777, 0, -179.5, 12.25, 100, 0, 0, nullptr));
  EXPECT_TRUE(ptztolva_move_ptz_travo(0, 2, "App", 0, 3, 3, 0, 3, 0.0, 0.0, 0, 0, 0, nullptr));
  EXPECT_THAT(service.getCalls(), ElementsAre("Move(1, 'App', 1, -179.5, 3, 12.25, 0, 777, 100)",
                                              "Move(2, 'App', 3, 0.0, 3, 0.0, 3, 0, 0)"));
}

TEST_F(PtzTolvaTest, HomeHandsOnEveryArgument) {
  PtzService service;
  ASSERT_TRUE(ptztolva_init());
  EXPECT_TRUE(ptztolva_goto_home(0, 1, "App", 0, 60, 0, 0, nullptr));
  EXPECT_TRUE(ptztolva_goto_home(0, 1, nullptr, 0, 60, 0, 0, nullptr));
  EXPECT_THAT(service.getCalls(), ElementsAre("GotoHome(1, 'App', 60)", "GotoHome(1, '', 60)"));
}

TEST_F(PtzTolvaTest, TheStatusIsRead) {
  PtzService service;
  ASSERT_TRUE(ptztolva_init());
  ptztolva_status status{};
  ASSERT_TRUE(ptztolva_get_ptz_status(1, &status, nullptr));
  EXPECT_FLOAT_EQ(-12.5F, status.pan);
  EXPECT_EQ(1, status.pan_moving);
  EXPECT_FLOAT_EQ(33.25F, status.tilt);
  EXPECT_EQ(0, status.tilt_moving);
  EXPECT_EQ(4321, status.zoom);
  EXPECT_EQ(1, status.zoom_moving);
  EXPECT_THAT(service.getCalls(), ElementsAre("GetStatus(1,)"));
}

TEST_F(PtzTolvaTest, TheServicesErrorIsReported) {
  const PtzService service;
  ASSERT_TRUE(ptztolva_init());
  GError* error = nullptr;
  EXPECT_FALSE(move(9, 1, 0, 100, &error));
  EXPECT_EQ("No channel 9", takeMessage(error));
  EXPECT_FALSE(move(9, 1, 0, 100, nullptr));
}

TEST_F(PtzTolvaTest, BadArgumentsNeverReachTheHead) {
  PtzService service;
  ASSERT_TRUE(ptztolva_init());
  GError* error = nullptr;
  EXPECT_FALSE(move(1, 2, 0, 100, &error));
  EXPECT_EQ("Unknown kind of movement", takeMessage(error));
  EXPECT_FALSE(move(1, 1, std::numeric_limits<double>::quiet_NaN(), 100, &error));
  EXPECT_EQ("No finite pan or tilt", takeMessage(error));
  EXPECT_FALSE(move(1, 1, std::numeric_limits<double>::infinity(), 100, &error));
  EXPECT_EQ("No finite pan or tilt", takeMessage(error));
  EXPECT_FALSE(move(-1, 1, 0, 100, &error));
  EXPECT_EQ("Invalid channel or source", takeMessage(error));
  EXPECT_FALSE(move(1, 1, 0, -1, &error));
  EXPECT_EQ("Negative speed limit", takeMessage(error));
  EXPECT_FALSE(ptztolva_goto_home(0, 1, "\xff", 0, 100, 0, 0, &error));
  EXPECT_EQ("Invalid channel or source", takeMessage(error));
  EXPECT_FALSE(ptztolva_goto_home(0, 1, "App", 0, -1, 0, 0, &error));
  EXPECT_EQ("Negative speed", takeMessage(error));
  EXPECT_FALSE(ptztolva_get_ptz_status(1, nullptr, &error));
  EXPECT_EQ("A status is needed", takeMessage(error));
  ptztolva_status status{};
  EXPECT_FALSE(ptztolva_get_ptz_status(-1, &status, &error));
  EXPECT_EQ("Invalid channel", takeMessage(error));
  EXPECT_THAT(service.getCalls(), IsEmpty());
}

TEST_F(PtzTolvaTest, CallsOfSeveralThreadsComeOneAfterTheOther) {
  PtzService service;
  ASSERT_TRUE(ptztolva_init());
  std::vector<std::future<bool>> results;
  for (int thread = 0; thread < 4; ++thread) {
    results.push_back(std::async(std::launch::async, [] {
      ptztolva_status status{};
      bool isOk = true;
      for (int i = 0; i < 5; ++i) {
        isOk &= ptztolva_get_ptz_status(1, &status, nullptr) != FALSE;
      }
      return isOk;
    }));
  }
  for (auto& result : results) {
    EXPECT_TRUE(result.get());
  }
  EXPECT_EQ(20U, service.openCalls().size());
  EXPECT_THAT(service.openCalls(), Each(1));
}

TEST_F(PtzTolvaTest, ALostBusIsFoundWithoutAnotherInit) {
  auto service = std::make_unique<PtzService>();
  ASSERT_TRUE(ptztolva_init());
  EXPECT_TRUE(move(1, 1, 0, 100, nullptr));
  service.reset();
  PrivateBus::restart();
  EXPECT_FALSE(move(1, 1, 0, 100, nullptr));
  service = std::make_unique<PtzService>();
  EXPECT_TRUE(move(1, 1, 0, 100, nullptr));
}

TEST_F(PtzTolvaTest, AServiceThatReturnsIsFoundWithoutAnotherInit) {
  auto service = std::make_unique<PtzService>();
  ASSERT_TRUE(ptztolva_init());
  EXPECT_TRUE(move(1, 1, 0, 100, nullptr));
  service.reset();
  EXPECT_FALSE(move(1, 1, 0, 100, nullptr));
  service = std::make_unique<PtzService>();
  EXPECT_TRUE(move(1, 1, 0, 100, nullptr));
}

}  // namespace
