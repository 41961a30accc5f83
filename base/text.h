// Texts: their words, the numbers in them, and texts of numbers.
#ifndef BASE_TEXT_H
#define BASE_TEXT_H

#include <charconv>
#include <cstdarg>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <vector>

namespace text {

template <typename Number>
struct Leading {
  Number value;
  std::string_view rest;  // of the text
};

// The number that a text begins with: without blanks or a plus before it, and none that the type
// cannot hold. The base is one of whole numbers.
template <typename Number>
std::optional<Leading<Number>> leadingNumber(std::string_view text, int base = 10) {
  Number value{};
  const char* const end = text.data() + text.size();
  std::from_chars_result read{};
  if constexpr (std::is_floating_point_v<Number>) {
    read = std::from_chars(text.data(), end, value);
  } else {
    read = std::from_chars(text.data(), end, value, base);
  }
  if (read.ec != std::errc()) {
    return std::nullopt;
  }
  return Leading<Number>{value, {read.ptr, static_cast<std::size_t>(end - read.ptr)}};
}

// The number that a text is, from its first to its last character.
template <typename Number>
std::optional<Number> toNumber(std::string_view text, int base = 10) {
  const auto number = leadingNumber<Number>(text, base);
  return number && number->rest.empty() ? std::optional(number->value) : std::nullopt;
}

// The text without such characters at both its ends.
std::string_view trimmed(std::string_view text, std::string_view blanks);

// What stands between such characters, however many there are; nothing that is empty.
std::vector<std::string_view> words(std::string_view text, std::string_view blanks);

// What printf would write.
[[gnu::format(printf, 1, 2)]] std::string formatted(const char* pattern, ...);
[[gnu::format(printf, 1, 0)]] std::string formattedList(const char* pattern, va_list values);

}  // namespace text

#endif
