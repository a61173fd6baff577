#pragma once

#include <string>

// Asks a question on the terminal and answers whether the user said yes. Without a terminal nobody can
// answer: the way to say yes beforehand is told, and the answer is no.
bool askYesOrNo(const std::string& question);
