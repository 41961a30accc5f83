// Options of a program, read by GLib's parser.
#ifndef BASE_COMMAND_LINE_H
#define BASE_COMMAND_LINE_H

#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/glib_ptr.h"

// What is wrong with the options, for whoever gave them.
class OptionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The text of an option: null until it is read. For entries: pass out().
class OptionText {
 public:
  OptionText() = default;
  OptionText(const OptionText&) = delete;
  OptionText& operator=(const OptionText&) = delete;
  ~OptionText() { g_free(text); }

  char** out() { return &text; }
  const char* get() const { return text; }

 private:
  char* text = nullptr;
};

// Reads the arguments, of which the first is the program's name, into the places of the entries; a
// null entry ends these. Texts become the caller's (OptionText). Throws OptionError; prints help,
// headed by the summary, and ends the process for "--help".
void readOptions(const char* summary, std::span<const GOptionEntry> entries,
                 const std::vector<std::string>& arguments);

// What a program's main returns: what run returns; 2 after an OptionError and 1 after any other
// exception, whose words go to the standard error output.
int runProgram(const std::function<int()>& run);

#endif
