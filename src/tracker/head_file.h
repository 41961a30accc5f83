#ifndef TRACKER_HEAD_FILE_H
#define TRACKER_HEAD_FILE_H

#include <optional>
#include <string>

#include "following/head_model.h"

// What was identified of a head, in a file of its own beside the settings: one JSON object,
// replaced in one step. What it holds counts for the head of that product number only.
//
//   {"version": 1, "product": "...", "pan": {"dead_time_s": ..., "acceleration": ..., "step": ...,
//    "speeds": [[percent, deg/s], ...]}, "tilt": {...}}
class HeadFile {
 public:
  HeadFile() = delete;

  // The axes, without their ends. None when there is no file, it is of another version or another
  // head, or holds what no head is (logged, all but the first).
  static std::optional<following::HeadParameters> load(const std::string& productNumber);

  // There is nothing to load any more. A failure is logged.
  static void remove();

  // A failure is logged.
  static void store(const std::string& productNumber, const following::HeadParameters& head);
};

#endif
