#include "task/single/TaskState.h"

#include "task/single/SVSingleTask.h"

TaskState stateOf(const SVSingleTask& task)
{
    return task.taskHasFinished() ? TaskState::Done
        : task.taskWasAborted()   ? TaskState::Aborted
        : task.beingChecked()     ? TaskState::Checking
        : task.taskHasStarted()   ? TaskState::Running
                                  : TaskState::Waiting;
}

const char* wordFor(TaskState state)
{
    switch (state) {
    case TaskState::Waiting:
        return "Waiting";
    case TaskState::Checking:
        return "Checking";
    case TaskState::Running:
        return "Running";
    case TaskState::Done:
        return "Done";
    case TaskState::Aborted:
        return "Aborted";
    }
    return "";
}
