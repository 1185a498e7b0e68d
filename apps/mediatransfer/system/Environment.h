#pragma once

#include <string>

namespace host {

/// Sets a variable of this process's environment, UTF-8. To be called while no other thread runs that reads
/// it.
void setEnvironment(const char* name, const std::string& value);

}  // namespace host
