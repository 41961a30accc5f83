#include "rtsp/stream_entry.h"

namespace device {

bool isRunning(const StreamEntry& entry) {
  return pipelineTimeOf(GST_ELEMENT(entry.source.get()), g_get_monotonic_time()).has_value();
}

bool isPicture(const StreamEntry& entry) {
  return entry.codec == StreamCodec::h264 || entry.codec == StreamCodec::jpeg;
}

bool send(const StreamEntry& entry, const void* data, std::size_t size, std::int64_t time) {
  GstAppSrc* source = entry.source.get();
  auto stamp = pipelineTimeOf(GST_ELEMENT(source), time);
  if (stamp.has_value()) {
    stamp = isPicture(entry) ? entry.stamps->newer(*stamp) : entry.stamps->inOrder(*stamp);
  }
  if (!stamp.has_value()) {
    return false;
  }
  GstBuffer* buffer = gst_buffer_new_allocate(nullptr, size, nullptr);
  gst_buffer_fill(buffer, 0, data, size);
  GST_BUFFER_PTS(buffer) = *stamp;
  return gst_app_src_push_buffer(source, buffer) == GST_FLOW_OK;  // takes it
}

}  // namespace device
