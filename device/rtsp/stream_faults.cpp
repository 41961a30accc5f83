#include "rtsp/stream_faults.h"

#include <gst/rtp/gstrtpbuffer.h>

#include "base/glib_ptr.h"

namespace device {
namespace {

struct Spoiled {
  std::shared_ptr<StreamFaults> faults;
  StreamFaults::Stream& stream;
  guint usualSize = 0;  // bytes of a packet
  int packets = 0;      // since one was lost
};

void dropSpoiled(gpointer data) {
  delete static_cast<Spoiled*>(data);
}

GstPadProbeReturn documentComes(GstPad* pad, GstPadProbeInfo*, gpointer data) {
  const auto* spoiled = static_cast<Spoiled*>(data);
  const GObjectPtr<GstElement> payloader(gst_pad_get_parent_element(pad));
  const guint size = spoiled->stream.hasSmallPackets
                         ? gst_rtp_buffer_calc_packet_len(StreamFaults::SMALL_PACKET, 0, 0)
                         : spoiled->usualSize;
  g_object_set(payloader.get(), "mtu", size, nullptr);
  return GST_PAD_PROBE_OK;
}

bool isLost(Spoiled* spoiled) {
  if (!spoiled->stream.losesPackets || ++spoiled->packets < StreamFaults::LOST_OF) {
    return false;
  }
  spoiled->packets = 0;
  return true;
}

GstPadProbeReturn packetsGo(GstPad*, GstPadProbeInfo* info, gpointer data) {
  auto* spoiled = static_cast<Spoiled*>(data);
  GstBufferList* packets = gst_buffer_list_make_writable(static_cast<GstBufferList*>(info->data));
  info->data = packets;
  for (guint i = 0; i < gst_buffer_list_length(packets);) {
    if (isLost(spoiled)) {
      gst_buffer_list_remove(packets, i, 1);
    } else {
      ++i;
    }
  }
  return gst_buffer_list_length(packets) > 0 ? GST_PAD_PROBE_OK : GST_PAD_PROBE_DROP;
}

}  // namespace

void spoilPackets(GstElement* payloader, const std::shared_ptr<StreamFaults>& faults,
                  std::size_t stream) {
  guint usualSize = 0;
  g_object_get(payloader, "mtu", &usualSize, nullptr);
  const GObjectPtr<GstPad> entry(gst_element_get_static_pad(payloader, "sink"));
  gst_pad_add_probe(entry.get(), GST_PAD_PROBE_TYPE_BUFFER, documentComes,
                    new Spoiled{faults, faults->streams[stream], usualSize}, dropSpoiled);
  const GObjectPtr<GstPad> exit(gst_element_get_static_pad(payloader, "src"));
  gst_pad_add_probe(exit.get(), GST_PAD_PROBE_TYPE_BUFFER_LIST, packetsGo,
                    new Spoiled{faults, faults->streams[stream], usualSize}, dropSpoiled);
}

}  // namespace device
