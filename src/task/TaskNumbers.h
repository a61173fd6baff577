#pragma once

#include "platform/Result.h"

#include <set>
#include <string>
#include <vector>

// The numbers of tasks as people read and write them: from 1, with ranges.

// Numbers in ascending order: "3-9, 12". A long list is cut, and says by how many.
std::string numberRanges(const std::vector<int>& numbers);

// What words such as "3" and "8-12" stand for; a sentence when one is no number or range, or when there is no
// such task.
platform::Result<std::set<int>> taskNumbers(const std::vector<std::string>& words, int howManyTasks);
