#include "onvif_server/faulty_reports.h"

#include <utility>
#include <vector>

namespace device::onvif {

FaultyReports::Report FaultyReports::told(int number, Frame frame) {
  Report report{std::move(frame), {}};
  if (faults.ofOverview(number, "no-deletion")) {
    std::erase_if(report.frame.events,
                  [](const FrameEvent& event) { return event.action == FrameAction::deletion; });
  }
  if (faults.ofOverview(number, "pixels")) {
    report.manner.coordinates = PlaceCoordinates::transformedPixels;
  } else if (faults.ofOverview(number, "bare-pixels")) {
    report.manner.coordinates = PlaceCoordinates::barePixels;
  }
  if (faults.ofOverview(number, "renames")) {
    rename(&names[number], &report);
  }
  return report;
}

// All get new names at once, those that are far from any that the analytics give.
void FaultyReports::rename(Names* names, Report* report) {
  constexpr std::int32_t FIRST = 1000000;
  Frame& frame = report->frame;
  const bool isDue = frame.timestamp - names->given >= NAME_HOLDS;
  names->given = isDue ? frame.timestamp : names->given;
  const auto nameOf = [names](std::int32_t id) {
    const auto [name, isNew] = names->all.try_emplace(id, 0);
    name->second = isNew ? FIRST + ++names->last : name->second;
    return name->second;
  };
  for (FrameObject& object : frame.objects) {
    const auto known = names->all.find(object.id);
    if (isDue && known != names->all.end()) {
      const std::int32_t next = FIRST + ++names->last;
      report->manner.renames.emplace_back(known->second, next);
      known->second = next;
    }
    object.id = nameOf(object.id);
  }
  for (FrameEvent& event : frame.events) {
    const std::vector<std::int32_t> gone =
        event.action == FrameAction::deletion ? event.from : std::vector<std::int32_t>();
    for (std::vector<std::int32_t>* ids : {&event.from, &event.to}) {
      for (std::int32_t& id : *ids) {
        id = nameOf(id);
      }
    }
    for (const std::int32_t id : gone) {
      names->all.erase(id);
    }
  }
}

}  // namespace device::onvif
