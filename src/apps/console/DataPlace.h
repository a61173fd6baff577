#pragma once

#include "apps/composition/DataFileContent.h"
#include "apps/console/OpenWrapper.h"

#include <memory>
#include <string>
#include <vector>

// A data file that the command line names: FILE, or WRAPPER NUMBER FILE. The short texts of
// messages go to standard error as long as it exists.
class DataPlace {
public:
    // Null when there is no such file; the reason is already printed.
    static std::unique_ptr<DataPlace> find(const std::vector<std::string>& words);

    const std::string& path() const { return path_; }
    const std::string& name() const { return name_; } // As it was given.
    const std::shared_ptr<SVSingleTask>& task() const { return task_; } // Null for FILE.

    // Reads the file and waits until it is read. Null when it can't be read; the reason is already printed.
    std::shared_ptr<DataFileContent> read(SVFileContent::Changed changed = {});
    // A sentence for people about a file that announces no variables.
    std::string sentenceAboutNothing() const;
    // Whether no variable was found in a file that isn't empty, and the reading has reported why.
    bool isNotUnderstood(const DataFileContent& content) const;

private:
    DataPlace() = default;
    bool findFile(const std::string& file);
    bool isEmpty() const;
    bool findInWrapper(const std::vector<std::string>& words);

    std::unique_ptr<OpenWrapper> wrapper_;
    std::unique_ptr<MessagePrinter> messages_; // Without a wrapper, which has its own.
    std::shared_ptr<SVSingleTask> task_;
    std::string path_;
    std::string name_;
    bool hasReports_ = false;
};
