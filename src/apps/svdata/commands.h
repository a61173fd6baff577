#pragma once

#include <string>

// The exit statuses of the tool.
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kWrongUse = 2;

// The tool's commands. Each returns the exit status. Listing and showing return 0 if the file could be
// opened: reports of the library go to the standard error stream and don't change the status. Copying returns
// 1 if something was left out or the source is damaged; writing an index returns 1 if none was made.
int listVariables(const std::string& path, bool asJson);
int showVariable(const std::string& path, const std::string& name, bool asJson);
int copyFile(const std::string& from, const std::string& to);
int writeIndexFile(const std::string& path);
