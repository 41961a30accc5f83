#include "onvif_server/token_book.h"

#include <algorithm>
#include <cstdlib>

#include "onvif/time_text.h"

namespace device::onvif {

TokenBook::TokenBook(std::string user, std::string password, WallClock clock)
    : user(std::move(user)), password(std::move(password)), clock(std::move(clock)) {}

bool TokenBook::use(const UserToken& token) {
  const auto created = readDateTime(token.created);
  const std::int64_t now = clock();
  if (token.user != user || token.digest.empty() || token.nonce.empty() || !created ||
      std::abs(*created - now) > TOLERANCE || *created <= forgotten) {
    return false;
  }
  if (!isSameSecret(token.digest, passwordDigest(token.nonce, token.created, password))) {
    return false;
  }
  if (!used.emplace(*created, token.nonce).second) {
    return false;
  }
  if (used.size() > MOST_USED) {
    forgotten = used.begin()->first;
    used.erase(used.begin());
  }
  return true;
}

}  // namespace device::onvif
