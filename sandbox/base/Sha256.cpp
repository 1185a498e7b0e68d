#include "sandbox/base/Sha256.h"

#include "sandbox/base/Text.h"

#include <openssl/evp.h>

#include <array>
#include <stdexcept>

namespace sandbox {

namespace {

void require(int result) {
  if (result != 1) throw std::runtime_error("SHA-256 failed");
}

}  // namespace

void Sha256::Free::operator()(evp_md_ctx_st* context) const {
  EVP_MD_CTX_free(context);
}

Sha256::Sha256() : context_(EVP_MD_CTX_new()) {
  require(EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr));
}

Sha256::Sha256(const Sha256& other) : context_(EVP_MD_CTX_new()) {
  require(EVP_MD_CTX_copy_ex(context_.get(), other.context_.get()));
}

Sha256& Sha256::operator=(const Sha256& other) {
  if (this != &other) require(EVP_MD_CTX_copy_ex(context_.get(), other.context_.get()));
  return *this;
}

Sha256::~Sha256() = default;

void Sha256::add(const char* bytes, std::size_t count) {
  require(EVP_DigestUpdate(context_.get(), bytes, count));
}

std::string Sha256::bytes() const {
  const Sha256 finished(*this);
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  require(EVP_DigestFinal_ex(finished.context_.get(), digest.data(), &size));
  return {reinterpret_cast<const char*>(digest.data()), size};
}

std::string Sha256::hex() const {
  return hexText(bytes());
}

}  // namespace sandbox
