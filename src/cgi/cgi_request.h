#ifndef CGI_CGI_REQUEST_H
#define CGI_CGI_REQUEST_H

#include <string>

#include "app/api_version_handler.h"
#include "base/json_auto_ptr.h"
#include "cgi/cgi_header.h"

// A text and the document that it holds.
struct DecodedText {
  // The text as it stands.
  static DecodedText exactly(std::string text);

  // The text without whatever follows its first JSON value, when that is an object; any other text
  // as it stands.
  static DecodedText repaired(std::string text);

  std::string text;
  JsonAutoPtr document;  // null when the text is no JSON object or array
  std::string error;     // what is wrong with it then
};

// A request of the API, read once, at its entry: everything inside looks at the same one, and
// nothing changes it.
struct CGI_Request {
  CGI_Request(DecodedText decoded, const API_VersionHandler& versionHandler);

  // "params", borrowed; method stands in the messages. Throws StatusException without a document
  // or "params".
  json_t* getParams(const std::string& method) const;

  const std::string text;
  const JsonAutoPtr document;  // null when the text is no JSON object or array
  const std::string error;     // what is wrong with it then
  const CGI_Header header;
};

#endif
