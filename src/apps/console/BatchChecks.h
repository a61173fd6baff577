#pragma once

#include "task/KRTrelkindController.h"

#include <optional>
#include <string>
#include <vector>

// What is looked at before a batch starts.

// Why no task of a wrapper could run, as a sentence; nothing when they can, or none is left to be run.
std::optional<std::string> whyNotRunnable(const KRTrelkindController& controller);
// Complains of the tasks without a folder: they can't be run, and the others can.
void tellOfMissingFolders(const KRTrelkindController& controller);
// Complains of the tasks that stand at Running though nobody may be running them.
void tellOfStaleTasks(const KRTrelkindController& controller);

// Numbers in ascending order as a person writes them: "3-9, 12". A long list is cut, and says by how many.
std::string numberRanges(const std::vector<int>& numbers);
