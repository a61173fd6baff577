#pragma once

#include "platform/OperationQueue.h"

#include <memory>
#include <string>

class SVLocalTaskOperation;

// Whom an SVLocalTaskOperation tells of its begin and end, on the main thread.
class SVLocalTaskOperationParent {
public:
    virtual ~SVLocalTaskOperationParent() = default;
    virtual void startedJob(SVLocalTaskOperation& operation) = 0;
    virtual void endedJob(SVLocalTaskOperation& operation) = 0;
};

// One local run: writes the script into the run folder, launches and supervises it, marks an abort, removes
// the script. Cancelled before it has begun it does nothing and tells nobody. It touches its own texts and
// the folder alone.
class SVLocalTaskOperation : public platform::Operation,
                             public std::enable_shared_from_this<SVLocalTaskOperation> {
public:
    SVLocalTaskOperation(int taskNumber, std::string executable, std::string workDirectory,
        std::string argument, std::shared_ptr<SVLocalTaskOperationParent> parent);
    int taskNumber() const { return taskNumber_; }
    void main() override;

private:
    std::string executable_;
    std::string workDirectory_;
    std::string argument_;
    int taskNumber_;
    // Let go on the main thread: the last owner of an engine must not be a thread of the engine's own queue.
    std::shared_ptr<SVLocalTaskOperationParent> parent_;
};
