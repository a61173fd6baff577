#pragma once

class SVSingleTask;

// The state of a run by its markers, for every front end. "Done" wins over "Aborted". It means that the
// program has ended, with any exit status.
enum class TaskState { Waiting, Checking, Running, Done, Aborted };

TaskState stateOf(const SVSingleTask& task);
const char* wordFor(TaskState state); // "Waiting", "Running", ...
