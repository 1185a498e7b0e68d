#pragma once

#include "Events.h"
#include "WaitingQueue.h"

namespace host {

using EventQueue = WaitingQueue<Event>;

/// The queue of the process. It is never destroyed: a worker of the library may be inside a callback while
/// the program ends.
[[nodiscard]] EventQueue& eventQueue();

}  // namespace host
