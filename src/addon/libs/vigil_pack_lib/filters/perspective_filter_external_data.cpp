#include "addon/libs/vigil_pack_lib/filters/perspective_filter_external_data.h"

PerspectiveFilterExternalData::PerspectiveFilterExternalData() {
  insert(MAX_HEIGHT, std::int32_t{0});
  insert(MAX_WIDTH, std::int32_t{0});
}

std::unique_ptr<TrackingObjectExternalData> PerspectiveFilterExternalData::clone() const {
  return std::make_unique<PerspectiveFilterExternalData>(*this);
}

void PerspectiveFilterExternalData::merge(const TrackingObjectExternalData& other) {
  raise(MAX_HEIGHT, other.getInt(MAX_HEIGHT));
  raise(MAX_WIDTH, other.getInt(MAX_WIDTH));
}

void PerspectiveFilterExternalData::raise(std::string_view key, std::int32_t value) {
  if (value > getInt(key)) {
    insert(key, value);
  }
}
