#include "task/SVLocalTaskOperation.h"

#include "platform/FileManager.h"
#include "platform/MainLoop.h"
#include "task/ScriptRun.h"

SVLocalTaskOperation::SVLocalTaskOperation(int taskNumber, std::string executable, std::string workDirectory,
    std::string argument, std::shared_ptr<SVLocalTaskOperationParent> parent)
    : executable_(std::move(executable)), workDirectory_(std::move(workDirectory)),
      argument_(std::move(argument)), taskNumber_(taskNumber), parent_(std::move(parent))
{ }

void SVLocalTaskOperation::main()
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
    const auto end = ScriptRun{executable_, workDirectory_, argument_, kTaskMarkers,
        [this] { return isCancelled(); }, platform::sleepFor}
                         .run();
    if (end == ScriptRun::End::Aborted)
        platform::files::writeFile(workDirectory_ + "VTask_aborted", "");
    platform::files::remove(workDirectory_ + kTaskMarkers.script);
}
