#ifndef DEVICE_RTSP_PIPELINE_TIME_H
#define DEVICE_RTSP_PIPELINE_TIME_H

#include <gst/gst.h>

#include <cstdint>
#include <optional>

namespace device {

// A moment (microseconds of the monotonic clock) in the time of the pipeline to which an element
// belongs. Nothing while the element does not run, and for what was before its pipeline ran: an
// element is given its clock some time before it is told since when the pipeline counts.
std::optional<GstClockTime> pipelineTimeOf(GstElement* element, std::int64_t moment);

}  // namespace device

#endif
