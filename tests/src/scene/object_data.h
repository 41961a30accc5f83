// External data that counts what is done to it.
#ifndef TESTS_SRC_SCENE_OBJECT_DATA_H
#define TESTS_SRC_SCENE_OBJECT_DATA_H

#include <memory>

#include "scene/tracking_object_external_data.h"

// Adds up the values under "sum" when merged.
class SumData : public TrackingObjectExternalData {
 public:
  explicit SumData(std::int32_t value, int* alive = nullptr) : alive_(alive) {
    insert("sum", value);
    if (alive_) ++*alive_;
  }
  SumData(const SumData& other) : TrackingObjectExternalData(other), alive_(other.alive_) {
    if (alive_) ++*alive_;
  }
  ~SumData() override {
    if (alive_) --*alive_;
  }

  std::unique_ptr<TrackingObjectExternalData> clone() const override {
    return std::make_unique<SumData>(*this);
  }
  void merge(const TrackingObjectExternalData& other) override {
    insert("sum", getInt("sum") + other.getInt("sum"));
  }

 private:
  int* alive_;
};

#endif
