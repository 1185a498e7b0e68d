#pragma once

#include "host/AddressProbe.h"
#include "options/Failure.h"
#include "options/Options.h"
#include "report/Report.h"

#include <optional>
#include <string>
#include <vector>

namespace host {

// What `doctor` looks at, one by one. None of these changes anything but for probes that are gone afterwards.

/// What a failure tells, of which the first part is the finding and the rest the remedy.
[[nodiscard]] Check checkOf(const std::string& name, const Failure& failure);

[[nodiscard]] std::vector<Check> checkConfiguration(const Options& options);
/// The folder of the logins and the key that they are enciphered with.
[[nodiscard]] std::vector<Check> checkStorage(const Options& options);
/// The stored logins of the profile.
[[nodiscard]] std::vector<Check> checkLogins(const Options& options, Report& report);
/// The Python home and the interpreter.
[[nodiscard]] std::vector<Check> checkScripts(const Options& options, Report& report);

/// An address of the configuration, with what it serves.
struct Address {
  std::string origin;
  std::string use;
};
/// The addresses of a table from key to address, each once.
[[nodiscard]] std::vector<Address> addressesOf(const std::string& json);

[[nodiscard]] Check checkReply(const Address& address, const ProbeResult& result, bool throughProxy);
/// This machine's clock beside those of the servers that answered.
[[nodiscard]] Check checkClock(const std::vector<ProbeResult>& results);
/// `result` is that of an address whose certificate no authority has signed: who finds that has read the
/// authorities.
[[nodiscard]] Check checkAuthorities(const ProbeResult& result);

}  // namespace host
