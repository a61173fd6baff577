#pragma once

#include <string>

// Asks a question on the terminal and returns whether the user has answered yes. Without a terminal it prints
// that --yes is needed and returns false.
bool askYesOrNo(const std::string& question);
