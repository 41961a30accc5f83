#ifndef DEVICE_RTSP_METADATA_PAY_H
#define DEVICE_RTSP_METADATA_PAY_H

namespace device {

// Makes the element METADATA_PAY known: it cuts documents of metadata into RTP packets, of which
// the last one of each document is marked. Its caps are METADATA_CAPS, or METADATA_GZIP_CAPS for
// documents that are compressed one by one. Again is ignored.
void registerMetadataPay();

inline constexpr char METADATA_PAY[] = "sentrelmetadatapay";
inline constexpr char METADATA_CAPS[] = "application/x-onvif-metadata";
inline constexpr char METADATA_GZIP_CAPS[] = "application/x-onvif-metadata-gzip";

}  // namespace device

#endif
