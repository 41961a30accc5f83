#include "services/parameter_store.h"

#include <string_view>
#include <utility>

namespace device {

namespace {

constexpr std::string_view ROOT = "root.";

std::string fullName(const std::string& name) {
  const bool isFull = name.starts_with(ROOT) || ROOT.starts_with(name);
  return isFull ? name : std::string(ROOT) + name;
}

}  // namespace

ParameterStore::ParameterStore(std::map<std::string, std::string> values)
    : values(std::move(values)) {}

std::optional<std::string> ParameterStore::get(const std::string& name) const {
  const auto found = values.find(fullName(name));
  if (found == values.end()) {
    return std::nullopt;
  }
  return found->second;
}

bool ParameterStore::set(const std::string& name, const std::string& value) {
  const auto found = values.find(fullName(name));
  if (found == values.end()) {
    return false;
  }
  found->second = value;
  return true;
}

std::map<std::string, std::string> ParameterStore::list(const std::string& prefix) const {
  const std::string full = fullName(prefix);
  std::map<std::string, std::string> found;
  for (auto item = values.lower_bound(full); item != values.end(); ++item) {
    if (!item->first.starts_with(full)) {
      break;
    }
    found.insert(*item);
  }
  return found;
}

}  // namespace device
