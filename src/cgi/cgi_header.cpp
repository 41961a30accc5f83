#include "cgi/cgi_header.h"

#include <syslog.h>

namespace {

// The text of a string member, or the default for anything else.
std::string textOf(const json_t* object, const char* key, const std::string& defaultText) {
  const char* text = json_string_value(json_object_get(object, key));
  return text != nullptr ? text : defaultText;
}

}  // namespace

CGI_Header::CGI_Header(const std::string& text, const API_VersionHandler& versionHandler)
    : CGI_Header(JsonAutoPtr(json_loads(text.c_str(), 0, nullptr)).get(), versionHandler) {}

CGI_Header::CGI_Header(const json_t* request, const API_VersionHandler& versionHandler)
    : responseVersion(versionHandler.getHighestSupportedVersion()) {
  if (request == nullptr) {
    status = StatusCode_e::malformed;
    return;
  }
  readMembers(request);
  status = check(versionHandler);
  ok = status == StatusCode_e::ok;
  if (ok) {
    responseVersion = versionHandler.getHighestSupportedVersion(apiVersion.getMajor());
  }
}

void CGI_Header::readMembers(const json_t* request) {
  method = textOf(request, "method", method);
  context = textOf(request, "context", context);
  if (json_object_get(request, "apiVersion") != nullptr) {
    apiVersion = API_Version(textOf(request, "apiVersion", ""));
  }
}

StatusCode_e CGI_Header::check(const API_VersionHandler& versionHandler) const {
  if (!apiVersion.isValid()) {
    return StatusCode_e::missingParameter;
  }
  return versionHandler.isSupported(apiVersion) ? StatusCode_e::ok
                                                : StatusCode_e::versionNotSupported;
}

JsonAutoPtr CGI_Header::createResponseHeader() const {
  return JsonAutoPtr(json_pack("{s:s, s:s, s:s}", "apiVersion", responseVersion.toString().c_str(),
                               "context", context.c_str(), "method", method.c_str()));
}

void CGI_Header::logNotOk(const std::string& text, const API_VersionHandler& versionHandler) const {
  const API_Version matching = versionHandler.getHighestSupportedVersion(apiVersion.getMajor());
  syslog(LOG_ERR,
         "The request header is not ok.\n  Parsed request: [version: %s, method: %s, context: "
         "%s]\n  Supported version matching request: %s\n  Received request: %s\n",
         apiVersion.toString().c_str(), method.c_str(), context.c_str(),
         matching.toString().c_str(), text.c_str());
}
