#ifndef DEVICE_RTSP_STREAM_FAULTS_H
#define DEVICE_RTSP_STREAM_FAULTS_H

#include <gst/gst.h>

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>

namespace device {

// What is wrong with streams on purpose. Any thread may read and change it.
struct StreamFaults {
  static constexpr unsigned SMALL_PACKET = 100;  // bytes of a document
  static constexpr int LOST_OF = 50;             // packets one is lost

  struct Stream {
    std::atomic<bool> hasSmallPackets = false;
    std::atomic<bool> losesPackets = false;
    std::atomic<bool> closes = false;
  };

  explicit StreamFaults(std::size_t count, guint closesAfter = 10000)
      : closesAfter(closesAfter), streams(count) {}

  const guint closesAfter;  // milliseconds

  std::atomic<bool> isAway = false;           // nobody is let in
  std::atomic<bool> isUserForgotten = false;  // nobody is the user
  std::deque<Stream> streams;
};

// Lets a payloader of metadata do wrong by one of the streams, as long as that is wanted.
void spoilPackets(GstElement* payloader, const std::shared_ptr<StreamFaults>& faults,
                  std::size_t stream);

}  // namespace device

#endif
