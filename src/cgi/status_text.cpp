#include "cgi/status_text.h"

#include <algorithm>
#include <array>

namespace {

using enum StatusCode_e;

struct StatusText {
  StatusCode_e status;
  const char* code;
  const char* message;
};

constexpr std::array STATUS_TEXTS{
    StatusText{ok, "", ""},
    StatusText{malformed, "2001",
               "The configuration was not formatted correctly, i.e. does not follow json-scheme"},
    StatusText{missingParameter, "2003", "A mandatory parameter is missing"},
    StatusText{invalidParameter, "2004", "The configuration contains an invalid parameter"},
    StatusText{contradiction, "2002",
               "Parts of the configuration contradict each other, e.g several profiles have the "
               "same id"},
    StatusText{methodNotFound, "2005", "The requested CGI method was not found"},
    StatusText{versionNotSupported, "2000",
               "The requested version of the application is not supported."},
    StatusText{productNotSupported, "8000", "The product is not supported by the MIRU."}};

constexpr StatusText INTERNAL_ERROR{internalError, "1000",
                                    "An error occurred inside the application."};

const StatusText& findText(StatusCode_e status) {
  const auto* found = std::ranges::find(STATUS_TEXTS, status, &StatusText::status);
  return found == STATUS_TEXTS.end() ? INTERNAL_ERROR : *found;
}

}  // namespace

namespace utils {

std::string convertStatusToJsonCode(StatusCode_e status) {
  return findText(status).code;
}

std::string convertStatusToJsonMessage(StatusCode_e status) {
  return findText(status).message;
}

}  // namespace utils
