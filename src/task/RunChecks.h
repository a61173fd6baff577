#pragma once

#include "platform/Result.h"

#include <vector>

class SVTaskController;

// What is looked at before the tasks of a wrapper are run on this computer, whichever front end asks for it.
// Main thread.

// Whether some task can run, or none is left to be run; else why not, as a sentence.
platform::Status checkBeforeRun(const SVTaskController& controller);

// The numbers (from 1) of tasks that were started, bear no mark of an end, and in whose folders no process of
// this computer works: they have died with their machine or were killed. Empty while another program runs the
// wrapper, wherever that is.
std::vector<int> lostTasks(const SVTaskController& controller);

// Reports what keeps single tasks from running while the others can: a run folder that isn't there or can't
// be written, a task that stands at "Running" though nothing works in its folder.
void reportObstacles(const SVTaskController& controller);
