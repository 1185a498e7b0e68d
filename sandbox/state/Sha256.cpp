#include "sandbox/state/Sha256.h"

#include <array>
#include <string_view>

namespace sandbox {

Sha256::Sha256() {
  mbedtls_sha256_init(&context_);
  mbedtls_sha256_starts_ret(&context_, 0);
}

Sha256::~Sha256() {
  mbedtls_sha256_free(&context_);
}

Sha256::Sha256(const Sha256& other) {
  mbedtls_sha256_init(&context_);
  mbedtls_sha256_clone(&context_, &other.context_);
}

Sha256& Sha256::operator=(const Sha256& other) {
  if (this != &other) mbedtls_sha256_clone(&context_, &other.context_);
  return *this;
}

void Sha256::add(const char* bytes, std::size_t count) {
  mbedtls_sha256_update_ret(&context_, reinterpret_cast<const unsigned char*>(bytes), count);
}

std::string Sha256::hex() const {
  constexpr std::string_view kDigits = "0123456789abcdef";
  Sha256 finished(*this);
  std::array<unsigned char, 32> digest{};
  mbedtls_sha256_finish_ret(&finished.context_, digest.data());
  std::string text;
  for (const unsigned char byte : digest) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

}  // namespace sandbox
