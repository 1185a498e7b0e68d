#pragma once

#include <string>

namespace host {

/// Opens an http or https address in the person's browser, without waiting for it. False when there is no
/// display, no browser, or the address is of another kind.
bool openBrowser(const std::string& url);

}  // namespace host
