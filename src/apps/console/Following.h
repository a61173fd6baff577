#pragma once

#include "task/single/SVSingleTask.h"

#include <functional>

// Calls look() at once and then every half second until done() holds or the user interrupts. done() is asked
// after the first look and after every event of the main loop. Returns whether the user has interrupted.
bool followUntil(const std::function<bool()>& done, const std::function<void()>& look);

// Whether a run has ended, by its markers on disk.
bool isOver(SVSingleTask& task);
