#pragma once

#include <string>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace host {

/// The command that the arguments called; empty when they called none.
[[nodiscard]] std::string calledCommand(const CLI::App& app);

/// Why the parser did not take the arguments, said for people. Values stay out of it.
[[nodiscard]] std::string explain(const CLI::App& app, const CLI::ParseError& error);

}  // namespace host
