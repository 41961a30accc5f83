#include "services/ptz_service.h"

#include <gtest/gtest.h>

#include <limits>

#include "base/units.h"
#include "private_bus.h"
#include "services/head_drive.h"

namespace device {
namespace {

HeadSetup setup() {
  HeadSetup head;
  head.pan = {.speed = 100, .acceleration = 400, .low = -180, .high = 180, .endless = true};
  head.tilt = {.speed = 100, .acceleration = 400, .low = -90, .high = 90};
  head.link.latency = 0.05;
  head.zoomSpeed = 5000;
  head.minFieldAngle = 2.5;
  head.maxFieldAngle = 64.6;
  return head;
}

struct Position {
  double pan = 0;
  double tilt = 0;
  int zoom = 0;
  bool moving = false;
};

class PtzServiceTest : public testing::Test {
 protected:
  PtzServiceTest() {
    events.observe([this](const Event& event) { sent.push_back(event.keys); });
  }

  Reply move(int panKind, double pan, int tiltKind, double tilt, int zoomKind, int zoom,
             guint speed = 100, guint channel = 1) {
    return client.call("Move", g_variant_new("(usididiiu)", channel, "test", panKind, pan, tiltKind,
                                             tilt, zoomKind, zoom, speed));
  }

  Position status() {
    const Reply reply = client.call("GetStatus", g_variant_new("(u)", 1));
    Position position;
    gboolean pan = FALSE;
    gboolean tilt = FALSE;
    gboolean zoom = FALSE;
    if (reply.ok()) {
      g_variant_get(reply.value.get(), "(dbdbib)", &position.pan, &pan, &position.tilt, &tilt,
                    &position.zoom, &zoom);
    }
    position.moving = pan || tilt || zoom;
    return position;
  }

  void pass(double seconds) {
    const auto end = now + units::truncatedFromSeconds(seconds);
    for (; now < end; now += 10000) {
      service.update();
    }
    service.update();
  }

  // Of one event, in the order in which they were sent.
  std::vector<EventKeys> sentOf(const std::string& topic1) {
    std::vector<EventKeys> found;
    for (const EventKeys& keys : sent) {
      if (valueOf<std::string>(keys, "topic1") == topic1) {
        found.push_back(keys);
      }
    }
    return found;
  }

