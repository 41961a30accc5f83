#include "world/past_velocity.h"

namespace device {

PicturePoint PastVelocity::observe(std::int32_t id, double now, const PicturePoint& place) {
  std::deque<Place>& history = histories[id];
  history.push_back({now, place});
  if (history.size() > pictures) {
    history.pop_front();
  }
  double meanTime = 0;
  PicturePoint mean;
  const auto count = static_cast<double>(history.size());
  for (const Place& past : history) {
    meanTime += past.time / count;
    mean.x += past.point.x / count;
    mean.y += past.point.y / count;
  }
  double squares = 0;
  PicturePoint products;
  for (const Place& past : history) {
    const double time = past.time - meanTime;
    squares += time * time;
    products.x += time * (past.point.x - mean.x);
    products.y += time * (past.point.y - mean.y);
  }
  if (squares <= 0) {
    return {};
  }
  return {products.x / squares, products.y / squares};
}

}  // namespace device
