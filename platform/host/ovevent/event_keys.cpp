#include "ovevent/event_keys.h"

#include <algorithm>
#include <utility>

namespace {

constexpr guint32 kSourceMark = 1;
constexpr guint32 kDataMark = 2;

struct ToVariant {
  GVariant* operator()(int value) const { return g_variant_new_int32(value); }
  GVariant* operator()(bool value) const { return g_variant_new_boolean(value ? TRUE : FALSE); }
  GVariant* operator()(double value) const { return g_variant_new_double(value); }
  GVariant* operator()(const std::string& value) const {
    return g_variant_new_string(value.c_str());
  }
};

std::optional<EventValue> valueFrom(GVariant* value) {
  if (g_variant_is_of_type(value, G_VARIANT_TYPE_INT32)) return g_variant_get_int32(value);
  if (g_variant_is_of_type(value, G_VARIANT_TYPE_DOUBLE)) return g_variant_get_double(value);
  if (g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN)) {
    return g_variant_get_boolean(value) != FALSE;
  }
  if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING)) {
    return std::string(g_variant_get_string(value, nullptr));
  }
  return std::nullopt;
}

GVariant* valuesOf(const EventKey& key) {
  GVariantBuilder values;
  g_variant_builder_init(&values, G_VARIANT_TYPE("av"));
  if (key.value) g_variant_builder_add(&values, "v", std::visit(ToVariant{}, *key.value));
  return g_variant_builder_end(&values);
}

guint32 marksOf(const EventKey& key) {
  return (key.is_source ? kSourceMark : 0) | (key.is_data ? kDataMark : 0);
}

EventKey keyFrom(GVariant* wire) {
  const char* name = nullptr;
  const char* name_space = nullptr;
  const char* tag = nullptr;
  const char* nice_name = nullptr;
  const char* value_nice_name = nullptr;
  guint32 marks = 0;
  GVariant* raw_values = nullptr;
  g_variant_get(wire, "(&s&s@avu&s&s&s)", &name, &name_space, &raw_values, &marks, &tag, &nice_name,
                &value_nice_name);
  const GVariantPtr values(raw_values);

  EventKey key{.name = name,
               .name_space = name_space,
               .value = std::nullopt,
               .is_source = (marks & kSourceMark) != 0,
               .is_data = (marks & kDataMark) != 0,
               .tag = tag,
               .nice_name = nice_name,
               .value_nice_name = value_nice_name};
  if (g_variant_n_children(values.get()) == 1) {
    const GVariantPtr boxed(g_variant_get_child_value(values.get(), 0));
    const GVariantPtr value(g_variant_get_variant(boxed.get()));
    key.value = valueFrom(value.get());
  }
  return key;
}

}  // namespace

const EventKey* EventKeys::find(std::string_view name, std::string_view name_space) const {
  const auto found = std::find_if(keys_.begin(), keys_.end(), [&](const EventKey& key) {
    return key.name == name && key.name_space == name_space;
  });
  return found == keys_.end() ? nullptr : &*found;
}

EventKey* EventKeys::find(std::string_view name, std::string_view name_space) {
  return const_cast<EventKey*>(std::as_const(*this).find(name, name_space));
}

EventKey& EventKeys::at(std::string_view name, std::string_view name_space) {
  if (EventKey* present = find(name, name_space)) return *present;
  EventKey key;
  key.name = name;
  key.name_space = name_space;
  return keys_.emplace_back(std::move(key));
}

void EventKeys::update(const EventKeys& changes) {
  for (const EventKey& change : changes.keys_) {
    if (EventKey* key = find(change.name, change.name_space)) key->value = change.value;
  }
}

bool EventKeys::match(const EventKeys& pattern) const {
  return std::all_of(pattern.keys_.begin(), pattern.keys_.end(), [&](const EventKey& wanted) {
    const EventKey* key = find(wanted.name, wanted.name_space);
    return key != nullptr && (!wanted.value || wanted.value == key->value);
  });
}

GVariant* EventKeys::toVariant() const {
  GVariantBuilder keys;
  g_variant_builder_init(&keys, G_VARIANT_TYPE("a(ssavusss)"));
  for (const EventKey& key : keys_) {
    g_variant_builder_add(&keys, "(ss@avusss)", key.name.c_str(), key.name_space.c_str(),
                          valuesOf(key), marksOf(key), key.tag.c_str(), key.nice_name.c_str(),
                          key.value_nice_name.c_str());
  }
  return g_variant_builder_end(&keys);
}

EventKeys EventKeys::fromVariant(GVariant* keys) {
  EventKeys result;
  GVariantIter iter;
  g_variant_iter_init(&iter, keys);
  while (const GVariantPtr key{g_variant_iter_next_value(&iter)}) {
    result.keys_.push_back(keyFrom(key.get()));
  }
  return result;
}
