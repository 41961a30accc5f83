#ifndef DEVICE_WEB_SERVER_NONCE_BOOK_H
#define DEVICE_WEB_SERVER_NONCE_BOOK_H

#include <bitset>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace device {

// The nonces of digest logins: each is good for some time, and each count of it once. A nonce
// carries its time and a seal, so that only those that are used take memory: whoever asks for
// nonces without end fills nothing.
class NonceBook {
 public:
  using Clock = std::function<std::int64_t()>;  // microseconds, never back

  static constexpr std::size_t MAX_USED = 1024;  // nonces; beyond, the oldest are good no more
  // Requests of a browser overtake each other: a count that is this far behind the greatest is
  // late.
  static constexpr std::size_t WINDOW = 64;

  NonceBook(std::chrono::microseconds lifetime, Clock clock);

  std::string issue();

  // True when the nonce is one of these, not too old, and has not been used with this count. Only
  // for requests whose digest is right: it takes the memory of a used one.
  bool use(const std::string& nonce, std::uint32_t count);

 private:
  class Counts {
   public:
    bool take(std::uint32_t count);

   private:
    std::uint32_t greatest = 0;
    std::bitset<WINDOW> taken;  // counted back from the greatest
  };

  std::string sealOf(const std::string& stamp) const;
  bool isOld(const std::string& stamp) const;

  std::chrono::microseconds lifetime;
  Clock clock;
  std::string secret;
  std::uint64_t issued = 0;
  std::map<std::string, Counts> used;  // by stamp, the oldest first
  std::string forgotten;               // the youngest stamp that was left out of it
};

}  // namespace device

#endif
