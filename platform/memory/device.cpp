#include "memory/device.h"

namespace memory {

namespace {

Device* s_device = nullptr;

}  // namespace

void setDevice(Device* device) {
  s_device = device;
}

Device* device() {
  return s_device;
}

}  // namespace memory
