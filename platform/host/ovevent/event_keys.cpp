#include "ovevent/event_keys.h"

#include <algorithm>
#include <utility>

namespace {

constexpr guint32 SOURCE_MARK = 1;
constexpr guint32 DATA_MARK = 2;

struct ToVariant {
  GVariant* operator()(int value) const { return g_variant_new_int32(value); }
  GVariant* operator()(bool value) const { return g_variant_new_boolean(value ? TRUE : FALSE); }
  GVariant* operator()(double value) const { return g_variant_new_double(value); }
  GVariant* operator()(const std::string& value) const {
    return g_variant_new_string(value.c_str());
  }
};

std::optional<EventValue> valueFrom(GVariant* value) {
  if (g_variant_is_of_type(value, G_VARIANT_TYPE_INT32)) {
    return g_variant_get_int32(value);
  }
  if (g_variant_is_of_type(value, G_VARIANT_TYPE_DOUBLE)) {
    return g_variant_get_double(value);
  }
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
  if (key.value) {
    g_variant_builder_add(&values, "v", std::visit(ToVariant{}, *key.value));
  }
  return g_variant_builder_end(&values);
}

guint32 marksOf(const EventKey& key) {
  return (key.isSource ? SOURCE_MARK : 0) | (key.isData ? DATA_MARK : 0);
}

EventKey keyFrom(GVariant* wire) {
  const char* name = nullptr;
  const char* nameSpace = nullptr;
  const char* tag = nullptr;
  const char* niceName = nullptr;
  const char* valueNiceName = nullptr;
  guint32 marks = 0;
  GVariant* rawValues = nullptr;
  g_variant_get(wire, "(&s&s@avu&s&s&s)", &name, &nameSpace, &rawValues, &marks, &tag, &niceName,
                &valueNiceName);
  const GVariantPtr values(rawValues);

  EventKey key{.name = name,
               .nameSpace = nameSpace,
               .value = std::nullopt,
               .isSource = (marks & SOURCE_MARK) != 0,
               .isData = (marks & DATA_MARK) != 0,
               .tag = tag,
               .niceName = niceName,
               .valueNiceName = valueNiceName};
  if (g_variant_n_children(values.get()) == 1) {
    const GVariantPtr boxed(g_variant_get_child_value(values.get(), 0));
    const GVariantPtr value(g_variant_get_variant(boxed.get()));
    key.value = valueFrom(value.get());
  }
  return key;
}

}  // namespace

const EventKey* EventKeys::find(std::string_view name, std::string_view nameSpace) const {
  const auto found = std::find_if(keys.begin(), keys.end(), [&](const EventKey& key) {
    return key.name == name && key.nameSpace == nameSpace;
  });
  return found == keys.end() ? nullptr : &*found;
}

EventKey* EventKeys::find(std::string_view name, std::string_view nameSpace) {
  return const_cast<EventKey*>(std::as_const(*this).find(name, nameSpace));
}

EventKey& EventKeys::at(std::string_view name, std::string_view nameSpace) {
  if (EventKey* present = find(name, nameSpace)) {
    return *present;
  }
  EventKey key;
  key.name = name;
  key.nameSpace = nameSpace;
  return keys.emplace_back(std::move(key));
}

void EventKeys::update(const EventKeys& changes) {
  for (const EventKey& change : changes.keys) {
    if (EventKey* key = find(change.name, change.nameSpace)) {
      key->value = change.value;
    }
  }
}

bool EventKeys::match(const EventKeys& pattern) const {
  return std::all_of(pattern.keys.begin(), pattern.keys.end(), [&](const EventKey& wanted) {
    const EventKey* key = find(wanted.name, wanted.nameSpace);
    return key != nullptr && (!wanted.value || wanted.value == key->value);
  });
}

GVariant* EventKeys::toVariant() const {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a(ssavusss)"));
  for (const EventKey& key : keys) {
    g_variant_builder_add(&builder, "(ss@avusss)", key.name.c_str(), key.nameSpace.c_str(),
                          valuesOf(key), marksOf(key), key.tag.c_str(), key.niceName.c_str(),
                          key.valueNiceName.c_str());
  }
  return g_variant_builder_end(&builder);
}

EventKeys EventKeys::fromVariant(GVariant* keys) {
  EventKeys result;
  GVariantIter iter;
  g_variant_iter_init(&iter, keys);
  while (const GVariantPtr key{g_variant_iter_next_value(&iter)}) {
    result.keys.push_back(keyFrom(key.get()));
  }
  return result;
}