  DbusDaemon bus;
  std::int64_t now = 1000000;
  GObjectPtr<GDBusConnection> connection = connectToSystemBus();
  EventService events{connection.get()};
  HeadDrive drive{setup(), [this] { return now; }};
  PtzService service{connection.get(), drive, events};
  BusClient client{"com.orva.PTZService", "/com/orva/PTZService"};
  std::vector<EventKeys> sent;
};

TEST_F(PtzServiceTest, AbsoluteMoveArrives) {
  ASSERT_TRUE(move(1, 30.0, 1, -20.0, 1, 2000).ok());
  pass(3);
  const Position position = status();
  EXPECT_NEAR(30, position.pan, 0.01);
  EXPECT_NEAR(-20, position.tilt, 0.01);
  EXPECT_EQ(2000, position.zoom);
  EXPECT_FALSE(position.moving);
}

TEST_F(PtzServiceTest, AnsweredCallsAreTold) {
  std::vector<HeadCall_e> told;
  service.observeCalls([&](HeadCall_e call, double seconds) {
    told.push_back(call);
    EXPECT_GE(seconds, 0);
    EXPECT_LT(seconds, 60);
  });
  status();
  move(1, 20, 0, 0, 0, 0);
  move(1, 20, 0, 0, 0, 0, 101);  // refused
  EXPECT_EQ((std::vector{HeadCall_e::status, HeadCall_e::move}), told);
}

TEST_F(PtzServiceTest, ContinuousMoveGoesOnUntilTheStop) {
  ASSERT_TRUE(move(3, 10.0, 3, 0.0, 3, 0).ok());
  pass(2);
  const Position going = status();
  EXPECT_TRUE(going.moving);
  EXPECT_NEAR(19.5, going.pan, 0.6);  // 10 degrees per second, less latency and speeding up
  ASSERT_TRUE(move(3, 0.0, 3, 0.0, 3, 0, 0).ok());
  pass(1);
  const Position stopped = status();
  EXPECT_FALSE(stopped.moving);
  pass(1);
  EXPECT_EQ(stopped.pan, status().pan);
}

TEST_F(PtzServiceTest, AxisOfKindZeroKeepsWhatItDoes) {
  move(3, 10.0, 0, 0.0, 0, 0);
  pass(1);
  move(0, 0.0, 1, -30.0, 0, 0);
  pass(1);
  EXPECT_TRUE(status().moving);
  EXPECT_NEAR(-30, status().tilt, 0.01);
  EXPECT_GT(status().pan, 15);
}

TEST_F(PtzServiceTest, GotoHomeBringsTheHeadHome) {
  move(1, 30.0, 1, -20.0, 0, 0);
  pass(3);
  ASSERT_TRUE(client.call("GotoHome", g_variant_new("(usu)", 1, "test", 100)).ok());
  pass(3);
  EXPECT_NEAR(0, status().pan, 0.01);
  EXPECT_NEAR(0, status().tilt, 0.01);
}

TEST_F(PtzServiceTest, ClockOfTheHeadGoesOnBetweenUpdates) {
  move(1, 30.0, 1, -20.0, 0, 0);
  now += 3000000;
  EXPECT_NEAR(30, status().pan, 0.01);
}

TEST_F(PtzServiceTest, BadArgumentsAreRefused) {
  EXPECT_EQ(INVALID_ARGS, move(2, 0.0, 0, 0.0, 0, 0).error);
  EXPECT_EQ(INVALID_ARGS, move(0, 0.0, -1, 0.0, 0, 0).error);
  EXPECT_EQ(INVALID_ARGS, move(0, 0.0, 0, 0.0, 4, 0).error);
  EXPECT_EQ(INVALID_ARGS, move(1, std::numeric_limits<double>::quiet_NaN(), 0, 0.0, 0, 0).error);
  EXPECT_EQ(INVALID_ARGS, move(3, 0.0, 3, std::numeric_limits<double>::infinity(), 0, 0).error);
  EXPECT_EQ(INVALID_ARGS, move(1, 0.0, 1, 0.0, 0, 0, 101).error);
  EXPECT_EQ(INVALID_ARGS, move(1, 0.0, 1, 0.0, 0, 0, 100, 0).error);
  EXPECT_EQ(INVALID_ARGS, client.call("GetStatus", g_variant_new("(u)", 2)).error);
  EXPECT_EQ(INVALID_ARGS, client.call("SetPreset", g_variant_new("(ui)", 1, 0)).error);
  EXPECT_EQ(INVALID_ARGS, client.call("GotoPreset", g_variant_new("(uiu)", 1, 9, 100)).error);
}

TEST_F(PtzServiceTest, BothEventsAreDeclaredStatefulWithTheirTopics) {
  int found = 0;
  for (const auto& [id, event] : events.getTable().getEvents()) {
    EXPECT_FALSE(event.stateless);
    ASSERT_NE(nullptr, findKey(event.keys, "topic0", "tns1"));
    EXPECT_EQ("PTZController", valueOf<std::string>(event.keys, "topic0"));
    ASSERT_NE(nullptr, findKey(event.keys, "topic1", "tnsorva"));
    EXPECT_EQ(1, valueOf<std::int32_t>(event.keys, "channel"));
    const auto topic = valueOf<std::string>(event.keys, "topic1");
    if (topic == "Move") {
      EXPECT_EQ(false, valueOf<bool>(event.keys, "is_moving"));
      ++found;
    } else if (topic == "PTZPresets") {
      EXPECT_EQ(false, valueOf<bool>(event.keys, "on_preset"));
      EXPECT_EQ(-1, valueOf<std::int32_t>(event.keys, "PresetToken"));
      ++found;
    }
  }
  EXPECT_EQ(2, found);
}

TEST_F(PtzServiceTest, MoveEventTellsStartAndEndOnce) {
  pass(1);
  EXPECT_TRUE(sent.empty());
  move(1, 30.0, 1, -20.0, 0, 0);
  pass(3);
  const auto moves = sentOf("Move");
  ASSERT_EQ(2u, moves.size());
  EXPECT_EQ(true, valueOf<bool>(moves[0], "is_moving"));
  EXPECT_EQ(false, valueOf<bool>(moves[1], "is_moving"));
}

TEST_F(PtzServiceTest, PresetEventsTellArrivalAndLeaving) {
  ASSERT_TRUE(client.call("SetPreset", g_variant_new("(ui)", 1, 1)).ok());
  pass(0.1);
  move(1, 30.0, 1, -20.0, 0, 0);
  pass(3);
  ASSERT_TRUE(client.call("SetPreset", g_variant_new("(ui)", 1, 7)).ok());
  pass(0.1);
  ASSERT_TRUE(client.call("GotoPreset", g_variant_new("(uiu)", 1, 1, 100)).ok());
  pass(3);
  EXPECT_NEAR(0, status().pan, 0.01);
  std::vector<std::pair<bool, int>> told;
  for (const EventKeys& keys : sentOf("PTZPresets")) {
    told.emplace_back(*valueOf<bool>(keys, "on_preset"),
                      *valueOf<std::int32_t>(keys, "PresetToken"));
  }
  EXPECT_EQ(
      (std::vector<std::pair<bool, int>>{{true, 1}, {false, 1}, {true, 7}, {false, 7}, {true, 1}}),
      told);
}

TEST_F(PtzServiceTest, PresetsAreListed) {
  client.call("SetPreset", g_variant_new("(ui)", 1, 3));
  const Reply reply = client.call("ListPresets", g_variant_new("(u)", 1));
  ASSERT_TRUE(reply.ok());
  const GVariantPtr expected(g_variant_ref_sink(g_variant_new_parsed("([(3, 0.0, 0.0, 1)],)")));
  EXPECT_TRUE(g_variant_equal(expected.get(), reply.value.get()));
}

// A head behind a network that takes 0.2 s for each call.
class SlowPtzServiceTest : public testing::Test {
 protected:
  static HeadSetup slowSetup() {
    HeadSetup head = setup();
    head.calls = {0.2, 0.2};
    return head;
  }

