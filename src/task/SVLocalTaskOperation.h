#pragma once

#include "task/ScriptOperation.h"

class SVLocalTaskOperation;

// Whom an SVLocalTaskOperation tells of its begin and end, on the main thread.
class SVLocalTaskOperationParent {
public:
    virtual ~SVLocalTaskOperationParent() = default;
    virtual void startedJob(SVLocalTaskOperation& operation) = 0;
    virtual void endedJob(SVLocalTaskOperation& operation) = 0;
};

// One local run: writes the script into the run folder, launches and supervises it, marks an abort, removes
// the script. A program that ended with a failure is told on the queue's thread, before the next operation
// begins.
class SVLocalTaskOperation : public ScriptOperation<SVLocalTaskOperation, SVLocalTaskOperationParent> {
public:
    SVLocalTaskOperation(int taskNumber, std::string executable, std::string workDirectory,
        std::string argument, std::shared_ptr<SVLocalTaskOperationParent> parent,
        std::function<void()> whenFailed = {})
        : ScriptOperation(std::move(executable), std::move(workDirectory), std::move(argument), kTaskMarkers,
            std::move(parent)),
          taskNumber_(taskNumber), whenFailed_(std::move(whenFailed))
    { }
    int taskNumber() const { return taskNumber_; }

private:
    void runHasEnded(ScriptRun::End end) override;

    int taskNumber_;
    std::function<void()> whenFailed_;
};
