#ifndef DEVICE_ONVIF_USER_TOKEN_H
#define DEVICE_ONVIF_USER_TOKEN_H

#include <optional>
#include <string>

#include "onvif/tag.h"
#include "onvif/xml.h"

namespace device::onvif {

// The UsernameToken of WS-Security as it stands in a request: who says so, and a digest that only
// somebody who knows the password can make. Nothing in it has been checked yet.
struct UserToken {
  std::string user;
  std::string digest;   // Base64
  std::string nonce;    // the bytes themselves
  std::string created;  // as the sender wrote it, which is what the digest is made of
};

// Base64(SHA-1(nonce + created + password)).
std::string passwordDigest(const std::string& nonce, const std::string& created,
                           const std::string& password);

// The token of a wsse:Security header; nothing when it has none. Parts that are missing, or not
// what they have to be (a password in clear, a nonce that is no Base64), are empty.
std::optional<UserToken> readUserToken(const XmlElement& security);

// The header wsse:Security with such a token. nonce: random bytes, new for each message.
Tag userTokenTag(const std::string& user, const std::string& password, const std::string& nonce,
                 const std::string& created);

// True when both are the same, in a time that does not tell where they differ.
bool isSameSecret(const std::string& one, const std::string& other);

}  // namespace device::onvif

#endif
