#ifndef APP_RATIO_H
#define APP_RATIO_H

#include <string>

namespace utils {

// A divided by B of a text "A<separator>B" with base-10 integers, split at the first separator; 0
// when there is no separator or B is 0.
double parseRatio(const std::string& text, char separator);

}  // namespace utils

#endif
