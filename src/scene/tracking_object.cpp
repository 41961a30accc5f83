#include "scene/tracking_object.h"

#include <syslog.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace {

std::int16_t saturate(std::int32_t value) {
  using Limits = std::numeric_limits<std::int16_t>;
  return static_cast<std::int16_t>(std::clamp<std::int32_t>(value, Limits::min(), Limits::max()));
}

MathVector toVector(const MoteVelocity& velocity) {
  return {saturate(velocity.x), saturate(velocity.y)};
}

// The best outline that the frame has.
const Polygon& outlineOf(const MoteObject& object) {
  static const Polygon NONE;
  if (object.getPolygon() != nullptr) {
    return *object.getPolygon();
  }
  return object.getBoundingBox() != nullptr ? *object.getBoundingBox() : NONE;
}

}  // namespace

TrackingObject::TrackingObject(const MoteObject& object, std::int32_t rotation, float aspectRatio)
    : InvariantBox(object.getWidth(), object.getHeight(), rotation, aspectRatio),
      id(object.getId()),
      firstSeen(object.getTimestamp()),
      lastSeen(object.getTimestamp()),
      maxWidth(getWidth()),
      maxHeight(getHeight()),
      polygon(outlineOf(object).clone()),
      isConfident(object.getIsConfident()),
      velocity(toVector(object.getVelocity())) {
  position = previousPosition = polygon->getCentroid();
  previousFootBox = std::make_unique<Polygon>(getFootBox(position));
  footBox = previousFootBox->clone();
}

void TrackingObject::update(const MoteObject& object) {
  *polygon = outlineOf(object);
  previousPosition = position;
  position = polygon->getCentroid();
  lastSeen = object.getTimestamp();
  velocity = toVector(object.getVelocity());
  std::swap(previousFootBox, footBox);
  InvariantBox::update(object.getWidth(), object.getHeight());
  placeFootBox(position, *footBox);
  growMaximum(getWidth(), getHeight());
  isConfident = object.getIsConfident();
}

void TrackingObject::growMaximum(std::int32_t width, std::int32_t height) {
  maxWidth = std::max(maxWidth, width);
  maxHeight = std::max(maxHeight, height);
}

void TrackingObject::merge(const TrackingObject& other, bool keepOwnHistory) {
  if (!isActive || !other.isActive) {
    return;
  }
  InvariantBox::merge(other);
  growMaximum(other.maxWidth, other.maxHeight);
  for (const auto& [key, data] : other.externalData) {
    if (TrackingObjectExternalData* own = getData(key)) {
      own->merge(*data);
    } else {
      insertData(key, data->clone());
    }
  }
  firstSeen = std::min(firstSeen, other.firstSeen);
  if (!keepOwnHistory) {
    previousPosition = other.previousPosition;
    previousFootBox = other.previousFootBox->clone();
  }
}

void TrackingObject::merge(std::span<const TrackingObject* const> others, bool keepOwnHistory) {
  for (const TrackingObject* other : others) {
    merge(*other, keepOwnHistory);
  }
}

void TrackingObject::split(std::span<TrackingObject* const> parts) const {
  for (TrackingObject* part : parts) {
    if (part->id != id && isActive && part->isActive) {
      part->splitFromSource(*this);
    }
  }
}

void TrackingObject::splitFromSource(const TrackingObject& source) {
  InvariantBox::merge(source);
  growMaximum(source.maxWidth, source.maxHeight);
  firstSeen = source.firstSeen;
  previousFootBox = source.previousFootBox->clone();
  previousPosition = source.previousPosition;
  for (const auto& [key, data] : source.externalData) {
    insertData(key, data->clone());
  }
}

TrackingObjectExternalData* TrackingObject::getData(std::string_view key) const {
  const auto* data = externalData.find(key);
  return data == nullptr ? nullptr : data->get();
}

TrackingObjectExternalData* TrackingObject::getData(const DataKey& key) const {
  const auto* data = externalData.find(key.text, key.place);
  return data == nullptr ? nullptr : data->get();
}

void TrackingObject::insertData(std::string_view key,
                                std::unique_ptr<TrackingObjectExternalData> data) {
  externalData.put(key, std::move(data));
}

std::string TrackingObject::toStringSvg(const std::string& style) const {
  return polygon->toBoundingBoxStringSvg(style, "object");
}

void TrackingObject::debugPrint() const {
  syslog(LOG_INFO, "object %d at %s, first seen %lld, last seen %lld, %s\n", id,
         position.toString().c_str(), static_cast<long long>(firstSeen),
         static_cast<long long>(lastSeen), toString().c_str());
  for (const auto& [key, data] : externalData) {
    syslog(LOG_INFO, "%s:\n", key.c_str());
    data->debugPrint();
  }
}
