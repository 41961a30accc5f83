#ifndef DEVICE_ONVIF_SERVER_TOKEN_BOOK_H
#define DEVICE_ONVIF_SERVER_TOKEN_BOOK_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <utility>

#include "onvif/user_token.h"

namespace device::onvif {

// Judges the tokens of WS-Security: each is good once, for some minutes around its time, whatever
// becomes of the clock: one that is set back makes none good again. Only tokens whose digest is
// right take memory.
class TokenBook {
 public:
  using WallClock = std::function<std::int64_t()>;  // microseconds since 1970

  static constexpr std::int64_t TOLERANCE = 300000000;  // microseconds, to either side
  static constexpr std::size_t MOST_USED = 65536;  // tokens; beyond, the oldest are good no more

  TokenBook(std::string user, std::string password, WallClock clock);

  // True when the token is the user's and has not been used; it has been, then.
  bool use(const UserToken& token);

 private:
  using Used = std::pair<std::int64_t, std::string>;  // when it was made, and its nonce

  std::string user;
  std::string password;
  WallClock clock;
  std::set<Used> used;
  std::int64_t forgotten = 0;  // tokens made until then are good no more
};

}  // namespace device::onvif

#endif
