#include "task/SVLocalTaskOperation.h"

#include "platform/files/FileManager.h"

#include <tuple>

void SVLocalTaskOperation::runHasEnded(ScriptRun::End end)
{
    if (end == ScriptRun::End::Aborted)
        std::ignore = platform::files::writeFile(workDirectory() + "VTask_aborted", "");
    std::ignore = platform::files::remove(workDirectory() + kTaskMarkers.script);
}
