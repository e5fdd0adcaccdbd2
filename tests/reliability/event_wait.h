#pragma once

#include <functional>

// Runs the event loop until `done` holds, for at most so many milliseconds, and returns whether it
// does. Sleeps while nothing happens, and adds no delay of its own.
bool waitUntil(const std::function<bool()>& done, int milliseconds);

// Runs the event loop for so long, to watch what the process does by itself.
void watchFor(int milliseconds);
