#include "score/score_figures.h"

#include <algorithm>
#include <cmath>

namespace device {

double quantileOf(std::vector<double> values, double share) {
  const double rank = std::ceil(share * static_cast<double>(values.size()) - 1e-9);
  const auto index = static_cast<std::ptrdiff_t>(std::max(rank, 1.0)) - 1;
  std::nth_element(values.begin(), values.begin() + index, values.end());
  return values[static_cast<std::size_t>(index)];
}

}  // namespace device
