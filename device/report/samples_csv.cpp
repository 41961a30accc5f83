#include "report/samples_csv.h"

#include <string>

#include "base/text.h"

namespace device {
namespace {

constexpr const char* HEADING =
    "time_s,scored,pan_deg,tilt_deg,field_deg,bound_pan_deg,bound_tilt_deg,bound_field_deg,person,"
    "x_m,y_m,height_m,counts\n";

std::string textOf(const HeadPose& pose) {
  return text::formatted("%.8f,%.8f,%.8f", pose.pan, pose.tilt, pose.field);
}

std::string textOf(const ScoredPerson& person) {
  return text::formatted("%d,%.8f,%.8f,%.8f,%d", person.id, person.position.x, person.position.y,
                         person.height, person.counts ? 1 : 0);
}

}  // namespace

void writeSamples(std::ostream& out, std::span<const ScoreSample> samples,
                  std::span<const HeadPose> bound) {
  out << HEADING;
  const std::size_t before = samples.size() - bound.size();
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const bool isScored = i >= before;
    const std::string start = text::formatted("%.6f,%d,", samples[i].time, isScored ? 1 : 0) +
                              textOf(samples[i].head) + "," +
                              (isScored ? textOf(bound[i - before]) : ",,") + ",";
    if (samples[i].people.empty()) {
      out << start << ",,,,\n";
    }
    for (const ScoredPerson& person : samples[i].people) {
      out << start << textOf(person) << "\n";
    }
  }
}

}  // namespace device
