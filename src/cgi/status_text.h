#ifndef CGI_STATUS_TEXT_H
#define CGI_STATUS_TEXT_H

#include <string>

#include "config/status_exception.h"

namespace utils {

// What clients are told of a status: a code and a message; both empty for success.
std::string convertStatusToJsonCode(StatusCode_e status);
std::string convertStatusToJsonMessage(StatusCode_e status);

}  // namespace utils

#endif
