#pragma once

#include "options/Description.h"

#include <string>

namespace host {

/// The manual page mediatransfer(1), for groff's and mandoc's man macros.
[[nodiscard]] std::string manPage(const ProgramText& program);

}  // namespace host
