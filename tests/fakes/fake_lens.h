#ifndef TESTS_FAKES_FAKE_LENS_H
#define TESTS_FAKES_FAKE_LENS_H

#include <cstdint>
#include <map>

#include "fakes/private_bus.h"

struct _HeadServicesM12LensSelectionFov;

// The lens service of the tests, on the private bus.
class FakeLens {
 public:
  FakeLens();
  ~FakeLens();

  // Publishes (or changes) the lens of a channel from 0: field angles and rotation in degrees.
  void set(std::uint32_t channel, double horizontalFov, double verticalFov, int rotation = 0);

 private:
  BusServices services;
  std::map<std::uint32_t, GObjectPtr<_HeadServicesM12LensSelectionFov>> lenses;
};

#endif
