#ifndef DEVICE_MODEL_SECTION_H
#define DEVICE_MODEL_SECTION_H

#include <jansson.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "model/model_keys.h"

namespace device {

// One object of a model file. Reads members as modelKeys() tells them: a member that is left out
// has its default; one that is missing, of another kind or out of bounds is refused with its place,
// and so is one that no key is about. Throws ModelError. The file's JSON has to outlive it.
class Section {
 public:
  Section(const json_t* json, std::string file);

  [[noreturn]] void fail(std::string_view key, const std::string& reason) const;

  bool has(std::string_view key) const;

  // With bounds: those that follow from other values and are narrower than the key's.
  double number(std::string_view key) const;
  double number(std::string_view key, double low, double high) const;
  int whole(std::string_view key) const;
  int whole(std::string_view key, int low, int high) const;
  bool flag(std::string_view key) const;
  std::string text(std::string_view key) const;
  // All members, each a text.
  std::map<std::string, std::string> texts(std::string_view key) const;

  Section section(std::string_view key) const;
  std::vector<Section> sections(std::string_view key) const;

 private:
  // place: where the object stands in the file; pattern: the same as the keys tell it.
  Section(const json_t* json, std::string file, std::string place, std::string pattern);

  const ModelKey& keyOf(std::string_view key) const;
  const json_t* find(std::string_view key) const;
  // Null for one that is left out; fails when it may not be.
  const json_t* findOrStandard(const ModelKey& known, std::string_view key) const;
  void refuseUnknown() const;

  const json_t* json;  // null for an object that is left out
  std::string file;
  std::string place;
  std::string pattern;
};

}  // namespace device

#endif
