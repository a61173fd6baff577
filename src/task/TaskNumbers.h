#pragma once

#include <string>
#include <vector>

// The numbers of tasks as people read and write them: from 1, with ranges.

// Numbers in ascending order: "3-9, 12". A long list is cut, and says by how many.
std::string numberRanges(const std::vector<int>& numbers);
