#ifndef SCENE_OBJECT_STORAGE_H
#define SCENE_OBJECT_STORAGE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

#include "scene/tracking_object.h"

// Owns the objects that a camera knows, by id. When it is full, the fifth of them that has not been
// seen for longest goes.
class ObjectStorage {
 public:
  explicit ObjectStorage(std::uint32_t maxSize);

  // Takes the object. Null, or an object whose id is known already, changes nothing and stays with
  // the caller.
  void insert(std::int32_t id, std::unique_ptr<TrackingObject>&& object);

  // Null when absent.
  TrackingObject* getObject(std::int32_t id) const;
  bool contains(std::int32_t id) const { return objects.contains(id); }

  // Takes the object out; null when absent.
  std::unique_ptr<TrackingObject> remove(std::int32_t id);

  void deleteObj(std::int32_t id) { objects.erase(id); }
  void deleteAll() { objects.clear(); }

  // Deletes that many of the objects not seen for longest, of equally old ones those of smaller id.
  void deleteOldElements(std::uint32_t count);

  // Only for tests.
  std::size_t getSize() const { return objects.size(); }

 private:
  std::map<std::int32_t, std::unique_ptr<TrackingObject>> objects;
  std::uint32_t maxSize;
  std::uint32_t evictCount;
};

#endif