  DbusDaemon bus;
  std::int64_t now = 1000000;
  GObjectPtr<GDBusConnection> connection = connectToSystemBus();
  EventService events{connection.get()};
  HeadDrive drive{slowSetup(), [this] { return now; }};
  PtzService service{connection.get(), drive, events};
  BusClient client{"com.orva.PTZService", "/com/orva/PTZService"};
};

TEST_F(SlowPtzServiceTest, CallsAreAnsweredLate) {
  const std::int64_t asked = g_get_monotonic_time();
  ASSERT_TRUE(client.call("GetStatus", g_variant_new("(u)", 1)).ok());
  EXPECT_GE(g_get_monotonic_time() - asked, 200000);
}

TEST_F(SlowPtzServiceTest, MovesReachTheHeadAllTheSame) {
  ASSERT_TRUE(
      client.call("Move", g_variant_new("(usididiiu)", 1, "test", 1, 30.0, 1, -20.0, 0, 0, 100))
          .ok());
  now += 3000000;
  const Reply reply = client.call("GetStatus", g_variant_new("(u)", 1));
  ASSERT_TRUE(reply.ok());
  double pan = 0;
  g_variant_get_child(reply.value.get(), 0, "d", &pan);
  EXPECT_NEAR(30, pan, 0.01);
}

TEST_F(SlowPtzServiceTest, FaultsAreAnsweredToo) {
  EXPECT_FALSE(client.call("GetStatus", g_variant_new("(u)", 2)).ok());
}

}  // namespace
}  // namespace device
