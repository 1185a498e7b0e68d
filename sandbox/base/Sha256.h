#pragma once

#include <cstddef>
#include <memory>
#include <string>

struct evp_md_ctx_st;

namespace sandbox {

/// A SHA-256 that grows with its input. A copy goes on from where the original stood.
/// By OpenSSL, which the TLS side needs anyway: it uses the processor's own instructions, so that hashing
/// stays far from being what limits an upload.
class Sha256 {
 public:
  /// Throws std::runtime_error when OpenSSL refuses.
  Sha256();
  Sha256(const Sha256& other);
  Sha256& operator=(const Sha256& other);
  ~Sha256();

  void add(const char* bytes, std::size_t count);
  /// The 32 bytes for what was added so far; more can be added afterwards.
  [[nodiscard]] std::string bytes() const;
  /// Lower-case hex of what was added so far; more can be added afterwards.
  [[nodiscard]] std::string hex() const;

 private:
  struct Free {
    void operator()(evp_md_ctx_st* context) const;
  };
  std::unique_ptr<evp_md_ctx_st, Free> context_;
};

}  // namespace sandbox
