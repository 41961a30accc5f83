#include "web_server/application_answer.h"

#include <glib.h>

#include <algorithm>
#include <array>

#include "base/text.h"

namespace device {

namespace {

constexpr std::string_view LINE_END = "\r\n";
constexpr std::string_view HEAD_END = "\r\n\r\n";
constexpr std::array<const char*, 5> OF_THE_SERVER = {"Connection", "Content-Length", "Date",
                                                      "Keep-Alive", "Transfer-Encoding"};

bool isName(const std::string& text, const char* name) {
  return g_ascii_strcasecmp(text.c_str(), name) == 0;
}

bool readStatus(std::string_view value, unsigned* status) {
  const auto number = text::leadingNumber<unsigned>(value);
  if (!number || !(number->rest.empty() || number->rest.starts_with(' '))) {
    return false;
  }
  *status = number->value;
  return *status >= 200 && *status <= 599;
}

bool readLine(std::string_view line, ApplicationAnswer* answer) {
  const std::size_t colon = line.find(':');
  if (colon == 0 || colon == std::string_view::npos) {
    return false;
  }
  std::string name(line.substr(0, colon));
  const std::string_view value = text::trimmed(line.substr(colon + 1), " \t");
  if (name.find_first_of(" \t\r\n") != std::string::npos) {
    return false;
  }
  if (isName(name, "Status")) {
    return readStatus(value, &answer->status);
  }
  if (std::ranges::none_of(OF_THE_SERVER, [&](const char* own) { return isName(name, own); })) {
    answer->headers.emplace_back(std::move(name), value);
  }
  return true;
}

}  // namespace

std::optional<ApplicationAnswer> parseApplicationAnswer(std::string_view text) {
  const std::size_t end = text.find(HEAD_END);
  if (end == std::string_view::npos) {
    return std::nullopt;
  }
  ApplicationAnswer answer;
  answer.body = text.substr(end + HEAD_END.size());
  for (std::string_view head = text.substr(0, end); !head.empty();) {
    const std::size_t line = std::min(head.find(LINE_END), head.size());
    if (!readLine(head.substr(0, line), &answer)) {
      return std::nullopt;
    }
    head.remove_prefix(std::min(line + LINE_END.size(), head.size()));
  }
  return answer;
}

}  // namespace device
