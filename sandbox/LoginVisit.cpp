#include "sandbox/LoginVisit.h"

#include "sandbox/Sandbox.h"
#include "sandbox/base/Text.h"
#include "sandbox/system/Socket.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace sandbox {

namespace {

constexpr std::size_t answerLimit = 65536;

/// The head of the answer to a GET of this sandbox.
std::string headOf(int port, const std::string& target) {
  const socket::Handle handle = socket::connectTo(port);
  if (handle == socket::none) return {};
  const std::string request = "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                              "\r\nConnection: close\r\n\r\n";
  std::string answer;
  if (socket::sendAll(handle, request.data(), request.size())) {
    std::array<char, 4096> bytes{};
    while (answer.find("\r\n\r\n") == std::string::npos && answer.size() < answerLimit) {
      const std::size_t count = socket::receive(handle, bytes.data(), bytes.size());
      if (count == 0) break;
      answer.append(bytes.data(), count);
    }
  }
  socket::close(handle);
  return answer.substr(0, answer.find("\r\n\r\n"));
}

}  // namespace

std::string redirectOf(const Sandbox& sandbox, const std::string& url) {
  const std::string base = sandbox.baseUrl() + "/";
  if (!url.starts_with(base) || url.find_first_of("\r\n ") != std::string::npos) return {};
  const std::string answer = headOf(sandbox.port(), url.substr(base.size() - 1));
  std::string_view head = answer;
  while (!head.empty()) {
    const std::string_view line = head.substr(0, head.find("\r\n"));
    head.remove_prefix(std::min(line.size() + 2, head.size()));
    const std::size_t colon = line.find(": ");
    if (colon == std::string_view::npos || !equalIgnoringCase(line.substr(0, colon), "Location")) continue;
    return std::string(line.substr(colon + 2));
  }
  return {};
}

}  // namespace sandbox
