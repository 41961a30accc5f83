#include "base/event_keys.h"

#include <algorithm>
#include <utility>

#include "base/glib_ptr.h"

namespace {

constexpr const char* KEYS_TYPE = "a(ssavusss)";
constexpr guint32 SOURCE_MARK = 1;
constexpr guint32 DATA_MARK = 2;

struct ToVariant {
  GVariant* operator()(std::int32_t value) const { return g_variant_new_int32(value); }
  GVariant* operator()(bool value) const { return g_variant_new_boolean(value ? TRUE : FALSE); }
  GVariant* operator()(double value) const { return g_variant_new_double(value); }
  GVariant* operator()(const std::string& value) const {
    return g_variant_new_string(value.c_str());
  }
};

std::optional<EventValue> toValue(GVariant* variant) {
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

// A key has no value or one. False when it is a strange one.
bool readValue(GVariant* values, std::optional<EventValue>& value) {
  const gsize count = g_variant_n_children(values);
  if (count != 1) {
    return count == 0;
  }
  const GVariantPtr boxed(g_variant_get_child_value(values, 0));
  const GVariantPtr inner(g_variant_get_variant(boxed.get()));
  value = toValue(inner.get());
  return value.has_value();
}

GVariant* valuesOf(const EventKey& key) {
  GVariantBuilder values;
  g_variant_builder_init(&values, G_VARIANT_TYPE("av"));
  if (key.value) {
    g_variant_builder_add(&values, "v", std::visit(ToVariant{}, *key.value));
  }
  return g_variant_builder_end(&values);
}

guint32 marksOf(const EventKey& key) {
  return (key.isSource ? SOURCE_MARK : 0) | (key.isData ? DATA_MARK : 0);
}

// The key without its value, which is left in values.
EventKey readKey(GVariant* wire, GVariantPtr& values) {
  const char* name = nullptr;
  const char* nameSpace = nullptr;
  GVariant* rawValues = nullptr;
  guint32 marks = 0;
  const char* userTag = nullptr;
  const char* niceName = nullptr;
  const char* valueNiceName = nullptr;
  g_variant_get(wire, "(&s&s@avu&s&s&s)", &name, &nameSpace, &rawValues, &marks, &userTag,
                &niceName, &valueNiceName);
  values.reset(rawValues);
  return {.name = name,
          .nameSpace = nameSpace,
          .value = std::nullopt,
          .isSource = (marks & SOURCE_MARK) != 0,
          .isData = (marks & DATA_MARK) != 0,
          .userTag = userTag,
          .niceName = niceName,
          .valueNiceName = valueNiceName};
}

}  // namespace

const EventKey* findKey(const EventKeys& keys, std::string_view name, std::string_view nameSpace) {
  const auto found = std::ranges::find_if(
      keys, [&](const EventKey& key) { return key.name == name && key.nameSpace == nameSpace; });
  return found == keys.end() ? nullptr : &*found;
}

EventKey* findKey(EventKeys& keys, std::string_view name, std::string_view nameSpace) {
  return const_cast<EventKey*>(findKey(std::as_const(keys), name, nameSpace));
}

GVariant* toVariant(const EventKeys& keys) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE(KEYS_TYPE));
  for (const EventKey& key : keys) {
    g_variant_builder_add(&builder, "(ss@avusss)", key.name.c_str(), key.nameSpace.c_str(),
                          valuesOf(key), marksOf(key), key.userTag.c_str(), key.niceName.c_str(),
                          key.valueNiceName.c_str());
  }
  return g_variant_builder_end(&builder);
}

std::optional<EventKeys> eventKeysFromVariant(GVariant* variant, StrangeValue strangeValue) {
  EventKeys keys;
  GVariantIter iter;
  g_variant_iter_init(&iter, variant);
  while (const GVariantPtr wire{g_variant_iter_next_value(&iter)}) {
    GVariantPtr values;
    EventKey key = readKey(wire.get(), values);
    if (!readValue(values.get(), key.value) && strangeValue == StrangeValue::refuse) {
      return std::nullopt;
    }
    keys.push_back(std::move(key));
  }
  return keys;
}
