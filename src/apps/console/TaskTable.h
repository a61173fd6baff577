#pragma once

#include "apps/console/OpenWrapper.h"
#include "apps/console/TablePrinter.h"

#include <functional>

// The task table of an open wrapper, as a person reads it and as a script does. The filter chooses the tasks;
// none chooses all.
using TaskFilter = std::function<bool(const SVSingleTask&)>;
TablePrinter taskTable(OpenWrapper& wrapper, const TaskFilter& filter = {});
// With each task's folder, and as numbers what the columns say in words.
bool writeTasksAsJson(OpenWrapper& wrapper, const TaskFilter& filter = {});
