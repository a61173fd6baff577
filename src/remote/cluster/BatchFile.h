#pragma once

#include "platform/Result.h"
#include "platform/plist/Value.h"

#include <optional>
#include <string>

// "Remote Machine.plist" in a wrapper: what is known of its batch on a cluster. The presence of a flag
// counts, not its value. The file outlives the program; a step whose flag has reached the disk is never done
// again. Main thread.
class BatchFile {
public:
    // Keys with texts.
    static constexpr const char* kHost = "Host";
    static constexpr const char* kQueue = "Queue"; // Holds the machine's name, as it always has.
    static constexpr const char* kUuid = "UUID";
    static constexpr const char* kNameOfExecutable = "Name of Executable";
    static constexpr const char* kUserName = "User Name";
    static constexpr const char* kWorkFolder = "Work Folder";
    // Flags.
    static constexpr const char* kWorkFolderExists = "Work folder exists";
    static constexpr const char* kSourcesCopied = "Sources have been copied";
    static constexpr const char* kExecutableExists = "Executable Exists";
    static constexpr const char* kTasksCopied = "Tasks have been copied";
    static constexpr const char* kRunsStarted = "Runs have Started";
    static constexpr const char* kWithoutArguments = "Without Arguments";

    explicit BatchFile(const std::string& wrapper);

    // Reads the file. A missing one counts as empty and as unsaved.
    void load();
    bool isUnreadable() const { return isUnreadable_; } // Then it is never written.
    bool has(const char* key) const { return content_.find(key) != nullptr; }
    std::optional<std::string> text(const char* key) const { return content_.textFor(key); }
    void set(const char* key, std::string value);
    void remove(const char* key);
    void clear();

    platform::Status saveIfChanged(); // A failure is told to the user as well.
    void setFlag(const char* flag); // Saves at once.
    void removeFlag(const char* flag);
    void deleteFromDisk();

    // Whether the names in it are such as this program writes: they stand unquoted in scripts, and what they
    // name is removed in the end.
    platform::Status check() const;

private:
    std::string path_;
    platform::Value content_{platform::Value::Dictionary()};
    bool isUnreadable_ = false;
    bool isChanged_ = false;
};
