#include "task/runs/SVLocalTaskOperation.h"

#include "platform/files/FileManager.h"
#include "task/runs/RunTimes.h"

#include <tuple>

void SVLocalTaskOperation::runHasEnded(ScriptRun::End end)
{
    if (end == ScriptRun::End::Aborted)
        std::ignore = platform::files::writeFile(workDirectory() + "VTask_aborted", "");
    std::ignore = platform::files::remove(workDirectory() + kTaskMarkers.script);
    if (!whenFailed_ || end == ScriptRun::End::Aborted)
        return;
    if (const auto exit = RunExit::ofRun(workDirectory()); exit && exit->isFailure())
        whenFailed_();
}
