#include "scene/object_storage.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace {

constexpr double EVICTED_SHARE = 0.2;

}  // namespace

ObjectStorage::ObjectStorage(std::uint32_t maxSize)
    : maxSize(maxSize), evictCount(static_cast<std::uint32_t>(maxSize * EVICTED_SHARE)) {}

void ObjectStorage::insert(std::int32_t id, std::unique_ptr<TrackingObject>&& object) {
  if (object == nullptr || contains(id)) {
    return;
  }
  if (objects.size() >= maxSize) {
    deleteOldElements(evictCount);
  }
  objects.emplace(id, std::move(object));
}

TrackingObject* ObjectStorage::getObject(std::int32_t id) const {
  const auto found = objects.find(id);
  return found == objects.end() ? nullptr : found->second.get();
}

std::unique_ptr<TrackingObject> ObjectStorage::remove(std::int32_t id) {
  auto node = objects.extract(id);
  return node.empty() ? nullptr : std::move(node.mapped());
}

void ObjectStorage::deleteOldElements(std::uint32_t count) {
  struct Age {
    std::int64_t lastSeen;
    std::int32_t id;
  };
  std::vector<Age> ages;
  ages.reserve(objects.size());
  for (const auto& [id, object] : objects) {
    ages.push_back({object->getLastSeen(), id});
  }
  const auto isSeenBefore = [](const Age& a, const Age& b) { return a.lastSeen < b.lastSeen; };
  std::ranges::stable_sort(ages, isSeenBefore);
  ages.resize(std::min<std::size_t>(count, ages.size()));
  for (const Age& age : ages) {
    deleteObj(age.id);
  }
}
