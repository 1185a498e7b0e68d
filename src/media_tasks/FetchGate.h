#pragma once

namespace KBL {

/// Keeps the threads of media tasks out of libcurl once the process is closing: its TLS library tears its
/// state down at exit, while a task may still run. At exit the gate closes, fetches see it within one beat of
/// libcurl's meter, and the exiting thread waits a bounded time for them to leave.
class FetchGate {
 public:
  /// One stay inside libcurl; not granted when the gate is closed.
  class Pass {
   public:
    Pass();
    ~Pass();
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;
    [[nodiscard]] bool isGranted() const { return granted_; }

   private:
    bool granted_;
  };

  [[nodiscard]] static bool isClosing();
};

}  // namespace KBL
