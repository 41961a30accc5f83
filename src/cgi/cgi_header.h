#ifndef CGI_CGI_HEADER_H
#define CGI_CGI_HEADER_H

#include <jansson.h>

#include <string>

#include "app/api_version_handler.h"
#include "base/json_auto_ptr.h"
#include "config/status_exception.h"

// What every request begins with, and what its answer begins with.
struct CGI_Header {
  // Reads a request's header; ok and status tell how that went. A document of null is malformed.
  CGI_Header(const json_t* request, const API_VersionHandler& versionHandler);
  CGI_Header(const std::string& text, const API_VersionHandler& versionHandler);

  // {"apiVersion", "context", "method"} of the answer.
  JsonAutoPtr createResponseHeader() const;

  // Tells the log why a request with this header is refused.
  void logNotOk(const std::string& text, const API_VersionHandler& versionHandler) const;

  std::string method = "missingMethod";
  std::string context;
  API_Version apiVersion;       // as requested
  API_Version responseVersion;  // that of the answer
  bool ok = false;
  StatusCode_e status = StatusCode_e::ok;

 private:
  void readMembers(const json_t* request);
  StatusCode_e check(const API_VersionHandler& versionHandler) const;
};

#endif
