#pragma once

#include "sandbox/RawConnection.h"
#include "sandbox/Sandbox.h"
#include "sandbox/TestClient.h"
#include "support/WaitUntil.h"

#include <gmock/gmock.h>

#include <chrono>
#include <string>

/// A sandbox that people look at, and a client of it.
class PageTest : public testing::Test {
 protected:
  static sandbox::SandboxOptions withPage() {
    sandbox::SandboxOptions options;
    options.page = true;
    return options;
  }

  sandbox::Sandbox server{withPage()};
  TestClient client{server};
};

/// The events that a page hears.
class EventConnection {
 public:
  explicit EventConnection(const sandbox::Sandbox& server) : connection_(server.port()) {
    connection_.send("GET /sandbox/events HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
  }

  /// Reads on until this text has come; false when the connection ends before, or it does not come in time.
  bool hears(const std::string& text) {
    const auto end = std::chrono::steady_clock::now() + generousLimit;
    while (heard_.find(text) == std::string::npos) {
      if (std::chrono::steady_clock::now() > end) return false;
      const std::string more = connection_.read(1);
      if (more.empty()) return false;
      heard_ += more;
    }
    return true;
  }
  [[nodiscard]] const std::string& heard() const { return heard_; }

 private:
  RawConnection connection_;
  std::string heard_;
};
