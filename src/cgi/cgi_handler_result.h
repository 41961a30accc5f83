#ifndef CGI_CGI_HANDLER_RESULT_H
#define CGI_CGI_HANDLER_RESULT_H

#include <string>
#include <utility>

#include "base/json_auto_ptr.h"
#include "cgi/status_text.h"
#include "config/status_exception.h"

// What became of a request.
struct CGI_HandlerResult {
  explicit CGI_HandlerResult(StatusCode_e status, JsonAutoPtr data = JsonAutoPtr())
      : data(std::move(data)),
        status(status),
        code(utils::convertStatusToJsonCode(status)),
        message(utils::convertStatusToJsonMessage(status)) {}

  JsonAutoPtr data;  // may be null
  StatusCode_e status;
  std::string code;
  std::string message;
};

#endif
