#pragma once

#include <string>

namespace sandbox {

class Sandbox;

/// Opens a page of the sandbox as a browser does, and returns where the answer leads ("Location"), as it was
/// sent and without going there; empty when it leads nowhere or the page can't be opened.
[[nodiscard]] std::string redirectOf(const Sandbox& sandbox, const std::string& url);

}  // namespace sandbox
