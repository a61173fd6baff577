#pragma once

#include "platform/OperationQueue.h"

#include <memory>
#include <string>

class SVLocalTask;

// Whom an SVLocalTask tells of its begin and end, on the main thread.
class SVLocalTaskParent {
public:
    virtual ~SVLocalTaskParent() = default;
    virtual void startedJob(SVLocalTask& operation) = 0;
    virtual void endedJob(SVLocalTask& operation) = 0;
};

// An operation of the older generation: runs a task's program and tells the task itself. It leaves the script
// where it is and marks no abort.
class SVLocalTask : public platform::Operation, public std::enable_shared_from_this<SVLocalTask> {
public:
    SVLocalTask(std::string executable, std::string workDirectory, std::string argument,
        std::shared_ptr<SVLocalTaskParent> parent);
    void main() override;

    const std::string& executable() const { return executable_; }
    const std::string& workDirectory() const { return workDirectory_; }
    const std::string& argument() const { return argument_; }

private:
    std::string executable_;
    std::string workDirectory_;
    std::string argument_;
    std::shared_ptr<SVLocalTaskParent> parent_;
};
