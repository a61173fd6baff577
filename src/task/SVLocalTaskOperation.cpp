#include "task/SVLocalTaskOperation.h"

#include "platform/files/FileManager.h"

void SVLocalTaskOperation::runHasEnded(ScriptRun::End end)
{
    if (end == ScriptRun::End::Aborted)
        platform::files::writeFile(workDirectory() + "VTask_aborted", "");
    platform::files::remove(workDirectory() + kTaskMarkers.script);
}
