#pragma once
#include <mbedtls/sha256.h>

#include <cstddef>
#include <string>

namespace sandbox {

// A SHA-256 that grows with its input. A copy goes on from where the original stood.
class Sha256 {
 public:
  Sha256();
  ~Sha256();
  Sha256(const Sha256& other);
  Sha256& operator=(const Sha256& other);

  void add(const char* bytes, std::size_t count);
  // Lower-case hex of what was added so far; more can be added afterwards.
  [[nodiscard]] std::string hex() const;

 private:
  mbedtls_sha256_context context_;
};

}  // namespace sandbox
