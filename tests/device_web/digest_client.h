#ifndef DEVICE_WEB_DIGEST_CLIENT_H
#define DEVICE_WEB_DIGEST_CLIENT_H

#include <cstdio>
#include <string>

#include "base/glib_ptr.h"

namespace device {

// What a client that knows a password sends (RFC 7616, algorithm MD5, quality "auth").
struct DigestClient {
  std::string user;
  std::string password;
  std::string realm = "SentrelVideo";

  // The line of the header, for the count-th request with that nonce.
  std::string line(const std::string& method, const std::string& target, const std::string& nonce,
                   unsigned count = 1) const {
    char digits[9];
    std::snprintf(digits, sizeof(digits), "%08x", count);
    const std::string client = "0a4f113b";
    const std::string secret = md5(user + ':' + realm + ':' + password);
    const std::string response = md5(secret + ':' + nonce + ':' + digits + ':' + client +
                                     ":auth:" + md5(method + ':' + target));
    return "Authorization: Digest username=\"" + user + "\", realm=\"" + realm + "\", nonce=\"" +
           nonce + "\", uri=\"" + target + "\", qop=auth, algorithm=MD5, nc=" + digits +
           ", cnonce=\"" + client + "\", response=\"" + response + "\"\r\n";
  }

  static std::string md5(const std::string& text) {
    const GTextPtr digest(g_compute_checksum_for_string(G_CHECKSUM_MD5, text.c_str(), -1));
    return digest.get();
  }
};

// A parameter of a challenge, without its quotes; empty when there is none.
inline std::string parameterOf(const std::string& challenge, const std::string& name) {
  std::size_t begin = challenge.find(' ' + name + '=');
  if (begin == std::string::npos) {
    return "";
  }
  begin += name.size() + 2;
  if (challenge[begin] != '"') {
    return challenge.substr(begin, challenge.find(',', begin) - begin);
  }
  return challenge.substr(begin + 1, challenge.find('"', begin + 1) - begin - 1);
}

}  // namespace device

#endif
