#include "app/ratio.h"

#include <cstdlib>

namespace utils {

double parseRatio(const std::string& text, char separator) {
  const std::size_t position = text.find(separator);
  if (position == std::string::npos) {
    return 0.0;
  }
  const long divisor = std::strtol(text.c_str() + position + 1, nullptr, 10);
  if (divisor == 0) {
    return 0.0;
  }
  return static_cast<double>(std::strtol(text.c_str(), nullptr, 10)) / static_cast<double>(divisor);
}

}  // namespace utils
