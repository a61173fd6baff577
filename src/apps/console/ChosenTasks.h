#pragma once

#include "apps/console/OpenWrapper.h"
#include "apps/console/Verbs.h"
#include "platform/Result.h"

#include <optional>
#include <set>

// The tasks that the user has named, or those whose program failed; nothing for all. Prints which of the
// named tasks were started before, because they are not run again.
platform::Result<std::optional<std::set<int>>> chosenTasks(OpenWrapper& wrapper, const RunOptions& options);
