#pragma once

#include <atomic>

/// While set, no line can be added to a list of headers.
extern std::atomic<bool> headerListFails;
