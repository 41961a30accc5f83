#ifndef SCENE_TRACKING_OBJECT_H
#define SCENE_TRACKING_OBJECT_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "geometry/math_vector.h"
#include "geometry/point.h"
#include "geometry/polygon.h"
#include "scene/data_key.h"
#include "scene/invariant_box.h"
#include "scene/keyed_values.h"
#include "scene/mote_object.h"
#include "scene/tracking_object_external_data.h"

// One object of a camera over its life: its present outline, its history, and what filters and
// guards remember of it. Used by the thread that delivers the camera's frames. Times are the
// frames' (monotonic microseconds).
class TrackingObject : public InvariantBox {
 public:
  TrackingObject(const MoteObject& object, std::int32_t rotation, float aspectRatio);

  // The object as a later frame shows it.
  void update(const MoteObject& object);

  // Absorbs another object: the larger size, the earlier first time, its filter data; and, unless
  // keepOwnHistory, its previous position. Nothing unless both are active.
  void merge(const TrackingObject& other, bool keepOwnHistory);

  // Absorbs each in order.
  // Only for other applications of these classes.
  void merge(std::span<const TrackingObject* const> others, bool keepOwnHistory);

  // Passes this object's history to each part with another id; both must be active.
  void split(std::span<TrackingObject* const> parts) const;

  // Takes over the history of the object that this one is a part of.
  void splitFromSource(const TrackingObject& source);

  // Only for other applications of these classes.
  void setPreviousPosition(const Point& position) { previousPosition = position; }

  // The data under the key, or null.
  TrackingObjectExternalData* getData(std::string_view key) const;
  TrackingObjectExternalData* getData(const DataKey& key) const;

  // Stores data under the key, replacing what is there.
  void insertData(std::string_view key, std::unique_ptr<TrackingObjectExternalData> data);

  // The polygon's bounding box as an SVG element of the class "object".
  std::string toStringSvg(const std::string& style) const;

  // Logs the object.
  // Only for developers' logs.
  void debugPrint() const;

  std::int32_t getId() const { return id; }
  std::int64_t getFirstSeen() const { return firstSeen; }
  void setFirstSeen(std::int64_t time) { firstSeen = time; }
  std::int64_t getLastSeen() const { return lastSeen; }
  const Point& getPosition() const { return position; }
  const Polygon& getPolygon() const { return *polygon; }
  bool getIsConfident() const { return isConfident; }

  // Q12 units per second, saturated to 16 bits.
  const MathVector& getVelocity() const { return velocity; }

  // Only for other applications of these classes, all of them.
  std::int32_t getMaxWidth() const { return maxWidth; }
  std::int32_t getMaxHeight() const { return maxHeight; }
  const Point& getPreviousPosition() const { return previousPosition; }
  const Polygon& getPreviousFootBox() const { return *previousFootBox; }
  const Polygon& getFootBoxPolygon() const { return *footBox; }
  bool getIsActive() const { return isActive; }
  void setIsActive(bool active) { isActive = active; }

 private:
  void growMaximum(std::int32_t width, std::int32_t height);

  std::int32_t id;
  std::int64_t firstSeen;
  std::int64_t lastSeen;
  std::int32_t maxWidth;
  std::int32_t maxHeight;
  Point position;
  Point previousPosition;
  std::unique_ptr<Polygon> polygon;
  std::unique_ptr<Polygon> previousFootBox;
  std::unique_ptr<Polygon> footBox;
  bool isConfident;
  bool isActive = true;
  MathVector velocity;
  KeyedValues<std::unique_ptr<TrackingObjectExternalData>> externalData;
};

#endif
