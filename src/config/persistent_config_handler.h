#ifndef CONFIG_PERSISTENT_CONFIG_HANDLER_H
#define CONFIG_PERSISTENT_CONFIG_HANDLER_H

#include <jansson.h>

#include <cstdint>
#include <string>

// The file that keeps the configuration document.
class PersistentConfigHandler {
 public:
  PersistentConfigHandler() = delete;

  // The file's text; empty only when there is no file or it is empty. A file that cannot be read
  // gives a text that is no JSON, so that nobody takes it for a missing one and replaces it.
  static std::string load(const std::string& path);

  // Replaces the file in one step; false, logged, when that fails and the old file stands.
  static bool save(const json_t* document, const std::string& path);

  // Keeps a copy of a document that was refused beside it, as "<path>.refused", and logs where: the
  // next save replaces the document, and what a user has made must not be lost by that. A copy of
  // an earlier document is replaced. False, logged, when no copy could be made.
  static bool keepAside(const std::string& path);

  // "configurationStatus" of the stored document; 0 when there is none.
  static std::int32_t getConfigurationStatus(const std::string& path);
};

#endif
