#include "base/text.h"

#include <array>
#include <cstdio>

namespace text {

std::string_view trimmed(std::string_view text, std::string_view blanks) {
  const std::size_t first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string_view> words(std::string_view text, std::string_view blanks) {
  std::vector<std::string_view> result;
  std::size_t first = text.find_first_not_of(blanks);
  while (first != std::string_view::npos) {
    const std::size_t end = text.find_first_of(blanks, first);
    result.push_back(text.substr(first, end - first));
    first = text.find_first_not_of(blanks, end);
  }
  return result;
}

std::string formatted(const char* pattern, ...) {
  va_list values;
  va_start(values, pattern);
  std::string text = formattedList(pattern, values);
  va_end(values);
  return text;
}

std::string formattedList(const char* pattern, va_list values) {
  std::array<char, 256> most{};
  va_list again;
  va_copy(again, values);
  const int length = std::vsnprintf(most.data(), most.size(), pattern, again);
  va_end(again);
  std::string text(most.data());
  if (length > static_cast<int>(text.size())) {
    text.resize(static_cast<std::size_t>(length));
    std::vsnprintf(text.data(), text.size() + 1, pattern, values);
  }
  return text;
}

}  // namespace text
