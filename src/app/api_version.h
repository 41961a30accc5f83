#ifndef APP_API_VERSION_H
#define APP_API_VERSION_H

#include <cstdint>
#include <string>

// A "major.minor" version, of the API, of the scene service or of the device's platform.
class API_Version {
 public:
  // Invalid; compares as 0.0.
  API_Version() = default;

  // Parses a text; anything but two decimal numbers with a point between them is logged and leaves
  // the version invalid, its text kept.
  explicit API_Version(const std::string& text);

  bool isValid() const { return valid; }
  std::int32_t getMajor() const { return major; }
  std::int32_t getMinor() const { return minor; }

  bool operator==(const API_Version& other) const;
  bool operator<(const API_Version& other) const;
  bool operator<=(const API_Version& other) const;

  // The text that the version was made from.
  const std::string& toString() const { return text; }

  // Splits a text at its point. False, logged, with the numbers untouched, for any other form.
  static bool convertVersionStrToInts(const std::string& text, std::int32_t& major,
                                      std::int32_t& minor);

 private:
  std::int32_t major = 0;
  std::int32_t minor = 0;
  bool valid = false;
  std::string text;
};

#endif
