#include "web_server/digest_login.h"

#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "base/text.h"

namespace device {

namespace {

constexpr char REALM[] = "SentrelVideo";
constexpr char SCHEME[] = "Digest ";
constexpr std::size_t COUNT_LENGTH = 8;  // hexadecimal digits

struct ParametersDeleter {
  void operator()(GHashTable* parameters) const { soup_header_free_param_list(parameters); }
};

// Exactly as it is written down: the library reads longer ones as other numbers.
std::optional<std::uint32_t> readCount(std::string_view text) {
  if (text.size() != COUNT_LENGTH) {
    return std::nullopt;
  }
  return text::toNumber<std::uint32_t>(text, 16);
}

}  // namespace

DigestLogin::DigestLogin(WebUser user, std::chrono::microseconds nonceLifetime)
    : user(std::move(user)),
      nonces(nonceLifetime, g_get_monotonic_time),
      domain(soup_auth_domain_digest_new("realm", REALM, nullptr)) {
  soup_auth_domain_digest_set_auth_callback(domain.get(), passwordOf, this, nullptr);
}

std::optional<std::string> DigestLogin::challengeFor(SoupServerMessage* message) {
  const bool users = isUsers(message);
  if (users && isFirst(message)) {
    return std::nullopt;
  }
  // Who knows the password is only given a new nonce: the user is not asked again.
  std::string challenge = SCHEME;
  challenge.append("realm=\"").append(REALM).append("\", nonce=\"").append(nonces.issue());
  challenge.append("\", qop=\"auth\", algorithm=MD5").append(users ? ", stale=true" : "");
  return challenge;
}

bool DigestLogin::isUsers(SoupServerMessage* message) const {
  return GTextPtr(soup_auth_domain_accepts(domain.get(), message)) != nullptr;
}

bool DigestLogin::isFirst(SoupServerMessage* message) {
  const char* header = soup_message_headers_get_one(
      soup_server_message_get_request_headers(message), "Authorization");
  const std::unique_ptr<GHashTable, ParametersDeleter> parameters(
      soup_header_parse_param_list(header + std::strlen(SCHEME)));
  const auto* nonce = static_cast<const char*>(g_hash_table_lookup(parameters.get(), "nonce"));
  const auto* text = static_cast<const char*>(g_hash_table_lookup(parameters.get(), "nc"));
  const auto count = text != nullptr ? readCount(text) : std::nullopt;
  return nonce != nullptr && count && nonces.use(nonce, *count);
}

char* DigestLogin::passwordOf(SoupAuthDomain*, SoupServerMessage*, const char* name,
                              gpointer data) {
  const WebUser& user = static_cast<const DigestLogin*>(data)->user;
  if (user.name != name) {
    return nullptr;
  }
  return soup_auth_domain_digest_encode_password(name, REALM, user.password.c_str());
}

}  // namespace device
