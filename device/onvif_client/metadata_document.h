#ifndef DEVICE_ONVIF_CLIENT_METADATA_DOCUMENT_H
#define DEVICE_ONVIF_CLIENT_METADATA_DOCUMENT_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "onvif_client/head_facts.h"

namespace device::onvif {

// A document that cannot be used; what() is for the user.
class MetadataError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// In the picture, -1 to 1 with y upwards; beyond that for what reaches out of it.
struct SeenPoint {
  double x = 0;
  double y = 0;

  bool operator==(const SeenPoint&) const = default;
};

struct SeenBox {
  double left = 0;
  double bottom = 0;
  double right = 0;
  double top = 0;

  bool operator==(const SeenBox&) const = default;
};

struct SeenClass {
  std::string name;
  double likelihood = 1;
};

struct SeenObject {
  std::string id;  // ObjectId, or UUID where there is none
  std::optional<SeenBox> box;
  std::optional<SeenPoint> centre;
  std::vector<SeenPoint> outline;  // the largest polygon, counter-clockwise; may be empty
  std::vector<SeenClass> classes;
  bool isIdle = false;     // stands still, and is not told again until it moves
  bool isRemoved = false;  // the place where something was taken away
};

enum class SeenAction { rename, split, merge, deletion };

struct SeenChange {
  SeenAction action = SeenAction::deletion;
  std::vector<std::string> from;  // deleted: here
  std::vector<std::string> to;
};

// One look of one of a camera's analytics.
struct SeenFrame {
  std::optional<std::int64_t> time;  // of the camera's clock, microseconds since 1970
  std::string source;                // which of them; ids are its own
  std::vector<SeenObject> objects;
  std::vector<SeenChange> changes;  // in the order in which they are to be applied
};

// Pixels of the picture that coordinates are told in; 0: none.
struct PixelSize {
  int width = 0;
  int height = 0;

  bool operator==(const PixelSize&) const = default;
};

struct MetadataDocument {
  std::vector<SeenFrame> frames;
  std::vector<HeadReading> head;  // in their order
};

// Reads one document of a metadata stream. pixels: for cameras that tell pixels, with y downwards,
// without saying so; where it is not given, such coordinates are refused. Throws MetadataError: for
// what is no such document, for compressed XML (EXI), for pixels of unknown size.
MetadataDocument readMetadata(std::string_view text, const PixelSize& pixels = {});

}  // namespace device::onvif

#endif
