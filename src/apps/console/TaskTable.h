#pragma once

#include "apps/console/OpenWrapper.h"
#include "apps/console/TablePrinter.h"

#include <functional>

// The task table of an open wrapper. The filter chooses the tasks; without it all are shown.
using TaskFilter = std::function<bool(const SVSingleTask&)>;
TablePrinter taskTable(OpenWrapper& wrapper, const TaskFilter& filter = {});
// Writes the table as JSON, with each task's folder and with numbers for what the columns say in words.
bool writeTasksAsJson(OpenWrapper& wrapper, const TaskFilter& filter = {});
