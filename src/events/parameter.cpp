#include "events/parameter.h"

#include "events/sdk_wrapper.h"

std::string utils::readParameter(const std::string& name, std::size_t mostBytes) {
  return askParameter(name, mostBytes).value_or("");
}

std::optional<std::string> utils::askParameter(const std::string& name, std::size_t mostBytes) {
  std::string value(mostBytes + 1, '\0');
  const bool isAnswered = sdk_wrapper_param_get(name, value.data(), static_cast<int>(value.size()));
  value.resize(value.find('\0'));
  return isAnswered ? std::optional(value) : std::nullopt;
}
