#include "tracker/homing.h"

#include "base/units.h"

bool Homing::takeDue(std::int64_t now) {
  const std::int64_t last = lastMovement;
  if (!enabled || last == 0 || last + units::fromSeconds(timeout) > now) {
    return false;
  }
  lastMovement = 0;
  return true;
}
