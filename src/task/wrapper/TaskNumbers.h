#pragma once

#include "platform/Result.h"

#include <set>
#include <string>
#include <vector>

// Task numbers as people read and write them: from 1, with ranges.

// Formats numbers in ascending order: "3-9, 12". A long list is cut and ends with the number of the others.
std::string numberRanges(const std::vector<int>& numbers);

// Parses words such as "3" and "8-12". Fails with a sentence when a word is neither a number nor a range, or
// when there is no such task.
platform::Result<std::set<int>> taskNumbers(const std::vector<std::string>& words, int howManyTasks);
