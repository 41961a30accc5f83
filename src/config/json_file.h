#ifndef CONFIG_JSON_FILE_H
#define CONFIG_JSON_FILE_H

#include <jansson.h>

#include <string>

enum class JsonFileResult_e {
  written,
  notSerialised,  // the document has no text that could be read again; not logged
  notWritten      // logged
};

// Replaces the file's contents by the document in one step, flushed to storage. Unless it was
// written, the old file stands untouched.
JsonFileResult_e writeJsonFile(const std::string& path, const json_t* document);

#endif
