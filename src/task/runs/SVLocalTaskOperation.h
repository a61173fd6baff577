#pragma once

#include "task/runs/ScriptOperation.h"

class SVLocalTaskOperation;

// Receives the begin and the end of an SVLocalTaskOperation, on the main thread.
class SVLocalTaskOperationParent {
public:
    virtual ~SVLocalTaskOperationParent() = default;
    virtual void startedJob(SVLocalTaskOperation& operation) = 0;
    virtual void endedJob(SVLocalTaskOperation& operation) = 0;
};

// One local run: writes the script into the run folder, launches and supervises it, marks an abort, and
// removes the script. `whenFailed` is called on the queue's thread when the program has failed, before the
// next operation begins.
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
