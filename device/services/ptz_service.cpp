#include "services/ptz_service.h"

#include <optional>
#include <string>
#include <utility>

#include "base/bus_names.h"
#include "base/units.h"
#include "device_dbus.h"
#include "services/head_requests.h"

namespace device {

namespace {

using bus_names::PTZ;

constexpr char NO_STATUS[] = "com.orva.PTZService.NoStatus";

EventKeys topics(const char* event) {
  return {{"topic0", "tns1", "PTZController", false, false, "", "", ""},
          {"topic1", "tnsorva", event, false, false, "", "", ""},
          {"channel", "", static_cast<std::int32_t>(HEAD_CHANNEL), true, false, "", "", ""}};
}

EventKey change(const char* name, EventValue value) {
  return {name, "", std::move(value), false, false, "", "", ""};
}

EventKeys presetKeys() {
  EventKeys keys = topics("PTZPresets");
  keys.push_back({"PresetToken", "", -1, true, false, "", "", ""});
  keys.push_back({"on_preset", "", false, false, true, "", "", ""});
  return keys;
}

EventKeys moveKeys() {
  EventKeys keys = topics("Move");
  keys.push_back({"is_moving", "", false, false, true, "", "", ""});
  return keys;
}

}  // namespace

struct PtzService::Handlers {
  static gboolean move(BusPTZService* skeleton, GDBusMethodInvocation* invocation, guint channel,
                       const gchar*, gint panKind, gdouble pan, gint tiltKind, gdouble tilt,
                       gint zoomKind, gint zoom, guint speed, gpointer self) {
    if (!accepts(invocation, channel, speed)) {
      return TRUE;
    }
    const auto panCommand = axisCommand(panKind, pan);
    const auto tiltCommand = axisCommand(tiltKind, tilt);
    const auto zoomCommand = axisCommand(zoomKind, zoom);
    if (!panCommand || !tiltCommand || !zoomCommand) {
      answerInvalidArgs(invocation, "Not a kind of movement, or not a number");
      return TRUE;
    }
    const HeadCommand command{*panCommand, *tiltCommand, *zoomCommand, static_cast<int>(speed)};
    callsOf(self).take(invocation, [=, told = clockOf(self, HeadCall_e::move)] {
      head(self).command(command);
      return [=] {
        bus_ptzservice_complete_move(skeleton, invocation);
        told();
      };
    });
    return TRUE;
  }

  static gboolean gotoHome(BusPTZService* skeleton, GDBusMethodInvocation* invocation,
                           guint channel, const gchar*, guint speed, gpointer self) {
    if (!accepts(invocation, channel, speed)) {
      return TRUE;
    }
    callsOf(self).take(invocation, [=] {
      head(self).goHome(static_cast<int>(speed));
      return [=] { bus_ptzservice_complete_goto_home(skeleton, invocation); };
    });
    return TRUE;
  }

  static gboolean getStatus(BusPTZService* skeleton, GDBusMethodInvocation* invocation,
                            guint channel, gpointer self) {
    if (!accepts(invocation, channel)) {
      return TRUE;
    }
    callsOf(self).take(invocation, [=, told = clockOf(self, HeadCall_e::status)] {
      const std::optional<HeadStatus> known = head(self).toldStatus();
      return [=] {
        told();
        if (!known) {
          g_dbus_method_invocation_return_dbus_error(invocation, NO_STATUS,
                                                     "The head does not say where it is");
          return;
        }
        const HeadStatus& status = *known;
        bus_ptzservice_complete_get_status(skeleton, invocation, status.pan, status.panMoving,
                                           status.tilt, status.tiltMoving, status.zoom,
                                           status.zoomMoving);
      };
    });
    return TRUE;
  }

