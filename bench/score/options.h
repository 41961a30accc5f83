#ifndef SCORE_OPTIONS_H
#define SCORE_OPTIONS_H

#include <string>
#include <vector>

#include "base/command_line.h"
#include "score/job.h"

namespace score {

using ::OptionError;

// arguments begin with the program's name. Throws OptionError; prints help and ends the process for
// --help.
JobOptions parseOptions(const std::vector<std::string>& arguments);

}  // namespace score

#endif
