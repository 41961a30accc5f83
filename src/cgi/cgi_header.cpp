#include "cgi/cgi_header.h"

#include <syslog.h>

namespace {

// The text of a string member; the value stays as it is for anything else.
void readString(const json_t* object, const char* key, std::string& value) {
  if (const char* text = json_string_value(json_object_get(object, key))) {
    value = text;
  }
}

}  // namespace

CGI_Header::CGI_Header(const std::string& text, const API_VersionHandler& versionHandler)
    : CGI_Header(JsonAutoPtr(json_loads(text.c_str(), 0, nullptr)).get(), versionHandler) {}

CGI_Header::CGI_Header(const json_t* request, const API_VersionHandler& versionHandler)
    : responseVersion(versionHandler.getHighestSupportedVersion()) {
  check(request, versionHandler);
  ok = status == StatusCode_e::ok;
  if (ok) {
    responseVersion = versionHandler.getHighestSupportedVersion(apiVersion.getMajor());
  }
}

void CGI_Header::check(const json_t* request, const API_VersionHandler& versionHandler) {
  if (request == nullptr) {
    status = StatusCode_e::malformed;
    return;
  }
  readMembers(request);
  if (!apiVersion.isValid()) {
    status = StatusCode_e::missingParameter;
  } else if (!versionHandler.isSupported(apiVersion)) {
    status = StatusCode_e::versionNotSupported;
  }
}

void CGI_Header::readMembers(const json_t* request) {
  readString(request, "method", method);
  readString(request, "context", context);
  if (json_object_get(request, "apiVersion") != nullptr) {
    std::string version;
    readString(request, "apiVersion", version);
    apiVersion = API_Version(version);
  }
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
