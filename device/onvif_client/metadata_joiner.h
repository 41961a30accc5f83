#ifndef DEVICE_ONVIF_CLIENT_METADATA_JOINER_H
#define DEVICE_ONVIF_CLIENT_METADATA_JOINER_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace device::onvif {

// One packet of a metadata stream.
struct MetadataPacket {
  std::string payload;
  bool isLast = false;         // of its document (the marker)
  std::uint16_t sequence = 0;  // counts up by one
  bool isAfterGap = false;     // the receiver knows that something is missing before it
};

// Puts the packets of a stream together to documents. A packet that is missing costs the document
// that it belongs to. Times are microseconds of any clock that does not go back.
class MetadataJoiner {
 public:
  static constexpr std::size_t MOST_BYTES = std::size_t{1} << 20;  // of a document, also unpacked
  // From here on without a marker, documents are told apart by their end tags.
  static constexpr std::int64_t PATIENCE = 2000000;

  // The documents that the packet completes; those that are packed (gzip) are unpacked.
  std::vector<std::string> take(const MetadataPacket& packet, std::int64_t now);

  // Documents that were begun and could not be completed or unpacked.
  std::uint64_t getLost() const { return lost; }

 private:
  void drop();
  std::vector<std::string> complete();
  std::vector<std::string> cutAtEndTags();

  std::string joined;
  bool isFirst = true;
  bool isDropping = false;  // until after the next marker
  std::optional<std::uint16_t> lastSequence;
  std::optional<std::int64_t> begun;  // when the first packet after a marker came
  std::uint64_t lost = 0;
};

// Nothing for what is no gzip member, or more than the limit when unpacked.
std::optional<std::string> unzipped(std::string_view bytes, std::size_t limit);

}  // namespace device::onvif

#endif
