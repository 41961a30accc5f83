#include "ptz/fov.h"

#include <syslog.h>

namespace {

constexpr const char* BUS_NAME = "com.orva.M12LensSelectionFov";
constexpr const char* PATH_PREFIX = "/com/orva/M12LensSelectionFov/";

}  // namespace

Fov::Fov(std::uint32_t channel) {
  values->channel = channel;
  GError* error = nullptr;
  connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
  if (connection == nullptr) {
    syslog(LOG_ERR, "Could not connect to the bus %s\n", error->message);
    g_clear_error(&error);
    return;
  }
  const std::string path = PATH_PREFIX + std::to_string(channel);
  proxy = g_dbus_proxy_new_sync(connection, G_DBUS_PROXY_FLAGS_NONE, nullptr, BUS_NAME,
                                path.c_str(), BUS_NAME, nullptr, nullptr);
  if (proxy == nullptr) {
    syslog(LOG_ERR, "Failed to setup property proxy\n");
    return;
  }
  applyCachedProperties();
  signalHandler =
      g_signal_connect_data(proxy, "g-properties-changed", G_CALLBACK(propertiesChanged),
                            new SharedValues(values), releaseValues, GConnectFlags{});
}

Fov::~Fov() {
  if (signalHandler != 0) {
    g_signal_handler_disconnect(proxy, signalHandler);
  }
  g_clear_object(&proxy);
  g_clear_object(&connection);
}

void Fov::applyCachedProperties() {
  gchar** names = g_dbus_proxy_get_cached_property_names(proxy);
  for (gchar** name = names; name != nullptr && *name != nullptr; ++name) {
    GVariant* value = g_dbus_proxy_get_cached_property(proxy, *name);
    setProperty(*name, value);
    g_variant_unref(value);
  }
  g_strfreev(names);
}

void Fov::propertiesChanged(GDBusProxy*, GVariant* changed, const char* const*,
                            gpointer sharedValues) {
  GVariantIter iterator;
  g_variant_iter_init(&iterator, changed);
  const gchar* name = nullptr;
  GVariant* value = nullptr;
  while (g_variant_iter_loop(&iterator, "{&sv}", &name, &value)) {
    (*static_cast<SharedValues*>(sharedValues))->set(name, value);
  }
}

void Fov::releaseValues(gpointer sharedValues, GClosure*) {
  delete static_cast<SharedValues*>(sharedValues);
}

bool Fov::Values::hasType(const std::string& name, GVariant* value,
                          const GVariantType* type) const {
  if (g_variant_is_of_type(value, type)) {
    return true;
  }
  syslog(LOG_ERR, "channel %d: bad type for %s\n", static_cast<int>(channel), name.c_str());
  return false;
}

void Fov::Values::set(const std::string& name, GVariant* value) {
  if (name == "OpticsWideHFoV" && hasType(name, value, G_VARIANT_TYPE_DOUBLE)) {
    horizontalFov = g_variant_get_double(value);
  } else if (name == "OpticsWideVFoV" && hasType(name, value, G_VARIANT_TYPE_DOUBLE)) {
    verticalFov = g_variant_get_double(value);
  } else if (name == "SensorRotation" && hasType(name, value, G_VARIANT_TYPE_INT32)) {
    sensorRotation = g_variant_get_int32(value);
  }
}
