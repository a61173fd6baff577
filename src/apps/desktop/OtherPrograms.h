#pragma once

#include "platform/Result.h"

#include <string>

// Opens a file in the program that the desktop has for it, a folder in its file manager.
platform::Status openFile(const std::string& path);

// Starts the terminal that $TERMINAL names, else the usual one, in the folder. It outlives this program.
platform::Status openTerminal(const std::string& folder);
