#ifndef DEVICE_ONVIF_RTSP_READER_H
#define DEVICE_ONVIF_RTSP_READER_H

#include <gst/app/gstappsink.h>
#include <gst/rtp/gstrtpbuffer.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/glib_ptr.h"
#include "base/mutex.h"

namespace device {

// What came between two marks of an RTP stream: a picture, or a document.
struct RtpUnit {
  std::string bytes;
  std::optional<std::int64_t> time{};  // microseconds since 1970, by RTCP; nothing before a report
};

// Plays an RTSP address over its own connection until it goes, and keeps what comes. There has to
// be a server already: it loads GStreamer.
class RtspReader {
 public:
  // media: of which stream, "video" or "application".
  RtspReader(const std::string& address, std::string media) : media(std::move(media)) {
    const GObjectPtr<GstPlugin> plugin(
        gst_plugin_load_file(GSTREAMER_PLUGINS "/libgstrtsp.so", nullptr));
    EXPECT_TRUE(plugin);
    pipeline.reset(gst_pipeline_new(nullptr));
    g_object_ref_sink(pipeline.get());
    GstElement* source = gst_element_factory_make("rtspsrc", nullptr);
    g_object_set(source, "location", address.c_str(), "protocols", 4, "latency", 0,
                 "add-reference-timestamp-meta", TRUE, nullptr);
    g_signal_connect(source, "pad-added", G_CALLBACK(padAdded), this);
    gst_bin_add(GST_BIN(pipeline.get()), source);
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
  }
  RtspReader(const RtspReader&) = delete;
  RtspReader& operator=(const RtspReader&) = delete;
  ~RtspReader() { gst_element_set_state(pipeline.get(), GST_STATE_NULL); }

  // Asks the server to stand.
  void pause() { gst_element_set_state(pipeline.get(), GST_STATE_PAUSED); }

  std::vector<RtpUnit> units() EXCLUDES(mutex) {
    const LockGuard lock(mutex);
    return whole;
  }

 private:
  static void padAdded(GstElement*, GstPad* pad, gpointer data) {
    static_cast<RtspReader*>(data)->link(pad);
  }

  void link(GstPad* pad) {
    const std::unique_ptr<GstCaps, GDeleter<gst_caps_unref>> caps(gst_pad_get_current_caps(pad));
    const char* name = gst_structure_get_string(gst_caps_get_structure(caps.get(), 0), "media");
    const bool isWanted = media == (name != nullptr ? name : "");
    GstElement* sink = gst_element_factory_make("appsink", nullptr);
    g_object_set(sink, "sync", FALSE, nullptr);
    GstAppSinkCallbacks callbacks{};
    callbacks.new_sample = isWanted ? packetCame : packetDropped;
    gst_app_sink_set_callbacks(GST_APP_SINK(sink), &callbacks, this, nullptr);
    gst_bin_add(GST_BIN(pipeline.get()), sink);
    gst_element_sync_state_with_parent(sink);
    const GObjectPtr<GstPad> entry(gst_element_get_static_pad(sink, "sink"));
    gst_pad_link(pad, entry.get());
  }

  using SamplePtr = std::unique_ptr<GstSample, GDeleter<gst_sample_unref>>;

  static GstFlowReturn packetDropped(GstAppSink* sink, gpointer) {
    const SamplePtr sample(gst_app_sink_pull_sample(sink));
    return GST_FLOW_OK;
  }

  static GstFlowReturn packetCame(GstAppSink* sink, gpointer data) {
    const SamplePtr sample(gst_app_sink_pull_sample(sink));
    static_cast<RtspReader*>(data)->add(gst_sample_get_buffer(sample.get()));
    return GST_FLOW_OK;
  }

  void add(GstBuffer* buffer) EXCLUDES(mutex) {
    GstRTPBuffer rtp = GST_RTP_BUFFER_INIT;
    gst_rtp_buffer_map(buffer, GST_MAP_READ, &rtp);
    const LockGuard lock(mutex);
    unit.bytes.append(static_cast<const char*>(gst_rtp_buffer_get_payload(&rtp)),
                      gst_rtp_buffer_get_payload_len(&rtp));
    unit.time = timeOf(buffer);
    if (gst_rtp_buffer_get_marker(&rtp) != FALSE) {
      whole.push_back(std::exchange(unit, RtpUnit()));
    }
    gst_rtp_buffer_unmap(&rtp);
  }

  // NTP counts nanoseconds since 1900 here.
  static std::optional<std::int64_t> timeOf(GstBuffer* buffer) {
    constexpr std::int64_t UNTIL_1970 = 2208988800;  // seconds
    const std::unique_ptr<GstCaps, GDeleter<gst_caps_unref>> ntp(
        gst_caps_new_empty_simple("timestamp/x-ntp"));
    const GstReferenceTimestampMeta* meta =
        gst_buffer_get_reference_timestamp_meta(buffer, ntp.get());
    if (meta == nullptr) {
      return std::nullopt;
    }
    return static_cast<std::int64_t>(meta->timestamp / 1000) - UNTIL_1970 * 1000000;
  }

  std::string media;
  GObjectPtr<GstElement> pipeline;
  Mutex mutex;
  RtpUnit unit GUARDED_BY(mutex);
  std::vector<RtpUnit> whole GUARDED_BY(mutex);
};

}  // namespace device

#endif
