#pragma once

#include "platform/plist/Value.h"

#include <optional>
#include <string>
#include <vector>

// What the files of a wrapper say about a batch. Reading never fails: what is missing is absent, what can't
// be read is reported and counts as absent. docs/wrapper-format.md tells the form.
struct TaskWrapper {
    std::string wrapperName; // The folder's path.
    platform::Value storedInformation; // Info.plist, a dictionary.
    bool infoIsUnreadable = false; // There is an Info.plist that can't be read: it must not be written over.
    std::optional<std::vector<std::string>> inputFiles; // Null: clearing keeps no file.
    bool inputFilesAreUnknown = false; // The list can't be understood: nothing must be cleared.
    std::optional<std::string> executable;
    std::optional<std::string> originalExecutable;
    bool executableIsUnreadable = false; // As above, for Executable.plist.
    std::optional<std::string> executableMD5;

    // Writes MacOSX/<Executable>.md5 when it is missing.
    static TaskWrapper read(const std::string& wrapperName);

    // One dictionary a task, in task order.
    std::vector<platform::Value> taskDescriptions() const;

private:
    void readInformation();
};

// The MD5 of a file as 32 lower-case hexadecimal digits; nothing when it can't be opened. Reads 64 KiB at a
// time.
std::optional<std::string> md5ChecksumForFile(const std::string& path);

// What a value says when a text is wanted: a text itself, a number in its shortest form.
std::optional<std::string> textOfValue(const platform::Value* value);
// What a value says when a number is wanted: a number itself, a text by its leading number; else 0.
double numberOfValue(const platform::Value* value);
