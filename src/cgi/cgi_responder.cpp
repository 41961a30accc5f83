#include "cgi/cgi_responder.h"

#include <syslog.h>

void CGI_Responder::sendResponse(const std::string& text, GOutputStream* stream) {
  const std::string answer =
      "Content-Type: application/json\r\n"
      "Status: 200 OK\r\n\r\n" +
      text;
  if (!g_output_stream_write_all(stream, answer.data(), answer.size(), nullptr, nullptr, nullptr)) {
    syslog(LOG_WARNING, "Could not send the CGI response\n");
  }
}
