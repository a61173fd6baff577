#pragma once

#include "platform/Result.h"

#include <vector>

class SVTaskController;

// The checks before the tasks of a wrapper are run on this computer. Every front end uses them. Main thread.

// Succeeds when some task can run, or when no task is left to be run; the error is a sentence for the user.
platform::Status checkBeforeRun(const SVTaskController& controller);

// The numbers (from 1) of tasks that have a started marker but no end marker, and no process of this computer
// in their folder: they died with their machine or were killed. Empty while another program runs the wrapper,
// on this computer or another one.
std::vector<int> lostTasks(const SVTaskController& controller);

// Reports what keeps single tasks from running while others can run: a run folder that is missing or can't be
// written, or a task with the status "Running" and no process in its folder.
void reportObstacles(const SVTaskController& controller);
