#ifndef DEVICE_ONVIF_SERVER_FAULTY_REPORTS_H
#define DEVICE_ONVIF_SERVER_FAULTY_REPORTS_H

#include <cstdint>
#include <map>

#include "onvif_server/metadata.h"
#include "onvif_server/onvif_faults.h"
#include "world/frame.h"

namespace device::onvif {

// Tells wrongly what the analytics of the overview cameras report, where it is told to.
class FaultyReports {
 public:
  // So long an object keeps its name. Microseconds.
  static constexpr std::int64_t NAME_HOLDS = 1000000;

  explicit FaultyReports(const OnvifFaults& faults) : faults(faults) {}

  struct Report {
    Frame frame;
    ReportManner manner;
  };

  // number: of the camera, from 1. Frames come in the order of their time.
  Report told(int number, Frame frame);

 private:
  struct Names {
    std::map<std::int32_t, std::int32_t> all;  // by the object's own
    std::int32_t last = 0;
    std::int64_t given = 0;  // monotonic microseconds
  };

  static void rename(Names* names, Report* report);

  const OnvifFaults& faults;
  std::map<int, Names> names;  // by the camera
};

}  // namespace device::onvif

#endif
