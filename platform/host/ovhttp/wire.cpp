#include "ovhttp/wire.h"

#include "base/glib_ptr.h"

namespace {

constexpr const char* REQUEST_TYPE = "(ayaymaya(ayay)ay)";

GVariant* toVariant(const HttpRequest& request) {
  GVariantBuilder fields;
  g_variant_builder_init(&fields, G_VARIANT_TYPE("a(ayay)"));
  for (const auto& [name, value] : request.fields) {
    g_variant_builder_add(&fields, "(^ay^ay)", name.c_str(), value.c_str());
  }
  GVariant* query = g_variant_new_maybe(
      G_VARIANT_TYPE_BYTESTRING,
      request.query ? g_variant_new_bytestring(request.query->c_str()) : nullptr);
  GVariant* body = g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, request.body.data(),
                                             request.body.size(), sizeof(char));
  return g_variant_new("(^ay^ay@may@a(ayay)@ay)", request.path.c_str(), request.method.c_str(),
                       query, g_variant_builder_end(&fields), body);
}

std::string textFrom(const GVariantPtr& bytes) {
  return g_variant_get_bytestring(bytes.get());
}

std::string bodyFrom(const GVariantPtr& bytes) {
  gsize size = 0;
  const void* data = g_variant_get_fixed_array(bytes.get(), &size, sizeof(char));
  return size == 0 ? std::string() : std::string(static_cast<const char*>(data), size);
}

std::vector<std::pair<std::string, std::string>> fieldsFrom(const GVariantPtr& wire) {
  std::vector<std::pair<std::string, std::string>> fields;
  GVariantIter iter;
  g_variant_iter_init(&iter, wire.get());
  while (const GVariantPtr field{g_variant_iter_next_value(&iter)}) {
    fields.emplace_back(textFrom(GVariantPtr(g_variant_get_child_value(field.get(), 0))),
                        textFrom(GVariantPtr(g_variant_get_child_value(field.get(), 1))));
  }
  return fields;
}

}  // namespace

std::optional<std::vector<std::uint8_t>> encodeHttpRequest(const HttpRequest& request) {
  const GVariantPtr wire(g_variant_ref_sink(toVariant(request)));
  const std::size_t size = g_variant_get_size(wire.get());
  if (size > MAX_HTTP_REQUEST_SIZE) {
    return std::nullopt;
  }
  std::vector<std::uint8_t> bytes(HTTP_LENGTH_SIZE + size);
  for (std::size_t i = 0; i < HTTP_LENGTH_SIZE; ++i) {
    bytes[i] = static_cast<std::uint8_t>(size >> (8 * (HTTP_LENGTH_SIZE - 1 - i)));
  }
  g_variant_store(wire.get(), bytes.data() + HTTP_LENGTH_SIZE);
  return bytes;
}

std::size_t httpRequestLength(std::span<const std::uint8_t, HTTP_LENGTH_SIZE> bytes) {
  std::size_t length = 0;
  for (const std::uint8_t byte : bytes) {
    length = length << 8 | byte;
  }
  return length;
}

std::optional<HttpRequest> decodeHttpRequest(std::span<const std::uint8_t> bytes) {
  const GBytesPtr owned(g_bytes_new(bytes.data(), bytes.size()));
  const GVariantPtr wire(g_variant_ref_sink(
      g_variant_new_from_bytes(G_VARIANT_TYPE(REQUEST_TYPE), owned.get(), FALSE)));
  if (g_variant_is_normal_form(wire.get()) == FALSE) {
    return std::nullopt;
  }

  const auto child = [&](gsize index) {
    return GVariantPtr(g_variant_get_child_value(wire.get(), index));
  };
  HttpRequest request{.path = textFrom(child(0)),
                      .method = textFrom(child(1)),
                      .query = std::nullopt,
                      .fields = fieldsFrom(child(3)),
                      .body = bodyFrom(child(4))};
  if (const GVariantPtr query{g_variant_get_maybe(child(2).get())}) {
    request.query = textFrom(query);
  }
  return request;
}
