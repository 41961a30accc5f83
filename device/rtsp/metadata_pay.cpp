#include "rtsp/metadata_pay.h"

#include <gst/rtp/gstrtpbasepayload.h>
#include <gst/rtp/gstrtpbuffer.h>

#include <algorithm>
#include <string>

namespace device {
namespace {

constexpr guint CLOCK_RATE = 90000;  // per second

gboolean setCaps(GstRTPBasePayload* payload, GstCaps* caps) {
  const bool isPlain =
      gst_structure_has_name(gst_caps_get_structure(caps, 0), METADATA_CAPS) != FALSE;
  gst_rtp_base_payload_set_options(payload, "application", TRUE,
                                   isPlain ? "vnd.onvif.metadata" : "vnd.onvif.metadata+gzip",
                                   CLOCK_RATE);
  return gst_rtp_base_payload_set_outcaps(payload, nullptr);
}

GstBuffer* packet(GstBuffer* document, gsize offset, gsize size, bool isLast) {
  GstBuffer* packet = gst_rtp_buffer_new_allocate(static_cast<guint>(size), 0, 0);
  GstRTPBuffer rtp = GST_RTP_BUFFER_INIT;
  gst_rtp_buffer_map(packet, GST_MAP_WRITE, &rtp);
  gst_buffer_extract(document, offset, gst_rtp_buffer_get_payload(&rtp), size);
  gst_rtp_buffer_set_marker(&rtp, isLast ? TRUE : FALSE);
  gst_rtp_buffer_unmap(&rtp);
  GST_BUFFER_PTS(packet) = GST_BUFFER_PTS(document);
  return packet;
}

GstFlowReturn handleBuffer(GstRTPBasePayload* payload, GstBuffer* document) {
  const gsize most = gst_rtp_buffer_calc_payload_len(GST_RTP_BASE_PAYLOAD_MTU(payload), 0, 0);
  const gsize size = gst_buffer_get_size(document);
  GstBufferList* packets = gst_buffer_list_new();
  for (gsize offset = 0; offset < size; offset += most) {
    const gsize part = std::min(most, size - offset);
    gst_buffer_list_add(packets, packet(document, offset, part, offset + part == size));
  }
  gst_buffer_unref(document);
  return gst_rtp_base_payload_push_list(payload, packets);  // takes it
}

void addTemplate(GstElementClass* element, const char* name, GstPadDirection direction,
                 const std::string& text) {
  GstCaps* caps = gst_caps_from_string(text.c_str());
  gst_element_class_add_pad_template(element,
                                     gst_pad_template_new(name, direction, GST_PAD_ALWAYS, caps));
  gst_caps_unref(caps);
}

void initClass(gpointer klass, gpointer) {
  auto* element = static_cast<GstElementClass*>(klass);
  std::string caps = METADATA_CAPS;
  caps.append("; ").append(METADATA_GZIP_CAPS);
  addTemplate(element, "sink", GST_PAD_SINK, caps);
  addTemplate(element, "src", GST_PAD_SRC,
              "application/x-rtp, media=application, clock-rate=90000");
  gst_element_class_set_static_metadata(element, "Metadata payloader",
                                        "Codec/Payloader/Network/RTP",
                                        "Cuts documents into packets", "SentrelVideo");
  auto* payload = static_cast<GstRTPBasePayloadClass*>(klass);
  payload->set_caps = setCaps;
  payload->handle_buffer = handleBuffer;
}

GType payType() {
  static const GType TYPE = g_type_register_static_simple(
      GST_TYPE_RTP_BASE_PAYLOAD, "SentrelMetadataPay", sizeof(GstRTPBasePayloadClass), initClass,
      sizeof(GstRTPBasePayload), nullptr, GTypeFlags{});
  return TYPE;
}

}  // namespace

void registerMetadataPay() {
  gst_element_register(nullptr, METADATA_PAY, GST_RANK_NONE, payType());
}

}  // namespace device
