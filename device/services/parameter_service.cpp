#include "services/parameter_service.h"

#include <string>

#include "base/bus_names.h"
#include "device_dbus.h"

namespace device {

namespace {

using bus_names::PARAMETERS;

}  // namespace

struct ParameterService::Handlers {
  static gboolean get(BusParameterService* skeleton, GDBusMethodInvocation* invocation,
                      const gchar* name, gpointer self) {
    const auto value = static_cast<ParameterService*>(self)->store.get(name);
    if (!value) {
      return refuse(invocation, name);
    }
    bus_parameter_service_complete_get(skeleton, invocation, value->c_str());
    return TRUE;
  }

  static gboolean set(BusParameterService* skeleton, GDBusMethodInvocation* invocation,
                      const gchar* name, const gchar* value, gpointer self) {
    if (!static_cast<ParameterService*>(self)->store.set(name, value)) {
      return refuse(invocation, name);
    }
    bus_parameter_service_complete_set(skeleton, invocation);
    return TRUE;
  }

  static gboolean list(BusParameterService* skeleton, GDBusMethodInvocation* invocation,
                       const gchar* prefix, gpointer self) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
    for (const auto& [name, value] : static_cast<ParameterService*>(self)->store.list(prefix)) {
      g_variant_builder_add(&builder, "{ss}", name.c_str(), value.c_str());
    }
    bus_parameter_service_complete_list(skeleton, invocation, g_variant_builder_end(&builder));
    return TRUE;
  }

  static gboolean refuse(GDBusMethodInvocation* invocation, const char* name) {
    answerInvalidArgs(invocation, std::string("There is no parameter ") + name);
    return TRUE;
  }
};

ParameterService::ParameterService(GDBusConnection* connection, ParameterStore& store)
    : store(store),
      object(connection, bus_parameter_service_skeleton_new(), PARAMETERS.path),
      name(connection, PARAMETERS.name) {
  g_signal_connect(object.get(), "handle-get", G_CALLBACK(Handlers::get), this);
  g_signal_connect(object.get(), "handle-set", G_CALLBACK(Handlers::set), this);
  g_signal_connect(object.get(), "handle-list", G_CALLBACK(Handlers::list), this);
}

}  // namespace device
