#include "EventQueue.h"

namespace host {

EventQueue& eventQueue() {
  static EventQueue& queue = *new EventQueue;
  return queue;
}

}  // namespace host
