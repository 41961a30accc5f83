#ifndef DEVICE_RTSP_STREAM_ENTRY_H
#define DEVICE_RTSP_STREAM_ENTRY_H

#include <gst/app/gstappsrc.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/glib_ptr.h"
#include "rtsp/pipeline_time.h"

namespace device {

enum class StreamCodec { h264, jpeg, metadata, gzippedMetadata };

// The open end of a pipeline that somebody watches.
struct StreamEntry {
  std::size_t stream = 0;
  StreamCodec codec = StreamCodec::h264;
  GObjectPtr<GstAppSrc> source;
  std::shared_ptr<StampOrder> stamps = std::make_shared<StampOrder>();  // of what goes there
  std::uint64_t number = 0;                                             // never given twice
};

// Whether what it is given goes on.
bool isRunning(const StreamEntry& entry);

// Of those that are painted; the others are told in documents.
bool isPicture(const StreamEntry& entry);

// Gives it a picture or a document of a moment (microseconds of the monotonic clock). False while
// its pipeline does not run: nobody would hear it; and for a picture from before one that it was
// given. One thread at a time may call for an entry.
bool send(const StreamEntry& entry, const void* data, std::size_t size, std::int64_t time);

}  // namespace device

#endif
