#pragma once

#include <string>

// The exit statuses of the tool.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kWrongUse = 2;

// The tool's commands. Each answers the exit status: 0 when the file could be opened, else 1. What the
// library reports on the way goes to the standard error stream and changes nothing.
int listVariables(const std::string& path, bool asJson);
int showVariable(const std::string& path, const std::string& name, bool asJson);
int copyFile(const std::string& from, const std::string& to);
int writeIndexFile(const std::string& path);
