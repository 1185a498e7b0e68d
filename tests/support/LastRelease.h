#pragma once

#include <KblUtils/IDmBaseObj.h>

#include <atomic>
#include <functional>
#include <utility>

/// Does something at each end of the objects that it is given to as their protocol, then counts it: whoever
/// has seen the count may let go of it. Any thread.
class LastRelease final : public KBL::IDmProtocol {
 public:
  explicit LastRelease(std::function<void(KBL::IDmBaseObj*)> inside = {}) : inside_(std::move(inside)) {}
  void onLastRelease(KBL::IDmBaseObj* object) override {
    struct Count {
      std::atomic<int>& calls;
      ~Count() { ++calls; }
    };
    const Count behind{calls};
    if (inside_) inside_(object);
  }

  std::atomic<int> calls{0};

 private:
  const std::function<void(KBL::IDmBaseObj*)> inside_;
};
