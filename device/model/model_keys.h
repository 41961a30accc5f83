#ifndef DEVICE_MODEL_MODEL_KEYS_H
#define DEVICE_MODEL_MODEL_KEYS_H

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace device {

enum class KeyKind {
  number,
  whole,     // a whole number
  flag,      // true or false
  text,      // any text, or one of the choices
  texts,     // an object whose members are texts, by any name
  section,   // an object with keys of its own; left out, all of them have their defaults
  sections,  // an array of such objects
};

// One key of a model file. The reader knows keys, bounds and defaults from here alone.
struct ModelKey {
  std::string_view name;  // the place in the file: "head.pan.speed", "channels[].name"
  KeyKind kind = KeyKind::number;
  std::string_view unit;
  double low = 0;  // of Number and Whole, both bounds included
  double high = 0;
  std::string_view choices;  // of Text, separated by blanks; empty for any text
  // What a key is that is left out, as it is written in a file (a text without its quotes); none
  // for a key that has to be there.
  std::optional<std::string_view> standard;
};

// Every key, in the order of the page that explains them.
std::span<const ModelKey> modelKeys();

// The key at a place, null when there is none.
const ModelKey* findModelKey(std::string_view name);

// The bounds as they are told: "1 to 2000", "true, false", "linear, power".
std::string boundsText(const ModelKey& key);

// A number as short as it can be told.
std::string shortText(double value);

}  // namespace device

#endif
