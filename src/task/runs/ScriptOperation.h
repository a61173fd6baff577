#pragma once

#include "platform/loop/MainLoop.h"
#include "platform/loop/OperationQueue.h"
#include "task/runs/ScriptRun.h"

#include <memory>
#include <string>
#include <utility>

// The common part of the two kinds of local run. The operation reports its begin and its end to its parent on
// the main thread, and runs its script in between. An operation that is cancelled before it begins does
// nothing and reports nothing. It uses only its own strings and the run folder.
//
// The parent has startedJob() and endedJob(), each given the operation.
template <class Operation, class Parent>
class ScriptOperation : public platform::Operation, public std::enable_shared_from_this<Operation> {
public:
    ScriptOperation(std::string executable, std::string workDirectory, std::string argument,
        const RunMarkers& markers, std::shared_ptr<Parent> parent)
        : executable_(std::move(executable)), workDirectory_(std::move(workDirectory)),
          argument_(std::move(argument)), markers_(markers), parent_(std::move(parent))
    { }

    const std::string& executable() const { return executable_; }
    const std::string& workDirectory() const { return workDirectory_; }
    const std::string& argument() const { return argument_; }

    void main() final
    {
        const auto self = this->shared_from_this();
        if (isCancelled()) {
            postWhenEnded([self] { self->parent_.reset(); });
            return;
        }
        platform::MainLoop::main().post([self] { self->parent_->startedJob(*self); });
        // Posted first, so that the end is reported even if the run throws.
        postWhenEnded([self] {
            self->parent_->endedJob(*self);
            self->parent_.reset();
        });
        runHasEnded(ScriptRun{executable_, workDirectory_, argument_, markers_,
            [this] { return isCancelled(); }, platform::sleepFor}
                        .run());
    }

private:
    // Called on the queue's thread, before the end is reported to the parent.
    virtual void runHasEnded(ScriptRun::End) { }

    std::string executable_;
    std::string workDirectory_; // Ends with a slash.
    std::string argument_;
    RunMarkers markers_;
    // Released on the main thread: a thread of the engine's queue must not destroy the engine.
    std::shared_ptr<Parent> parent_;
};
