#pragma once

#include "apps/console/OpenWrapper.h"
#include "apps/console/TablePrinter.h"

// The task table of an open wrapper, as a person reads it and as a script does: there with each task's
// folder.
TablePrinter taskTable(OpenWrapper& wrapper);
bool writeTasksAsJson(OpenWrapper& wrapper);
