// External data that counts what is done to it.
#ifndef TESTS_SRC_SCENE_OBJECT_DATA_H
#define TESTS_SRC_SCENE_OBJECT_DATA_H

#include <memory>

#include "scene/tracking_object_external_data.h"

// Adds up the values under "sum" when merged.
class SumData : public TrackingObjectExternalData {
 public:
  explicit SumData(std::int32_t value, int* alive = nullptr) : alive(alive) {
    insert("sum", value);
    if (alive) {
      ++*alive;
    }
  }
  SumData(const SumData& other) : TrackingObjectExternalData(other), alive(other.alive) {
    if (alive) {
      ++*alive;
    }
  }
  ~SumData() override {
    if (alive) {
      --*alive;
    }
  }

  std::unique_ptr<TrackingObjectExternalData> clone() const override {
    return std::make_unique<SumData>(*this);
  }
  void merge(const TrackingObjectExternalData& other) override {
    insert("sum", getInt("sum") + other.getInt("sum"));
  }

 private:
  int* alive;
};

#endif
