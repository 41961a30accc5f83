#ifndef SCORE_OPTIONS_H
#define SCORE_OPTIONS_H

#include <stdexcept>
#include <string>
#include <vector>

#include "score/job.h"

namespace score {

// A command line that cannot be used; what() is for the user.
class OptionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// arguments begin with the program's name. Throws OptionError; prints help and ends the process for
// --help.
JobOptions parseOptions(const std::vector<std::string>& arguments);

}  // namespace score

#endif
