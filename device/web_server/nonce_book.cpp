#include "web_server/nonce_book.h"

#include <glib.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <random>
#include <utility>

#include "services/glib_ptr.h"

namespace device {

namespace {

constexpr std::size_t kTimeLength = 16;  // hexadecimal digits, as those of the serial number
constexpr std::size_t kStampLength = 2 * kTimeLength;
constexpr std::size_t kSealLength = 32;
constexpr std::size_t kSecretLength = 32;  // bytes

std::string hexadecimal(std::uint64_t number) {
  std::array<char, kTimeLength + 1> text;
  std::snprintf(text.data(), text.size(), "%016llx", static_cast<unsigned long long>(number));
  return text.data();
}

std::string randomSecret() {
  std::random_device source;
  std::string secret;
  while (secret.size() < kSecretLength) secret += static_cast<char>(source() & 0xFF);
  return secret;
}

}  // namespace

NonceBook::NonceBook(std::chrono::microseconds lifetime, Clock clock)
    : lifetime_(lifetime), clock_(std::move(clock)), secret_(randomSecret()) {}

std::string NonceBook::issue() {
  const std::string stamp =
      hexadecimal(static_cast<std::uint64_t>(clock_())) + hexadecimal(++issued_);
  return stamp + sealOf(stamp);
}

bool NonceBook::use(const std::string& nonce, std::uint32_t count) {
  if (nonce.size() != kStampLength + kSealLength) return false;
  const std::string stamp = nonce.substr(0, kStampLength);
  if (nonce.substr(kStampLength) != sealOf(stamp)) return false;
  if (isOld(stamp) || stamp <= forgotten_) return false;
  const bool taken = used_[stamp].take(count);
  if (used_.size() > kMaxUsed) {
    forgotten_ = used_.begin()->first;
    used_.erase(used_.begin());
  }
  return taken;
}

std::string NonceBook::sealOf(const std::string& stamp) const {
  const GCharPtr seal(
      g_compute_hmac_for_string(G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(secret_.data()),
                                secret_.size(), stamp.data(), static_cast<gssize>(stamp.size())));
  return std::string(seal.get()).substr(0, kSealLength);
}

bool NonceBook::isOld(const std::string& stamp) const {
  std::uint64_t issued = 0;
  std::from_chars(stamp.data(), stamp.data() + kTimeLength, issued, 16);
  return clock_() - static_cast<std::int64_t>(issued) >= lifetime_.count();
}

bool NonceBook::Counts::take(std::uint32_t count) {
  if (count > greatest_) {
    taken_ <<= count - greatest_;
    greatest_ = count;
  }
  const std::size_t back = greatest_ - count;
  if (count == 0 || back >= kWindow || taken_[back]) return false;
  taken_[back] = true;
  return true;
}

}  // namespace device
