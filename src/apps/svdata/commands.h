#pragma once

#include <string>

// The exit statuses of the tool.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kWrongUse = 2;

// The tool's commands. Each answers the exit status. Listing and showing answer 0 when the file could be
// opened: what the library reports on the way goes to the standard error stream and changes nothing. Copying
// answers 1 also when something was left out or the source is damaged, and writing an index when none was
// made.
int listVariables(const std::string& path, bool asJson);
int showVariable(const std::string& path, const std::string& name, bool asJson);
int copyFile(const std::string& from, const std::string& to);
int writeIndexFile(const std::string& path);
