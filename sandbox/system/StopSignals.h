#pragma once
#include <memory>

namespace sandbox {

// Keeps SIGINT and SIGTERM from this thread and from those that it starts, where the system can, so that
// `arrived` finds them: a handler is for threads that were there before.
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  // Waits for one for 50 ms.
  [[nodiscard]] bool arrived() const;

 private:
  struct Masks;
  const std::unique_ptr<Masks> masks_;
};

}  // namespace sandbox
