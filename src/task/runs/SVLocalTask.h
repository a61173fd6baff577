#pragma once

#include "task/runs/ScriptOperation.h"

class SVLocalTask;

// Receives the begin and the end of an SVLocalTask, on the main thread.
class SVLocalTaskParent {
public:
    virtual ~SVLocalTaskParent() = default;
    virtual void startedJob(SVLocalTask& operation) = 0;
    virtual void endedJob(SVLocalTask& operation) = 0;
};

// An operation of the older generation: runs a task's program and reports to the task itself. It keeps its
// script and writes no abort marker.
class SVLocalTask : public ScriptOperation<SVLocalTask, SVLocalTaskParent> {
public:
    SVLocalTask(std::string executable, std::string workDirectory, std::string argument,
        std::shared_ptr<SVLocalTaskParent> parent)
        : ScriptOperation(std::move(executable), std::move(workDirectory), std::move(argument), kOlderMarkers,
            std::move(parent))
    { }
};
