#pragma once

#include "support/RawServer.h"

#include <string>
#include <thread>

/// Hands on what comes from one side until either ends, which ends both.
inline void relay(RawConnection& from, RawConnection& to) {
  for (std::string bytes = from.readSome(); !bytes.empty() && to.send(bytes); bytes = from.readSome()) {
  }
  from.interrupt();
  to.interrupt();
}

/// The same in both directions.
inline void relayBothWays(RawConnection& one, RawConnection& other) {
  std::thread back([&] { relay(other, one); });
  relay(one, other);
  back.join();
}
