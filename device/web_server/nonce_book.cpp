#include "web_server/nonce_book.h"

#include <glib.h>

#include <random>
#include <utility>

#include "base/glib_ptr.h"
#include "base/text.h"

namespace device {

namespace {

constexpr std::size_t TIME_LENGTH = 16;  // hexadecimal digits, as those of the serial number
constexpr std::size_t STAMP_LENGTH = 2 * TIME_LENGTH;
constexpr std::size_t SEAL_LENGTH = 32;
constexpr std::size_t SECRET_LENGTH = 32;  // bytes

std::string hexadecimal(std::uint64_t number) {
  return text::formatted("%016llx", static_cast<unsigned long long>(number));
}

std::string randomSecret() {
  std::random_device source;
  std::string secret;
  while (secret.size() < SECRET_LENGTH) {
    secret += static_cast<char>(source() & 0xFF);
  }
  return secret;
}

}  // namespace

NonceBook::NonceBook(std::chrono::microseconds lifetime, Clock clock)
    : lifetime(lifetime), clock(std::move(clock)), secret(randomSecret()) {}

std::string NonceBook::issue() {
  const std::string stamp =
      hexadecimal(static_cast<std::uint64_t>(clock())) + hexadecimal(++issued);
  return stamp + sealOf(stamp);
}

bool NonceBook::use(const std::string& nonce, std::uint32_t count) {
  if (nonce.size() != STAMP_LENGTH + SEAL_LENGTH) {
    return false;
  }
  const std::string stamp = nonce.substr(0, STAMP_LENGTH);
  if (nonce.substr(STAMP_LENGTH) != sealOf(stamp)) {
    return false;
  }
  if (isOld(stamp) || stamp <= forgotten) {
    return false;
  }
  const bool taken = used[stamp].take(count);
  if (used.size() > MAX_USED) {
    forgotten = used.begin()->first;
    used.erase(used.begin());
  }
  return taken;
}

std::string NonceBook::sealOf(const std::string& stamp) const {
  const GTextPtr seal(
      g_compute_hmac_for_string(G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(secret.data()),
                                secret.size(), stamp.data(), static_cast<gssize>(stamp.size())));
  return std::string(seal.get()).substr(0, SEAL_LENGTH);
}

bool NonceBook::isOld(const std::string& stamp) const {
  const auto time = text::toNumber<std::uint64_t>(stamp.substr(0, TIME_LENGTH), 16);
  return clock() - static_cast<std::int64_t>(time.value_or(0)) >= lifetime.count();
}

bool NonceBook::Counts::take(std::uint32_t count) {
  if (count > greatest) {
    taken <<= count - greatest;
    greatest = count;
  }
  const std::size_t back = greatest - count;
  if (count == 0 || back >= WINDOW || taken[back]) {
    return false;
  }
  taken[back] = true;
  return true;
}

}  // namespace device
