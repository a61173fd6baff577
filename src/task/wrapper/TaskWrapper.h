#pragma once

#include "platform/plist/Value.h"

#include <optional>
#include <string>
#include <vector>

// The content of a wrapper's files. Reading never fails: a missing file counts as empty, an unreadable one is
// reported and counts as empty. docs/wrapper-format.md describes the format.
struct TaskWrapper {
    std::string wrapperName; // Path of the folder.
    platform::Value storedInformation; // The dictionary of Info.plist.
    bool infoIsUnreadable = false; // An Info.plist that can't be read must not be overwritten.
    std::optional<std::vector<std::string>> inputFiles; // Nothing: clearing keeps no file.
    bool inputFilesAreUnknown = false; // The list can't be understood: nothing may be cleared.
    std::optional<std::string> executable;
    std::optional<std::string> originalExecutable;
    bool executableIsUnreadable = false; // The same for Executable.plist.
    std::optional<std::string> executableMD5;

    // Reads a wrapper. Writes MacOSX/<Executable>.md5 when it is missing.
    static TaskWrapper read(const std::string& wrapperName);

    // One dictionary for each task, in task order.
    std::vector<platform::Value> taskDescriptions() const;

private:
    void readInformation();
};

// The MD5 of a file as 32 lower-case hexadecimal digits; nothing when the file can't be read. Reads 64 KiB at
// a time. Any thread.
std::optional<std::string> md5ChecksumForFile(const std::string& path);

// Converts a value to a text: a text itself, a number in its shortest form; otherwise nothing.
std::optional<std::string> textOfValue(const platform::Value* value);
// Converts a value to a number: a number itself, the leading number of a text; otherwise 0.
double numberOfValue(const platform::Value* value);
