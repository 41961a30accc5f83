#include "events/owed_declarations.h"

#include <algorithm>
#include <utility>

#include "app/clock.h"
#include "base/units.h"
#include "events/sdk_wrapper.h"

namespace {

constexpr std::int64_t BACK_OFF = units::fromSeconds(1);

}  // namespace

bool OwedDeclarations::declare(const std::string& key, Declare declare) {
  if (!isOwed(key)) {
    if (declare()) {
      return true;
    }
    noteFailure();
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
  const auto failed = std::ranges::find_if(owed, [](const Owed& one) { return !one.declare(); });
  if (failed != owed.end()) {
    noteFailure();
  }
  owed.erase(owed.begin(), failed);
}

// What fails for want of a service fails at once, and is tried again as soon as there is one.
void OwedDeclarations::noteFailure() {
  if (sdk_wrapper_has_event_service()) {
    failedAt = utils::monotonicTime();
  }
}

bool OwedDeclarations::mayBeSettled() const {
  return !owed.empty() && !hasJustFailed() && sdk_wrapper_has_event_service();
}

bool OwedDeclarations::hasJustFailed() const {
  return failedAt && utils::monotonicTime() < *failedAt + BACK_OFF;
}

bool OwedDeclarations::isOwed(const std::string& key) const {
  return std::ranges::find(owed, key, &Owed::key) != owed.end();
}
