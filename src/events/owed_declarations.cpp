#include "events/owed_declarations.h"

#include <algorithm>
#include <utility>

bool OwedDeclarations::declare(const std::string& key, Declare declare) {
  if (declare()) {
    return true;
  }
  owed.push_back({key, std::move(declare)});
  return false;
}

bool OwedDeclarations::forgive(const std::string& key) {
  const auto found = std::ranges::find(owed, key, &Owed::key);
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
  return std::ranges::find(owed, key, &Owed::key) != owed.end();
}
