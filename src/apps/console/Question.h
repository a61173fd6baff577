#pragma once

#include <optional>
#include <string>

// Asks a question on the terminal and returns whether the user has answered yes. Without a terminal it prints
// that --yes is needed and returns false.
bool askYesOrNo(const std::string& question);
// The same, with another option that answers it.
bool askYesOrNo(const std::string& question, const std::string& option);
// Asks on the terminal for a line of text. Nothing without a terminal.
std::optional<std::string> askLine(const std::string& question);

// Asks on the terminal for a text that isn't shown while it is typed. Nothing without a terminal.
std::optional<std::string> askSecret(const std::string& question);
// Reads the first line of a descriptor.
std::optional<std::string> readSecretFrom(int descriptor);
