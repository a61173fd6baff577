#pragma once

#include "platform/loop/MainLoop.h"
#include "platform/loop/OperationQueue.h"
#include "task/ScriptRun.h"

#include <memory>
#include <string>
#include <utility>

// What the two kinds of local run have in common: the operation tells its parent of its begin and its end on
// the main thread, and runs its script in between. Cancelled before it has begun it does nothing and tells
// nobody. It touches its own texts and the folder alone.
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
        // Arranged first, so that it comes whatever happens below.
        postWhenEnded([self] {
            self->parent_->endedJob(*self);
            self->parent_.reset();
        });
        runHasEnded(ScriptRun{executable_, workDirectory_, argument_, markers_,
            [this] { return isCancelled(); }, platform::sleepFor}
                        .run());
    }

private:
    // On the queue's thread, before the parent is told.
    virtual void runHasEnded(ScriptRun::End) { }

    std::string executable_;
    std::string workDirectory_; // With a slash at its end.
    std::string argument_;
    RunMarkers markers_;
    // Let go on the main thread: the last owner of an engine must not be a thread of the engine's own queue.
    std::shared_ptr<Parent> parent_;
};
