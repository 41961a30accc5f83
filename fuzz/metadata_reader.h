#ifndef FUZZ_METADATA_READER_H
#define FUZZ_METADATA_READER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "world/overview_camera.h"

namespace fuzz {

// What a receiver reads of a document of a metadata stream, in the words of the vocabulary alone:
// it knows nothing of who wrote it. Whatever a number should be and is not, is left out.
struct ToldObject {
  std::optional<std::int64_t> id{};
  device::PicturePoint low{};  // of the box
  device::PicturePoint high{};
  device::PicturePoint centre{};
  std::vector<device::PicturePoint> outline{};
  std::string kind{};
  double likelihood = 1;
};

struct ToldChange {
  std::vector<std::int64_t> from{};
  std::vector<std::int64_t> to{};
};

struct ToldFrame {
  std::optional<std::int64_t> time{};  // microseconds since 1970
  std::vector<ToldObject> objects{};
  std::vector<ToldChange> splits{};
  std::vector<ToldChange> merges{};
  std::vector<std::int64_t> deletions{};
};

struct ToldEvent {
  std::string topic{};
  std::string operation{};
  std::vector<std::pair<std::string, std::string>> items{};  // of source and data
};

struct ToldMetadata {
  std::vector<ToldFrame> frames{};
  std::vector<ToldEvent> events{};
};

// Throws device::onvif::XmlError for what is no document.
ToldMetadata readMetadata(const std::string& text);

}  // namespace fuzz

#endif
