#ifndef DEVICE_ONVIF_TAG_H
#define DEVICE_ONVIF_TAG_H

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace device::onvif {

// A number as XML writes it, whatever the locale: the shortest text that gives the same number.
std::string textOf(double value);
std::string textOf(std::int64_t value);

struct Attribute {
  Attribute(std::string name, std::string value) : name(std::move(name)), value(std::move(value)) {}
  Attribute(std::string name, const char* value) : Attribute(std::move(name), std::string(value)) {}
  Attribute(std::string name, double value) : Attribute(std::move(name), textOf(value)) {}
  Attribute(std::string name, int value)
      : Attribute(std::move(name), textOf(static_cast<std::int64_t>(value))) {}
  Attribute(std::string name, bool value)
      : Attribute(std::move(name), std::string(value ? "true" : "false")) {}

  std::string name;
  std::string value;
};

// An element that is written: a name with its prefix (nameSpaceOfPrefix), and attributes, text and
// children in the order in which they are given:
//
//   Tag("tt:Preset", Attribute("token", "1"), Tag("tt:Name", "door"))
class Tag {
 public:
  template <typename... Content>
  explicit Tag(std::string name, Content&&... content) : name(std::move(name)) {
    (add(std::forward<Content>(content)), ...);
  }

  Tag& add(Attribute attribute);
  Tag& add(Tag child);
  Tag& add(std::vector<Tag> children);
  template <typename Content>
  Tag& add(std::optional<Content> content) {
    return content ? add(std::move(*content)) : *this;
  }
  Tag& add(std::string_view text);
  Tag& add(const std::string& text) { return add(std::string_view(text)); }
  Tag& add(const char* text) { return add(std::string_view(text)); }
  // Not for what merely converts to it, as pointers do.
  template <std::same_as<bool> Flag>
  Tag& add(Flag flag) {
    return add(std::string_view(flag ? "true" : "false"));
  }
  template <std::integral Number>
  requires(!std::same_as<Number, bool>) Tag& add(Number number) {
    return add(textOf(static_cast<std::int64_t>(number)));
  }
  Tag& add(double number) { return add(textOf(number)); }

  const std::string& getName() const { return name; }

  // A whole document in UTF-8. What XML cannot hold is left out or replaced.
  std::string document() const;

 private:
  friend class TagWriter;

  std::string name;
  std::vector<Attribute> attributes;
  std::string text;  // before the children
  std::vector<Tag> children;
};

}  // namespace device::onvif

#endif
