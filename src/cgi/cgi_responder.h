#ifndef CGI_CGI_RESPONDER_H
#define CGI_CGI_RESPONDER_H

#include <gio/gio.h>

#include <string>

// Writes answers to the web server.
class CGI_Responder {
 public:
  CGI_Responder() = delete;

  // A JSON document with its header lines. The HTTP status is always 200: how the request fared is
  // in the document.
  static void sendResponse(const std::string& text, GOutputStream* stream);
};

#endif
