#include "events/owed_declarations.h"

#include <algorithm>
#include <utility>

bool OwedDeclarations::declare(const std::string& key, std::uint32_t registration,
                               Declare declare) {
  if (declare()) {
    return true;
  }
  owed.push_back({key, registration, std::move(declare)});
  return false;
}

bool OwedDeclarations::forgive(const std::string& key, std::uint32_t registration) {
  const auto found = std::ranges::find_if(
      owed, [&](const Owed& one) { return one.key == key && one.registration == registration; });
  if (found == owed.end()) {
    return false;
  }
  owed.erase(found);
  return true;
}

void OwedDeclarations::settle() {
  std::erase_if(owed, [](const Owed& one) { return one.declare(); });
}

bool OwedDeclarations::isOwed(const std::string& key) const {
  return std::ranges::any_of(owed, [&key](const Owed& one) { return one.key == key; });
}
