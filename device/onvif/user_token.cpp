#include "onvif/user_token.h"

#include <array>
#include <memory>

#include "base/glib_ptr.h"
#include "onvif/namespaces.h"

namespace device::onvif {
namespace {

constexpr char DIGEST_TYPE[] =
    "http://docs.oasis-open.org/wss/2004/01/"
    "oasis-200401-wss-username-token-profile-1.0#PasswordDigest";
constexpr char BASE64_TYPE[] =
    "http://docs.oasis-open.org/wss/2004/01/"
    "oasis-200401-wss-soap-message-security-1.0#Base64Binary";
constexpr std::size_t LONGEST_NONCE = 256;  // characters of Base64
constexpr std::size_t SHA1_LENGTH = 20;     // bytes

std::string textOfChild(const XmlElement& element, const char* nameSpace, const char* name) {
  const auto child = element.child(nameSpace, name);
  return child ? child->text() : "";
}

std::string fromBase64(const std::string& text) {
  if (text.empty() || text.size() > LONGEST_NONCE) {
    return "";
  }
  gsize length = 0;
  const std::unique_ptr<guchar, GDeleter<g_free>> bytes(g_base64_decode(text.c_str(), &length));
  return {reinterpret_cast<const char*>(bytes.get()), length};
}

void update(GChecksum* checksum, const std::string& text) {
  g_checksum_update(checksum, reinterpret_cast<const guchar*>(text.data()),
                    static_cast<gssize>(text.size()));
}

}  // namespace

std::string passwordDigest(const std::string& nonce, const std::string& created,
                           const std::string& password) {
  const std::unique_ptr<GChecksum, GDeleter<g_checksum_free>> checksum(
      g_checksum_new(G_CHECKSUM_SHA1));
  update(checksum.get(), nonce);
  update(checksum.get(), created);
  update(checksum.get(), password);
  std::array<guint8, SHA1_LENGTH> digest;
  gsize length = digest.size();
  g_checksum_get_digest(checksum.get(), digest.data(), &length);
  const GTextPtr text(g_base64_encode(digest.data(), length));
  return text.get();
}

std::optional<UserToken> readUserToken(const XmlElement& security) {
  const auto token = security.child(ns::SECURITY, "UsernameToken");
  if (!token) {
    return std::nullopt;
  }
  UserToken result;
  result.user = textOfChild(*token, ns::SECURITY, "Username");
  if (const auto password = token->child(ns::SECURITY, "Password");
      password && password->attribute("Type") == DIGEST_TYPE) {
    result.digest = password->text();
  }
  result.nonce = fromBase64(textOfChild(*token, ns::SECURITY, "Nonce"));
  result.created = textOfChild(*token, ns::SECURITY_UTILITY, "Created");
  return result;
}

Tag userTokenTag(const std::string& user, const std::string& password, const std::string& nonce,
                 const std::string& created) {
  const GTextPtr encoded(
      g_base64_encode(reinterpret_cast<const guchar*>(nonce.data()), nonce.size()));
  return Tag("wsse:Security", Attribute("s:mustUnderstand", "1"),
             Tag("wsse:UsernameToken", Tag("wsse:Username", user),
                 Tag("wsse:Password", Attribute("Type", DIGEST_TYPE),
                     passwordDigest(nonce, created, password)),
                 Tag("wsse:Nonce", Attribute("EncodingType", BASE64_TYPE), encoded.get()),
                 Tag("wsu:Created", created)));
}

bool isSameSecret(const std::string& one, const std::string& other) {
  if (one.size() != other.size()) {
    return false;
  }
  unsigned difference = 0;
  for (std::size_t i = 0; i < one.size(); ++i) {
    difference |= static_cast<unsigned char>(one[i]) ^ static_cast<unsigned char>(other[i]);
  }
  return difference == 0;
}

}  // namespace device::onvif
