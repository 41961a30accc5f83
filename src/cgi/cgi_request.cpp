#include "cgi/cgi_request.h"

#include <jansson.h>

#include <utility>

#include "base/json_text.h"

namespace {

constexpr const char* JSON_BLANKS = " \t\r\n";

}  // namespace

DecodedText DecodedText::exactly(std::string text) {
  JsonRead read = readJson(text);
  return {std::move(text), std::move(read.document), std::move(read.error)};
}

// Cutting the text after its last brace again and again until it decodes ends where its first JSON
// value ends, if that is an object; finding that end directly keeps a long tail of braces cheap.
DecodedText DecodedText::repaired(std::string text) {
  json_error_t end{};
  JsonAutoPtr first(json_loads(text.c_str(), JSON_DISABLE_EOF_CHECK, &end));
  if (!first) {
    return exactly(std::move(text));
  }
  const auto size = static_cast<std::size_t>(end.position);
  if (text.find_first_not_of(JSON_BLANKS, size) != std::string::npos) {
    if (!json_is_object(first.get())) {
      return exactly(std::move(text));
    }
    text.resize(size);
  }
  return {std::move(text), std::move(first), ""};
}

CGI_Request::CGI_Request(DecodedText decoded, const API_VersionHandler& versionHandler)
    : text(std::move(decoded.text)),
      document(std::move(decoded.document)),
      error(std::move(decoded.error)),
      header(document.get(), versionHandler) {}

json_t* CGI_Request::getParams(const std::string& method) const {
  using enum StatusCode_e;
  throwIf(!document, "Could not decode the " + method + " json data", malformed);
  json_t* params = json_object_get(document.get(), "params");
  throwIf(params == nullptr, "Could not decode the params for " + method, malformed);
  return params;
}
