#pragma once

#include "sandbox/base/SandboxOptions.h"
#include "sandbox/server/Transport.h"

#include <memory>
#include <string>

namespace sandbox {

/// A certificate for 127.0.0.1 and localhost, made at construction together with the authority that signs it.
class TlsContext {
 public:
  /// Throws std::runtime_error when the TLS library refuses.
  explicit TlsContext(Certificate kind);
  ~TlsContext();

  /// The certificate of the authority that a client is told to trust.
  [[nodiscard]] const std::string& authorityPem() const;
  [[nodiscard]] std::unique_ptr<Transport> transport(socket::Handle handle) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace sandbox
