#ifndef CONFIG_JSON_FILE_H
#define CONFIG_JSON_FILE_H

#include <jansson.h>

#include <optional>
#include <string>

// Replaces the file's contents by the document in one step, flushed to storage. Nothing when that
// worked, else what went wrong; the old file then stands untouched.
std::optional<std::string> writeJsonFile(const std::string& path, const json_t* document);

#endif
