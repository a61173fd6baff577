#pragma once

#include "task/ScriptOperation.h"

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
class SVLocalTask : public ScriptOperation<SVLocalTask, SVLocalTaskParent> {
public:
    SVLocalTask(std::string executable, std::string workDirectory, std::string argument,
        std::shared_ptr<SVLocalTaskParent> parent)
        : ScriptOperation(std::move(executable), std::move(workDirectory), std::move(argument), kOlderMarkers,
            std::move(parent))
    { }
};
