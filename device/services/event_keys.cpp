#include "services/event_keys.h"

#include <algorithm>

#include "services/glib_ptr.h"

namespace device {

namespace {

struct ValueToVariant {
  GVariant* operator()(std::int32_t value) const { return g_variant_new_int32(value); }
  GVariant* operator()(bool value) const { return g_variant_new_boolean(value ? TRUE : FALSE); }
  GVariant* operator()(double value) const { return g_variant_new_double(value); }
  GVariant* operator()(const std::string& value) const {
    return g_variant_new_string(value.c_str());
  }
};

std::optional<EventValue> valueFromVariant(GVariant* variant) {
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_INT32)) {
    return g_variant_get_int32(variant);
  }
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_BOOLEAN)) {
    return g_variant_get_boolean(variant) != FALSE;
  }
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_DOUBLE)) {
    return g_variant_get_double(variant);
  }
  if (g_variant_is_of_type(variant, G_VARIANT_TYPE_STRING)) {
    return std::string(g_variant_get_string(variant, nullptr));
  }
  return std::nullopt;
}

// False when the array holds more than one value or one of an unknown type.
bool readValue(GVariant* values, std::optional<EventValue>* value) {
  const gsize count = g_variant_n_children(values);
  if (count == 0) {
    return true;
  }
  if (count > 1) {
    return false;
  }
  const GVariantPtr boxed(g_variant_get_child_value(values, 0));
  const GVariantPtr inner(g_variant_get_variant(boxed.get()));
  *value = valueFromVariant(inner.get());
  return value->has_value();
}

}  // namespace

const EventKey* findKey(const EventKeys& keys, std::string_view name, std::string_view nameSpace) {
  const auto found = std::ranges::find_if(
      keys, [&](const EventKey& key) { return key.name == name && key.nameSpace == nameSpace; });
  return found == keys.end() ? nullptr : &*found;
}

EventKey* findKey(EventKeys& keys, std::string_view name, std::string_view nameSpace) {
  const auto found = std::ranges::find_if(
      keys, [&](const EventKey& key) { return key.name == name && key.nameSpace == nameSpace; });
  return found == keys.end() ? nullptr : &*found;
}

GVariant* toVariant(const EventKeys& keys) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a(ssavusss)"));
  for (const EventKey& key : keys) {
    GVariantBuilder values;
    g_variant_builder_init(&values, G_VARIANT_TYPE("av"));
    if (key.value) {
      g_variant_builder_add(&values, "v", std::visit(ValueToVariant(), *key.value));
    }
    g_variant_builder_add(&builder, "(ssavusss)", key.name.c_str(), key.nameSpace.c_str(), &values,
                          key.marks, key.userTag.c_str(), key.niceName.c_str(),
                          key.valueNiceName.c_str());
  }
  return g_variant_builder_end(&builder);
}

std::optional<EventKeys> eventKeysFromVariant(GVariant* variant) {
  EventKeys keys;
  const gsize count = g_variant_n_children(variant);
  for (gsize i = 0; i < count; ++i) {
    const char* name = nullptr;
    const char* nameSpace = nullptr;
    GVariant* rawValues = nullptr;
    guint32 marks = 0;
    const char* userTag = nullptr;
    const char* niceName = nullptr;
    const char* valueNiceName = nullptr;
    const GVariantPtr child(g_variant_get_child_value(variant, i));
    g_variant_get(child.get(), "(&s&s@avu&s&s&s)", &name, &nameSpace, &rawValues, &marks, &userTag,
                  &niceName, &valueNiceName);
    const GVariantPtr values(rawValues);
    EventKey key{name, nameSpace, std::nullopt, marks, userTag, niceName, valueNiceName};
    if (!readValue(values.get(), &key.value)) {
      return std::nullopt;
    }
    keys.push_back(std::move(key));
  }
  return keys;
}

}  // namespace device
