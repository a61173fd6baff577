#include "task/SVLocalTask.h"

#include "platform/MainLoop.h"
#include "task/ScriptRun.h"

SVLocalTask::SVLocalTask(std::string executable, std::string workDirectory, std::string argument,
    std::shared_ptr<SVLocalTaskParent> parent)
    : executable_(std::move(executable)), workDirectory_(std::move(workDirectory)),
      argument_(std::move(argument)), parent_(std::move(parent))
{ }

void SVLocalTask::main()
{
    const auto self = shared_from_this();
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
    ScriptRun{executable_, workDirectory_, argument_, kOlderMarkers, [this] { return isCancelled(); },
        platform::sleepFor}
        .run();
}