  static gboolean setPreset(BusPTZService* skeleton, GDBusMethodInvocation* invocation,
                            guint channel, gint preset, gpointer self) {
    if (!accepts(invocation, channel)) {
      return TRUE;
    }
    if (!head(self).setPreset(preset)) {
      answerInvalidArgs(invocation, "Presets count from 1");
      return TRUE;
    }
    bus_ptzservice_complete_set_preset(skeleton, invocation);
    return TRUE;
  }

  static gboolean gotoPreset(BusPTZService* skeleton, GDBusMethodInvocation* invocation,
                             guint channel, gint preset, guint speed, gpointer self) {
    if (!accepts(invocation, channel, speed)) {
      return TRUE;
    }
    if (!head(self).goToPreset(preset, static_cast<int>(speed))) {
      answerInvalidArgs(invocation, "There is no preset " + std::to_string(preset));
      return TRUE;
    }
    bus_ptzservice_complete_goto_preset(skeleton, invocation);
    return TRUE;
  }

  static gboolean listPresets(BusPTZService* skeleton, GDBusMethodInvocation* invocation,
                              guint channel, gpointer self) {
    if (!accepts(invocation, channel)) {
      return TRUE;
    }
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a(iddi)"));
    for (const auto& [preset, position] : head(self).presets()) {
      g_variant_builder_add(&builder, "(iddi)", preset, position.pan, position.tilt, position.zoom);
    }
    bus_ptzservice_complete_list_presets(skeleton, invocation, g_variant_builder_end(&builder));
    return TRUE;
  }

  // Tells, when it is called, how long ago it was made.
  static std::function<void()> clockOf(gpointer self, HeadCall_e call) {
    return [self, call, begun = g_get_monotonic_time()] {
      if (const CallObserver& observer = static_cast<PtzService*>(self)->callObserver) {
        observer(call, units::toSeconds(g_get_monotonic_time() - begun));
      }
    };
  }

  static DelayedCalls& callsOf(gpointer self) { return static_cast<PtzService*>(self)->calls; }

  static ServedHead& head(gpointer self) { return static_cast<PtzService*>(self)->head; }

  // Answers with an error itself.
  static bool accepts(GDBusMethodInvocation* invocation, guint channel, guint speed = 0) {
    const char* refusal = refusalOf(channel, speed);
    if (refusal == nullptr) {
      return true;
    }
    answerInvalidArgs(invocation, refusal);
    return false;
  }
};

PtzService::PtzService(GDBusConnection* connection, ServedHead& head, EventService& events)
    : head(head),
      calls(head.makeCallDelay()),
      events(events),
      presetEvent(events.declare(presetKeys(), false)),
      moveEvent(events.declare(moveKeys(), false)),
      object(connection, bus_ptzservice_skeleton_new(), PTZ.path),
      name(connection, PTZ.name) {
  g_signal_connect(object.get(), "handle-move", G_CALLBACK(Handlers::move), this);
  g_signal_connect(object.get(), "handle-goto-home", G_CALLBACK(Handlers::gotoHome), this);
  g_signal_connect(object.get(), "handle-get-status", G_CALLBACK(Handlers::getStatus), this);
  g_signal_connect(object.get(), "handle-set-preset", G_CALLBACK(Handlers::setPreset), this);
  g_signal_connect(object.get(), "handle-goto-preset", G_CALLBACK(Handlers::gotoPreset), this);
  g_signal_connect(object.get(), "handle-list-presets", G_CALLBACK(Handlers::listPresets), this);
  update();
}

void PtzService::update() {
  const bool isMoving = head.presentStatus().moving();
  const int presetHere = head.presetHere();
  if (presetHere != preset && preset != 0) {
    sendPreset(false, preset);
  }
  if (isMoving != moving) {
    events.send(moveEvent, {change("is_moving", isMoving)});
  }
  if (presetHere != preset && presetHere != 0) {
    sendPreset(true, presetHere);
  }
  moving = isMoving;
  preset = presetHere;
}

void PtzService::sendPreset(bool onPreset, int token) {
  events.send(presetEvent, {change("on_preset", onPreset), change("PresetToken", token)});
}

}  // namespace device
